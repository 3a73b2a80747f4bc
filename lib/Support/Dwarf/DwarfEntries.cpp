#include "Dwarf/DwarfForms.h"
#include "Dwarf/DwarfNames.h"

#include "orvy/Support/Dwarf.h"

using namespace orvy;
using namespace orvy::dwarf;
using utils::VectorStream;

AttributeList::iterator::iterator(DebugInfoEntry &Entry)
    : VS(Entry.getUnit()->getSection(), Entry.SectionOffset + Entry.CodeBytes),
      Attrs(Entry.Abbrev ? Entry.Abbrev->Attrs : std::span<const AttrForm>()),
      Current(&Entry, 0, 0, nullptr, 0, 0) {
  VS.BigEndian = true;
  VS.Is64Bit = Entry.getUnit()->is64Bit();
  VS.MayReachEnd = Entry.getUnit()->mayReachEnd();
  load();
}

AttributeList::iterator &AttributeList::iterator::operator++() {
  load();
  return *this;
}

/// Loads the next attribute. Its value is in bounds: that was checked when the entry was read.
void AttributeList::iterator::load() {
  if (Next++ >= Attrs.size())
    return;
  auto [Name, Form] = Attrs[Next - 1];
  DebugInfoEntry *Parent = Current.getParent();
  uint64_t Start = VS.getOffset();
  skipValue(VS, Form);
  Current = Attribute(Parent, Name, Form, Parent->getUnit()->getSection().data() + Start, Start,
                      VS.getOffset() - Start);
}

DebugInfo *DebugInfoEntry::getDebugInfo() const {
  return Owner->getDebugInfo();
}

uint64_t DebugInfoEntry::getAbbrevCode() const {
  VectorStream VS(Owner->getSection(), SectionOffset);
  return isNull() ? 0 : readULEB128(VS);
}

std::vector<DebugInfoEntry *> DebugInfoEntry::getChildren() {
  std::vector<DebugInfoEntry *> Children;
  DebugInfoEntry *End = getNext();
  for (DebugInfoEntry *Child = this + 1; Child != End; Child = Child->getNext())
    Children.push_back(Child);
  return Children;
}

std::optional<Attribute> DebugInfoEntry::find(uint64_t Name) {
  for (const Attribute &Found : attributes())
    if (Found.getName() == Name)
      return Found;
  return std::nullopt;
}

const char *DebugInfoEntry::getName() {
  std::optional<Attribute> Name = find(DW_AT_name);
  return Name ? Name->getCStr() : nullptr;
}
