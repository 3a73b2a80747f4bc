// The smallest model: objects of the class Tiny hold a number, which an interface doubles.

#include "orvy/Support/Orvy.h"

#include "TinyIface.h"

namespace {

struct Tiny {
  orvy_Object Super;
  uint32_t Number;
};

void twice(void *Obj) {
  static_cast<Tiny *>(Obj)->Number *= 2;
}

TinyIface Table = {twice};

void *create(const char *, int, const orvy_CreateArg *) {
  return new Tiny{};
}
void dispose(void *Obj) {
  delete static_cast<Tiny *>(Obj);
}

} // namespace

extern "C" ORVY_API void orvy_pluginInit(void) {
  orvy_Class *Cls = orvy_registerClass("Tiny", create, dispose);
  orvy_addProperty(Cls, "number", offsetof(Tiny, Number), ovTY_U32, 1, nullptr, nullptr, "");
  orvy_addInterface(Cls, "TinyIface", "TinyIface", &Table, 0, "");
}
