/* Simulator.h - runs all processors of the process in turns of a fixed length, the quanta.
 *
 * The simulator is the object "sim" of class "Simulator". Its time is nanoseconds. A run takes
 * place on the calling thread; within a quantum each processor runs in turn to the same point of
 * time, and only then do the simulator's own events fire. Set "quanta" with orvy_simSetQuanta
 * before the first run. */

#ifndef ORVY_SUPPORT_SIMULATOR_H
#define ORVY_SUPPORT_SIMULATOR_H

#include "orvy/Support/Processor.h"

ORVY_BEGIN_C

/**
 * Runs for a time in nanoseconds, in whole quanta: the run ends after the first quantum whose end
 * lies past that time, so a duration that is a multiple of the quantum takes one quantum more. The
 * time of "sim" then is the start of that last quantum, and the processors stand at its end. A run
 * of less than a quantum leaves the time where it is, and the next one starts from there: for runs
 * that add up, see orvy_simRunUntil. A clear of the object system ends the run. A run from inside a
 * run is refused with an error.
 * @return why the run ended
 */
ORVY_API orvy_CpuExitReason orvy_simRunNanos(uint64_t Nanos);

/**
 * Runs until the processors stand at a simulated time in nanoseconds, or, where it lies inside a
 * quantum, at the end of that quantum. Does nothing if the time of "sim" is there already. Unlike a
 * run for a duration it does not take an extra quantum, so that runs to successive times add up.
 * @return why the run ended
 */
ORVY_API orvy_CpuExitReason orvy_simRunUntil(uint64_t Nanos);

/** Runs for a time in seconds, truncated to nanoseconds; otherwise as orvy_simRunNanos. @return why
 * the run ended */
ORVY_API orvy_CpuExitReason orvy_simRunSecs(double Secs);

/** Runs for the time that these cycles take on the processor of an index; otherwise as
 * orvy_simRunNanos. @return why the run ended; ovCER_Normal at once if there is no such
 * processor */
ORVY_API orvy_CpuExitReason orvy_simRunCycles(int32_t Cpu, uint64_t Cycles);

/** Steps the processor of an index for a number of steps; the others follow in time. Nothing runs
 * if there is no such processor. A step from inside a run is refused with an error. @return why the
 * step ended; ovCER_Normal if nothing ran */
ORVY_API orvy_CpuExitReason orvy_simStep(int32_t Cpu, uint64_t Steps);

/**
 * Stops a run and waits for its end. Any thread but the one that runs, on which it would wait for
 * itself: that is an internal error. Events, notifications and other code inside a run ask for its
 * end with asyncStop of MachineIface, or orvy::sim::simSigIntHandler:
 *
 *     MachineIface *Machine = orvy_getInterface(Sim, "MachineIface", 0);
 *     Machine->asyncStop(Sim);
 *
 * Either way the run ends with the quantum in progress.
 */
ORVY_API void orvy_simStop(void);

/** Runs a function at a safe moment: on the simulation thread at the end of a quantum, or at once
 * on the calling thread if there is no run. Any thread. A null function is an internal error. */
ORVY_API void orvy_simRunCallback(orvy_ThreadSafeCb Cb, void *Arg);

/** 1 while a run is in progress, else 0. Any thread. */
ORVY_API uint8_t orvy_simIsRunning(void);

/** Reason of the last run or step. Any thread. */
ORVY_API orvy_CpuExitReason orvy_simGetExitReason(void);

/** Start of the present quantum, in nanoseconds. Any thread. */
ORVY_API uint64_t orvy_simGetTime(void);

/** Index of the processor whose turn it is, counted as orvy_simGetCpuCount does. */
ORVY_API uint32_t orvy_simGetCurrentCpu(void);

/** Number of processors, which are those of orvy_getProcessors. */
ORVY_API uint32_t orvy_simGetCpuCount(void);

/** Sets the length of a quantum in nanoseconds. With 0 the next run takes a default length, with a
 * warning. */
ORVY_API void orvy_simSetQuanta(uint64_t Nanos);

ORVY_END_C

#ifdef __cplusplus

namespace orvy::sim {

/// Registers the class "Simulator" and creates the object "sim", if it does not exist. Called at
/// start.
ORVY_API void registerAndCreateSimulatorObject();
/// Returns the simulator to its state at start: a fresh queue and time 0. Its configuration stays.
ORVY_API void reset();
/// Both do nothing and are kept for older callers: the simulator finds components and processors in
/// the object registry.
ORVY_API void addComponent(void *Component);
ORVY_API void addCpu(void *Cpu);

/// A handler of SIGINT for a front end to install: asks the simulator to stop. Safe in a signal
/// handler.
ORVY_API void simSigIntHandler(int Signal);

} // namespace orvy::sim

#endif

#endif
