// Board.h - the example board: processors, memory and devices from their plug-ins, wired as a user
// would.

#ifndef ORVY_UNITTESTS_MODELS_BOARD_H
#define ORVY_UNITTESTS_MODELS_BOARD_H

#include "orvy/Support/Orvy.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace orvy::testing {

/// Brings the library up once for the process and loads the models.
inline void loadModels() {
  static bool Done = false;
  if (!Done) {
    Done = true;
    orvy_initConfigDirs();
    orvy_initSupportLib();
    orvy_pluginPathAppend(ORVY_BUILD_ROOT "/lib");
    orvy_logSetLevel(ovLOG_Warning);
  }
  // A cleared object system has forgotten its plug-ins.
  if (orvy_classForName("MemorySpace"))
    return;
  for (const char *Model : {"Memory", "SparcV8", "Devices", "Board"})
    EXPECT_EQ(orvy_loadPlugin(Model), 0) << Model;
}

/// Registers a class whose objects are zeros of a size, and nothing else is done to make one.
template <size_t Size = sizeof(orvy_Object)> orvy_Class *registerPlainClass(const char *Name) {
  return orvy_registerClass(
      Name, [](const char *, int, const orvy_CreateArg *) { return std::calloc(1, Size); },
      std::free);
}

inline void *make(const char *Class, const std::string &Name, const char *Key = nullptr,
                  uint64_t Value = 0) {
  orvy_CreateArg Args[] = {{Key, {ovTY_U64, {}}}, {nullptr, {ovTY_Invalid, {}}}};
  Args[0].Val.u64 = Value;
  void *Obj = orvy_createObject(Class, Name.c_str(), Key ? Args : nullptr);
  EXPECT_NE(Obj, nullptr) << Class << " " << Name;
  return Obj;
}

class Board {
public:
  static constexpr uint64_t RamBase = 0x40000000;
  static constexpr uint64_t RamSize = 0x400000;
  static constexpr uint64_t UartBase = 0x80000100;
  static constexpr uint64_t IrqBase = 0x80000200;
  static constexpr uint64_t TimerBase = 0x80000300;
  static constexpr uint64_t Freq = 50000000;

  explicit Board(unsigned CpuCount = 1) {
    loadModels();
    orvy_simSetQuanta(100000);
    for (unsigned Index = 0; Index < CpuCount; ++Index)
      Cpus.push_back(make("SparcV8", "cpu" + std::to_string(Index), "freq", Freq));
    Space = make("MemorySpace", "memory");
    Ram = make("Ram", "ram", "size", RamSize);
    Uart = make("Uart", "uart");
    Irq = make("IrqCtrl", "irqctrl");
    Timer = make("GpTimer", "timer");
    map(RamBase, RamSize, Ram);
    map(UartBase, 0x100, Uart);
    map(IrqBase, 0x100, Irq);
    map(TimerBase, 0x100, Timer);
    for (unsigned Index = 0; Index < CpuCount; ++Index) {
      std::string At = "[" + std::to_string(Index) + "]";
      connect(Cpus[Index], "memorySpace", Space, "MemAccessIface");
      connect(Cpus[Index], "irqClient", Irq, "IrqClientIface" + At);
      connect(Irq, "cpus" + At, Cpus[Index], "IrqIface");
    }
    connect(Uart, "irqCtrl", Irq, "IrqCtrlIface");
    connect(Timer, "irqCtrl", Irq, "IrqCtrlIface");
    orvy_setTimeSource(Uart, Cpus[0]);
    orvy_setTimeSource(Timer, Cpus[0]);
    orvy_setValueU8(Uart, "config.terminal", 0, -1);
  }
  /// Creates a component "whole" of a class, and is its board of that name.
  Board(const char *Class, const std::string &Name, unsigned CpuCount) {
    loadModels();
    orvy_simSetQuanta(100000);
    Whole = static_cast<orvy_Component *>(make(Class, "whole", "cpus", CpuCount));
    auto Part = [&](const std::string &Inner) {
      void *Obj = orvy_objectForName((Name + "-" + Inner).c_str());
      EXPECT_NE(Obj, nullptr) << Inner;
      return Obj;
    };
    for (unsigned Index = 0; Index < CpuCount; ++Index)
      Cpus.push_back(Part("cpu" + std::to_string(Index)));
    Space = Part("memory");
    Ram = Part("ram");
    Uart = Part("uart");
    Irq = Part("irqctrl");
    Timer = Part("timer");
    orvy_setValueU8(Uart, "config.terminal", 0, -1);
  }
  ~Board() { orvy_objsysClearObjects(); }
  Board(const Board &) = delete;
  Board &operator=(const Board &) = delete;

