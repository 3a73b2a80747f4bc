/* Loader.h - target images: which format a file is in, and how its bytes reach a memory.
 *
 * The memory is any object that is a memory or has a MemoryIface; bytes go there in file order, at
 * physical addresses. A load that fails half way leaves what was already written. Results are 0 for
 * success and -1 for failure. All belong to the simulation thread; orvy_identifyImageFormat may be
 * called from any thread. */

#ifndef ORVY_SUPPORT_LOADER_H
#define ORVY_SUPPORT_LOADER_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** Formats of images. */
typedef ORVY_ENUM(orvy_FileType){
    ovFT_Srec = 0,  /**< Motorola S-records */
    ovFT_Elf = 1,   /**< ELF, of which 32-bit big-endian files can be loaded */
    ovFT_Binary = 2 /**< raw bytes */
} orvy_FileType;

/** Format of a file: by its extension if that is a known one, else by its first bytes. Never fails.
 */
ORVY_API orvy_FileType orvy_identifyImageFormat(const char *Path);

/** 1 if orvy_identifyImageFormat says ELF, else 0. */
ORVY_API int orvy_imageIsELF(const char *Path);

/** Loads an image of any format at its own addresses; raw bytes at address 0. */
ORVY_API int orvy_loadImage(void *Mem, const char *Path);

/** Loads an image of any format. @param StartAddr takes its start address; 0 for raw bytes */
ORVY_API int orvy_loadImageAndStartAddr(void *Mem, const char *Path, uint64_t *StartAddr);

/** Loads an image of any format. @param Addr where raw bytes go; the other formats have their own
 */
ORVY_API int orvy_loadRelocatedImage(void *Mem, const char *Path, uint64_t Addr);

/** Copies a whole file to an address, whatever it holds. A file that cannot be opened fails
 * silently. */
ORVY_API int orvy_loadBinaryImage(void *Mem, const char *Path, uint64_t Addr);

/** Loads an ELF file: every entry of its program header table, at its physical address. The zeros
 * behind thread-local storage (PT_TLS) are left out where another entry has data; the log says so.
 */
ORVY_API int orvy_loadElfImageAndStartAddr(void *Mem, const char *Path, uint64_t *StartAddr);

/** Loads an ELF file. @param Unused not used: the file has its own addresses */
ORVY_API int orvy_loadElfImage(void *Mem, const char *Path, uint64_t Unused);

/**
 * Whether an ELF file has debug information: a section ".debug_info".
 * @return 1 or 0. A file that is no readable ELF file throws std::runtime_error, to C++ callers.
 */
ORVY_API int orvy_elfHasDwarf(const char *Path);

/** Loads S-records. Lines that are none are skipped and counted in the log; checksums are not
 * tested. */
ORVY_API int orvy_loadSrecImageAndStartAddr(void *Mem, const char *Path, uint32_t *StartAddr);

/** Loads S-records. @param Unused not used: the records have their own addresses */
ORVY_API int orvy_loadSrecImage(void *Mem, const char *Path, uint64_t Unused);

ORVY_END_C

#ifdef __cplusplus

#include <string_view>

namespace orvy {

/// Type of a line of S-records, given without its line end: the digit of the record, 10 for a line
/// that is none.
ORVY_API unsigned srecLineType(std::string_view Line);

/// Whether the checksum of such a line, of a type below 10, is right.
ORVY_API bool srecCrcCheck(std::string_view Line);

} // namespace orvy

#endif

#endif
