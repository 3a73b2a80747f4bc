#include "Base/InternalError.h"
#include "Types/ForeignTypes.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

using namespace orvy;

struct FunctionType::Preparation {
  ffi_cif Call = {};
  std::vector<ffi_type *> Types;
  bool IsReady = false;
};

FunctionType::FunctionType(const Type *ReturnType, Arity Takes)
    : Type(Type::Function, "", ""), ReturnType(ReturnType),
      Prepared(std::make_unique<Preparation>()), Variadic(Takes == VariadicArguments) {
  recomputeName();
  prepare();
}
FunctionType::~FunctionType() = default;

ffi_type *FunctionType::getFFIType() const {
  return &ffi_type_pointer;
}

void FunctionType::addArg(const Type *Ty) {
  ORVY_REQUIRE(Ty);
  Args.push_back(Ty);
  recomputeName();
  prepare();
}

void FunctionType::recomputeName() {
  Name = ReturnType->Name + " (*)(";
  for (size_t Index = 0; Index < Args.size(); ++Index)
    Name += (Index == 0 ? "" : ",") + Args[Index]->Name;
  Name += ")";
}

void FunctionType::prepare() {
  Prepared->Types.clear();
  for (const Type *Each : Args)
    Prepared->Types.push_back(Each->getFFIType());
  // libffi itself lets an argument without a value pass.
  const bool HasVoid =
      std::any_of(Args.begin(), Args.end(), [](const Type *Each) { return Each->isVoid(); });
  const ffi_status Status =
      HasVoid ? FFI_BAD_TYPEDEF
              : ffi_prep_cif(&Prepared->Call, FFI_DEFAULT_ABI, static_cast<unsigned>(Args.size()),
                             ReturnType->getFFIType(), Prepared->Types.data());
  Prepared->IsReady = Status == FFI_OK;
  if (Status == FFI_BAD_ABI)
    errs() << "ffi_prep_cif(): invalid ABI\n";
  else if (Status != FFI_OK)
    errs() << "ffi_prep_cif(): invalid types\n";
}

// Arguments.

Argument Argument::at(const Type *Ty, const void *Value) {
  Argument Made(Ty, ovTY_Invalid);
  std::memcpy(Made.Slot, &Value, sizeof Value);
  return Made;
}

static bool isInline(orvy_Type Tag) {
  switch (Tag) {
  case ovTY_Invalid:
  case ovTY_IfaceRef:
  case ovTY_IfaceRefArray:
  case ovTY_Buffer:
  case ovTY_Vector:
  case ovTY_List:
    return false;
  default:
    return Tag <= ovTY_List;
  }
}

Argument Argument::of(const Type *Ty, const orvy_Propval &Value) {
  ORVY_REQUIRE(isInline(Value.Typ));
  Argument Made(Ty, Value.Typ);
  std::memcpy(Made.Slot, &Value.u64, sizeof Made.Slot);
  return Made;
}

void *Argument::getValuePtr() const {
  if (Tag != ovTY_Invalid)
    return const_cast<unsigned char *>(Slot);
  void *Value;
  std::memcpy(&Value, Slot, sizeof Value);
  return Value;
}

// Calls.

static void invoke(ffi_cif &Call, void *Addr, const std::vector<Argument> &Args, void *Result) {
  std::vector<void *> Values;
  Values.reserve(Args.size());
  for (const Argument &Each : Args)
    Values.push_back(Each.getValuePtr());
  ffi_call(&Call, FFI_FN(Addr), Result, Values.data());
}

// Prepares a call for the arguments that it is made with; false, with a message, if libffi does not
// take them.
static bool prepareVariadic(ffi_cif &Call, size_t Fixed, ffi_type *Return,
                            std::vector<ffi_type *> &Types) {
  const ffi_status Status =
      ffi_prep_cif_var(&Call, FFI_DEFAULT_ABI, static_cast<unsigned>(Fixed),
                       static_cast<unsigned>(Types.size()), Return, Types.data());
  if (Status == FFI_BAD_ABI)
    errs() << "ffi_prep_cif_var(): invalid ABI\n";
  else if (Status != FFI_OK)
    errs() << "ffi_prep_cif_var(): invalid types\n";
  return Status == FFI_OK;
}

void FFIAdapter::call(const Function &Callee, const std::vector<Argument> &Args) {
  alignas(std::max_align_t) unsigned char Scratch[32];
  const size_t Wanted = Callee.Ty->Prepared->Call.rtype->size;
  if (Wanted <= sizeof Scratch)
    return call(Callee, Args, Scratch);
  std::vector<std::max_align_t> Larger(Wanted / sizeof(std::max_align_t) + 1);
  call(Callee, Args, Larger.data());
}

void FFIAdapter::call(const Function &Callee, const std::vector<Argument> &Args, void *Result) {
  const FunctionType &Ty = *Callee.Ty;
  FunctionType::Preparation &Prepared = *Ty.Prepared;
  ORVY_REQUIRE(Prepared.IsReady);
  if (!Ty.Variadic) {
    ORVY_REQUIRE(Args.size() == Ty.Args.size());
    return invoke(Prepared.Call, Callee.Addr, Args, Result);
  }
  const size_t Fixed = Ty.Args.size();
  ORVY_REQUIRE(Args.size() >= Fixed);
  std::vector<ffi_type *> Types = Prepared.Types;
  for (size_t Index = Fixed; Index < Args.size(); ++Index)
    Types.push_back(Args[Index].getType()->getFFIType());
  ffi_cif Call;
  if (prepareVariadic(Call, Fixed, Ty.ReturnType->getFFIType(), Types))
    invoke(Call, Callee.Addr, Args, Result);
}

// The flat interface.

static orvy_FuncMetaType *makeFunction(const orvy_MetaType *Ret, size_t Count,
                                       const orvy_MetaType *const *Types,
                                       FunctionType::Arity Takes) {
  auto Made = std::make_unique<FunctionType>(Ret, Takes);
  for (size_t Index = 0; Index < Count; ++Index)
    Made->addArg(Types[Index]);
  return Made.release();
}

orvy_FuncMetaType *orvy_typesysRegisterFunc(const char *, const orvy_MetaType *Ret, size_t Count,
                                            const orvy_MetaType *const *Types) {
  return makeFunction(Ret, Count, Types, FunctionType::FixedArguments);
}

orvy_FuncMetaType *orvy_typesysRegisterVariadicFunc(const char *, const orvy_MetaType *Ret,
                                                    size_t Count,
                                                    const orvy_MetaType *const *Types) {
  return makeFunction(Ret, Count, Types, FunctionType::VariadicArguments);
}
