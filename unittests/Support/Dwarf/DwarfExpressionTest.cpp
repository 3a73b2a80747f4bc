#include "orvy/Support/DwarfExpression.h"
#include "orvy/Support/BareMetalContext.h"
#include "orvy/Support/Orvy.h"

#include "Testing/LogCapture.h"
#include "Testing/Model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace orvy::dwarf;
using ::testing::ElementsAre;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr const char *Failed = "exception during dwarf expression evaluation\n";

/// Memory holds its address and one, register N holds 100 + N; 7 and large numbers are not known.
struct FakeTarget final : Context {
  Value getMemoryValue(uint64_t Address) override {
    return {static_cast<uint32_t>(Address + 1), this};
  }
  Value getMemoryValueSize(uint64_t, uint8_t) override { throw std::logic_error("not asked for"); }
  Value getMemorySpaceValue(uint64_t Address, uint64_t Space) override {
    return {Address << 8 | Space, this};
  }
  Value getMemorySpaceValueSize(uint64_t, uint64_t, uint8_t) override {
    throw std::logic_error("not asked for");
  }
  Value getRegisterValue(int Reg) override {
    if (Reg == 7 || Reg > 1000)
      return {Value::Undefined, 0, this};
    return {static_cast<uint32_t>(100 + Reg), this};
  }
  Value getTLSAddress(uint64_t Offset) override { return {Value::Memory, 0x7000 + Offset, this}; }
};

Bytes bytesOf(const char *Text) {
  Bytes Result;
  std::istringstream In(Text);
  for (unsigned Byte = 0; In >> std::hex >> Byte;)
    Result.push_back(static_cast<uint8_t>(Byte));
  return Result;
}

/// As "3:5" for a number and its type; "r" is a register, "m" memory, "u" undefined.
std::string textOf(const Value &Slot) {
  char Text[32];
  std::snprintf(Text, sizeof Text, "%lx:%u", Slot.getHeld().u64(), Slot.getHeld().getType());
  static constexpr const char *Kinds[] = {"u", "", "r", "m"};
  return std::string(Kinds[Slot.getType()]) + Text;
}

struct Evaluation {
  FakeTarget Target;
  ExpressionVM VM;
  std::string Errors;
  uint64_t Object = 0x500, Cfa = 0x600, FrameBase = 0x100;

  void run(const Bytes &Expr) {
    testing::internal::CaptureStderr();
    VM.runExpr(&Target, Expr, 0, Expr.size(), &Object, &Cfa, &FrameBase);
    Errors = testing::internal::GetCapturedStderr();
  }

  void runBare(const Bytes &Expr) {
    testing::internal::CaptureStderr();
    VM.runExpr(nullptr, Expr, 0, Expr.size(), nullptr, nullptr, nullptr);
    Errors = testing::internal::GetCapturedStderr();
  }

  /// The values, the top first.
  std::string takeStack() {
    std::string Text;
    for (Value Top = VM.result(); Top.getType() != Value::Undefined; Top = VM.result()) {
      Text += (Text.empty() ? "" : " ") + textOf(Top);
      VM.runExpr(nullptr, {0x13}, 0, 1, nullptr, nullptr, nullptr);
    }
    return Text;
  }
};

} // namespace

