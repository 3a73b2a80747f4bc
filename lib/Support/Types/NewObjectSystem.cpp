#include "orvy/Support/NewObjectSystem.h"

#include "Base/InternalError.h"

#include "orvy/Support/ManagedStatic.h"

#include <algorithm>
#include <cstdarg>
#include <iterator>

using namespace orvy;

// Destroyed in the reverse order.
static ManagedStatic<InterfaceTypes> TheInterfaceTypes;
static ManagedStatic<ObjectSystem> TheObjectSystem;
static ManagedStatic<TypeSystem> TheTypeSystem;

TypeSystem &orvy::getTypeSystem() {
  return *TheTypeSystem;
}

ObjectSystem &orvy::getObjectSystem() {
  return *TheObjectSystem;
}

// Classes.

NativeClass::NativeClass(const char *Name, orvy_ObjectCreateFunc Create,
                         orvy_ObjectDisposeFunc Dispose, const FunctionType *CreateTy,
                         const FunctionType *DisposeTy)
    : StructType(Name), CreateFunc(Create), DisposeFunc(Dispose),
      CreateRecord(this->Name + "::create", CreateTy, reinterpret_cast<void *>(Create)),
      DisposeRecord(this->Name + "::dispose", DisposeTy, reinterpret_cast<void *>(Dispose)) {
  this->Create = &CreateRecord;
  this->Dispose = &DisposeRecord;
  for (const char *Pointer : {"Class", "TimeSource", "Component"})
    addField(Pointer, &PointerType::s_VoidPtrTy, "");
  addField("LoggingFlags", &IntegerType::s_U64Ty, "");
  addField("WillDisposeNotification", &IntegerType::s_I64Ty, "");
  addField("DisposedNotification", &IntegerType::s_I64Ty, "");
}
NativeClass::~NativeClass() = default;

// The types of the object system's own records.

struct TypeSystem::ObjectTypes {
  ObjectTypes();

  EnumType Tag{"orvy_Type", 32};
  UnionType Value{"orvy_Propval_anonunion"};
  StructType Propval{"orvy_Propval"};
  StructType CreateArg{"orvy_CreateArg"};
  PointerType CreateArgPtr{&CreateArg};
  FunctionType Create{&PointerType::s_VoidPtrTy};
};

static void addTags(EnumType &Tag) {
  const char *Names[] = {"Invalid", "Intptr", "Uintptr",     "Float",    "Double",        "U8",
                         "U16",     "U32",    "U64",         "I8",       "I16",           "I32",
                         "I64",     "Obj",    "InternalPtr", "IfaceRef", "IfaceRefArray", "String",
                         "Buffer",  "Dict",   "Vector",      "List"};
  for (size_t Index = 0; Index < std::size(Names); ++Index)
    Tag.addEnumerator(Names[Index], static_cast<long>(Index));
}

static void addValues(UnionType &Value) {
  const std::pair<const char *, const Type *> Fields[] = {
      {"IntPtr", &IntegerType::s_IPtrTy}, {"UIntPtr", &IntegerType::s_UPtrTy},
      {"f", &RealType::s_FloatTy},        {"d", &RealType::s_DoubleTy},
      {"u8", &IntegerType::s_U8Ty},       {"u16", &IntegerType::s_U16Ty},
      {"u32", &IntegerType::s_U32Ty},     {"u64", &IntegerType::s_U64Ty},
      {"i8", &IntegerType::s_I8Ty},       {"i16", &IntegerType::s_I16Ty},
      {"i32", &IntegerType::s_I32Ty},     {"i64", &IntegerType::s_I64Ty},
      {"Obj", &PointerType::s_VoidPtrTy}, {"String", &PointerType::s_CharPtrTy},
  };
  for (const auto &[Name, Ty] : Fields)
    Value.addField(Name, Ty, "");
}

