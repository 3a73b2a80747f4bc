// The same files read by LLVM: a walk over all entries and values, and lines by address.

#include "DwarfCases.h"
#include "Table.h"

#include <llvm/DebugInfo/DWARF/DWARFContext.h>
#include <llvm/Object/ObjectFile.h>

namespace {

/// A file open in LLVM.
struct Llvm {
  llvm::object::OwningBinary<llvm::object::ObjectFile> File;
  std::unique_ptr<llvm::DWARFContext> Context;

  explicit Llvm(const char *Path)
      : File(llvm::cantFail(llvm::object::ObjectFile::createObjectFile(Path))),
        Context(llvm::DWARFContext::create(*File.getBinary())) {}
};

uint64_t countValues(const llvm::DWARFDie &Die) {
  uint64_t Count = 0;
  for (const llvm::DWARFAttribute &Attr : Die.attributes())
    Count += Attr.isValid();
  return Count;
}

void llvmWalks(benchmark::State &State) {
  for (auto _ : State) {
    const Llvm File(bench::dwarfFile().c_str());
    uint64_t Count = 0;
    for (const auto &Unit : File.Context->compile_units())
      for (const llvm::DWARFDebugInfoEntry &Entry : Unit->dies())
        if (Entry.getAbbreviationDeclarationPtr()) // what ends a row of siblings has none
          Count += countValues({Unit.get(), &Entry});
    if (Count < bench::DwarfFileValues)
      State.SkipWithError("LLVM does not read the file");
  }
}

void llvmLineByAddress(benchmark::State &State) {
  const Llvm File(bench::ExampleImage);
  uint64_t Random = 1, Lines = 0;
  for (auto _ : State) {
    const llvm::object::SectionedAddress Addr = {bench::nextCodeAddress(Random)};
    Lines += File.Context->getLineInfoForAddress(Addr).Line != 0;
  }
  if (Lines == 0)
    State.SkipWithError("no lines found");
}

const int Rows[] = {
    bench::compare("dwarf load, 500 000 entries / LLVM walk", {1, 0}, bench::loadDwarf, llvmWalks),
    bench::compare("dwarf line by address / LLVM", bench::below(333), bench::lineByAddress,
                   llvmLineByAddress),
};

} // namespace
