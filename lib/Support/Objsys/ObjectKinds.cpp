#include "Objsys/ObjectKinds.h"

#include <cstdio>
#include <cstdlib>

void orvy::wrongObject(const void *Obj, const char *Lacks) {
  const char *Name = orvy_nameForObject(Obj);
  const orvy_Class *Cls = orvy_classForObject(Obj);
  const char *ClsName = Cls ? orvy_nameForClass(Cls) : "none";
  std::fprintf(stderr, "internal error: object '%s' (%p) of class '%s' %s\n",
               Name ? Name : "unknown", Obj, ClsName, Lacks);
  std::abort();
}