TEST(DwarfExpression, OperationsLeaveTheStacksWorkedOutByHand) {
  const struct {
    const char *Name;
    const char *Expr;
    const char *Stack;
  } Cases[] = {
      {"addr", "03 40 00 01 02", "m40000102:6"},
      {"deref", "08 10 06", "11:4"},
      {"const1u", "08 ff", "ff:0"},
      {"const1s", "09 ff", "ffffffffffffffff:1"},
      {"const2u", "0a 80 01", "8001:2"},
      {"const2s", "0b 80 01", "ffffffffffff8001:3"},
      {"const4u", "0c 80 00 00 01", "80000001:4"},
      {"const4s", "0d 80 00 00 01", "ffffffff80000001:5"},
      {"const8u", "0e 80 00 00 00 00 00 00 01", "8000000000000001:6"},
      {"const8s", "0f 80 00 00 00 00 00 00 01", "8000000000000001:7"},
      {"constu", "10 e5 8e 26", "98765:6"},
      {"consts", "11 80 7f", "ffffffffffffff80:7"},
      {"dup", "31 12", "1:5 1:5"},
      {"drop", "31 32 13", "1:5"},
      {"over", "31 32 14", "1:5 2:5 1:5"},
      {"pick", "31 32 33 15 02", "1:5 3:5 2:5 1:5"},
      {"swap", "31 50 16", "1:5 r0:5"},
      {"rot", "31 32 33 17", "2:5 1:5 3:5"},
      {"abs", "09 fb 19", "5:1"},
      {"abs, lowest", "0f 80 00 00 00 00 00 00 00 19", "8000000000000000:7"},
      {"and", "3c 3a 1a", "8:6"},
      {"div", "08 64 37 1b", "e:6"},
      {"div, unsigned", "09 ff 32 1b", "7fffffffffffffff:6"},
      {"minus", "33 31 1c", "2:6"},
      {"minus, below 0", "31 33 1c", "fffffffffffffffe:6"},
      {"mod", "08 64 37 1d", "2:6"},
      {"mul", "09 ff 33 1e", "fffffffffffffffd:6"},
      {"neg", "33 1f", "fffffffffffffffd:6"},
      {"not", "33 20", "fffffffffffffffc:6"},
      {"or", "3c 3a 21", "e:6"},
      {"plus", "09 ff 08 ff 22", "fe:6"},
      {"plus_uconst", "31 23 e5 8e 26", "98766:5"},
      {"shl", "31 34 24", "10:6"},
      {"shl by 65", "31 08 41 24", "2:6"},
      {"shr", "09 80 31 25", "7fffffffffffffc0:1"},
      {"shra", "09 80 31 26", "ffffffffffffffc0:1"},
      {"shra, unsigned", "0e 80 00 00 00 00 00 00 00 4f 26", "ffffffff00000000:6"},
      {"xor", "3c 3a 27", "6:6"},
      {"bra, taken", "31 28 00 01 32 33", "3:5"},
      {"bra, not taken", "30 28 7f ff 33", "3:5"},
      {"eq", "09 ff 30 29", "0:4"},
      {"eq, any type", "09 01 31 29", "1:4"},
      {"ge", "09 ff 30 2a", "0:4"},
      {"gt", "30 09 ff 2b", "1:4"},
      {"le", "31 31 2c", "1:4"},
      {"lt", "09 ff 30 2d", "1:4"},
      {"ne", "09 ff 30 2e", "1:4"},
      {"skip", "2f 00 01 32 33", "3:5"},
      {"lit0, lit31", "30 4f", "1f:5 0:5"},
      {"reg0, reg31", "50 6f", "r1f:5 r0:5"},
      {"breg2", "72 08", "m6e:6"},
      {"breg31", "8f 78", "m7b:6"},
      {"regx", "90 80 01", "r80:6"},
      {"fbreg", "91 78", "mf8:6"},
      {"bregx", "92 02 78", "m5e:6"},
      {"object address", "97", "m500:6"},
      {"TLS address", "35 9b", "m7005:6"},
      {"call_frame_cfa", "9c", "m600:6"},
      {"implicit, 1", "9e 01 ff", "ff:0"},
      {"implicit, 2", "9e 02 01 02", "102:2"},
      {"implicit, 4", "9e 04 01 02 03 04", "1020304:4"},
      {"implicit, 8", "9e 08 01 02 03 04 05 06 07 08", "102030405060708:6"},
      {"nothing", "31 00 01 02 04 05 07 96 9f e0 ff", "1:5"},
  };
  for (const auto &[Name, Expr, Stack] : Cases) {
    Evaluation E;
    E.run(bytesOf(Expr));
    EXPECT_EQ(E.Errors, "") << Name;
    EXPECT_EQ(E.takeStack(), Stack) << Name;
  }
}

