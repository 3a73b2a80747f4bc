// Break points that a host program sets, met by a compiled program on the reference processor.

#include "models/Board.h"

#include "Testing/LogCapture.h"
#include "orvy/Support/Debugging.h"

#include <gmock/gmock.h>

using namespace orvy::debugging;
using namespace orvy::testing;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr uint64_t Counter = 0x40004000, Lock = 0x40004004;
constexpr uint64_t LoadOfCounter = 0x40001038, StoreOfCounter = 0x40001048, SwapOfLock = 0x40001118;
constexpr uint64_t Advance = 0x4000101c, Turns = 0x400010c0;

class BreakPoints : public testing::Test {
protected:
  explicit BreakPoints(unsigned CpuCount = 1) : B(CpuCount) {
    orvy_logSetLevel(ovLOG_Info);
    uint64_t Start = 0;
    EXPECT_EQ(orvy_loadElfImageAndStartAddr(B.Space, pathOf("orbit").c_str(), &Start), 0);
    for (void *Cpu : B.Cpus) {
      orvy_cpuReset(Cpu, ovRK_Cold);
      orvy_cpuSetPc(Cpu, Start);
    }
    Log.clear();
  }
  ~BreakPoints() override {
    for (const char *Image : {"orbit", "orbit-symbols"})
      Manager::getDebuggingManager().dispose(pathOf(Image));
    Manager::ResumeWatchpoints = false;
    orvy_logSetLevel(ovLOG_Warning);
  }

  static std::string pathOf(const std::string &Image) {
    return ORVY_SOURCE_ROOT "/test/debugging/" + Image + ".elf";
  }
  Ctxt &context(const std::string &Image = "orbit-symbols", Ctxt::Kind Kind = Ctxt::Kind::Symtab) {
    const std::string Path = pathOf(Image);
    return Manager::getDebuggingManager().add(Path,
                                              std::make_unique<Ctxt>(B.Space, Path.c_str(), Kind));
  }
  orvy_CpuExitReason run() {
    return static_cast<orvy_CpuExitReason>(orvy_simRunNanos(100'000'000));
  }
  uint64_t pc(unsigned Cpu = 0) { return orvy_cpuGetPc(B.Cpus[Cpu]); }
  /// What is told of processors, without time and levels.
  std::vector<std::string> told() {
    std::vector<std::string> Lines;
    for (const std::string &Line : Log.take())
      if (const size_t From = Line.find("cpu"); From != std::string::npos)
        Lines.push_back(Line.substr(From));
    return Lines;
  }

  Board B;
  LogCapture Log;
};

struct Watch {
  BreakPoint::Kind Kind;
  uint64_t Addr;
  orvy_CpuExitReason Reason;
  uint64_t At; ///< the instruction that is stopped
};

void PrintTo(const Watch &W, std::ostream *Out) {
  *Out << "kind " << W.Kind;
}

class WatchPoints : public BreakPoints, public testing::WithParamInterface<Watch> {};

TEST_P(WatchPoints, StopBeforeEachAccess) {
  context().Breaks.createHandler(GetParam().Kind, GetParam().Addr);
  for (uint32_t Turn = 0; Turn < 3; ++Turn) {
    ASSERT_EQ(run(), GetParam().Reason);
    EXPECT_EQ(pc(), GetParam().At);
    EXPECT_EQ(B.word(Counter), Turn + (GetParam().At == SwapOfLock)); // nothing has been done yet
  }
  EXPECT_EQ(Log.count("Breakpoint 1 hit in "), 3);
}

TEST_P(WatchPoints, ResumeAsTold) {
  BreakPoint *Set = context().Breaks.createHandler(GetParam().Kind, GetParam().Addr);
  Set->Action = ovBA_Resume;
  EXPECT_EQ(run(), ovCER_Normal);
  EXPECT_EQ(B.word(Counter), 30u);
  EXPECT_EQ(Log.count("Breakpoint 1 hit in "), 30);
}

