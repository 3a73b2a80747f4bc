#include "CodePage.h"

#include "Cpu.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

namespace sparc {

namespace {

/// Represents a missing page. Its address is not aligned, so it never matches.
CodePage Nowhere = {.Va = 1};

const void *labelOf(Handler What) {
  return handlers()[unsigned(What)];
}

void fill(CodePage *Page, Handler What) {
  const void *Label = labelOf(What);
  for (uint32_t Slot = 0; Slot < CodeSlots; ++Slot)
    Page->Slots[Slot].Do = Label;
}

CodePage *pageOf(orvy_PageWatcher *Watcher) {
  static_assert(offsetof(CodePage, Watcher) == 0, "the watcher is the page");
  return reinterpret_cast<CodePage *>(Watcher);
}

void written(orvy_PageWatcher *Watcher, uint32_t Offset, uint32_t Len) {
  if (Offset >= ORVY_PAGE_SIZE || !Len)
    return;
  uint32_t End = Len > ORVY_PAGE_SIZE - Offset ? ORVY_PAGE_SIZE : Offset + Len;
  const void *Label = labelOf(Handler::Decode);
  for (uint32_t Slot = Offset / 4; Slot < (End + 3) / 4; ++Slot)
    pageOf(Watcher)->Slots[Slot].Do = Label;
}

void revoked(orvy_PageWatcher *Watcher) {
  CodePage *Page = pageOf(Watcher);
  Page->Memory = nullptr;
  fill(Page, Handler::Fetch);
}

CodePage *allocate(uint32_t Va) {
  void *Block = std::aligned_alloc(CodePageAlign, CodePageAlign);
  if (!Block)
    throw std::bad_alloc();
  auto *Page = static_cast<CodePage *>(Block);
  std::memset(Page, 0, sizeof *Page);
  Page->Va = Va;
  Page->Watcher.Written = written;
  Page->Watcher.Revoked = revoked;
  fill(Page, Handler::Fetch);
  for (uint32_t Slot = CodeSlots; Slot < AllSlots; ++Slot)
    Page->Slots[Slot].Do = labelOf(Handler::Fetch);
  return Page;
}

} // namespace

CodeCache::CodeCache() {
  clear();
}

CodeCache::~CodeCache() {
  clear();
}

void CodeCache::clear() {
  for (auto &[Va, Page] : Pages) {
    if (Page->Memory)
      orvy_memPageUnwatch(Page->Memory, &Page->Watcher);
    std::free(Page);
  }
  Pages.clear();
  for (CodePage *&Page : Recent)
    Page = &Nowhere;
}

void CodeCache::detachAll() {
  for (auto &[Va, Page] : Pages) {
    if (!Page->Memory)
      continue;
    orvy_memPageUnwatch(Page->Memory, &Page->Watcher);
    revoked(&Page->Watcher);
  }
}

void CodeCache::attach(CodePage *Page, orvy_MemPage *Memory, bool HasHooks) {
  if (Page->Memory == Memory)
    return;
  if (Page->Memory)
    orvy_memPageUnwatch(Page->Memory, &Page->Watcher);
  Page->Memory = Memory;
  Page->HasHooks = HasHooks;
  orvy_memPageWatch(Memory, &Page->Watcher);
  fill(Page, Handler::Decode);
}

CodePage *CodeCache::find(uint32_t Va) {
  Va &= ~(ORVY_PAGE_SIZE - 1);
  CodePage *&Page = Pages[Va];
  if (!Page)
    Page = allocate(Va);
  return Recent[Va >> ORVY_PAGE_BITS & (RecentPages - 1)] = Page;
}

} // namespace sparc
