#include "Base/InternalError.h"

#include "Objsys/ObjectKinds.h"

#include <cstdio>
#include <cstdlib>
#include <string>

void orvy::internalError(const char *File, int Line, const char *What) {
  std::fprintf(stderr, "internal error: %s:%d: %s\n", File, Line, What);
  std::abort();
}

void orvy::nullFunction(const char *File, int Line, const char *Caller) {
  internalError(File, Line, (std::string(Caller) + ": the function to call is null").c_str());
}

void orvy::wrongObject(const void *Obj, const char *Lacks) {
  const char *Name = orvy_nameForObject(Obj);
  const orvy_Class *Cls = orvy_classForObject(Obj);
  const char *ClsName = Cls ? orvy_nameForClass(Cls) : "none";
  std::fprintf(stderr, "internal error: object '%s' (%p) of class '%s' %s\n",
               Name ? Name : "unknown", Obj, ClsName, Lacks);
  std::abort();
}
