/* The flat interface as a model in C meets it: the umbrella header alone compiles as C11 without a
 * warning, and its functions link against the shared library. */

#include "orvy/Support/Orvy.h"

typedef struct Timer {
  orvy_Object Super;
  uint32_t Control;
  orvy_IfaceRef Irq;
} Timer;

static Timer TheTimer;

static void *createTimer(const char *Name, int Argc, const orvy_CreateArg *Args) {
  (void)Name;
  (void)Argc;
  (void)Args;
  return &TheTimer;
}

static void disposeTimer(void *Obj) {
  (void)Obj;
}

static void printTimer(void *Obj) {
  (void)Obj;
}

static ObjectIface TimerObjectIface = {.printObject = printTimer};

int main(void) {
  orvy_Class *Cls = orvy_registerClass("Timer", createTimer, disposeTimer);
  orvy_addProperty(Cls, "control", offsetof(Timer, Control), ovTY_U32, 1, NULL, NULL, "");
  orvy_addProperty(Cls, "irq", offsetof(Timer, Irq), ovTY_IfaceRef, 1, NULL, NULL, "");
  orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &TimerObjectIface, 0, "");

  orvy_CreateArg Args[] = {{"control", {.Typ = ovTY_U32, .u32 = 1}}, {NULL, {.Typ = ovTY_Invalid}}};
  void *Obj = orvy_createObject("Timer", "timer0", Args);
  orvy_setValueU32(Obj, "control", 5, 0);
  int Connected = orvy_connect(Obj, "irq", Obj, "ObjectIface");

  orvy_Vector Vec = orvy_vecCreate(ovTY_U8);
  orvy_vecPush(&Vec, orvy_getValue(Obj, "control", 0));
  int Good = Connected == 0 && TheTimer.Control == 5 && orvy_vecGetSize(&Vec) == 1 &&
             TheTimer.Irq.Iface == &TimerObjectIface;
  orvy_vecDispose(&Vec);
  orvy_disposeObject(Obj);
  return Good ? 0 : 1;
}