TEST(DwarfExpression, WhatCannotGoOnEndsTheEvaluationAndTellsWhy) {
  orvy_initConfigDirs();
  orvy_initSupportLib();
  orvy_logSetLevel(ovLOG_Debug);
  const struct {
    const char *Expr;
    const char *Stack;
    const char *Why; ///< null for a failure without text
  } Cases[] = {
      {"03 00 00 00 01 06", "", nullptr},
      {"50 31 22", "r0:5", nullptr},
      {"31 50 22", "1:5", nullptr},
      {"77 00", "", nullptr},
      {"92 ff ff ff ff 1f 00", "", nullptr},
      {"31 28 7f ff", "", nullptr},
      {"2f 00 00", "", nullptr},
      {"2f ff fc", "", nullptr},
      {"31 0c 01", "1:5", "read past the end of a section"},
      {"13", "", "dwarf stack has too few values"},
      {"31 14", "1:5", "dwarf stack has too few values"},
      {"31 15 01", "1:5", "dwarf stack has too few values"},
      {"31 16", "1:5", "dwarf stack has too few values"},
      {"31 32 17", "2:5 1:5", "dwarf stack has too few values"},
      {"31 22", "", "dwarf stack has too few values"},
      {"19", "", "dwarf stack has too few values"},
      {"93 04", "", "dwarf stack has too few values"},
      {"32 30 1b", "2:5", "division by zero"},
      {"32 30 1d", "2:5", "division by zero"},
      {"31 94 01", "1:5", "deref size not supported"},
      {"31 95 01", "1:5", "xderef size not supported"},
      {"98 00 00", "", "dwarf calls not supported"},
      {"99 00 00 00 00", "", "dwarf calls not supported"},
      {"9a 00 00 00 00", "", "dwarf calls not supported"},
      {"31 9d 01 00", "1:5", "bit pieces not supported yet"},
      {"9e 00", "", "invalid data size"},
      {"9e 03 01 02 03", "", "invalid data size"},
      {"9e 09 01 02 03", "", "Data.size() <= 8"},
      {"31 93 ff ff ff 7f", "1:5", "dwarf pieces too large"},
      {"31 2f ff fd", "1:5", "dwarf expression does not end"},
  };
  for (const auto &[Expr, Stack, Why] : Cases) {
    orvy::testing::LogCapture Log;
    Evaluation E;
    E.run(bytesOf(Expr));
    EXPECT_EQ(E.Errors, Failed) << Expr;
    EXPECT_EQ(Why ? Log.count(Why) : static_cast<int>(Log.all().empty()), 1) << Expr;
    EXPECT_EQ(E.takeStack(), Stack) << Expr;
    EXPECT_TRUE(E.VM.getPieces().empty()) << Expr;
  }
  orvy_logSetLevel(ovLOG_Info);
}

TEST(DwarfExpression, MissingInputsAndTargetEndTheEvaluation) {
  for (const char *Expr : {"06", "70 00", "91 00", "92 01 00", "97", "9b", "9c", "31 18"}) {
    Evaluation E;
    E.runBare({0x32, 0x50});
    E.runBare({0x32});
    E.runBare(bytesOf(Expr));
    EXPECT_EQ(E.Errors, Failed) << Expr;
  }
  Evaluation E; // a reference without target is not known
  E.runBare({0x50});
  EXPECT_EQ(textOf(E.VM.result().getReferredValue()), "u0:5");
}

TEST(DwarfExpression, RunsAndStacksAreBounded) {
  Evaluation E;
  E.run({0x31, 0x2f, 0xff, 0xfc}); // a number for each round
  EXPECT_EQ(E.Errors, Failed);
  std::string Stack = E.takeStack();
  EXPECT_EQ(std::count(Stack.begin(), Stack.end(), ' '), 4095);
}

