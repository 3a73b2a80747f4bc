#include "Testing/LogCapture.h"

#include "orvy/Support/Orvy.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace orvy::testing;

namespace {

/// A memory of one word, which fails above address 0, beside a space that notes what is mapped.
struct Word {
  orvy_Object Super;
  uint64_t Value;
};

void access(void *Obj, orvy_MemTransaction *Mt, bool Write) {
  auto *W = static_cast<Word *>(Obj);
  if (Mt->Pa != 0)
    Mt->Flags |= ovMF_Failed;
  else if (Write)
    W->Value = Mt->Value;
  else
    Mt->Value = W->Value;
}

std::vector<std::string> Mapped;

class Memory : public ::testing::Test {
protected:
  Memory() {
    Mapped.clear();
    auto Create = [](const char *, int, const orvy_CreateArg *) -> void * { return new Word{}; };
    auto Dispose = [](void *Obj) { delete static_cast<Word *>(Obj); };

    static MemAccessIface Access = {[](void *O, orvy_MemTransaction *Mt) { access(O, Mt, false); },
                                    [](void *O, orvy_MemTransaction *Mt) { access(O, Mt, false); },
                                    [](void *O, orvy_MemTransaction *Mt) { access(O, Mt, true); },
                                    [](void *O, orvy_MemTransaction *Mt) {
                                      uint64_t New = Mt->Value;
                                      access(O, Mt, false);
                                      if (!(Mt->Flags & ovMF_Failed))
                                        static_cast<Word *>(O)->Value = New;
                                    }};
    static MemoryIface Bytes = {
        [](void *, void *Data, uint64_t Addr, uint32_t Len, uint32_t Swap) {
          std::memset(Data, static_cast<int>(Addr + Swap), Len);
          return Len;
        },
        [](void *, uint64_t, uint32_t Len, const void *, uint32_t) { return Len; }};
    static void *Table[] = {&Access, &Bytes};
    orvy_Class *Mem = orvy_registerClass("Word", Create, Dispose);
    orvy_qualifyAsMemory(Mem);
    orvy_setVTable(Mem, Table);

    static MemorySpaceIface Space = {
        [](void *, uint64_t Addr, uint64_t, void *, uint32_t Flags) {
          Mapped.push_back(std::to_string(Addr) + "/" + std::to_string(Flags));
          return 0;
        },
        [](void *, uint64_t, uint64_t, uint32_t) { Mapped.push_back("set"); },
        [](void *, uint64_t, uint64_t, uint32_t) { Mapped.push_back("clear"); },
        [](void *, uint64_t Addr) { return static_cast<uint32_t>(Addr); },
        [](void *, uint64_t Addr, uint64_t, void *, const char *Name, uint32_t) {
          Mapped.push_back(std::to_string(Addr) + "/" + Name);
          return 0;
        }};
    orvy_Class *Other = orvy_registerClass("Space", Create, Dispose);
    orvy_addInterface(Other, "MemorySpaceIface", "MemorySpaceIface", &Space, 0, "");
    orvy_addInterface(Other, "MemoryIface", "MemoryIface", &Bytes, 0, "");
    orvy_registerClass("Bare", Create, Dispose);
    Mem0 = orvy_createObject("Word", "mem", nullptr);
    Space0 = orvy_createObject("Space", "space", nullptr);
    Bare0 = orvy_createObject("Bare", "bare", nullptr);
  }
  ~Memory() override { orvy_objsysClear(); }

