// DwarfCases.h - the files that readers of debug information are compared on, and our side of it.

#ifndef ORVY_BENCHMARKS_DWARFCASES_H
#define ORVY_BENCHMARKS_DWARFCASES_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

namespace bench {

/// A file with 500 000 entries and more, which has at least one value for each.
const std::string &dwarfFile();
constexpr uint64_t DwarfFileValues = 500 * 200 * 4;

/// A compiled program with line tables.
constexpr const char *ExampleImage = ORVY_BUILD_ROOT "/share/orvy/examples/compute.elf";

/// Addresses in an order that no cache knows: of functions of the file, and of code of the program.
uint64_t nextAddress(uint64_t &Random);
uint64_t nextCodeAddress(uint64_t &Random);

/// Loads the file; asks for lines of the program.
void loadDwarf(benchmark::State &State);
void lineByAddress(benchmark::State &State);

} // namespace bench

#endif