TEST(DwarfExpression, RunsSlicesAndSharesTheStack) {
  Evaluation E;
  const Bytes Expr = {0x31, 0x32, 0x2f, 0, 1, 0x33, 0x34, 0x35};
  EXPECT_THROW(E.VM.runExpr(nullptr, Expr, 8, 0, nullptr, nullptr, nullptr), int);
  EXPECT_THROW(E.VM.runExpr(nullptr, {}, 0, 0, nullptr, nullptr, nullptr), int);
  testing::internal::CaptureStderr();
  E.VM.runExpr(nullptr, Expr, 7, 0, nullptr, nullptr, nullptr);
  EXPECT_EQ(textOf(E.VM.result()), "u0:5");
  E.VM.runExpr(nullptr, Expr, 1, 1, nullptr, nullptr, nullptr);
  E.VM.runExpr(nullptr, Expr, 2, 3, nullptr, nullptr, nullptr); // leaves the slice, and ends
  E.VM.runExpr(nullptr, Expr, 7, 1, nullptr, nullptr, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  testing::internal::CaptureStderr();
  E.VM.runExpr(nullptr, Expr, 1, 8, nullptr, nullptr, nullptr);
  E.VM.runExpr(nullptr, Expr, 1, SIZE_MAX, nullptr, nullptr, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(Failed) + Failed);
  EXPECT_EQ(E.takeStack(), "5:5 2:5");
  E.run({0x31});
  E.VM.reset();
  EXPECT_EQ(E.takeStack(), "");
}

TEST(DwarfExpression, ReadsOtherSpacesWithAText) {
  Evaluation E;
  E.run({0x32, 0x35, 0x18});
  EXPECT_EQ(E.Errors, "DW_OP_xderef not supported\n");
  EXPECT_EQ(E.takeStack(), "502:6");
}

TEST(DwarfExpression, CollectsPiecesMostSignificantByteFirst) {
  Evaluation E;
  E.run({0x0c, 0x11, 0x22, 0x33, 0x44, 0x93, 4, 0x93, 2, 0x93, 0});
  E.run({0x55, 0x93, 1}); // register 5
  E.run({0x03, 0, 0, 1, 0, 0x93, 2});
  E.VM.reset();
  EXPECT_THAT(E.VM.getPieces(), ElementsAre(0x11, 0x22, 0x33, 0x44, 0x33, 0x44, 105, 1, 1));
  Evaluation Wide; // shift counts come round after 64
  Wide.run({0x0c, 0x11, 0x22, 0x33, 0x44, 0x93, 10});
  EXPECT_THAT(Wide.VM.getPieces(), ElementsAre(0x33, 0x44, 0, 0, 0, 0, 0x11, 0x22, 0x33, 0x44));
}

TEST(DwarfScalar, KeepsTheTypeAndWidensBySign) {
  Scalar S;
  const auto Shown = [&] { return textOf(Value(S, nullptr)); };
  S = true;
  EXPECT_EQ(Shown(), "1:4");
  S = int8_t{-2};
  EXPECT_EQ(Shown(), "fffffffffffffffe:1");
  EXPECT_EQ(Scalar(int64_t{0x1234567887654321}).u16(), 0x4321);
  EXPECT_EQ(S.u8(), 0xfe);
  EXPECT_EQ(S.i16(), -2);
  EXPECT_EQ(S.u32(), 0xfffffffeu);
  S >>= Scalar(65);
  EXPECT_EQ(Shown(), "ffffffffffffffff:1");
  S = uint8_t{0x80};
  S <<= Scalar(1);
  EXPECT_EQ(Shown(), "100:0");
  S >>= Scalar(4);
  S += Scalar(-1);
  S &= Scalar(7);
  EXPECT_EQ(Shown(), "7:0");
  S = 1.5f; // held as a double, which nothing shifts
  S >>= Scalar(8);
  EXPECT_EQ(Shown(), "3ff8000000000000:8");
  S = -2.0;
  EXPECT_EQ(Shown(), "c000000000000000:9");
  EXPECT_TRUE((Scalar(1u) == Scalar(int8_t{1})).boolean());
  EXPECT_EQ(textOf(Value(Scalar(1) >> Scalar(64), nullptr)), "1:6");
}

namespace {

/// A processor with numbers that tell where they come from, of 64 bits where 32 are asked for.
void *createCpu(const char *Name, bool Tables) {
  static CpuIface Cpu = [] {
    CpuIface Table{};
    Table.getGpr = [](void *, uint32_t Reg) -> uint64_t { return 0xff00001000 + Reg; };
    Table.getFpr32 = [](void *, uint32_t Reg) { return 0x2000 + Reg; };
    return Table;
  }();
  static SparcIface Sparc = [] {
    SparcIface Table{};
    Table.getAsr = [](void *, uint32_t Asr) -> uint64_t { return 0xff00003000 + Asr; };
    return Table;
  }();
  static MemoryIface Memory = {
      [](void *, void *Data, uint64_t Addr, uint32_t Len, uint32_t Swap) -> uint32_t {
        if (Addr == 0xbad)
          return 0;
        std::memset(Data, static_cast<int>(Swap + 1), Len);
        return Len;
      },
      nullptr};
  orvy_Class *Cls = orvy_registerClass(
      Name, [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, 256); },
      std::free);
  if (Tables) {
    orvy_addInterface(Cls, "CpuIface", "CpuIface", &Cpu, 0, "");
    orvy_addInterface(Cls, "SparcIface", "SparcIface", &Sparc, 0, "");
    orvy_addInterface(Cls, "MemoryIface", "MemoryIface", &Memory, 0, "");
  }
  return orvy_createObject(Name, Name, nullptr);
}

std::vector<std::string> registersOf(Context &Ctxt) {
  std::vector<std::string> Texts;
  for (int Reg : {0, 31, 32, 63, 64, 65, -1})
    Texts.push_back(textOf(Ctxt.getRegisterValue(Reg)));
  return Texts;
}

} // namespace