  /// Loads an example program and points the first processor at it.
  void load(const std::string &Program) {
    uint64_t Start = 0;
    std::string Path = ORVY_BUILD_ROOT "/share/orvy/examples/" + Program + ".elf";
    ASSERT_EQ(orvy_loadElfImageAndStartAddr(Space, Path.c_str(), &Start), 0);
    orvy_cpuReset(Cpus[0], ovRK_Cold);
    orvy_cpuSetPc(Cpus[0], Start);
  }

  /// Assembles instructions at an address, for a processor that begins there.
  void assemble(unsigned Cpu, uint64_t Addr, std::initializer_list<const char *> Lines) {
    uint64_t At = Addr;
    for (const char *Line : Lines) {
      uint32_t Word = orvy_assemble(Cpus[Cpu], Line);
      EXPECT_NE(Word, 0u) << Line;
      orvy_memoryWrite(Space, At, &Word, 4, 2);
      At += 4;
    }
    orvy_cpuReset(Cpus[Cpu], ovRK_Cold);
    orvy_cpuSetPc(Cpus[Cpu], Addr);
  }

  uint32_t word(uint64_t Addr) {
    uint32_t Word = 0;
    EXPECT_EQ(orvy_memoryRead(Space, &Word, Addr, 4, 2), 4u);
    return Word;
  }
  void setWord(uint64_t Addr, uint32_t Word) { orvy_memoryWritePhys32(Space, Addr, Word); }

  std::string output() {
    const char *Text = orvy_getValue(Uart, "output", -1).String;
    return Text ? Text : "";
  }
  uint64_t steps(unsigned Cpu = 0) { return number(Cpus[Cpu], "steps"); }
  uint64_t cycles(unsigned Cpu = 0) { return number(Cpus[Cpu], "cycles"); }
  static uint64_t number(void *Obj, const char *Property) {
    return orvy_asUnsigned(orvy_getValue(Obj, Property, -1));
  }

  /// Every register of a processor.
  std::vector<uint32_t> registers(unsigned Cpu = 0) {
    void *C = Cpus[Cpu];
    std::vector<uint32_t> All = {static_cast<uint32_t>(orvy_cpuGetPc(C)),
                                 orvy_sparcGetNPc(C),
                                 orvy_sparcGetPsr(C),
                                 orvy_sparcGetWim(C),
                                 orvy_sparcGetTbr(C),
                                 orvy_sparcGetY(C)};
    for (uint32_t Window = 0; Window < orvy_sparcGetWindowCount(C); ++Window)
      for (uint32_t Reg = Window == 0 ? 0 : 8; Reg < 24; ++Reg)
        All.push_back(orvy_sparcGetWindowedReg(C, Window, Reg));
    return All;
  }

  static void connect(void *From, const std::string &Property, void *To, const std::string &Iface) {
    EXPECT_EQ(orvy_connect(From, Property.c_str(), To, Iface.c_str()), 0)
        << Property << " " << Iface;
  }
  void map(uint64_t Addr, uint64_t Len, void *Device) {
    EXPECT_EQ(orvy_memoryMap(Space, Addr, Len, Device, 0), 0u);
  }

  orvy_Component *Whole = nullptr; ///< the component it is made by, if any
  std::vector<void *> Cpus;
  void *Space, *Ram, *Uart, *Irq, *Timer;
};

} // namespace orvy::testing

#endif
