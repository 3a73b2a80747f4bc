// CallFrames.h - how the registers of a caller are found from those of its callee: the call frame
// information of an image (DWARF 5, 6.4), in ".debug_frame" and ".eh_frame".

#ifndef ORVY_LIB_CALLFRAMES_H
#define ORVY_LIB_CALLFRAMES_H

#include "Source/EntryValues.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvy::source {

/// How a register of the caller is found.
struct RegisterRule {
  enum Kind : uint8_t {
    Unspecified,  ///< nothing is said of it
    Undefined,    ///< lost
    SameValue,    ///< as in the callee
    AtOffset,     ///< in memory, at the frame address plus Offset
    IsOffset,     ///< the frame address plus Offset
    InRegister,   ///< in register Offset of the callee
    AtExpression, ///< in memory, at the address that the expression gives
    IsExpression, ///< the value of the expression
    InWindow      ///< in the register window of a SPARC, saved or not
  };
  Kind How = Unspecified;
  int64_t Offset = 0;
  Bytes Expression;
};

/// The rules at one address of a function.
struct FrameRow {
  static constexpr size_t Registers = 128;

  /// The frame address: a register plus an offset, or an expression.
  uint64_t CfaRegister = 0;
  int64_t CfaOffset = 0;
  Bytes CfaExpression;
  std::array<RegisterRule, Registers> Rules;
  uint64_t ReturnRegister = 0;
  bool IsSignal = false;
  AddressRange Function{0, 0};
};

/// The call frame information of an image.
class CallFrames {
public:
  /// Takes the contents of the sections, which may be empty, and the address of ".eh_frame". What
  /// cannot be read is left out.
  CallFrames(std::vector<uint8_t> DebugFrame, std::vector<uint8_t> EhFrame, uint64_t EhAddress);

  /// The rules at an address; nothing if there are none, or they cannot be read.
  const std::optional<FrameRow> &rowAt(uint64_t Address);
  bool empty() const { return Functions.empty(); }

private:
  class Reader;
  class Machine;

  /// What functions share: a common information entry.
  struct Common {
    uint64_t Offset = 0; ///< in its section
    bool IsEh = false;
    uint64_t CodeAlignment = 1;
    int64_t DataAlignment = 1;
    uint64_t ReturnRegister = 0;
    uint8_t PointerEncoding = 0;
    bool HasAugmentationData = false;
    bool IsSignal = false;
    Bytes Instructions;
  };
  /// The entry of a function, or of a part of one.
  struct Function {
    AddressRange Range;
    size_t Common;
    Bytes Instructions;
  };

  /// Of one of the addresses that were asked for last: conditions of break points and recursive calls
  /// ask for the same ones again and again.
  struct KnownRow {
    uint64_t Address = UINT64_MAX;
    std::optional<FrameRow> Row;
  };

  std::optional<FrameRow> findRow(uint64_t Address) const;
  void read(const std::vector<uint8_t> &Section, bool IsEh, uint64_t Address);

  std::vector<uint8_t> DebugFrame, EhFrame;
  std::vector<Common> Commons;
  std::vector<Function> Functions; ///< by low address
  std::array<KnownRow, 16> LastRows;
};

} // namespace orvy::source

#endif
