/* Interrupts.h - the tables through which devices, interrupt controllers and processors meet.
 *
 * A line runs from the object that raises an interrupt to one that offers IrqCtrlIface: from a
 * device to an interrupt controller, and from that to a processor. Lines are levels: a raised one
 * stays raised until it is lowered. A processor that takes an interrupt tells the object at its
 * property "irqClient" through IrqClientIface, and that object lowers the line, or leaves it raised
 * for more. A processor has one client, the last one connected; without one it lowers the line
 * itself when it takes the interrupt, as it does with a client whose slot is null. A null slot of
 * IrqCtrlIface is not called.
 *
 * All functions belong to the simulation thread and may be called from events and from within
 * device accesses: the processor takes the interrupt before its next instruction, if it is not
 * masked. */

#ifndef ORVY_SUPPORT_INTERRUPTS_H
#define ORVY_SUPPORT_INTERRUPTS_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** Table of an object that takes interrupts. Numbers that the object does not have are ignored. */
typedef struct IrqCtrlIface {
  /** Raises a line; nothing happens if it is raised already. */
  void (*raiseInterrupt)(void *Obj, uint8_t Irq); /* 0 */
  /** Lowers a line; nothing happens if it is low. */
  void (*lowerInterrupt)(void *Obj, uint8_t Irq); /* 1 */
} IrqCtrlIface;

ORVY_STATIC_ASSERT(sizeof(IrqCtrlIface) == 2 * sizeof(void *), "boundary table");

/** Table of an object that drives the interrupt lines of a processor. */
typedef struct IrqClientIface {
  /** The processor takes the interrupt of that level now. May raise and lower lines. */
  void (*irqAcknowledged)(void *Obj, uint8_t Irq); /* 0 */
} IrqClientIface;

ORVY_STATIC_ASSERT(sizeof(IrqClientIface) == sizeof(void *), "boundary table");

ORVY_END_C

#endif
