/* Memory.h - the tables of memories and memory spaces, the memory transaction, host pages, and the
 * flat functions over them.
 *
 * A class qualified as memory has the VTable { MemAccessIface *; MemoryIface * }. Addresses are
 * physical. A device sees addresses relative to its own start: a memory space subtracts the base
 * under which it mapped the device before it calls it, and restores the transaction afterwards.
 * Everything here belongs to the simulation thread. */

#ifndef ORVY_SUPPORT_MEMORY_H
#define ORVY_SUPPORT_MEMORY_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** Bits of orvy_MemTransaction::Flags. */
typedef ORVY_ENUM(orvy_MemFlag){
    ovMF_Failed = 8, /**< set by the memory model: the access failed and had no effect */
    ovMF_Stop =
        16, /**< set by a memory space: the processor is to stop before the access has effect */
    ovMF_Resume =
        32, /**< set by a processor: goes on after a stop; the same access must not stop it again */
    ovMF_FetchHooks =
        64 /**< set by a processor: it takes a page with fetch hooks as well; left by the memory
              space if the page that it hands out has some. See orvy_MemPage. */
} orvy_MemFlag;

/** Attributes of memory, as a memory space keeps them. */
typedef ORVY_ENUM(orvy_MemAttr){
    ovMA_FetchHook = 1, ovMA_ReadHook = 2, ovMA_WriteHook = 4,
    ovMA_Upset = 8,   /**< single event upset: reported, then corrected by a write */
    ovMA_Faulty = 16, /**< multiple event upset: the access fails */
    ovMA_User1 = 32,    ovMA_User2 = 64,   ovMA_User3 = 128} orvy_MemAttr;

/** A memory access. What the library fills and reads: Pa, Value, Size, Page, Flags. */
typedef struct orvy_MemTransaction {
  uint64_t Va; /**< virtual address, for models */
  uint64_t Pa; /**< physical address */
  uint64_t
      Value;    /**< value read or to be written, in its low bits; exchange returns the old value */
  uint8_t Size; /**< base-2 logarithm of the size in bytes */
  uint8_t Asi;  /**< address space identifier of the processor, for models */
  uint8_t Reserved0[6];
  void *Initiator; /**< object that makes the access, for models; null if unknown */
  void *Page;      /**< orvy_MemPage or null; see there */
  uint64_t Cycles; /**< wait states the access cost beyond the instruction itself, for models */
  uint32_t Flags;  /**< orvy_MemFlag bits */
} orvy_MemTransaction;

ORVY_STATIC_ASSERT(sizeof(orvy_MemTransaction) == 64, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_MemTransaction, Pa) == 8, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_MemTransaction, Value) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_MemTransaction, Size) == 24, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_MemTransaction, Initiator) == 32, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_MemTransaction, Page) == 40, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_MemTransaction, Cycles) == 48, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_MemTransaction, Flags) == 56, "boundary record");

/** Table of single accesses. A null slot refuses: the access fails. */
typedef struct MemAccessIface {
  void (*fetch)(void *Obj, orvy_MemTransaction *Mt);
  void (*read)(void *Obj, orvy_MemTransaction *Mt);
  void (*write)(void *Obj, orvy_MemTransaction *Mt);
  void (*exchange)(void *Obj, orvy_MemTransaction *Mt);
} MemAccessIface;

ORVY_STATIC_ASSERT(sizeof(MemAccessIface) == 4 * sizeof(void *), "boundary table");

/** An access that a device does not take: it fails without an effect. For the slots of a table that
 * a model has nothing to do in; a caller of a table treats a null slot like this function. */
static inline void orvy_memAccessRefuse(void *Obj, orvy_MemTransaction *Mt) {
  (void)Obj;
  Mt->Flags |= ovMF_Failed;
}

/** The table with its null slots filled, so that its callers need not test a slot. */
static inline MemAccessIface orvy_memAccessFilled(const MemAccessIface *Table) {
  MemAccessIface Filled = *Table;
  if (!Filled.fetch)
    Filled.fetch = orvy_memAccessRefuse;
  if (!Filled.read)
    Filled.read = orvy_memAccessRefuse;
  if (!Filled.write)
    Filled.write = orvy_memAccessRefuse;
  if (!Filled.exchange)
    Filled.exchange = orvy_memAccessRefuse;
  return Filled;
}

/** Table of block accesses. Swap is the base-2 logarithm of the unit whose byte order is converted
 * between target and host. Both return the number of bytes moved. A null slot refuses; a memory
 * space makes single accesses instead. */
typedef struct MemoryIface {
  uint32_t (*readBytes)(void *Obj, void *Data, uint64_t Addr, uint32_t Len, uint32_t Swap);
  uint32_t (*writeBytes)(void *Obj, uint64_t Addr, uint32_t Len, const void *Data, uint32_t Swap);
} MemoryIface;

ORVY_STATIC_ASSERT(sizeof(MemoryIface) == 2 * sizeof(void *), "boundary table");

