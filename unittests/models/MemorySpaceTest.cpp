#include "models/Board.h"

#include "Testing/LogCapture.h"
#include "Testing/Seed.h"

#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <random>
#include <utility>

using namespace orvy::testing;

namespace {

constexpr auto Read = orvy_memoryReadTransaction, Write = orvy_memoryWriteTransaction,
               Exchange = orvy_memoryExchangeTransaction, Fetch = orvy_memoryFetchTransaction;

class MemoryModels : public ::testing::Test {
protected:
  MemoryModels() {
    loadModels();
    Space = make("MemorySpace", "space");
    Ram = make("Ram", "ram", "size", 0x10000);
    Rom = make("Rom", "rom", "size", 0x2000);
    EXPECT_EQ(orvy_memoryMap(Space, 0x40000000, 0x10000, Ram, 0), 0u);
    EXPECT_EQ(orvy_memoryMap(Space, 0, 0x2000, Rom, 0), 0u);
  }
  ~MemoryModels() override { orvy_objsysClearObjects(); }

  orvy_MemTransaction at(uint64_t Pa, uint8_t Size, uint64_t Value = 0) {
    orvy_MemTransaction Mt{};
    Mt.Pa = Pa;
    Mt.Size = Size;
    Mt.Value = Value;
    return Mt;
  }
  /// Makes an access and tells what became of it.
  bool access(int (*Access)(void *, orvy_MemTransaction *), uint64_t Pa, uint8_t Size,
              uint64_t Value = 0) {
    Last = at(Pa, Size, Value);
    return Access(Space, &Last) == 0;
  }
  bool write(uint64_t Pa, uint8_t Size, uint64_t Value) { return access(Write, Pa, Size, Value); }
  bool read(uint64_t Pa, uint8_t Size) { return access(Read, Pa, Size); }
  bool fetch(uint64_t Pa) { return access(Fetch, Pa, 2); }

