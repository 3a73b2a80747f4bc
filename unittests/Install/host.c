/* host.c - loads a model of its own from a directory, and one of the installed ones; uses both.
 *
 * usage: host DIRECTORY */

#include "orvy/Support/Orvy.h"

#include "TinyIface.h"

#include <stdio.h>

int main(int argc, char **argv) {
  if (argc != 2)
    return 1;
  orvy_initPathSupport(argv[0]);
  orvy_initConfigDirs();
  orvy_initSupportLib();
  orvy_pluginPathAppend(argv[1]);
  if (orvy_loadPlugin("Tiny") != 0 || orvy_loadPlugin("Memory") != 0)
    return 2;

  void *Tiny = orvy_createObject("Tiny", "tiny", NULL);
  void *Space = orvy_createObject("MemorySpace", "space", NULL);
  if (!Tiny || !Space || !orvy_isMemory(Space))
    return 3;

  orvy_setValueU32(Tiny, "number", 21, -1);
  ((TinyIface *)orvy_getInterface(Tiny, "TinyIface", -1))->twice(Tiny);
  printf("%u\n", (unsigned)orvy_getValueU32(Tiny, "number", -1));
  return orvy_execCommand("tiny-values int=-3 real=0.5 obj=tiny word=text prop=tiny.number "
                          "iface=tiny:TinyIface class=Tiny");
}
