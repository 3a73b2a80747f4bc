// CodePage.h - decoded instructions, kept by page of target memory.
//
// A page has one slot for each word. A slot begins as Fetch, which asks the memory space; once that
// has shown the page's bytes, all slots become Decode, and each turns into its instruction when it
// is first reached, or into Hooked if the memory space is to be asked every time. Stores turn slots
// back to Decode, a revoked page all of them back to Fetch. So a slot may be pointed to for as long
// as its page lives, whatever happens to the memory.

#ifndef ORVY_MODELS_SPARCV8_CODEPAGE_H
#define ORVY_MODELS_SPARCV8_CODEPAGE_H

#include "Instructions.h"

#include "orvy/Support/Memory.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace sparc {

/// What the engine does for a slot.
enum class Handler : uint8_t {
#define HANDLER(Name) Name,
#include "Handlers.def"
#undef HANDLER
  Count
};

/// A decoded instruction. The second operand is always R[Rs2] + Imm, one of which is zero.
struct Op {
  const void *Do; ///< the engine's label
  int32_t Imm;    ///< also: distance of a branch in words, trap number, word of a slow instruction
  uint8_t Rd;     ///< 32 for %g0
  uint8_t Rs1;
  uint8_t Rs2;
  Insn Id;
};

static_assert(sizeof(Op) == 16, "slots are addressed by shifts");

constexpr uint32_t CodeSlots = ORVY_PAGE_SIZE / 4;

/// Two slots behind the last stand for the first words of the next page: straight on, and straight
/// on behind an annulled delay slot.
constexpr uint32_t AllSlots = CodeSlots + 2;

/// Alignment of a CodePage, which leads from a slot to its page.
constexpr uintptr_t CodePageAlign = 32 * 1024;

struct CodePage {
  orvy_PageWatcher Watcher;
  orvy_MemPage *Memory; ///< null while the bytes are not known
  uint32_t Va;
  uint32_t HasHooks; ///< the memory space is to be asked about each word that is decoded
  Op Slots[AllSlots + 2];
};

static_assert(sizeof(CodePage) <= CodePageAlign, "one page in each aligned block");

/// Distance of a slot from the start of its page.
inline uintptr_t offsetInPage(const Op *Slot) {
  return reinterpret_cast<uintptr_t>(Slot) & (CodePageAlign - 1);
}

inline CodePage *pageOf(const Op *Slot) {
  char *Bytes = reinterpret_cast<char *>(const_cast<Op *>(Slot));
  return reinterpret_cast<CodePage *>(Bytes - offsetInPage(Slot));
}

/// Address of the instruction that a slot stands for; goes on behind the end of the page.
inline uint32_t addressOf(const Op *Slot) {
  uintptr_t Bytes = offsetInPage(Slot) - offsetof(CodePage, Slots);
  return pageOf(Slot)->Va + uint32_t(Bytes / sizeof(Op)) * 4;
}

/// The pages of one processor.
class CodeCache {
public:
  CodeCache();
  ~CodeCache();
  CodeCache(const CodeCache &) = delete;
  CodeCache &operator=(const CodeCache &) = delete;

  /// The slot of an aligned address.
  Op *slotOf(uint32_t Va) {
    CodePage *Page = Recent[Va >> ORVY_PAGE_BITS & (RecentPages - 1)];
    if (__builtin_expect(Page->Va != (Va & ~(ORVY_PAGE_SIZE - 1)), 0))
      Page = find(Va);
    return &Page->Slots[(Va & (ORVY_PAGE_SIZE - 1)) / 4];
  }

  /// Takes note of the bytes behind a page, so that its slots decode from them, and of whether the
  /// page has fetch hooks.
  void attach(CodePage *Page, orvy_MemPage *Memory, bool HasHooks);

  /// Has every page ask the memory space again.
  void detachAll();

  /// Whether there are so many pages that they should be given back at the next occasion.
  bool isFull() const { return Pages.size() > MostPages; }

  /// Gives all pages back; no slot may be in use.
  void clear();

private:
  static constexpr unsigned RecentPages = 1024;
  static constexpr size_t MostPages = 4096;

  CodePage *find(uint32_t Va);

  CodePage *Recent[RecentPages];
  std::unordered_map<uint32_t, CodePage *> Pages; // by address
};

/// Decodes a word into a slot, leaving its Do alone, and says what does it.
Handler decode(uint32_t Word, Op *Slot);

} // namespace sparc

#endif