  LogCapture Log;
  void *Space, *Ram, *Rom;
  orvy_MemTransaction Last{};
};

TEST_F(MemoryModels, KeepBytesInTargetOrderAndFailWhatDoesNotFit) {
  const struct {
    int (*Access)(void *, orvy_MemTransaction *);
    uint64_t Pa;
    uint8_t Size;
    bool IsDone;
    uint64_t Value, After; ///< in the transaction, before it and if it is done
  } Rows[] = {
      {Write, 0x40000008, 3, true, 0x1122334455667788, 0x1122334455667788},
      {Read, 0x40000008, 0, true, 0, 0x11},
      {Read, 0x4000000f, 0, true, 0, 0x88},
      {Read, 0x4000000a, 1, true, 0, 0x3344},
      {Read, 0x4000000c, 2, true, 0, 0x55667788},
      {Exchange, 0x4000000c, 2, true, 9, 0x55667788},
      {Read, 0x40000008, 3, true, 0, 0x1122334400000009},
      {Fetch, 0x40000008, 2, true, 0, 0x11223344},
      {Read, 0x4000fff8, 3, true, 0, 0},
      {Read, 0x40010000, 0, false}, // past the end
      {Read, 0x30000000, 2, false}, // nothing there
      {Read, UINT64_MAX, 0, false},
      {Read, 0x40000002, 2, false}, // not aligned
      {Read, 0x40000000, 4, false}, // no such size
      {Write, 0x10, 2, false},      // a store to ROM
  };
  for (const auto &Row : Rows) {
    Last = at(Row.Pa, Row.Size, Row.Value);
    EXPECT_EQ(Row.Access(Space, &Last), !Row.IsDone) << Row.Pa;
    EXPECT_EQ(!(Last.Flags & ovMF_Failed), Row.IsDone);
    EXPECT_EQ(Last.Pa, Row.Pa);
    if (Row.IsDone) {
      EXPECT_EQ(Last.Value, Row.After) << Row.Pa;
    }
  }
  uint16_t Halves[4];
  EXPECT_EQ(orvy_memoryRead(Space, Halves, 0x40000008, 8, 1), 8u);
  EXPECT_THAT(Halves, testing::ElementsAre(0x1122, 0x3344, 0, 9));
  uint64_t Double = 0x0102030405060708;
  EXPECT_EQ(orvy_memoryWrite(Space, 0x40000010, &Double, 8, 3), 8u);
  EXPECT_TRUE(read(0x40000010, 0));
  EXPECT_EQ(Last.Value, 1u);
  EXPECT_EQ(orvy_memoryRead(Space, Halves, 0x4000fffc, 8, 0), 4u);
  EXPECT_EQ(orvy_memoryWrite(Space, 0x30000000, Halves, 8, 0), 0u);
  EXPECT_EQ(orvy_memoryRead(Space, Halves, 0x40000000, 8, 4), 0u);
}

TEST_F(MemoryModels, AreFilledByBlocksAndTouchOnlyWhatHoldsSomething) {
  uint32_t Word = 0xcafe0000;
  EXPECT_EQ(orvy_memoryWrite(Space, 0x10, &Word, 4, 2), 4u); // also a ROM
  EXPECT_TRUE(fetch(0x10));
  EXPECT_EQ(Last.Value, 0xcafe0000u);
  std::vector<uint8_t> Zeros(0x10000);
  orvy_memoryWrite(Space, 0x40000000, Zeros.data(), 0x10000, 0);
  EXPECT_EQ(Board::number(Ram, "touchedPages"), 0u);
  EXPECT_TRUE(write(0x40003000, 0, 7));
  EXPECT_EQ(Board::number(Ram, "touchedPages"), 1u);
}

TEST_F(MemoryModels, TakeTheirSizeOnce) {
  void *Empty = make("Ram", "empty");
  auto *Object = static_cast<ObjectIface *>(orvy_getInterface(Empty, "ObjectIface", 0));
  EXPECT_EQ(Object->checkSanity(Empty, 1), 1);
  EXPECT_EQ(Log.count("empty : the memory is empty"), 1);
  orvy_Propval Size{ovTY_U64, {}};
  Size.u64 = 0x3000;
  orvy_setValue(Empty, "size", Size, -1);
  EXPECT_EQ(Board::number(Empty, "size"), 0x3000u);
  write(0x40000000, 0, 1);
  orvy_setValue(Ram, "size", Size, -1);
  EXPECT_EQ(Board::number(Ram, "size"), 0x10000u);
  EXPECT_EQ(Log.count("the memory is in use"), 1);
  orvy_setValue(Empty, "size", orvy_Propval{.Typ = ovTY_String, .String = "1"}, -1);
  EXPECT_EQ(Board::number(Empty, "size"), 0x3000u) << "a text is not a size here";
}

TEST_F(MemoryModels, RejectMappingsThatCannotBe) {
  void *Other = make("Ram", "other", "size", 0x1000);
  const struct {
    uint64_t Addr, Len;
    void *Device;
    const char *Why;
  } Cases[] = {
      {0x4000ffff, 1, Other, "overlaps 'ram'"},
      {0x3fffffff, 2, Other, "overlaps 'ram'"},
      {0, UINT64_C(1) << 48, Other, "overlaps 'rom'"},
      {0x50000000, 0, Other, "the length is 0"},
      {UINT64_C(1) << 48, 1, Other, "beyond 48 bits"},
      {0x50000000, UINT64_MAX, Other, "beyond 48 bits"},
      {0x50000000, 4, orvy_objectForName("sim"), "no interface of type MemAccessIface"},
  };
  for (const auto &C : Cases) {
    EXPECT_EQ(orvy_memoryMap(Space, C.Addr, C.Len, C.Device, 0), UINT32_MAX) << C.Why;
    EXPECT_EQ(Log.count(C.Why), 1) << C.Why;
    Log.clear();
  }
  EXPECT_EQ(orvy_memoryMapNamedIface(Space, 0x50000000, 4, Other, "MemoryIface", 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryMapNamedIface(Space, 0x50000000, 4, Other, "MemAccessIface", 0), 0u);
  EXPECT_EQ(orvy_memoryMap(Space, (UINT64_C(1) << 48) - 0x1000, 0x1000, Other, 0), 0u);
}

TEST_F(MemoryModels, TakeANullSlotOfADeviceForAFailure) {
  static MemAccessIface Access = {nullptr, [](void *, orvy_MemTransaction *Mt) { Mt->Value = 5; },
                                  nullptr, nullptr};
  static MemoryIface Block = {[](void *, void *Data, uint64_t, uint32_t Len, uint32_t) {
                                std::memset(Data, 9, Len);
                                return Len;
                              },
                              nullptr};
  static IrqCtrlIface Wrong = {};
  orvy_Class *Cls = registerPlainClass("Partial");
  static MemAccessIface Array[2] = {{}, Access};
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &Access, 0, "");
  orvy_addInterface(Cls, "MemoryIface", "MemoryIface", &Block, 0, "");
  orvy_addInterfaceArray(Cls, "ports", "MemAccessIface", Array, 2, sizeof(Array[0]), "");
  void *Device = orvy_createObject("Partial", "partial", nullptr);
  ASSERT_EQ(orvy_memoryMap(Space, 0x80000000, 0x100, Device, 0), 0u);
  EXPECT_TRUE(read(0x80000000, 2));
  EXPECT_EQ(Last.Value, 5u);
  EXPECT_FALSE(write(0x80000000, 2, 1));
  EXPECT_FALSE(fetch(0x80000000));
  Last = at(0x80000000, 2);
  EXPECT_EQ(orvy_memoryExchangeTransaction(Space, &Last), 1);
  uint8_t Bytes[4] = {};
  EXPECT_EQ(orvy_memoryRead(Space, Bytes, 0x80000000, 4, 0), 4u);
  EXPECT_EQ(Bytes[3], 9);
  EXPECT_EQ(orvy_memoryWrite(Space, 0x80000000, Bytes, 4, 0), 0u);
  // Also one of an array, by its index.
  EXPECT_EQ(orvy_memoryMapNamedIface(Space, 0x80000200, 0x100, Device, "ports[1]", 0), 0u);
  EXPECT_TRUE(read(0x80000200, 2));
  EXPECT_FALSE(write(0x80000200, 2, 1));

  // A processor may also be connected to such a table itself.
  void *Cpu = make("SparcV8", "cpu");
  EXPECT_EQ(orvy_connect(Cpu, "memorySpace", Device, "MemAccessIface"), 0);
  EXPECT_EQ(orvy_cpuStep(Cpu, 1), 0) << "the fetch traps";

  // The name alone does not make a table what it is taken for.
  orvy_addInterface(Cls, "MemAccessIface", "IrqCtrlIface", &Wrong, 0, "");
  EXPECT_EQ(orvy_memoryMap(Space, 0x90000000, 0x100, Device, 0), UINT32_MAX);
  EXPECT_EQ(Log.count("cannot map 'partial': it has no interface of type MemAccessIface"), 1);
}

TEST_F(MemoryModels, CannotBeMappedIntoThemselves) {
  void *B = make("MemorySpace", "b"), *C = make("MemorySpace", "c");
  EXPECT_EQ(orvy_memoryMap(Space, 0x50000000, 0x100, Space, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryMapNamedIface(Space, 0x50000000, 0x100, Space, "MemAccessIface", 0),
            UINT32_MAX);
  EXPECT_EQ(orvy_memoryMap(Space, 0x60000000, 0x1000, B, 0), 0u);
  EXPECT_EQ(orvy_memoryMap(Space, 0x70000000, 0x1000, B, 0), 0u) << "twice is not a ring";
  EXPECT_EQ(orvy_memoryMap(B, 0, 0x1000, C, 0), 0u);
  EXPECT_EQ(orvy_memoryMap(C, 0, 0x1000, Space, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryMap(C, 0, 0x1000, B, 0), UINT32_MAX);
  EXPECT_EQ(Log.count("the spaces would lie in each other without end, or more than 32 deep"), 4);
  EXPECT_EQ(orvy_memoryMap(C, 0, 0x1000, Ram, 0), 0u);
  EXPECT_TRUE(write(0x60000010, 2, 77));
  EXPECT_TRUE(read(0x40000010, 2));
  EXPECT_EQ(Last.Value, 77u);

  // A chain that grows at either end comes to an end too; space has three levels.
  void *Outer = Space;
  for (int Level = 3; Level < 32; ++Level) {
    void *Next = make("MemorySpace", "o" + std::to_string(Level));
    ASSERT_EQ(orvy_memoryMap(Next, 0, 0x100000000, Outer, 0), 0u) << Level;
    Outer = Next;
  }
  EXPECT_EQ(orvy_memoryMap(make("MemorySpace", "far"), 0, 0x100000000, Outer, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryMap(C, 0x1000, 0x1000, make("MemorySpace", "near"), 0), UINT32_MAX);
  uint32_t Word = 0;
  EXPECT_EQ(orvy_memoryReadPhys32(Outer, 0x60000010, &Word), 0u);
  EXPECT_EQ(Word, 77u);
}

TEST_F(MemoryModels, RouteLikeATableOfRanges) {
  std::mt19937_64 Random(testSeed());
  struct Range {
    uint64_t Base, Len;
    uint32_t Mark;
  };
  std::vector<Range> Ranges;
  uint64_t Next = 0x100000000;
  for (uint32_t Index = 0; Index < 60; ++Index) {
    // From a few words to several pages, often side by side, at any word.
    uint64_t Len = 4 * (1 + Random() % (Random() % 4 ? 20 : 5000));
    Next += 4 * (Random() % 3);
    void *Device = make("Ram", "dev" + std::to_string(Index), "size", Len);
    ASSERT_EQ(orvy_memoryMap(Space, Next, Len, Device, 0), 0u);
    orvy_memoryWritePhys32(Device, 0, Index + 1);
    orvy_memoryWritePhys32(Device, Len - 4, Index + 1);
    Ranges.push_back({Next, Len, Index + 1});
    Next += Len;
  }
  for (const Range &R : Ranges) {
    EXPECT_TRUE(read(R.Base, 2));
    EXPECT_EQ(Last.Value, R.Mark);
    EXPECT_TRUE(read(R.Base + R.Len - 4, 2));
    EXPECT_EQ(Last.Value, R.Mark);
    bool Adjacent = std::any_of(Ranges.begin(), Ranges.end(),
                                [&](const Range &O) { return O.Base == R.Base + R.Len; });
    EXPECT_EQ(read(R.Base + R.Len, 2), Adjacent);
  }
  orvy_disposeObject(orvy_objectForName("dev7"));
  EXPECT_FALSE(read(Ranges[7].Base, 2));
  EXPECT_TRUE(read(Ranges[8].Base, 2));
}

struct Keeper {
  orvy_PageWatcher Base;
  bool Revoked = false;

  explicit Keeper(void *Page) : Base{} {
    Base.Revoked = [](orvy_PageWatcher *W) { reinterpret_cast<Keeper *>(W)->Revoked = true; };
    orvy_memPageWatch(static_cast<orvy_MemPage *>(Page), &Base);
  }
};

TEST_F(MemoryModels, HandOutPagesAndTakeThemBack) {
  ASSERT_TRUE(read(0x40001234 & ~3u, 2));
  ASSERT_NE(Last.Page, nullptr);
  auto *Page = static_cast<orvy_MemPage *>(Last.Page);
  Page->Data[0x10] = 0xab;
  read(0x40001010, 0);
  EXPECT_EQ(Last.Value, 0xabu);

  Keeper ByAttribute(Page);
  orvy_memorySetAttr(Space, 0x40001000, 4, ovMA_ReadHook);
  EXPECT_TRUE(ByAttribute.Revoked);
  EXPECT_TRUE(read(0x40001ffc, 2));
  EXPECT_EQ(Last.Page, nullptr); // all reads of the page are watched now
  EXPECT_TRUE(write(0x40001ffc, 2, 0));
  EXPECT_NE(Last.Page, nullptr);
  EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40001003), unsigned(ovMA_ReadHook));
  EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40001004), 0u);
  orvy_memoryClearAttr(Space, 0x40001000, 0x1000, ovMA_ReadHook);
  EXPECT_TRUE(read(0x40001ffc, 2));
  EXPECT_NE(Last.Page, nullptr);

