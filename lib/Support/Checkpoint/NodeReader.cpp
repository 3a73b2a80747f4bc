#include "Checkpoint/NodeParts.h"
#include "Objsys/ObjsysClass.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Interfaces.h"

#include <cfloat>
#include <cmath>
#include <limits>

using namespace orvy::objsys;

namespace orvy::checkpoint {

Entries::Entries(const Json &Data) {
  if (!Data.is_binary()) {
    Plain = &Data.get_ref<const Json::array_t &>();
    return;
  }
  Packed = &Data.get_binary();
  Width = Packed->has_subtype() ? static_cast<unsigned>(Packed->subtype()) : 0;
  if ((Width != 1 && Width != 2 && Width != 4) || Packed->size() % Width != 0)
    throw Unfit("it holds binary data");
}

size_t Entries::size() const {
  return Plain ? Plain->size() : Packed->size() / Width;
}

const Json &Entries::at(size_t Idx) const {
  if (!Plain)
    throw Unfit("it holds packed numbers instead of other values");
  if (Idx >= Plain->size())
    throw Unfit("it holds too few entries");
  return (*Plain)[Idx];
}

namespace {

/// Accepts an integer written as a real number, as in 5.0 or 1e3: not every writer of JSON keeps
/// the two kinds apart.
template <typename Whole> Whole wholeNumber(double Real, Whole Min, Whole Max) {
  // Max rounds up to a power of two as a double when Whole has 64 bits: compare with that too.
  bool IsInRange = Real >= static_cast<double>(Min) && Real <= static_cast<double>(Max) &&
                   Real < std::ldexp(1.0, std::numeric_limits<Whole>::digits);
  if (!IsInRange)
    throw Unfit("it holds a number that is out of range");
  if (Real != std::trunc(Real))
    throw Unfit("it holds a number that is not whole");
  return static_cast<Whole>(Real);
}

} // namespace

uint64_t Entries::unsignedAt(size_t Idx, uint64_t Max) const {
  uint64_t Number = 0;
  if (Packed) {
    if (Idx >= size())
      throw Unfit("it holds too few entries");
    std::memcpy(&Number, Packed->data() + Idx * Width, Width);
  } else {
    const Json &Entry = at(Idx);
    if (Entry.is_number_float())
      return wholeNumber<uint64_t>(Entry.get<double>(), 0, Max);
    if (!Entry.is_number_unsigned() && !(Entry.is_number_integer() && Entry.get<int64_t>() >= 0)) {
      Entry.get<uint64_t>(); // throws if the entry is not a number
      throw Unfit("it holds a number that is out of range");
    }
    Number = Entry.get<uint64_t>();
  }
  if (Number > Max)
    throw Unfit("it holds a number that is out of range");
  return Number;
}

int64_t Entries::signedAt(size_t Idx, int64_t Min, int64_t Max) const {
  if (!Packed && at(Idx).is_number_float())
    return wholeNumber(at(Idx).get<double>(), Min, Max);
  if (Packed || !at(Idx).is_number_integer() || at(Idx).is_number_unsigned() ||
      at(Idx).get<int64_t>() >= 0)
    return static_cast<int64_t>(unsignedAt(Idx, static_cast<uint64_t>(Max)));
  auto Number = at(Idx).get<int64_t>();
  if (Number < Min)
    throw Unfit("it holds a number that is out of range");
  return Number;
}

uint64_t Entries::pairAt(size_t Idx) const {
  if (Packed && Width == 4 && Idx < Packed->size() / 8) {
    uint64_t Halves;
    std::memcpy(&Halves, Packed->data() + Idx * 8, 8);
    return std::rotl(Halves, 32);
  }
  // The high half may be written as a signed number.
  int64_t High = signedAt(2 * Idx, INT32_MIN, UINT32_MAX);
  return static_cast<uint64_t>(High) << 32 | unsignedAt(2 * Idx + 1, UINT32_MAX);
}

double Entries::realAt(size_t Idx) const {
  if (Packed)
    return static_cast<double>(unsignedAt(Idx, UINT32_MAX));
  const Json &Entry = at(Idx);
  if (const auto *Text = Entry.get_ptr<const std::string *>()) {
    if (*Text == "NaN")
      return std::numeric_limits<double>::quiet_NaN();
    if (*Text == "Infinity")
      return HUGE_VAL;
    if (*Text == "-Infinity")
      return -HUGE_VAL;
  }
  return Entry.get<double>();
}

const std::string &Entries::textAt(size_t Idx) const {
  return at(Idx).get_ref<const std::string &>();
}

namespace {

uint64_t bitsOf(orvy_Type Typ) {
  return 8 * typeToSize(Typ);
}

float narrow(double Real) {
  if (std::isfinite(Real) && std::fabs(Real) > static_cast<double>(FLT_MAX))
    throw Unfit("it holds a number that is out of range");
  return static_cast<float>(Real);
}

} // namespace

orvy_Propval numberAt(const Entries &Data, orvy_Type Typ, size_t Idx) {
  orvy_Propval Pv = {};
  Pv.Typ = Typ;
  if (isWide(Typ)) {
    Pv.u64 = Data.pairAt(Idx);
  } else if (Typ == ovTY_Float) {
    Pv.f = narrow(Data.realAt(Idx));
  } else if (Typ == ovTY_Double) {
    Pv.d = Data.realAt(Idx);
  } else if (isSigned(Typ)) {
    int64_t Max = (int64_t{1} << (bitsOf(Typ) - 1)) - 1;
    Pv.i64 = Data.signedAt(Idx, -Max - 1, Max);
  } else {
    Pv.u64 = Data.unsignedAt(Idx, (uint64_t{1} << bitsOf(Typ)) - 1);
  }
  return Pv;
}

void *objectAt(const Entries &Data, size_t Idx, bool *Known) {
  const std::string &Name = Data.textAt(Idx);
  void *Obj = Class::objectForName(Name);
  if (Known)
    *Known = Obj || Name == NullObject;
  return Obj;
}

orvy_IfaceRef ifaceAt(const Entries &Data, size_t Idx) {
  const Json &Node = Data.at(Idx);
  const auto &Name = Node.at("obj").get_ref<const std::string &>();
  const auto &Iface = Node.at("iface").get_ref<const std::string &>();
  void *Obj = Class::objectForName(Name);
  if (!Obj)
    throw Unfit("it refers to the object '" + Name + "', which does not exist");
  return {Obj, orvy_getInterface(Obj, Iface.c_str(), -1)};
}

const char *textAt(const Entries &Data, size_t Idx) {
  const std::string &Text = Data.textAt(Idx);
  if (Text.find('\0') != Text.npos)
    throw Unfit("it holds a text with a null byte");
  return Text.c_str();
}

orvy_Buff bytesFrom(const Json &Node) {
  Entries Data(Node);
  if (Data.size() > UINT32_MAX)
    throw Unfit("it holds a buffer that is too large");
  orvy_Buff Buff = orvy_buffCreate(static_cast<uint32_t>(Data.size()));
  try {
    uint8_t *Bytes = orvy_buffWritableData(&Buff);
    for (size_t Idx = 0; Idx < Data.size(); ++Idx)
      Bytes[Idx] = static_cast<uint8_t>(Data.unsignedAt(Idx, UINT8_MAX));
  } catch (...) {
    orvy_buffDispose(&Buff);
    throw;
  }
  return Buff;
}

} // namespace orvy::checkpoint