TypeSystem::ObjectTypes::ObjectTypes() {
  addTags(Tag);
  addValues(Value);
  Propval.addField("Typ", &Tag, "");
  Propval.addField("", &Value, "");
  CreateArg.addField("Key", &PointerType::s_CharPtrTy, "");
  CreateArg.addField("Val", &Propval, "");
  Create.addArg(&PointerType::s_CharPtrTy);
  Create.addArg(&IntegerType::s_IntTy);
  Create.addArg(&CreateArgPtr);
}

// The registry of types.

TypeSystem::TypeSystem() : Own(std::make_unique<ObjectTypes>()) {
  for (uint32_t Which = ovBT_Void; Which <= ovBT_Double; ++Which) {
    const Type *BuiltIn = orvy_typesysGetBuiltIn(static_cast<orvy_BuiltInType>(Which));
    Types.insert(BuiltIn->Name, BuiltIn);
  }
  for (const Type *Each : std::initializer_list<const Type *>{
           &IntegerType::s_BoolTy, &PointerType::s_CharPtrTy, &PointerType::s_VoidPtrTy, &Own->Tag,
           &Own->Value, &Own->Propval, &Own->CreateArg, &Own->CreateArgPtr, &Own->Create})
    Types.insert(Each->Name, Each);
  addStructType(&Own->Propval);
  addStructType(&Own->CreateArg);
  Functions.insert(Own->Create.Name, &Own->Create);
}
TypeSystem::~TypeSystem() = default;

template <typename V> static V findIn(const bimap<std::string, V> &Table, const char *Name) {
  const V *Found = Table.findValue(Name);
  return Found ? *Found : nullptr;
}

StructType *TypeSystem::getStructTypeForName(const char *Name) const {
  return findIn(Structs, Name);
}

NativeClass *TypeSystem::getClassTypeForName(const char *Name) const {
  return findIn(Classes, Name);
}

const Type *TypeSystem::getType(const char *Name) const {
  return findIn(Types, Name);
}

void TypeSystem::addStructType(StructType *Ty) {
  if (!Structs.findKey(Ty))
    Structs.insert(Ty->Name, Ty);
}

NativeClass *TypeSystem::registerClass(const char *Name, orvy_ObjectCreateFunc Create,
                                       orvy_ObjectDisposeFunc Dispose) {
  if (Classes.findValue(Name))
    return nullptr;
  const ObjectSystem &Objects = getObjectSystem();
  OwnClasses.push_back(std::make_unique<NativeClass>(
      Name, Create, Dispose, &Objects.getCreateFuncTy(), &Objects.getDisposeFuncTy()));
  Classes.insert(Name, OwnClasses.back().get());
  return OwnClasses.back().get();
}

// Objects.

ObjectSystem::ObjectSystem()
    : CreateFuncTy(&PointerType::s_VoidPtrTy), DisposeFuncTy(&VoidType::s_VoidTy) {
  CreateFuncTy.addArg(&PointerType::s_CharPtrTy);
  CreateFuncTy.addArg(&IntegerType::s_IntTy);
  CreateFuncTy.addArg(&PointerType::s_VoidPtrTy);
  DisposeFuncTy.addArg(&PointerType::s_VoidPtrTy);
}
ObjectSystem::~ObjectSystem() = default;

static void fillHeader(void *Obj, NativeClass *Cls) {
  auto *Header = static_cast<orvy_Object *>(Obj);
  *Header = {};
  Header->Class = reinterpret_cast<orvy_Class *>(Cls);
  Header->WillDisposeNotification = -1;
  Header->DisposedNotification = -1;
}

void *ObjectSystem::createObject(const char *ClsName, const char *ObjName,
                                 const std::vector<orvy_CreateArg> &Args) {
  NativeClass *Cls = getTypeSystem().getClassTypeForName(ClsName);
  void *Obj = Cls ? Cls->CreateFunc(ObjName, static_cast<int>(Args.size()), Args.data()) : nullptr;
  if (!Obj)
    return nullptr;
  fillHeader(Obj, Cls);
  enter(ObjName, Obj, Cls);
  return Obj;
}

