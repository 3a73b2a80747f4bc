// BreakTable.h - the break and watch points of the user, and what becomes of an access that meets one.

#ifndef ORVY_LIB_BREAKTABLE_H
#define ORVY_LIB_BREAKTABLE_H

#include "Debugger/SourceExpression.h"
#include "Debugging/AccessHooks.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvy::debugger {

/// What a break point waits for.
enum class BreakKind : uint8_t {
  Code,   ///< the execution of an instruction
  Write,  ///< a write, whatever it writes
  Change, ///< a write that changes something
  Read,   ///< a read
  Access, ///< a read or a write
  Polled  ///< a register or a property that has another value
};

/// An address at which it waits.
struct BreakPlace {
  uint64_t Address = 0; ///< virtual
  uint64_t Length = 1;
  std::string Text; ///< "main.c:41 (update)"
  debugging::HookedRange Hook;
};

struct UserBreak {
  uint64_t Id = 0;
  BreakKind Kind = BreakKind::Code;
  std::string Asked;              ///< as the user wrote it
  std::vector<BreakPlace> Places; ///< none for a polled one
  std::string Cpu;                ///< the only processor that counts; empty for all
  bool IsEnabled = true, IsOnce = false;
  bool IsHidden = false; ///< of a step: not listed
  uint64_t Hits = 0, Ignore = 0;
  std::string ConditionText;
  std::shared_ptr<const SourceExpression> Condition; ///< null without
  std::vector<std::string> Commands;                 ///< run after a stop

  // Of polled ones.
  std::shared_ptr<const SourceExpression> Watched;
  std::string Subject;   ///< processor that evaluates it
  std::string LastValue; ///< as text

  const Type *Shown = nullptr;                 ///< type of a watched variable; null for plain bytes
  std::shared_ptr<source::Program> ShownOwner; ///< of that type

  bool isWatch() const { return Kind != BreakKind::Code; }
};

/// What stopped a run, as far as break points know it.
struct BreakHit {
  uint64_t Id = 0;
  BreakKind Kind = BreakKind::Code;
  std::string Cpu; ///< that was stopped; empty if a device made the access
  std::string Place;
  std::string Detail;  ///< of a watch point: address, values, writer
  std::string Problem; ///< why the condition could not be evaluated
};

/// The one table of the process. What is asked for while an access is met, by the properties that a
/// condition reads, may change it at will: what it removes stays until the access is over.
class BreakTable {
public:
  static BreakTable &get();

  /// Adds a break point, which gets the next number. Its hooks are set if it is enabled.
  UserBreak &add(std::unique_ptr<UserBreak> Made);
  UserBreak *find(uint64_t Id);
  bool remove(uint64_t Id);
  void removeAll();
  void enable(UserBreak &Of, bool IsEnabled);
  const std::map<uint64_t, std::unique_ptr<UserBreak>> &all() const { return Breaks; }

  /// What stopped the run that has just ended; nothing if no break point did. Removes those that
  /// were to stop once.
  std::optional<BreakHit> takeHit();
  /// The hit that takeHit would return; null if there is none.
  const BreakHit *lastHit() const { return Hit ? &*Hit : nullptr; }
  /// After a hit of the user's break points no other counts, while processors go on that a break does
  /// not stop.
  void takeFirstOnly(bool IsSo) { IsFirstOnly = IsSo; }
  /// Forgets a hit that no one has asked for, before a run begins.
  void begin();

  /// Whether some break point can only be checked between instructions.
  bool needsPolling() const;
  /// Takes the present values of what is polled, at the start of a run.
  void startPolling();
  /// Compares them; whether the run has to stop.
  bool poll(void *Cpu, uint64_t PcBefore);

private:
  class Meeting;

  BreakTable();
  static int handle(void *Space, uint32_t Kind, const orvy_MemTransaction &Mt);
  int meet(void *Space, uint32_t Kind, const orvy_MemTransaction &Mt);
  int meetCode(UserBreak &Of, const BreakPlace &At, void *Cpu);
  int meetData(UserBreak &Of, const BreakPlace &At, void *Space, uint32_t Kind,
               const orvy_MemTransaction &Mt);
  bool counts(UserBreak &Of, void *Cpu, BreakHit &Hit);
  bool hasShownHit() const;
  void keep(BreakHit Found);
  void setHooks(const UserBreak &Of, bool IsSet);
  void index();

  std::map<uint64_t, std::unique_ptr<UserBreak>> Breaks;
  /// Places of code by address, and those of data.
  std::multimap<uint64_t, std::pair<UserBreak *, const BreakPlace *>> Code;
  std::vector<std::pair<UserBreak *, const BreakPlace *>> Data;
  std::vector<UserBreak *> Polled;
  std::vector<std::unique_ptr<UserBreak>> Removed; ///< that an access in progress may still use
  unsigned Meetings = 0;                           ///< accesses in progress
  bool IsIndexed = true, IsFirstOnly = false;
  std::optional<BreakHit> Hit;
  uint64_t LastId = 0, LastHidden = UINT64_MAX;
};

} // namespace orvy::debugger

#endif
