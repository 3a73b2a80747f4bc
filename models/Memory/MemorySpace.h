// MemorySpace.h - the class MemorySpace: maps devices by address and routes accesses to them.
//
// A device is accessed through its interfaces MemAccessIface (or a named interface of that type)
// and, for block accesses, MemoryIface. It receives addresses relative to its mapping. Mappings do
// not overlap. An access that is not completely inside one device fails.
//
// Attributes are kept for each byte. A page with attributes is never handed out, so that every
// access to it comes here:
// - an upset is reported once, by "memory.upset", and remains until the byte is written;
// - a faulty byte fails every access to it;
// - a user attribute is reported at each access, by "memory.user1" to "memory.user3";
// - fetch, read and write hooks are for the debugger.
// The source of these notifications is the space. Their information is the orvy_MemTransaction,
// with the address that the processor has used.

#ifndef ORVY_MODELS_MEMORY_MEMORYSPACE_H
#define ORVY_MODELS_MEMORY_MEMORYSPACE_H

namespace memory {

void registerMemorySpace();

} // namespace memory

#endif