  Keeper ByDisposal(Last.Page);
  orvy_disposeObject(Ram);
  EXPECT_TRUE(ByDisposal.Revoked);
  EXPECT_FALSE(read(0x40001ffc, 2));

  void *Odd = make("Ram", "odd", "size", 0x2000);
  orvy_memoryMap(Space, 0x50000100, 0x2000, Odd, 0);
  EXPECT_TRUE(read(0x50001000, 2));
  EXPECT_EQ(Last.Page, nullptr); // pages of the device are not pages of the space
}

TEST_F(MemoryModels, NotifyOfUpsetsOnceAndFailFaultyWords) {
  static std::vector<uint64_t> Heard;
  Heard.clear();
  auto Note = [](void *, void *, void *Info) {
    Heard.push_back(static_cast<orvy_MemTransaction *>(Info)->Pa);
  };
  orvy_memorySetAttr(Space, 0x40000100, 4, ovMA_Upset);
  ASSERT_EQ(orvy_subscribeNotification("memory.upset", Space, nullptr, Note), 0);
  EXPECT_TRUE(read(0x40000100, 2));
  EXPECT_TRUE(read(0x40000102, 0));
  EXPECT_TRUE(read(0x40000104, 2));
  EXPECT_THAT(Heard, testing::ElementsAre(0x40000100));
  EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40000100), unsigned(ovMA_Upset));
  EXPECT_TRUE(write(0x40000100, 2, 1)); // corrects it
  EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40000100), 0u);
  orvy_memorySetAttr(Space, 0x40000100, 4, ovMA_Upset);
  EXPECT_TRUE(fetch(0x40000100));
  EXPECT_EQ(Heard.size(), 2u);
  orvy_memorySetAttr(Space, 0x40000102, 1, ovMA_Upset);
  EXPECT_TRUE(read(0x40000102, 0));
  EXPECT_EQ(Heard.size(), 3u) << "of the new one";

  orvy_memorySetAttr(Space, 0x40000200, 1, ovMA_Faulty);
  EXPECT_FALSE(read(0x40000200, 2));
  EXPECT_FALSE(write(0x40000200, 2, 1));
  EXPECT_TRUE(read(0x40000204, 2));

  orvy_memorySetAttr(Space, 0x40000300, 4, ovMA_User2);
  orvy_subscribeNotification("memory.user2", Space, nullptr, Note);
  EXPECT_TRUE(write(0x40000300, 2, 1));
  EXPECT_TRUE(read(0x40000300, 2));
  EXPECT_EQ(Heard.size(), 5u);

  // Whoever hears of an access may take the device away: the access fails.
  orvy_subscribeNotification("memory.user2", Space, Ram,
                             [](void *Device, void *, void *) { orvy_disposeObject(Device); });
  EXPECT_FALSE(write(0x40000300, 2, 1));

  orvy_memorySetAttr(Space, 0x70000000, 4, ovMA_Upset);
  EXPECT_EQ(Log.count("no device is mapped at 0x70000000"), 1);
}

