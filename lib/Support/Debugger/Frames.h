// Frames.h - the calls that a stopped processor is in.

#ifndef ORVY_LIB_FRAMES_H
#define ORVY_LIB_FRAMES_H

#include "Debugger/CpuView.h"
#include "Source/Locations.h"

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace orvy::debugger {

/// Where a register of a frame is.
struct RegisterPlace {
  enum Kind : uint8_t { Unknown, InCpu, InMemory, Known };
  Kind Is = Unknown;
  uint8_t Number = 0; ///< in the processor
  unsigned Window = 0;
  uint64_t Where = 0; ///< address, or value
};

/// A call. Inlined calls have frames of their own, which share everything but the function.
struct Frame {
  static constexpr unsigned Registers = 72;

  unsigned Level = 0;
  uint64_t Pc = 0;
  bool IsExact = true; ///< Pc is where it will go on; otherwise that of the return from a call
  bool IsTrap = false; ///< left by a trap: the next inner frame is its handler
  std::optional<uint64_t> Cfa;
  unsigned Window = 0;
  std::array<RegisterPlace, Registers> Places;
  source::Program *In = nullptr; ///< null if nothing is known of the code

  source::DebugInfoEntry *Function = nullptr; ///< subprogram, or inlined subroutine; may be null
  source::DebugInfoEntry *Subprogram = nullptr;
  bool IsInlined = false, HasInlined = false; ///< it is, or the next inner frame is
  source::SourcePlace Place; ///< of an inlined call's caller: where the call stands

  /// The address by which its code is looked up.
  uint64_t lookup() const { return IsExact ? Pc : Pc - 1; }
};

class Backtrace {
public:
  static constexpr unsigned MaxFrames = 10000;

  /// Begins with the innermost frame; others are found on demand.
  explicit Backtrace(const CpuView &At);

  const CpuView &target() const { return At; }
  /// The frame of a level; null past the last.
  Frame *frame(unsigned Level);
  /// Why there is no further frame; empty as long as that is not known, and at the outermost one.
  const std::string &ending() const { return Ending; }

  std::optional<uint64_t> readRegister(const Frame &Of, unsigned Number) const;
  bool writeRegister(const Frame &Of, unsigned Number, uint64_t Value) const;
  /// Name of the function, from the debug information or the symbols; "??" without.
  std::string functionName(const Frame &Of) const;

private:
  struct Physical; // a frame with its own registers
  bool findNext();
  bool unwind(const Frame &Inner, Frame &Outer);
  bool unwindByRules(const Frame &Inner, const source::FrameRow &Row, Frame &Outer);
  bool unwindByWindows(const Frame &Inner, Frame &Outer);
  bool enterCaller(const Frame &Inner, uint64_t ReturnAddress, Frame &Outer) const;
  void leaveTrap(const Frame &Inner, Frame &Outer) const;
  void shareWindow(const Frame &Inner, Frame &Outer) const;
  void addFrames(Frame Base);
  bool isEnd(const Frame &Inner, const Frame &Outer);
  bool hasLeftWindow(const Frame &Of) const;

  const CpuView At;
  std::deque<Frame> Frames; ///< references to them stay valid
  std::string Ending;
  bool IsComplete = false;
  bool HasLeftWindow = false; ///< the innermost function is on its way back
};

/// What expressions read in a frame.
class FrameContext : public source::ExpressionContext {
public:
  /// @param Calls how many calls further in what is asked for was asked for
  FrameContext(Backtrace &Of, Frame &In, unsigned Calls = 0) : Of(Of), In(In), Calls(Calls) {}
  std::optional<uint64_t> readRegister(uint64_t Number) override;
  bool readMemory(uint64_t Address, uint8_t *Into, size_t Length) override;
  std::optional<uint64_t> callFrameAddress() override { return In.Cfa; }
  std::optional<uint64_t> frameBase() override;
  std::optional<uint64_t> entryValue(source::Bytes Expression) override;

private:
  Backtrace &Of;
  Frame &In;
  const unsigned Calls;
  unsigned Depth = 0;
};

} // namespace orvy::debugger

#endif
