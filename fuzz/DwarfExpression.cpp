// DWARF expressions, on a target that answers everything.

#include "Fuzz.h"

#include "orvy/Support/DwarfExpression.h"

#include <iostream>
#include <vector>

using namespace orvy;
using namespace orvy::dwarf;

namespace {

struct AnyTarget final : Context {
  Value getMemoryValue(uint64_t Address) override {
    return {static_cast<uint32_t>(Address * 3), this};
  }
  Value getMemoryValueSize(uint64_t Address, uint8_t) override { return getMemoryValue(Address); }
  Value getMemorySpaceValue(uint64_t Address, uint64_t) override { return getMemoryValue(Address); }
  Value getMemorySpaceValueSize(uint64_t Address, uint64_t, uint8_t) override {
    return getMemoryValue(Address);
  }
  Value getRegisterValue(int Reg) override {
    if (Reg > 64)
      return {Value::Undefined, 0, this};
    return {static_cast<uint32_t>(Reg), this};
  }
  Value getTLSAddress(uint64_t Offset) override { return {Value::Memory, Offset, this}; }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  fuzz::memory(); // the log goes nowhere
  [[maybe_unused]] static auto *Errors = std::cerr.rdbuf(nullptr);
  static const uint64_t Inputs[] = {0x1000, 0x2000, 0x3000};
  if (Size < 2)
    return 0;
  std::vector<uint8_t> Expr(Data + 2, Data + Size);
  bool Known = Data[1] & 1;
  AnyTarget Target;
  ExpressionVM VM;
  try {
    VM.runExpr(Known ? &Target : nullptr, Expr, Data[0], Expr.size() - Data[0],
               Known ? &Inputs[0] : nullptr, Known ? &Inputs[1] : nullptr,
               Known ? &Inputs[2] : nullptr);
  } catch (int) {
    fuzz::require(Data[0] >= Expr.size(), "only a start outside the expression is thrown");
  }
  VM.result().getReferredValue();
  fuzz::require(VM.getPieces().size() <= ExpressionVM::MaxPieceBytes, "pieces are bounded");
  return 0;
}