void *ObjectSystem::createObject(const char *StructName, const char *ObjName) {
  const StructType *Ty = getTypeSystem().getStructTypeForName(StructName);
  if (!Ty)
    return nullptr;
  void *Obj = new unsigned char[Ty->getSize()]();
  enter(ObjName, Obj, Ty);
  return Obj;
}

// An object that had the name loses it.
void ObjectSystem::enter(const char *Name, void *Obj, const Type *Ty) {
  Objects.insert(Name, Obj);
  ObjectTypes[Obj] = Ty;
}

static void release(void *Obj, const Type &Ty) {
  if (!Ty.Dispose)
    delete[] static_cast<unsigned char *>(Obj);
  else if (const auto Dispose = static_cast<const NativeClass &>(Ty).DisposeFunc)
    Dispose(Obj);
}

void ObjectSystem::disposeObject(void *Obj) {
  const Type *Ty = getTypeForObject(Obj);
  if (!Ty)
    return;
  if (const char *Name = getNameForObject(Obj))
    Objects.erase(std::string(Name));
  ObjectTypes.erase(Obj);
  Records.erase(Obj);
  release(Obj, *Ty);
}

Object *ObjectSystem::registerObject(const char *Name, void *Obj) {
  std::unique_ptr<Object> &Record = Records[Obj];
  Record = std::make_unique<Object>(Name, Obj);
  return Record.get();
}

const char *ObjectSystem::getNameForObject(void *Obj) const {
  const std::string *Found = Objects.findKey(Obj);
  return Found ? Found->c_str() : nullptr;
}

void *ObjectSystem::getObjectForName(const char *Name) const {
  return findIn(Objects, Name);
}

const Type *ObjectSystem::getTypeForObject(void *Obj) const {
  const auto Found = ObjectTypes.find(Obj);
  return Found == ObjectTypes.end() ? nullptr : Found->second;
}

// Interface types.

StructType *InterfaceTypes::add(const char *Name) {
  const std::lock_guard<std::mutex> Guard(Lock);
  const auto [Entry, IsNew] = ByName.try_emplace(Name, nullptr);
  if (!IsNew)
    return nullptr;
  Entry->second = std::make_unique<StructType>(Name);
  return Entry->second.get();
}

StructType *InterfaceTypes::find(const char *Name) {
  const std::lock_guard<std::mutex> Guard(Lock);
  const auto Found = ByName.find(Name);
  return Found == ByName.end() ? nullptr : Found->second.get();
}

// The flat interface.

void orvy_typesystemInitOrvyTypes() {
  getTypeSystem();
}

orvy_NativeClass *xorvy_registerClass(const char *ClsName, orvy_ObjectCreateFunc Create,
                                      orvy_ObjectDisposeFunc Dispose) {
  ORVY_REQUIRE_FUNCTION(Create);
  return getTypeSystem().registerClass(ClsName, Create, Dispose);
}

void *xorvy_createObject(const char *ClsName, const char *ObjName, const orvy_CreateArg *Args) {
  const orvy_CreateArg *End = Args;
  while (End && End->Key)
    ++End;
  return getObjectSystem().createObject(ClsName, ObjName, std::vector<orvy_CreateArg>(Args, End));
}

void xorvy_disposeObject(void *Obj) {
  getObjectSystem().disposeObject(Obj);
}

orvy_StructMetaType *orvy_registerInterfaceType(const char *Name) {
  return TheInterfaceTypes->add(Name);
}

void orvy_ifaceTypeAddFunc(orvy_StructMetaType *Type, const char *Name, const orvy_MetaType *Ret,
                           ...) {
  auto Func = std::make_unique<FunctionType>(Ret);
  Func->addArg(&PointerType::s_VoidPtrTy);
  va_list Args;
  va_start(Args, Ret);
  while (const auto *Arg = va_arg(Args, const orvy_MetaType *))
    Func->addArg(Arg);
  va_end(Args);
  Type->addField(Name, std::move(Func), "");
}

orvy_StructMetaType *orvy_getInterfaceType(const char *Name) {
  return TheInterfaceTypes->find(Name);
}
