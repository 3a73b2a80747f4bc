/* shared.c - two processors share a list of tasks through memory and a lock, and the first one
 * checks what came out. Each task adds the squares of its numbers to a common sum, one by one under
 * the lock, so that the processors meet there all the time. */

#include "board.h"

#define TASKS 64u
#define NUMBERS 100u /* of a task */

static volatile u8 Lock;
static volatile u32 NextTask;
static volatile u32 Sum;
static volatile u32 Additions;
static volatile u32 TasksOf[2];
static volatile u32 Done[2];
/* Not in .bss, which the first processor clears while the second one waits here. */
static volatile u32 Started __attribute__((section(".data"))) = 0;

static void lock(void) {
  u32 Taken;
  do
    __asm__ volatile("ldstub [%1], %0" : "=&r"(Taken) : "r"(&Lock) : "memory");
  while (Taken);
}

static void unlock(void) {
  __asm__ volatile("stbar" ::: "memory");
  Lock = 0;
}

static u32 takeTask(void) {
  lock();
  u32 Task = NextTask;
  if (Task < TASKS)
    NextTask = Task + 1;
  unlock();
  return Task;
}

static void work(u32 Cpu) {
  for (u32 Task; (Task = takeTask()) < TASKS; ++TasksOf[Cpu])
    for (u32 N = Task * NUMBERS; N < (Task + 1) * NUMBERS; ++N) {
      lock();
      Sum += N * N;
      ++Additions;
      unlock();
    }
  Done[Cpu] = 1;
}

/** Where the second processor comes to. */
void secondary(u32 Cpu) {
  while (!Started)
    ;
  if (Cpu == 1)
    work(Cpu);
}

int main(void) {
  Started = 1;
  work(0);
  while (!Done[1])
    ;

  u32 Expected = 0;
  for (u32 N = 0; N < TASKS * NUMBERS; ++N)
    Expected += N * N;
  putText("shared: tasks of processor 0: ");
  putNumber(TasksOf[0]);
  putText(", of processor 1: ");
  putNumber(TasksOf[1]);
  putText("\nshared: sum ");
  putHex(Sum);
  int Passed = Sum == Expected && Additions == TASKS * NUMBERS && TasksOf[0] + TasksOf[1] == TASKS;
  putText(Passed ? " passed\n" : " FAILED\n");
  return !Passed;
}