TEST_P(WatchPoints, ResumeByThemselvesWhereAllDo) {
  BreakPoint *Set = context().Breaks.createHandler(GetParam().Kind, GetParam().Addr);
  Manager::ResumeWatchpoints = true;
  Set->Message = false;
  context("orbit").Breaks.createHandler(BreakPoint::Fetch, Turns);
  EXPECT_EQ(run(), ovCER_Break); // fetches stop all the same
  EXPECT_EQ(pc(), Turns);
  EXPECT_EQ(Log.count("Breakpoint 1 hit in "), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, WatchPoints,
    testing::Values(Watch{BreakPoint::Read, Counter, ovCER_BreakRead, LoadOfCounter},
                    Watch{BreakPoint::Write, Counter, ovCER_BreakWrite, StoreOfCounter},
                    Watch{BreakPoint::Exchange, Lock, ovCER_BreakWrite, SwapOfLock},
                    Watch{BreakPoint::Read, Lock, ovCER_BreakWrite, SwapOfLock},
                    Watch{BreakPoint::Write, Lock, ovCER_BreakWrite, SwapOfLock}));

TEST_F(BreakPoints, StopAccessesThatCoverTheAddressPartly) {
  context().Breaks.createHandler(BreakPoint::Write, Counter + 3);
  EXPECT_EQ(run(), ovCER_BreakWrite);
  EXPECT_EQ(pc(), StoreOfCounter);
}

TEST_F(BreakPoints, OfSeveralContextsAreAllTold) {
  context().Breaks.createHandler(BreakPoint::Fetch, Advance);
  BreakPoint *Quiet =
      context("orbit", Ctxt::Kind::Dwarf).Breaks.createHandler(BreakPoint::Fetch, Advance);
  EXPECT_EQ(run(), ovCER_Break);
  EXPECT_THAT(told(), ElementsAre("cpu0 : Breakpoint 1 hit in " + pathOf("orbit-symbols") +
                                      ":advance (VA = 0x4000101c PA = 0x4000101c)",
                                  "cpu0 : Breakpoint 1 hit at /flight/program/orbit.c:7 (advance) "
                                  "(VA = 0x4000101c PA = 0x4000101c)"));
  Quiet->Action = ovBA_Resume; // one that stops is enough
  EXPECT_EQ(run(), ovCER_Break);
  Manager::getDebuggingManager().dispose(pathOf("orbit-symbols"));
  EXPECT_EQ(run(), ovCER_Normal);
}

TEST_F(BreakPoints, HoldWhenTheCodeIsWrittenAndTheirPageIsKnownAlready) {
  ASSERT_EQ(orvy_simStep(0, 40), ovCER_Normal); // the page has been decoded
  Ctxt &C = context();
  C.Breaks.createHandler(BreakPoint::Fetch, Turns);
  EXPECT_EQ(run(), ovCER_Break);
  B.setWord(Turns, B.word(Turns));
  EXPECT_EQ(run(), ovCER_Break);
  EXPECT_EQ(pc(), Turns);
  orvy_memoryClearAttr(B.Space, Turns, 1, ovMA_FetchHook);
  EXPECT_EQ(run(), ovCER_Normal);
}

class BreakPointsOfTwo : public BreakPoints {
protected:
  BreakPointsOfTwo() : BreakPoints(2) {}
};

TEST_F(BreakPointsOfTwo, StopEachProcessorByItself) {
  context().Breaks.createHandler(BreakPoint::Fetch, Advance);
  for (unsigned Stop = 0; Stop < 4; ++Stop) {
    ASSERT_EQ(run(), ovCER_Break);
    const std::vector<std::string> Lines = told();
    ASSERT_EQ(Lines.size(), 1u);
    EXPECT_EQ(pc(Lines[0][3] - '0'), Advance);
  }
}

TEST(BreakManagers, NumberWhatTheyMake) {
  loadModels();
  Ctxt C(nullptr, (ORVY_SOURCE_ROOT "/test/debugging/orbit.elf"), Ctxt::Kind::Symtab);
  BreakManager &M = C.Breaks;
  BreakPoint *Fetch = M.createHandler(BreakPoint::Fetch, 0x10);
  BreakPoint *Read = M.createHandler(BreakPoint::Read, 0x10);
  EXPECT_EQ(Fetch->Id, 1u);
  EXPECT_EQ(Read->Id, 1u);
  EXPECT_EQ(M.createHandler(BreakPoint::Exchange, 0x10)->Id, 2u);
  EXPECT_EQ(M.createHandler(BreakPoint::Write, 0x20)->Id, 3u);
  EXPECT_EQ(M.createHandler(BreakPoint::Fetch, 0x10), Fetch);
  EXPECT_EQ(M.createHandler(BreakPoint::Fetch, 0x14)->Id, 2u);
  EXPECT_EQ(M.createHandler(static_cast<BreakPoint::Kind>(4), 0), nullptr);
  EXPECT_EQ(M.getReadHandlerForAddress(0x10), Read);
  EXPECT_EQ(M.getWriteHandlerForAddress(0x10), nullptr);
  EXPECT_EQ(M.getBreakForID(1), Fetch);
  EXPECT_EQ(M.getBreakForID(3), nullptr); // only those for fetches are found by number

  LogCapture Log;
  orvy_MemTransaction Mt = {};
  Mt.Pa = 0x11;
  EXPECT_EQ(M.handleFetch(nullptr, &Mt), ovBA_None);
  EXPECT_THAT(Log.all(), IsEmpty());
  Mt.Pa = 0x10;
  orvy_logSetLevel(ovLOG_Info);
  EXPECT_EQ(M.handleExchange(nullptr, &Mt), ovBA_Stop);
  orvy_logSetLevel(ovLOG_Warning);
  EXPECT_EQ(Log.count("Breakpoint 2 hit in <unknown> (VA = 0x00000000 PA = 0x00000010)"), 1);
}

TEST(Contexts, FindFunctionsAndDataOfTheirSymbols) {
  Ctxt C(nullptr, (ORVY_SOURCE_ROOT "/test/debugging/orbit.elf"), Ctxt::Kind::Symtab);
  EXPECT_EQ(C.getFuncRange("main"), std::make_pair(0x4000106cul, 0x54ul));
  EXPECT_STREQ(C.getFunc("orbit.c::advance")->getFile(), "orbit.c");
  EXPECT_STREQ(C.getFunc(Turns + 8)->getName(), "turns");
  EXPECT_EQ(C.getObj("lock")->getRange(), std::make_pair(0x40004004ul, 4ul));
  for (const char *Missed : {"advance", "wrap.c::advance", "counter", "::", ""})
    EXPECT_FALSE(C.getFunc(Missed)) << Missed;
  EXPECT_FALSE(C.getFunc(uint64_t{0x10}));
  EXPECT_FALSE(C.getObj("main"));
  EXPECT_TRUE(C.getRanges().contains({0x40004000, 0x40004008}));

  Ctxt Dwarf(nullptr, (ORVY_SOURCE_ROOT "/test/debugging/orbit.elf"), Ctxt::Kind::Dwarf);
  EXPECT_FALSE(Dwarf.getFunc("main"));
  testing::internal::CaptureStderr();
  Dwarf.setBreak("main");
  Dwarf.setBreak("orbit.c:7");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "set break for main at address: 4000106c\n");
  EXPECT_THROW(
      Ctxt(nullptr, (ORVY_SOURCE_ROOT "/test/debugging/orbit-symbols.elf"), Ctxt::Kind::Dwarf),
      std::invalid_argument);
}

