// Devices.h - the classes Uart, GpTimer and IrqCtrl, and helpers shared by their sources.

#ifndef ORVY_MODELS_DEVICES_DEVICES_H
#define ORVY_MODELS_DEVICES_DEVICES_H

#include "orvy/Support/Orvy.h"

namespace devices {

void registerUart();
void registerGpTimer();
void registerIrqCtrl();

/// MemAccessIface of a device with 32-bit registers. Device has
///   uint32_t readRegister(uint64_t Offset)   with the side effects of a read by software,
///   void writeRegister(uint64_t Offset, uint32_t Value)
/// where Offset is a multiple of 4. A narrower read returns its part of the register. A narrower
/// write sets the rest of the register to zero, as on a bus without byte lanes. Double words fail.
template <typename Device> struct RegisterAccess {
  static void read(void *Obj, orvy_MemTransaction *Mt) {
    if (!fits(*Mt))
      return;
    uint32_t Word = static_cast<Device *>(Obj)->readRegister(Mt->Pa & ~uint64_t{3});
    Mt->Value = orvy_normaliseRead32(Word, Mt->Size, static_cast<uint32_t>(Mt->Pa & 3));
  }

  static void write(void *Obj, orvy_MemTransaction *Mt) {
    if (!fits(*Mt))
      return;
    uint32_t Word = orvy_normaliseWrite32(0, static_cast<uint32_t>(Mt->Value), Mt->Size,
                                          static_cast<uint32_t>(Mt->Pa & 3));
    static_cast<Device *>(Obj)->writeRegister(Mt->Pa & ~uint64_t{3}, Word);
  }

  static void exchange(void *Obj, orvy_MemTransaction *Mt) {
    orvy_MemTransaction Old = *Mt;
    read(Obj, &Old);
    write(Obj, Mt);
    Mt->Value = Old.Value;
  }

  /// Code cannot be executed from registers.
  static void fetch(void *, orvy_MemTransaction *Mt) { Mt->Flags |= ovMF_Failed; }

  static inline MemAccessIface Table = {fetch, read, write, exchange};

private:
  static bool fits(orvy_MemTransaction &Mt) {
    if (Mt.Size <= 2 && Mt.Pa % (1u << Mt.Size) == 0)
      return true;
    Mt.Flags |= ovMF_Failed;
    return false;
  }
};

/// Hooks of the property for the register at an offset. A write has the effect of one by software.
template <typename Device, uint64_t Offset> struct RegisterHooks {
  static orvy_Propval read(void *Obj, int) {
    orvy_Propval Value{};
    Value.Typ = ovTY_U32;
    Value.u32 = static_cast<Device *>(Obj)->readRegister(Offset);
    return Value;
  }
  static void write(void *Obj, orvy_Propval Value, int) {
    static_cast<Device *>(Obj)->writeRegister(Offset,
                                              static_cast<uint32_t>(orvy_asUnsigned(Value)));
  }
};

/// An interrupt line of a device: the interrupt controller and the number there.
struct IrqLine {
  orvy_IfaceRef Ctrl;
  uint8_t Number;

  void raise() const {
    const auto *Table = static_cast<const IrqCtrlIface *>(Ctrl.Iface);
    if (Table && Table->raiseInterrupt)
      Table->raiseInterrupt(Ctrl.Obj, Number);
  }
};

/// Reads the creation argument "irq", the only one of a device. Returns false if the object must
/// not be created.
inline bool readIrq(const char *ClsName, const char *Name, int Argc, const orvy_CreateArg *Args,
                    uint8_t &Irq) {
  uint64_t Value = Irq;
  const orvy_ArgSpec Specs[] = {{"irq", ovAK_Number, &Value, 0, UINT8_MAX, "Interrupt number"}, {}};
  if (orvy_readCreateArgs(ClsName, Name, Argc, Args, Specs, 0) != 0)
    return false;
  Irq = static_cast<uint8_t>(Value);
  return true;
}

} // namespace devices

#endif
