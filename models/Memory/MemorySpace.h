// MemorySpace.h - the class MemorySpace: maps devices by address and routes accesses to them.
//
// A device is mapped by its interfaces MemAccessIface (or by one named interface of that type) and,
// for block accesses, MemoryIface. It sees addresses relative to where it is mapped. Mappings do
// not overlap. An access that finds no device, or does not lie wholly in one, fails.
//
// Attributes are kept by byte. A page that has any is never handed out, so that every access to it
// comes here:
// - an upset is told of once, by "memory.upset", and stays until it is written to;
// - a faulty byte fails every access to it;
// - a user attribute is told of at each access, by "memory.user1" to "memory.user3";
// - fetch, read and write hooks are kept for the debugger.
// The source of these notifications is the space, their information the orvy_MemTransaction, with
// the address as the processor gave it.

#ifndef ORVY_MODELS_MEMORY_MEMORYSPACE_H
#define ORVY_MODELS_MEMORY_MEMORYSPACE_H

namespace memory {

void registerMemorySpace();

} // namespace memory

#endif