/** Table of a memory space, which maps devices by address and keeps attributes. The flags of a
 *  mapping are between the caller and the space; the class MemorySpace gives them no meaning. The
 *  flat functions take a null slot for a failure. */
typedef struct MemorySpaceIface {
  int (*mapDevice)(void *Space, uint64_t Addr, uint64_t Len, void *Device, uint32_t Flags);
  void (*setAttr)(void *Space, uint64_t Addr, uint64_t Len, uint32_t Attrs);
  void (*clearAttr)(void *Space, uint64_t Addr, uint64_t Len, uint32_t Attrs);
  uint32_t (*getAttrs)(void *Space, uint64_t Addr);
  int (*mapNamedIface)(void *Space, uint64_t Addr, uint64_t Len, void *Device,
                       const char *IfaceName, uint32_t Flags);
} MemorySpaceIface;

ORVY_STATIC_ASSERT(sizeof(MemorySpaceIface) == 5 * sizeof(void *), "boundary table");

/* Host pages.
 *
 * After a fetch, read or write that succeeded, a memory space may leave in Page the description of
 * the page of ORVY_PAGE_SIZE bytes, aligned by physical address, that the access fell into. The
 * initiator may then make further accesses of the same kind to that page through Data, without a
 * call, until the page is revoked. Data holds the bytes in target order, most significant first.
 *
 * A page whose words do not all read, write or fetch alike is not handed out for that access. A
 * processor that fetches with ovMF_FetchHooks is given pages with fetch hooks too: it finds that
 * flag set in the answer, asks getAttrs for each word before it executes it out of the page, and
 * fetches a word with a hook through the memory space every time.
 *
 * A caller that keeps a page pointer registers a watcher, and removes it before the watcher goes
 * away. A caller that stores into Data calls orvy_memPageWritten after the store; that costs one
 * test unless someone has kept a decoded form of the page's bytes. */

#define ORVY_PAGE_BITS 12u
#define ORVY_PAGE_SIZE (1u << ORVY_PAGE_BITS)

typedef struct orvy_PageWatcher orvy_PageWatcher;

/** Someone who keeps a pointer to a page, embedded in a record of theirs. */
struct orvy_PageWatcher {
  orvy_PageWatcher *Prev; /**< the page's, as Next */
  orvy_PageWatcher *Next;
  /** Bytes of the page were stored to; null if the watcher holds nothing derived from them. Must
   * neither add nor remove watchers. */
  void (*Written)(orvy_PageWatcher *Watcher, uint32_t Offset, uint32_t Len);
  /** The page must not be used any longer; the watcher is off the list already. Never null. */
  void (*Revoked)(orvy_PageWatcher *Watcher);
};

/** A page of host memory, owned by the memory that made it. */
typedef struct orvy_MemPage {
  uint8_t *Data;
  orvy_PageWatcher *Watchers;
  uint32_t Listeners; /**< watchers whose Written is not null */
} orvy_MemPage;

ORVY_STATIC_ASSERT(sizeof(orvy_PageWatcher) == 32, "boundary record");
ORVY_STATIC_ASSERT(sizeof(orvy_MemPage) == 24, "boundary record");

/** Registers a watcher, whose functions are set and stay as they are while it is registered. */
static inline void orvy_memPageWatch(orvy_MemPage *Page, orvy_PageWatcher *Watcher) {
  Watcher->Prev = NULL; /* NOLINT(modernize-use-nullptr) this is C */
  Watcher->Next = Page->Watchers;
  if (Page->Watchers)
    Page->Watchers->Prev = Watcher;
  Page->Watchers = Watcher;
  if (Watcher->Written)
    ++Page->Listeners;
}

/** Takes a watcher off the list it is on. */
static inline void orvy_memPageUnwatch(orvy_MemPage *Page, orvy_PageWatcher *Watcher) {
  if (Watcher->Prev)
    Watcher->Prev->Next = Watcher->Next;
  else
    Page->Watchers = Watcher->Next;
  if (Watcher->Next)
    Watcher->Next->Prev = Watcher->Prev;
  if (Watcher->Written)
    --Page->Listeners;
}

/** Tells the listeners that Len bytes from Offset were stored to. */
static inline void orvy_memPageWritten(orvy_MemPage *Page, uint32_t Offset, uint32_t Len) {
  if (!Page->Listeners)
    return;
  for (orvy_PageWatcher *Watcher = Page->Watchers; Watcher; Watcher = Watcher->Next)
    if (Watcher->Written)
      Watcher->Written(Watcher, Offset, Len);
}

/** Takes the page away from everyone who keeps it. */
static inline void orvy_memPageRevoke(orvy_MemPage *Page) {
  while (Page->Watchers) {
    orvy_PageWatcher *Watcher = Page->Watchers;
    orvy_memPageUnwatch(Page, Watcher);
    Watcher->Revoked(Watcher);
  }
}

