// The commands on memory, with a processor that translates addresses.

#include "Testing/LogCapture.h"
#include "Testing/ScriptedCpu.h"

#include <gmock/gmock.h>

using namespace orvy::testing;

namespace {

constexpr uint64_t Offset = 0x100000000; // from virtual to physical addresses
constexpr uint64_t Mapped = 0x2000;      // what lies from here on has no translation

uint64_t translate(void *, uint64_t Va, uint32_t *Flags) {
  constexpr uint64_t Entries[] = {0xabc, 0x123456789};
  const uint32_t Entry = *Flags / 16;
  const bool AsksForEntry = *Flags % 16 == 2;
  if (AsksForEntry ? Entry >= std::size(Entries) : Va >= Mapped) {
    *Flags = 1;
    return 0;
  }
  return AsksForEntry ? Entries[Entry] : Va + Offset;
}

uint32_t readWord(void *, void *Data, uint64_t Addr, uint32_t Len, uint32_t Swap) {
  EXPECT_EQ(Len, 4u);
  EXPECT_EQ(Swap, 2u);
  *static_cast<uint32_t *>(Data) = Addr == Offset + 0x1ff8 ? 0 : 17;
  return Len;
}

std::string run(const char *Line, int Expected = 0) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(orvy_execCommand(Line), Expected) << Line;
  ::testing::internal::GetCapturedStderr();
  return ::testing::internal::GetCapturedStdout();
}

TEST(MemoryCommands, FollowTheTranslationOfTheProcessor) {
  static CpuIface Cpu = *ScriptedCpu::cpuIface();
  Cpu.translateAddress = translate;
  Cpu.getPc = [](void *) -> uint64_t { return 0x1ffc; };
  static MemoryIface Memory = {readWord, nullptr};
  ScriptedCpu::registerClass();
  orvy_Class *Class = orvy_classForName("ScriptedCpu");
  orvy_addInterface(Class, "CpuIface", "CpuIface", &Cpu, 0, "");
  orvy_addInterface(Class, "MemoryIface", "MemoryIface", &Memory, 0, "");
  ScriptedCpu::make("cpu", 1000000);
  LogCapture Log;

  EXPECT_EQ(run("memory-translate cpu=cpu addr=0x1004"),
            "va = 0x00001004 pa = 0x100001004\n"
            "Translation done using the following page table entries:\n"
            "Table entry: 0x00000abc\n"
            "Table entry: 0x123456789\n");
  EXPECT_EQ(run("memory-translate cpu=cpu addr=0x2004", -1), "");
  EXPECT_EQ(Log.count("Invalid va = 0x00002004 to pa translation"), 1);

  EXPECT_EQ(run("dis cpu=cpu va=0x1ff8 count=4"), "      00001ff8 100001ff8 <unknown instruction>\n"
                                                  "( pc) 00001ffc 100001ffc 00000011 op 17\n");
  EXPECT_EQ(Log.count("invalid va = 0x00002000 to pa translation"), 1);
  EXPECT_EQ(run("dis cpu=cpu"), "") << "it goes on where it could not";
  EXPECT_EQ(Log.count("invalid va = 0x00002000 to pa translation"), 2);
  orvy_objsysClear();
}

} // namespace
