// What the log knows of objects: names, filters, categories and time sources.

#include "Logging/LogSources.h"
#include "Objsys/ObjsysClass.h"

using namespace orvy;
using namespace orvy::objsys;

namespace {

/// The header of an object. Null for an address that is not registered, or an external object.
orvy_Object *headerOf(const void *Obj, const Class *Cls) {
  return Cls && !Cls->External ? static_cast<orvy_Object *>(const_cast<void *>(Obj)) : nullptr;
}

/// Whether an object has a time of its own.
bool keepsTime(const Class &Cls) {
  return Cls.Qualifier == Kind::Processor || Cls.Qualifier == Kind::Machine;
}

void *timeSourceOf(const void *Obj) {
  const Class *Cls = Obj ? Class::classForObject(Obj) : nullptr;
  orvy_Object *Header = headerOf(Obj, Cls);
  if (!Header || keepsTime(*Cls))
    return Header;
  // What is not a processor, machine or clock would log an error when asked for its time.
  const Class *Source = Header->TimeSource ? Class::classForObject(Header->TimeSource) : nullptr;
  const bool HasTime = Source && (keepsTime(*Source) || Source->Qualifier == Kind::Clock);
  return HasTime ? Header->TimeSource : nullptr;
}

const bool Answers = [] {
  setLogSources({
      .nameOf = [](const void *Obj) { return Obj ? Class::nameForObject(Obj) : nullptr; },
      .headerOf = [](const void *Obj) -> orvy_Object * {
        return Obj ? headerOf(Obj, Class::classForObject(Obj)) : nullptr;
      },
      .categoryOf = [](const void *Obj, uint32_t Category) -> const char * {
        const Class *Cls = Obj ? Class::classForObject(Obj) : nullptr;
        return Cls ? Cls->getLoggingCategory(Category) : nullptr;
      },
      .timeSourceOf = timeSourceOf,
  });
  return true;
}();

} // namespace