/* Flat functions. A slot that a MemoryIface or MemorySpaceIface leaves null logs an error such as
 * "does not implement MemoryIface.readBytes" and counts as a failure; one that a MemAccessIface
 * leaves null fails the access, without a message. */

/**
 * Reads bytes through an object's MemoryIface, found in its table for a memory, by name otherwise.
 * @param Swap  base-2 logarithm of the unit to convert to host order: 0 bytes to 3 double words
 * @return bytes read; all ones, with an error in the log, if the object lacks the interface
 */
ORVY_API uint32_t orvy_memoryRead(void *Obj, void *Data, uint64_t Addr, uint32_t Len,
                                  uint32_t Swap);

/** Writes bytes through an object's MemoryIface; the object and Swap as of orvy_memoryRead. @return
 * bytes written; all ones, with an error in the log, on failure */
ORVY_API uint32_t orvy_memoryWrite(void *Obj, uint64_t Addr, const void *Data, uint32_t Len,
                                   uint32_t Swap);

/**
 * Maps a device into a memory space.
 * @param Addr   physical address of the device's first byte
 * @param Len    bytes of the mapping
 * @param Flags  handed to the space, cut to 32 bits: 0 unless the space gives them a meaning
 * @return 0, or all ones with an error in the log; nothing is mapped then
 */
ORVY_API uint32_t orvy_memoryMap(void *Space, uint64_t Addr, uint64_t Len, void *Device,
                                 uint64_t Flags);

/** Maps one named interface of a device, of type MemAccessIface. A device without it logs "does not
 * implement" and the name. @return as orvy_memoryMap */
ORVY_API uint32_t orvy_memoryMapNamedIface(void *Space, uint64_t Addr, uint64_t Len, void *Device,
                                           const char *IfaceName, uint64_t Flags);

/** Sets attributes, orvy_MemAttr bits, on a range of Len bytes. An object without MemorySpaceIface
 * is an internal error. */
ORVY_API void orvy_memorySetAttr(void *Space, uint64_t Addr, uint64_t Len, uint32_t Attrs);
/** Clears attributes on a range of Len bytes; the object as of orvy_memorySetAttr. */
ORVY_API void orvy_memoryClearAttr(void *Space, uint64_t Addr, uint64_t Len, uint32_t Attrs);
/** Attributes at an address, orvy_MemAttr bits; the object as of orvy_memorySetAttr. */
ORVY_API uint32_t orvy_memoryGetAttrs(void *Space, uint64_t Addr);

/** Makes an instruction fetch on a memory object, as described by the transaction. @return 0; 1 if
 * the access failed, or, with the transaction untouched, if the object is not a memory */
ORVY_API int orvy_memoryFetchTransaction(void *Mem, orvy_MemTransaction *Mt);
/** Makes a data read on a memory object; the value is in Value afterwards. @return as
 * orvy_memoryFetchTransaction */
ORVY_API int orvy_memoryReadTransaction(void *Mem, orvy_MemTransaction *Mt);
/** Makes a write of Value on a memory object. @return as orvy_memoryFetchTransaction */
ORVY_API int orvy_memoryWriteTransaction(void *Mem, orvy_MemTransaction *Mt);
/** Writes Value to a memory object and leaves in Value what was there before. @return as
 * orvy_memoryFetchTransaction */
ORVY_API int orvy_memoryExchangeTransaction(void *Mem, orvy_MemTransaction *Mt);

/** Reads a 32-bit word at a physical address. @return 0; 1 if the access failed, and Word then has
 * no meaning; all ones, with Word untouched, if the object is not a memory */
ORVY_API uint32_t orvy_memoryReadPhys32(void *Mem, uint64_t Pa, uint32_t *Word);
/** Writes a 32-bit word at a physical address. @return 0; 1 if the access failed; all ones if the
 * object is not a memory */
ORVY_API uint32_t orvy_memoryWritePhys32(void *Mem, uint64_t Pa, uint32_t Word);

/* Parts of words in big-endian layout. Size is the base-2 logarithm of the part's size in bytes,
 * Offset its byte offset from the most significant end. A pair that selects no part reads 0 and
 * writes nothing. */

/** The addressed part of a 32-bit word, right-aligned. */
ORVY_API uint32_t orvy_normaliseRead32(uint32_t Word, uint32_t Size, uint32_t Offset);
/** The 32-bit word with the addressed part replaced. */
ORVY_API uint32_t orvy_normaliseWrite32(uint32_t Old, uint32_t Value, uint32_t Size,
                                        uint32_t Offset);
/** The addressed part of a 16-bit word, right-aligned. */
ORVY_API uint16_t orvy_normaliseRead16(uint16_t Word, uint32_t Size, uint32_t Offset);
/** The 16-bit word with the addressed part replaced. */
ORVY_API uint16_t orvy_normaliseWrite16(uint16_t Old, uint16_t Value, uint32_t Size,
                                        uint32_t Offset);

ORVY_END_C

#endif
