// What the commands on attributes leave in a memory space.

#include "models/Board.h"

#include <gtest/gtest.h>
#include <string>

using namespace orvy::testing;

namespace {

TEST(MemoryCommands, SetAndClearTheirAttributesInTheirRange) {
  loadModels();
  void *Space = make("MemorySpace", "space");
  void *Ram = make("Ram", "ram", "size", 0x10000);
  ASSERT_EQ(orvy_memoryMap(Space, 0x40000000, 0x10000, Ram, 0), 0u);
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
  orvy_objsysClearObjects();
}

} // namespace