TEST_F(MemoryModels, TakeAttributesFromCommandsInTheirRange) {
  const struct {
    const char *Command;
    uint32_t Here;  // attributes of the first four bytes,
    uint32_t After; // and of the next four
  } Steps[] = {
      {"memory-set-upset", 8, 0},
      {"memory-set-faulty len=8", 24, 16},
      {"memory-clear-upset len=8", 16, 16},
      {"memory-set-user num=1", 48, 16},
      {"memory-set-user num=2", 112, 16},
      {"memory-set-user num=3", 240, 16},
      {"memory-clear-faulty", 224, 16},
      {"memory-clear-user num=2", 160, 16},
      {"memory-clear-user num=1", 128, 16},
      {"memory-clear-user num=3", 0, 16},
      {"seu len=1", 8, 16},
      {"seu-clear", 0, 16},
      {"seu-set", 8, 16},
      {"meu", 24, 16},
      {"meu-clear len=8", 8, 0},
      {"meu-set", 24, 0},
      {"clear-faulty", 8, 0},
      {"set-faulty", 24, 0},
  };
  for (const auto &Step : Steps) {
    const std::string Line = Step.Command + std::string(" obj=space addr=0x40000000");
    EXPECT_EQ(orvy_execCommand(Line.c_str()), 0) << Line;
    EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40000000), Step.Here) << Line;
    EXPECT_EQ(orvy_memoryGetAttrs(Space, 0x40000004), Step.After) << Line;
  }
}

