// MapCommand.h - the command "memory-map", which maps a device into a memory space.

#ifndef ORVY_MODELS_MEMORY_MAPCOMMAND_H
#define ORVY_MODELS_MEMORY_MAPCOMMAND_H

namespace memory {

void registerMapCommand();

} // namespace memory

#endif
