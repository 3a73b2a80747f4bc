// An image as the debugger reads it: symbols, functions, lines, types, locations and frames.

#include "Source/Program.h"
#include "Fuzz.h"
#include "Source/Locations.h"
#include "Testing/DwarfUse.h"

#include <algorithm>
#include <exception>
#include <span>
#include <vector>

using namespace orvy;
using namespace orvy::source;

namespace {

struct AnyContext final : ExpressionContext {
  std::optional<uint64_t> readRegister(uint64_t Number) override { return Number * 3; }
  bool readMemory(uint64_t Address, uint8_t *Into, size_t Length) override {
    std::fill(Into, Into + Length, static_cast<uint8_t>(Address));
    return Address % 5 != 0;
  }
  std::optional<uint64_t> callFrameAddress() override { return 0x1000; }
  std::optional<uint64_t> frameBase() override { return 0x2000; }
  std::optional<uint64_t> entryValue(Bytes Expression) override { return Expression.size(); }
};

/// The first ones of a list.
template <typename T> std::span<const T> some(const std::vector<T> &All) {
  constexpr size_t MaxAsked = 200;
  return {All.data(), std::min(All.size(), MaxAsked)};
}

void useType(const source::Type &T, unsigned Depth) {
  T.text();
  T.size();
  if (Depth == 0)
    return;
  T.definition();
  T.enumerators();
  T.parameters();
  size_t Count = 0;
  for (const Member &M : T.stripped().members())
    if (++Count < 20)
      useType(*M.Of, Depth - 1);
  useType(T.target(), Depth - 1);
}

void useAddress(Program &Image, uint64_t Address) {
  Image.symbolAt(Address);
  Image.placeOf(Address);
  Image.lineRange(Address);
  Image.frames().rowAt(Address);
  AnyContext Context;
  for (DebugInfoEntry *Scope : Image.scopesAt(Address)) {
    for (auto *Child = Scope->getFirstChild(); Child && !Child->isNull();
         Child = Child->getNext()) {
      const LocationText Where = locationOf(*Child, dwarf::DW_AT_location, Address);
      if (Where.IsThere)
        evaluateLocation(Where.Expression, *Child, Context);
      useType(Image.types().of(typeOf(*Child)), 1);
    }
    entryPointOf(*Scope);
  }
}

void use(Program &Image) {
  for (const ElfSymbol &Symbol : some(Image.symbols())) {
    useAddress(Image, Symbol.Address);
    useAddress(Image, Symbol.Address + 4);
  }
  for (DebugInfoEntry *Function : some(Image.allFunctions())) {
    const uint64_t Body = Image.afterPrologue(*Function);
    useAddress(Image, Body);
    if (const SourcePlace Place = Image.placeOf(Body)) {
      const std::string File = *Place.File;
      Image.placesOfLine(File, Place.Line);
      Image.filesNamed(File);
    }
    Image.functionsNamed(nameOf(*Function));
  }
  AnyContext Context;
  for (DebugInfoEntry *Global : some(Image.allGlobals())) {
    useType(Image.types().of(typeOf(*Global)), 3);
    evaluateLocation(locationOf(*Global, dwarf::DW_AT_location, 0).Expression, *Global, Context);
    Image.unitPath(*Global);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  fuzz::memory();
  testing::Silence Quiet;
  const testing::MemoryFile File(fuzz::textOf(Data, Size));
  try {
    Program Image(File.path());
    use(Image);
  } catch (const std::exception &) { // not an ELF file
  }
  return 0;
}
