// Board.h - the component classes Board and Unit, and helpers shared by their sources.

#ifndef ORVY_MODELS_BOARD_BOARD_H
#define ORVY_MODELS_BOARD_BOARD_H

#include "orvy/Support/Orvy.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

namespace board {

void registerBoard();
void registerUnit();

constexpr int32_t Quanta = 100000;          // ns
constexpr uint64_t MaxFreq = 9000000000ull; // Hz

/// The configuration of a board. argumentsOf has the limits of the values.
struct Config {
  uint64_t Cpus = 1;
  uint64_t RamSize = 0x400000;
  uint64_t Freq = 50000000; // Hz
};

/// The arguments of a board, which are stored in Wanted, and the end of the list.
std::array<orvy_ArgSpec, 4> argumentsOf(Config &Wanted);

/// A list of numeric creation arguments.
class Arguments {
public:
  Arguments(std::initializer_list<std::pair<const char *, uint64_t>> Given) {
    for (const auto &[Key, Value] : Given) {
      orvy_CreateArg Arg = {Key, {}};
      Arg.Val.Typ = ovTY_U64;
      Arg.Val.u64 = Value;
      List.push_back(Arg);
    }
    List.push_back({});
  }
  operator const orvy_CreateArg *() const { return List.data(); }

private:
  std::vector<orvy_CreateArg> List;
};

} // namespace board

#endif
