/* Loader.h - target images: which format a file is in, and how its bytes reach a memory.
 *
 * The memory is any object that is a memory or has a MemoryIface; bytes go there in file order, at
 * physical addresses. A load that fails half way leaves what was already written. Results are 0 for
 * success and -1 for failure; bytes that the memory does not take do not change the result, and an
 * object without MemoryIface is told in the log only. A null path is a file that cannot be opened.
 * All belong to the simulation thread, unless it says otherwise. */

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

/** Format of a file: by its extension if that is a known one, whose case counts, else by its first
 * bytes. Raw bytes for null, and for a file that cannot be read. Any thread. */
ORVY_API orvy_FileType orvy_identifyImageFormat(const char *Path);

/** 1 if orvy_identifyImageFormat says ELF, else 0. Any thread. */
ORVY_API int orvy_imageIsELF(const char *Path);

/** Loads an image of any format at its own addresses; raw bytes at address 0. @return 0, or -1 as
 * the function for that format */
ORVY_API int orvy_loadImage(void *Mem, const char *Path);

/**
 * Loads an image of any format.
 * @param StartAddr  takes its start address; 0 for raw bytes
 * @return 0, or -1 as the function for that format
 */
ORVY_API int orvy_loadImageAndStartAddr(void *Mem, const char *Path, uint64_t *StartAddr);

/**
 * Loads an image of any format.
 * @param Addr  where raw bytes go; the other formats have their own addresses
 * @return 0, or -1 as the function for that format
 */
ORVY_API int orvy_loadRelocatedImage(void *Mem, const char *Path, uint64_t Addr);

/**
 * Copies a whole file to an address, whatever it holds.
 * @return 0; -1, silently, for a file that cannot be opened or is not a plain file; -1, with an
 * error in the log, for one of 4 GiB or more, or one that cannot be read
 */
ORVY_API int orvy_loadBinaryImage(void *Mem, const char *Path, uint64_t Addr);

/**
 * Loads an ELF file (System V ABI): every entry of its program header table, at its physical
 * address and with zeros up to its size in memory. The zeros after thread-local storage (PT_TLS)
 * are left out where another entry has data; the log says so.
 * @param StartAddr  takes the entry point of the file, also of one that then fails
 * @return 0; -1, with an error in the log, for a file that is not a readable 32-bit big-endian ELF
 * file of a known machine
 */
ORVY_API int orvy_loadElfImageAndStartAddr(void *Mem, const char *Path, uint64_t *StartAddr);

/** Loads an ELF file, as orvy_loadElfImageAndStartAddr. @param Unused not used: the file has its
 * own addresses */
ORVY_API int orvy_loadElfImage(void *Mem, const char *Path, uint64_t Unused);

/**
 * Whether an ELF file has debug information: a section ".debug_info".
 * @return 1 or 0. A file that is not a readable 32-bit big-endian ELF file throws
 * std::runtime_error, which only C++ callers can catch.
 */
ORVY_API int orvy_elfHasDwarf(const char *Path);

/**
 * Loads Motorola S-records. Lines that are not S-records are skipped and counted in the log;
 * checksums are not tested.
 * @param StartAddr  takes the start address; 0 if no record has one
 * @return 0; -1, with a line on the standard output stream, if the file cannot be opened
 */
ORVY_API int orvy_loadSrecImageAndStartAddr(void *Mem, const char *Path, uint32_t *StartAddr);

/** Loads Motorola S-records, as orvy_loadSrecImageAndStartAddr. @param Unused not used: the records
 * have their own addresses */
ORVY_API int orvy_loadSrecImage(void *Mem, const char *Path, uint64_t Unused);

ORVY_END_C

#ifdef __cplusplus

#include <string_view>

namespace orvy {

/// Type of a line of S-records, given without its line end: the digit of the record, 10 for a line
/// that is not a record.
ORVY_API unsigned srecLineType(std::string_view Line);

/// Whether the checksum of such a line, of a type below 10, is right.
ORVY_API bool srecCrcCheck(std::string_view Line);

} // namespace orvy

#endif

#endif
