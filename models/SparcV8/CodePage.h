// CodePage.h - decoded instructions, kept by page of target memory.
//
// A page has one slot for each word. A slot starts as Fetch, which asks the memory space. Once that
// has handed out the page, all slots become Decode, and each one becomes its instruction when it is
// first executed, or Hooked if the memory space must be asked every time. Stores turn slots back to
// Decode; if the page is revoked, all slots become Fetch again. So a pointer to a slot stays valid
// for the lifetime of its CodePage, whatever happens to the memory.

#ifndef ORVY_MODELS_SPARCV8_CODEPAGE_H
#define ORVY_MODELS_SPARCV8_CODEPAGE_H

#include "Instructions.h"

#include "orvy/Support/Memory.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace sparc {

/// The action of the engine for a slot.
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

/// Two slots after the last stand for the first words of the next page, which follow it directly or
/// after an annulled delay slot.
constexpr uint32_t AllSlots = CodeSlots + 2;

/// Alignment of a CodePage, so that the page of a slot can be computed.
constexpr uintptr_t CodePageAlign = 32 * 1024;

struct CodePage {
  orvy_PageWatcher Watcher;
  orvy_MemPage *Memory; ///< null while the bytes are not known
  uint32_t Va;
  uint32_t HasHooks; ///< the memory space must be asked about each word before it is decoded
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

/// Address of a slot's instruction. Slots after the last have addresses in the next page.
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

  /// Gives a page the memory that its slots are decoded from, and whether it has fetch hooks.
  void attach(CodePage *Page, orvy_MemPage *Memory, bool HasHooks);

  /// Makes every page ask the memory space again.
  void detachAll();

  /// Whether there are too many pages, so that clear should be called.
  bool isFull() const { return Pages.size() > MaxPages; }

  /// Frees all pages. No slot may be in use.
  void clear();

private:
  static constexpr unsigned RecentPages = 1024;
  static constexpr size_t MaxPages = 4096;

  CodePage *find(uint32_t Va);

  CodePage *Recent[RecentPages];
  std::unordered_map<uint32_t, CodePage *> Pages; // by address
};

/// Decodes a word into a slot, except for Do. Returns the handler for it.
Handler decode(uint32_t Word, Op *Slot);

} // namespace sparc

#endif