struct PlaceText {
  const char *Text;
  orvy_BreakLocKind Kind;
  int64_t Number; ///< Value or Line
};

TEST(BreakLocation, IsTakenApart) {
  const PlaceText Texts[] = {
      {nullptr, ovBL_Invalid, 0},     {"12", ovBL_Line, 12},       {"0x12", ovBL_Line, 18},
      {"012", ovBL_Line, 10},         {"12a", ovBL_Invalid, 0},    {"+3", ovBL_Relative, 3},
      {"-0x10", ovBL_Relative, -16},  {"+", ovBL_Invalid, 0},      {"-x", ovBL_Invalid, 0},
      {"main", ovBL_Function, 0},     {"a.c:7", ovBL_FileLine, 7}, {"a.c:0x10", ovBL_FileLine, 16},
      {"a.c:", ovBL_Invalid, 0},      {":7", ovBL_Invalid, 0},     {"a.c:7x", ovBL_Invalid, 0},
      {"a.c:x", ovBL_Invalid, 0},     {"12:7", ovBL_Invalid, 0},   {"a.c:7:8", ovBL_Invalid, 0},
      {"/d/a.c:7", ovBL_FileLine, 7},
  };
  for (const PlaceText &T : Texts) {
    orvy_BreakLoc Loc;
    orvy_debugParseBreakStr(&Loc, T.Text);
    ASSERT_EQ(Loc.Kind, T.Kind) << T.Text;
    if (Loc.Kind == ovBL_FileLine) {
      EXPECT_EQ(Loc.Line, T.Number) << T.Text;
      EXPECT_EQ(Loc.Start, T.Text);
      EXPECT_EQ(*Loc.End, 'c');
    } else if (Loc.Kind == ovBL_Function) {
      EXPECT_EQ(Loc.Start, T.Text);
    } else if (Loc.Kind != ovBL_Invalid) {
      EXPECT_EQ(Loc.Value, T.Number) << T.Text;
    }
  }
}

} // namespace
