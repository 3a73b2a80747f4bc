// An expression of C over a stopped program: parsed, evaluated, assigned and written as text. The
// first character is the format, the rest the expression.

#include "Fuzz.h"

#include "Debugger/SourceExpression.h"
#include "Debugger/ValueText.h"

#include "orvy/Support/Debugging.h"

#include <algorithm>
#include <array>

using namespace orvy;
using namespace orvy::debugger;

namespace {

constexpr const char *Image = ORVY_SOURCE_ROOT "/test/debugger/types-5-O0.elf";
constexpr uint64_t Stack = 0x40003000, InWalk = 0x40001898;

/// The memory of the processor: some of it can be read and written, and holds small numbers.
std::array<uint8_t, 0x8000> Bytes;
constexpr uint64_t Base = 0x40000000;

bool isThere(uint64_t Addr, uint32_t Length) {
  return Addr >= Base && Length <= Bytes.size() && Addr - Base <= Bytes.size() - Length;
}

uint32_t readBytes(void *, void *Into, uint64_t Addr, uint32_t Length, uint32_t) {
  if (!isThere(Addr, Length))
    return 0;
  std::copy_n(&Bytes[Addr - Base], Length, static_cast<uint8_t *>(Into));
  return Length;
}

uint32_t writeBytes(void *, uint64_t Addr, uint32_t Length, const void *From, uint32_t) {
  if (!isThere(Addr, Length))
    return 0;
  std::copy_n(static_cast<const uint8_t *>(From), Length, &Bytes[Addr - Base]);
  return Length;
}

/// A processor that stands in the function "walk".
void *processor() {
  static CpuIface Cpu{};
  static MemoryIface Memory{readBytes, writeBytes};
  Cpu.getPc = [](void *) -> uint64_t { return InWalk; };
  Cpu.getGpr = [](void *, uint32_t Reg) -> uint64_t { return Stack + 16 * uint64_t{Reg}; };
  orvy_Class *Cls = orvy_registerClass(
      "Stopped",
      [](const char *, int, const orvy_CreateArg *) -> void * { return new orvy_Object; },
      [](void *Obj) { delete static_cast<orvy_Object *>(Obj); });
  orvy_addInterface(Cls, "CpuIface", "CpuIface", &Cpu, 0, "");
  orvy_addInterface(Cls, "MemoryIface", "MemoryIface", &Memory, 0, "");
  return orvy_createObject("Stopped", "cpu", nullptr);
}

/// Loads the image again from time to time: a program keeps the types that expressions have made.
void load() {
  static unsigned Count = 0;
  if (Count++ % 10000 == 0)
    debugging::Manager::getDebuggingManager().add(
        Image,
        std::make_unique<debugging::Ctxt>(&fuzz::memory(), Image, debugging::Ctxt::Kind::Dwarf));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  fuzz::memory();
  static void *const Cpu = processor();
  load();
  if (Size == 0)
    return 0;
  for (size_t Index = 0; Index < Bytes.size(); ++Index)
    Bytes[Index] = static_cast<uint8_t>(Index % 7 == 0 ? Index / 7 : 0);
  const std::string Text(fuzz::textOf(Data + 1, Size - 1));
  ValueFormat Format;
  if (ValueFormat::isLetter(static_cast<char>(*Data)))
    Format.Letter = static_cast<char>(*Data);
  try {
    Stopped In(Cpu);
    const SourceExpression Expression(Text, In, SourceExpression::TypeToo);
    Expression.type(In).text();
    const std::string First = valueText(Expression.evaluate(In), In, Format);
    fuzz::require(First.size() < 8 << 20, "a text of a bounded length");
    Expression.address(In);
  } catch (const EvaluationError &Why) {
    fuzz::require(*Why.what() != '\0', "a reason");
  }
  return 0;
}
