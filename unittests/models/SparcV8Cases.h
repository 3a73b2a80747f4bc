// SparcV8Cases.h - cases of instructions: code, the state before it, and all that it changes.

#ifndef ORVY_UNITTESTS_MODELS_SPARCV8CASES_H
#define ORVY_UNITTESTS_MODELS_SPARCV8CASES_H

#include "SparcV8Fixture.h"

#include <map>
#include <sstream>
#include <utility>
#include <vector>

namespace sparc_tests {

/// States are written as "g1=5 cwp=3 m4000=12345678", in hexadecimal; m is a word of memory.
struct Case {
  const char *Code;   ///< instructions, with semicolons between them
  const char *Before; ///< what differs from the usual state
  const char *After;  ///< what the code changes, besides pc, npc and steps
};

/// The parts of a text between semicolons.
inline std::vector<std::string> split(const char *Text) {
  std::vector<std::string> Parts;
  std::istringstream Stream(Text);
  for (std::string Part; std::getline(Stream >> std::ws, Part, ';');)
    Parts.push_back(Part);
  return Parts;
}

class SparcV8Cases : public SparcV8 {
protected:
  using State = std::map<std::string, uint32_t>;

  /// Brings about the usual state, every register with a value of its own, and then another one.
  void prepare(const Case &C) {
    orvy_cpuReset(Cpu, ovRK_Cold);
    Length = 0;
    for (const std::string &Line : split(C.Code))
      place(Origin + 4 * Length++, {Line.c_str()});
    for (uint32_t Window = 0; Window < 8; ++Window)
      for (uint32_t Reg = 1; Reg < 24; ++Reg)
        orvy_sparcSetWindowedReg(Cpu, Window, Reg, 0xC0DE0000 | Window << 8 | Reg);
    for (uint32_t Word = 0; Word < Words; ++Word)
      Memory->poke(Data + 4 * Word, 0x81028304 + 0x11111111 * Word);
    setPsr(S | Et);
    orvy_sparcSetTbr(Cpu, TrapTable);
    orvy_cpuSetPc(Cpu, Origin);
    for (auto [Name, Value] : read(C.Before))
      put(Name, Value);
  }

  /// Runs a case and compares the whole state with the one expected.
  void check(const Case &C, orvy_CpuExitReason Reason = ovCER_Normal) {
    SCOPED_TRACE(testing::Message() << C.Code << " with " << C.Before);
    prepare(C);
    State Expected = state();
    Expected["steps"] += Length;
    Expected["pc"] = Origin + 4 * Length;
    Expected["npc"] = Origin + 4 * Length + 4;
    for (auto [Name, Value] : read(C.After))
      expect(Expected, Name, Value);
    EXPECT_EQ(Reason, step(Length));
    const State Found = state();
    for (auto [Name, Value] : Expected)
      EXPECT_EQ(Value, Found.at(Name)) << Name << ", found 0x" << std::hex << Found.at(Name);
  }

private:
  struct Field {
    const char *Name;
    unsigned Bit, Width;
  };
  static constexpr Field Fields[] = {{"impl", 24, 8}, {"icc", 20, 4}, {"rest", 12, 8},
                                     {"pil", 8, 4},   {"s", 7, 1},    {"ps", 6, 1},
                                     {"et", 5, 1},    {"cwp", 0, 5}};
  static constexpr uint32_t Words = 8; ///< from Data on

  static std::vector<std::pair<std::string, uint32_t>> read(const char *Text) {
    std::vector<std::pair<std::string, uint32_t>> Values;
    std::istringstream Items(Text);
    for (std::string Item; Items >> Item;) {
      size_t Equals = Item.find('=');
      Values.emplace_back(Item.substr(0, Equals), std::stoul(Item.substr(Equals + 1), nullptr, 16));
    }
    return Values;
  }

  static std::string word(uint32_t Address) {
    return (testing::Message() << "m" << std::hex << Address).GetString();
  }
  /// The ins of a window are the outs of the next one.
  static std::string registerName(uint32_t Window, uint32_t Reg) {
    if (Reg >= 24)
      return registerName((Window + 1) % 8, Reg - 16);
    return std::to_string(Reg < 8 ? 0 : Window) + "." + std::to_string(Reg);
  }

  State state() {
    State Now = {{"pc", pc()},
                 {"npc", npc()},
                 {"y", get("y")},
                 {"wim", orvy_sparcGetWim(Cpu)},
                 {"steps", steps()},
                 {"tbr", orvy_sparcGetTbr(Cpu)},
                 {"asr", orvy_sparcGetAsr(Cpu, 20)},
                 {"halted", orvy_getValueU8(Cpu, "halted", 0)}};
    for (const Field &F : Fields)
      Now[F.Name] = orvy_sparcGetPsr(Cpu) >> F.Bit & ((1u << F.Width) - 1);
    for (uint32_t Window = 0; Window < 8; ++Window)
      for (uint32_t Reg = 0; Reg < 24; ++Reg)
        Now[registerName(Window, Reg)] = orvy_sparcGetWindowedReg(Cpu, Window, Reg);
    for (uint32_t Address = Data; Address < Data + 4 * Words; Address += 4)
      Now[word(Address)] = Memory->peek(Address);
    return Now;
  }

  void put(const std::string &Name, uint32_t Value) {
    for (const Field &F : Fields)
      if (Name == F.Name) {
        uint32_t Mask = ((1u << F.Width) - 1) << F.Bit;
        return setPsr((orvy_sparcGetPsr(Cpu) & ~Mask) | Value << F.Bit);
      }
    if (Name == "wim")
      orvy_sparcSetWim(Cpu, Value);
    else if (Name == "npc")
      orvy_sparcSetNPc(Cpu, Value);
    else if (Name[0] == 'm')
      Memory->poke(uint32_t(std::stoul(Name.substr(1), nullptr, 16)), Value);
    else
      set(Name.c_str(), Value);
  }

  /// Registers are those of the window that is current by then. "trap" stands for all that a trap
  /// changes; one that is not of the only instruction needs pc and npc.
  void expect(State &Expected, const std::string &Name, uint32_t Value) {
    if (Name == "trap")
      expectTrap(Expected, Value);
    else if (Expected.count(Name))
      Expected[Name] = Value;
    else
      Expected[registerName(Expected["cwp"], uint32_t(table()->getRegId(Cpu, Name.c_str())))] =
          Value;
  }

  void expectTrap(State &Expected, uint32_t Number) {
    Expected["tbr"] = TrapTable | Number << 4;
    if (Length == 1) {
      Expected["pc"] = pc();
      Expected["npc"] = npc();
    }
    if (!Expected["et"]) {
      Expected["halted"] = 1;
      return;
    }
    Expected["et"] = 0;
    Expected["ps"] = std::exchange(Expected["s"], 1);
    Expected["cwp"] = (Expected["cwp"] + 7) % 8;
    expect(Expected, "l1", std::exchange(Expected["pc"], Expected["tbr"]));
    expect(Expected, "l2", std::exchange(Expected["npc"], Expected["tbr"] + 4));
  }

  uint32_t Length = 0; ///< of the code, in instructions
};

} // namespace sparc_tests

#endif
