// Ram.h - the classes Ram and Rom.
//
// Argument "size": bytes of the memory, also with a unit. Addresses begin at 0. An access that is
// not aligned, or does not lie inside, fails; so does a store to a Rom, which is filled through
// MemoryIface, as an image loader does.

#ifndef ORVY_MODELS_MEMORY_RAM_H
#define ORVY_MODELS_MEMORY_RAM_H

namespace memory {

void registerRam();
void registerRom();

} // namespace memory

#endif