TEST(BareMetalContext, ReadsRegistersAndMemoryOfTheProcessor) {
  orvy_initConfigDirs();
  orvy_initSupportLib();
  orvy::testing::CleanSystem Clean;
  BareMetalContext Ctxt(createCpu("cpu", true));
  EXPECT_THAT(registersOf(Ctxt),
              ElementsAre("1000:4", "101f:4", "2000:4", "201f:4", "3000:4", "u0:5", "u0:5"));
  EXPECT_EQ(textOf(Ctxt.getMemoryValue(4)), "3030303:4");
  EXPECT_EQ(textOf(Ctxt.getMemorySpaceValue(4, 0)), "3030303:4");
  EXPECT_EQ(textOf(Ctxt.getMemoryValueSize(4, 1)), "1:6");
  EXPECT_EQ(textOf(Ctxt.getMemoryValueSize(4, 8)), "404040404040404:6");
  EXPECT_EQ(textOf(Ctxt.getMemorySpaceValueSize(4, 0, 2)), "202:6");
  for (uint8_t Size : {0, 3, 9, 16})
    EXPECT_EQ(textOf(Ctxt.getMemoryValueSize(4, Size)), "u0:5");
  EXPECT_EQ(textOf(Ctxt.getMemoryValue(0xbad)), "u0:5");
  EXPECT_THROW(Ctxt.getMemorySpaceValue(4, 1), std::runtime_error);
  EXPECT_THROW(Ctxt.getMemorySpaceValueSize(4, 1, 4), std::runtime_error);
  EXPECT_THROW(Ctxt.getTLSAddress(4), std::runtime_error);
}

TEST(BareMetalContext, NothingIsKnownOfObjectsWithoutTables) {
  orvy_initConfigDirs();
  orvy_initSupportLib();
  orvy::testing::CleanSystem Clean;
  for (void *Obj : {static_cast<void *>(nullptr), createCpu("plain", false)}) {
    BareMetalContext Ctxt(Obj);
    EXPECT_THAT(registersOf(Ctxt), testing::Each("u0:5"));
    EXPECT_EQ(textOf(Ctxt.getMemoryValue(4)), "u0:5");
  }
}

TEST(DwarfProcess, ForwardsWordsAndRegistersAndServesNothingElse) {
  orvy_initConfigDirs();
  orvy_initSupportLib();
  orvy::testing::CleanSystem Clean;
  Target Cpu(createCpu("processCpu", true));
  Process Program(&Cpu);
  EXPECT_THAT(registersOf(Program), testing::Contains("3000:4"));
  EXPECT_EQ(textOf(Program.getMemoryValue(4)), "3030303:4");
  EXPECT_THROW(Program.getMemoryValueSize(4, 4), std::runtime_error);
  EXPECT_THROW(Program.getMemorySpaceValue(4, 0), std::runtime_error);
  EXPECT_THROW(Program.getMemorySpaceValueSize(4, 0, 4), std::runtime_error);
  EXPECT_THROW(Program.getTLSAddress(4), std::runtime_error);
}
