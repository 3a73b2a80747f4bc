// Ram.h - the classes Ram and Rom.
//
// Argument "size": bytes of the memory, also with a unit. Addresses begin at 0. An access fails if
// it is not aligned or not inside, and so does a store to a Rom. A Rom is filled through
// MemoryIface, as by an image loader.

#ifndef ORVY_MODELS_MEMORY_RAM_H
#define ORVY_MODELS_MEMORY_RAM_H

namespace memory {

void registerRam();
void registerRom();

} // namespace memory

#endif
