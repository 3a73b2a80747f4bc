/* embed.c - a whole board in a host program, through the flat interface alone.
 *
 * usage: embed [options] IMAGE.elf
 *
 * Builds the board (processor, RAM, UART, timers, interrupt controller), loads the image, runs it
 * until it halts or ten seconds of its time have passed, and tells what it took. Exit status: 0
 * when the program halted with result 0, 1 for a usage error, 2 for any other end. */

#include "orvy/Support/Orvy.h"

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#define CPU_FREQ 50000000u /* Hz */
#define RAM_SIZE 0x400000u
#define QUANTUM 100000u               /* ns */
#define LIMIT (10ull * 1000000000ull) /* ns */
#define REG_O0 8u

static void fail(const char *What) {
  fprintf(stderr, "embed: %s\n", What);
  exit(2);
}

static void *create(const char *Class, const char *Name, const char *Key, uint64_t Value) {
  orvy_CreateArg Args[] = {{Key, {.Typ = ovTY_U64, .u64 = Value}}, {NULL, {.Typ = ovTY_Invalid}}};
  void *Obj = orvy_createObject(Class, Name, Key ? Args : NULL);
  if (!Obj)
    fail("an object could not be created");
  return Obj;
}

static void connect(void *From, const char *Property, void *To, const char *Iface) {
  if (orvy_connect(From, Property, To, Iface) != 0)
    fail("two objects could not be connected");
}

static void map(void *Space, uint64_t Addr, uint64_t Len, void *Device) {
  if (orvy_memoryMap(Space, Addr, Len, Device, 0) != 0)
    fail("a device could not be mapped");
}

/** Builds the board. Returns its processor. */
static void *buildBoard(void **Space) {
  static const char *const Models[] = {"Memory", "SparcV8", "Devices"};
  for (size_t Index = 0; Index < sizeof(Models) / sizeof(Models[0]); ++Index)
    if (orvy_loadPlugin(Models[Index]) != 0)
      fail("a model could not be loaded");

  void *Cpu = create("SparcV8", "cpu0", "freq", CPU_FREQ);
  void *Ram = create("Ram", "ram", "size", RAM_SIZE);
  void *Uart = create("Uart", "uart", NULL, 0);
  void *Irq = create("IrqCtrl", "irqctrl", NULL, 0);
  void *Timer = create("GpTimer", "timer", NULL, 0);
  *Space = create("MemorySpace", "memory", NULL, 0);

  map(*Space, 0x40000000, RAM_SIZE, Ram);
  map(*Space, 0x80000100, 0x100, Uart);
  map(*Space, 0x80000200, 0x100, Irq);
  map(*Space, 0x80000300, 0x100, Timer);

  connect(Cpu, "memorySpace", *Space, "MemAccessIface");
  connect(Cpu, "irqClient", Irq, "IrqClientIface[0]");
  connect(Irq, "cpus[0]", Cpu, "IrqIface");
  connect(Uart, "irqCtrl", Irq, "IrqCtrlIface");
  connect(Timer, "irqCtrl", Irq, "IrqCtrlIface");
  orvy_setTimeSource(Uart, Cpu);
  orvy_setTimeSource(Timer, Cpu);
  return Cpu;
}

static double wallSeconds(void) {
  struct timespec Now;
  clock_gettime(CLOCK_MONOTONIC, &Now);
  return (double)Now.tv_sec + (double)Now.tv_nsec / 1e9;
}

int main(int argc, char **argv) {
  orvy_initPathSupport(argv[0]);
  if (argc < 2 || orvy_parseCommandLineOptions(argc, (const char **)argv) != 0) {
    fprintf(stderr, "usage: embed [options] IMAGE.elf\n");
    orvy_printCommandLineHelp();
    return 1;
  }
  orvy_initConfigDirs();
  orvy_initSupportLib();

  void *Space;
  void *Cpu = buildBoard(&Space);
  uint64_t Start = 0;
  orvy_logSetLevel(ovLOG_Warning);
  if (orvy_loadElfImageAndStartAddr(Space, argv[argc - 1], &Start) != 0)
    fail("the image could not be loaded");
  orvy_cpuReset(Cpu, ovRK_Cold);
  orvy_cpuSetPc(Cpu, Start);

  orvy_simSetQuanta(QUANTUM);
  double Before = wallSeconds();
  orvy_CpuExitReason Reason = orvy_simRunNanos(LIMIT);
  double Wall = wallSeconds() - Before;

  uint64_t Steps = orvy_asUnsigned(orvy_getValue(Cpu, "steps", -1));
  uint64_t Result = orvy_cpuGetReg(Cpu, REG_O0);
  printf("[%s after %.6f s of its time: %llu instructions in %.3f s, %.0f MIPS]\n",
         Reason == ovCER_Halt ? "halted" : "stopped", orvy_getSecs(Cpu), (unsigned long long)Steps,
         Wall, Wall > 0 ? (double)Steps / Wall / 1e6 : 0.0);
  orvy_objsysClear(); /* objects that are still there at exit are not disposed */
  return Reason == ovCER_Halt && Result == 0 ? 0 : 2;
}