/// Disposes of something in the midst of an access, as a model may in any call to it.
std::function<void()> Blow;

TEST_F(MemoryModels, MayBeDisposedByWhatAnAccessReaches) {
  static constexpr auto Serve = [](void *, orvy_MemTransaction *) { Blow(); };
  static MemAccessIface Access = {Serve, Serve, Serve, Serve};
  static MemoryIface Block = {
      [](void *, void *, uint64_t, uint32_t Len, uint32_t) { return Blow(), Len; },
      [](void *, uint64_t, uint32_t Len, const void *, uint32_t) { return Blow(), Len; }};
  for (bool HasBlocks : {false, true}) {
    orvy_Class *Cls = registerPlainClass(HasBlocks ? "BlockBomb" : "Bomb");
    orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &Access, 0, "");
    if (HasBlocks)
      orvy_addInterface(Cls, "MemoryIface", "MemoryIface", &Block, 0, "");
  }
  void *Outer = nullptr, *Bomb = nullptr, *Bombs = nullptr;
  const std::pair<const char *, std::function<void()>> Ends[] = {
      {"the device", [&] { orvy_disposeObject(Bomb), orvy_disposeObject(Bombs); }},
      {"the space", [&] { orvy_disposeObject(Space); }},
      {"both", [&] { orvy_disposeObject(Outer), orvy_disposeObject(Space); }},
      {"all", [] { orvy_objsysClearObjects(); }},
  };
  uint8_t Bytes[64] = {};
  const auto Hear = [](void *, void *, void *) { Blow(); };
  const std::pair<const char *, std::function<void()>> Accesses[] = {
      {"a read", [&] { read(0x60000000, 2); }},
      {"a write", [&] { write(0x60000000, 2, 1); }},
      {"an exchange", [&] { access(Exchange, 0x60000000, 2); }},
      {"single reads", [&] { orvy_memoryRead(Outer, Bytes, 0x60000000, 64, 0); }},
      {"single writes", [&] { orvy_memoryWrite(Outer, 0x60000000, Bytes, 64, 2); }},
      {"a block read", [&] { orvy_memoryRead(Outer, Bytes, 0x60000fe0, 64, 0); }},
      {"a block write", [&] { orvy_memoryWrite(Outer, 0x60000fe0, Bytes, 64, 0); }},
      {"a marked read", [&] { read(0x40000000, 2); }},
      {"a marked write", [&] { write(0x40000000, 2, 1); }},
  };
  for (const auto &[Name, Act] : Accesses)
    for (const auto &[What, End] : Ends) {
      SCOPED_TRACE(std::string(Name) + " that disposes of " + What);
      orvy_objsysClearObjects();
      Space = make("MemorySpace", "space");
      Outer = make("MemorySpace", "outer");
      Ram = make("Ram", "ram", "size", 0x10000);
      Bomb = make("Bomb", "bomb");
      Bombs = make("BlockBomb", "bombs");
      orvy_memoryMap(Space, 0x40000000, 0x10000, Ram, 0);
      orvy_memoryMap(Space, 0x60000000, 0x1000, Bomb, 0);
      orvy_memoryMap(Space, 0x60001000, 0x1000, Bombs, 0);
      orvy_memoryMap(Outer, 0, 0x80000000, Space, 0);
      for (uint32_t Marks : {ovMA_User1, ovMA_User2, ovMA_Upset})
        orvy_memorySetAttr(Space, 0x40000000, 4, Marks);
      for (const char *Mark : {"memory.user1", "memory.user2", "memory.upset"})
        orvy_subscribeNotification(Mark, Space, nullptr, Hear);
      unsigned Times = 0;
      Blow = [&] {
        if (Times++ == 0)
          End();
      };
      Act();
      EXPECT_GE(Times, 1u);
    }
}

} // namespace