  LogCapture Log;
  void *Mem0, *Space0, *Bare0;
};

TEST_F(Memory, ReadsAndWritesWordsPhysically) {
  EXPECT_EQ(orvy_memoryWritePhys32(Mem0, 0, 0xdeadbeef), 0u);
  uint32_t Value = 0;
  EXPECT_EQ(orvy_memoryReadPhys32(Mem0, 0, &Value), 0u);
  EXPECT_EQ(Value, 0xdeadbeefu);
  EXPECT_EQ(orvy_memoryReadPhys32(Mem0, 4, &Value), 1u);
  EXPECT_EQ(orvy_memoryWritePhys32(Mem0, 4, 1), 1u);
  Value = 5;
  EXPECT_EQ(orvy_memoryReadPhys32(Space0, 0, &Value), UINT32_MAX);
  EXPECT_EQ(orvy_memoryWritePhys32(nullptr, 0, 0), UINT32_MAX);
  EXPECT_EQ(Value, 5u);
}

TEST_F(Memory, TransactionsLeaveOtherObjectsAlone) {
  orvy_MemTransaction Mt{};
  Mt.Value = 9;
  EXPECT_EQ(orvy_memoryExchangeTransaction(Mem0, &Mt), 0);
  EXPECT_EQ(Mt.Value, 0u);
  EXPECT_EQ(orvy_memoryFetchTransaction(Mem0, &Mt), 0);
  EXPECT_EQ(Mt.Value, 9u);
  EXPECT_EQ(orvy_memoryFetchTransaction(Bare0, &Mt), 1);
  EXPECT_EQ(Mt.Flags, 0u);
}

TEST_F(Memory, BlocksGoThroughTheTableOrByName) {
  uint8_t Data[2] = {};
  EXPECT_EQ(orvy_memoryRead(Mem0, Data, 3, 2, 1), 2u);
  EXPECT_EQ(Data[1], 4);
  EXPECT_EQ(orvy_memoryRead(Space0, Data, 5, 2, 0), 2u);
  EXPECT_EQ(orvy_memoryWrite(Space0, 5, Data, 2, 0), 2u);
  EXPECT_EQ(orvy_memoryRead(Bare0, Data, 0, 2, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryWrite(nullptr, 0, Data, 2, 0), UINT32_MAX);
  EXPECT_EQ(Log.count("could not find interface memif\n"), 2);
}

TEST_F(Memory, MapsDevicesAndSaysWhatIsMissing) {
  EXPECT_EQ(orvy_memoryMap(Space0, 16, 4, Mem0, 0x100000001), 0u);
  EXPECT_EQ(orvy_memoryMapNamedIface(Space0, 32, 4, Space0, "MemoryIface", 0), 0u);
  EXPECT_EQ(Mapped, (std::vector<std::string>{"16/1", "32/MemoryIface"}));
  EXPECT_EQ(orvy_memoryMap(nullptr, 0, 4, Mem0, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryMap(Space0, 0, 4, nullptr, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryMap(Bare0, 0, 4, Mem0, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryMapNamedIface(Space0, 0, 4, Bare0, "Nothing", 0), UINT32_MAX);
  EXPECT_EQ(Mapped.size(), 2u);
  EXPECT_EQ(Log.count("invalid memory space object passed to orvy_memoryMap()"), 1);
  EXPECT_EQ(Log.count("space : invalid object passed to orvy_memoryMap()"), 1);
  EXPECT_EQ(Log.count("bare : does not implement MemorySpaceIface"), 1);
  EXPECT_EQ(Log.count("bare : does not implement 'Nothing'"), 1);
}

TEST_F(Memory, NullSlotsAreRejected) {
  static MemAccessIface Access = {};
  static MemoryIface Bytes = {};
  static MemorySpaceIface Space = {};
  static void *Table[] = {&Access, &Bytes};
  orvy_setVTable(orvy_classForName("Word"), Table);
  orvy_addInterface(orvy_classForName("Space"), "MemorySpaceIface", "MemorySpaceIface", &Space, 0,
                    "");
  orvy_MemTransaction Mt{};
  EXPECT_EQ(orvy_memoryFetchTransaction(Mem0, &Mt), 1);
  EXPECT_EQ(Mt.Flags, unsigned(ovMF_Failed));
  EXPECT_EQ(orvy_memoryExchangeTransaction(Mem0, &Mt), 1);
  EXPECT_EQ(orvy_memoryWritePhys32(Mem0, 0, 1), 1u);
  uint8_t Byte = 0;
  EXPECT_EQ(orvy_memoryRead(Mem0, &Byte, 0, 1, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryWrite(Mem0, 0, &Byte, 1, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryMap(Space0, 0, 4, Mem0, 0), UINT32_MAX);
  EXPECT_EQ(orvy_memoryMapNamedIface(Space0, 0, 4, Space0, "MemoryIface", 0), UINT32_MAX);
  orvy_memorySetAttr(Space0, 0, 4, ovMA_Upset);
  orvy_memoryClearAttr(Space0, 0, 4, ovMA_Upset);
  EXPECT_EQ(orvy_memoryGetAttrs(Space0, 0), 0u);
  for (const char *Said : {"mem : does not implement MemoryIface.readBytes",
                           "mem : does not implement MemoryIface.writeBytes",
                           "space : does not implement MemorySpaceIface.mapDevice",
                           "space : does not implement MemorySpaceIface.mapNamedIface",
                           "space : does not implement MemorySpaceIface.setAttr",
                           "space : does not implement MemorySpaceIface.clearAttr",
                           "space : does not implement MemorySpaceIface.getAttrs"})
    EXPECT_EQ(Log.count(Said), 1) << Said;
}

TEST_F(Memory, AttributesNeedASpace) {
  orvy_memorySetAttr(Space0, 0, 4, ovMA_Upset);
  orvy_memoryClearAttr(Space0, 0, 4, ovMA_Upset);
  EXPECT_EQ(orvy_memoryGetAttrs(Space0, 7), 7u);
  EXPECT_EQ(Mapped, (std::vector<std::string>{"set", "clear"}));
  EXPECT_DEATH(orvy_memoryGetAttrs(Bare0, 0), "internal error: ");
}

TEST(WordParts, AreBigEndian) {
  const struct {
    uint32_t Size, Offset, Part, Replaced;
  } Words[] = {
      {0, 0, 0x11, 0xdd223344},       {0, 1, 0x22, 0x11dd3344},   {0, 2, 0x33, 0x1122dd44},
      {0, 3, 0x44, 0x112233dd},       {1, 0, 0x1122, 0xccdd3344}, {1, 2, 0x3344, 0x1122ccdd},
      {2, 0, 0x11223344, 0xaabbccdd}, {1, 1, 0, 0x11223344},      {1, 3, 0, 0x11223344},
      {2, 2, 0, 0x11223344},          {0, 4, 0, 0x11223344},      {3, 0, 0, 0x11223344},
  };
  for (const auto &C : Words) {
    EXPECT_EQ(orvy_normaliseRead32(0x11223344, C.Size, C.Offset), C.Part)
        << C.Size << "@" << C.Offset;
    EXPECT_EQ(orvy_normaliseWrite32(0x11223344, 0xaabbccdd, C.Size, C.Offset), C.Replaced);
  }
  EXPECT_EQ(orvy_normaliseRead16(0x1122, 0, 0), 0x11);
  EXPECT_EQ(orvy_normaliseRead16(0x1122, 0, 1), 0x22);
  EXPECT_EQ(orvy_normaliseRead16(0x1122, 1, 0), 0x1122);
  EXPECT_EQ(orvy_normaliseRead16(0x1122, 2, 0), 0);
  EXPECT_EQ(orvy_normaliseWrite16(0x1122, 0xaabb, 0, 0), 0xbb22);
  EXPECT_EQ(orvy_normaliseWrite16(0x1122, 0xaabb, 1, 0), 0xaabb);
}

struct Watch {
  orvy_PageWatcher Base; // first, so that a watcher is its record
  std::string Heard;
};

TEST(Pages, NotifyTheirWatchers) {
  uint8_t Bytes[ORVY_PAGE_SIZE] = {};
  orvy_MemPage Page = {Bytes, nullptr, 0};
  auto Revoked = [](orvy_PageWatcher *W) { reinterpret_cast<Watch *>(W)->Heard += "revoked "; };
  auto Written = [](orvy_PageWatcher *W, uint32_t Offset, uint32_t Len) {
    reinterpret_cast<Watch *>(W)->Heard += std::to_string(Offset) + "+" + std::to_string(Len) + " ";
  };
  Watch Data{{nullptr, nullptr, nullptr, Revoked}, ""};
  Watch Code{{nullptr, nullptr, Written, Revoked}, ""};
  Watch Left{{nullptr, nullptr, Written, Revoked}, ""};
  for (Watch *W : {&Data, &Left, &Code})
    orvy_memPageWatch(&Page, &W->Base);
  EXPECT_EQ(Page.Listeners, 2u);
  orvy_memPageUnwatch(&Page, &Left.Base);
  orvy_memPageWritten(&Page, 8, 4);
  orvy_memPageRevoke(&Page);
  orvy_memPageWritten(&Page, 0, 4);
  EXPECT_EQ(Data.Heard, "revoked ");
  EXPECT_EQ(Code.Heard, "8+4 revoked ");
  EXPECT_EQ(Left.Heard, "");
  EXPECT_EQ(Page.Listeners, 0u);
  EXPECT_EQ(Page.Watchers, nullptr);
}

} // namespace
