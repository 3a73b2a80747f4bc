// The documentation of a class, as AsciiDoc.

#include "Base/HexText.h"
#include "Objsys/ObjsysClass.h"

#include "orvy/Support/OutStream.h"

#include <fstream>
#include <utility>

using namespace orvy;
using namespace orvy::objsys;

namespace {

const char *typeWord(orvy_Type Typ) {
  static constexpr const char *Words[] = {
      nullptr,    "intptr_t",   "uintptr_t",   "float",   "double",       "uint8_t",
      "uint16_t", "uint32_t",   "uint64_t",    "int8_t",  "int16_t",      "int32_t",
      "int64_t",  "object",     "internalptr", "iref / ", "irefarray / ", "cstring",
      "buffer",   "dictionary", "vector",      "list"};
  return Typ > ovTY_Invalid && Typ <= ovTY_List ? Words[Typ] : "<<INVALID PROPERTY>>";
}

std::string typeText(const Property &Prop) {
  std::string Type = typeWord(Prop.Typ);
  if (Prop.Typ == ovTY_IfaceRef || Prop.Typ == ovTY_IfaceRefArray)
    Type += Prop.RequiresInterface ? Prop.RequiredInterfaceType : "<unknown>";
  return Prop.Count > 1 ? "[" + std::to_string(Prop.Count) + " x " + Type + "]" : Type;
}

/// Rows between rulers of a length; EmptyRow if no row was added.
class Table {
public:
  Table(size_t RulerLength, const char *Head, const char *EmptyRow)
      : Ruler("|" + std::string(RulerLength, '=') + "\n"), Head(Head), EmptyRow(EmptyRow) {}

  void addRow(std::initializer_list<std::string> Cells, const char *Separator = " | ") {
    const char *Before = "| ";
    for (const std::string &Cell : Cells)
      Rows += std::exchange(Before, Separator) + Cell;
    Rows += "\n";
  }

  std::string text() const {
    return "[options=\"header\"]\n" + Ruler + Head + "\n" +
           (Rows.empty() ? std::string(EmptyRow) + "\n" : Rows) + Ruler + "\n";
  }

private:
  std::string Ruler, Head, EmptyRow, Rows;
};

std::string propertyTable(const Class &Cls) {
  Table Properties(26, "| Name | Type | Description", "| -    | -    | -");
  for (const auto &[Name, Prop] : Cls.Properties)
    Properties.addRow({Name, typeText(*Prop), Prop->Doc});
  return "=== Properties\n\n" + Properties.text();
}

std::string interfaceTable(const Class &Cls) {
  Table Interfaces(26, "| Name | Type | Description", "| -    | -    | -");
  for (const auto &[Name, Iface] : Cls.Interfaces)
    Interfaces.addRow({Name, Iface->Type->Name, Iface->Doc});
  return "=== Interfaces\n\n" + Interfaces.text();
}

std::string portTable(const Class &Cls) {
  Table Ports(27, "| Prop | Iface | Description", "| -    | -     | -");
  for (const auto &[Number, Each] : Cls.Ports)
    Ports.addRow({Each.Prop->Name, Each.Iface->Name, Each.Doc}, "| ");
  return "=== Ports\n\n" + Ports.text();
}

std::string registerText(const Register &Reg) {
  const auto hex = [](uint64_t Value) { return "0x" + hexText(Value, 1); };
  Table Fields(27, "| Field | Mask | Cold | Warm | Description",
               "| -     | -    | -    | -    | -");
  for (const auto &F : Reg.Fields)
    Fields.addRow({F->Name, hex(F->Mask), hex(F->ColdResetValue), hex(F->WarmResetValue), F->Doc},
                  "| ");
  return "==== Register " + Reg.Name + "\n\n" + Reg.Doc +
         "\n\nCold reset value: " + hex(Reg.ColdResetValue) +
         "\n\nWarm reset value: " + hex(Reg.WarmResetValue) + "\n\n" + Fields.text();
}

std::string registerTexts(const Class &Cls) {
  if (Cls.RegisterBanks.empty())
    return {};
  std::string Text = "== Registers\n\nWARNING: Register support is currently experimental!\n\n";
  for (const auto &[Name, Bank] : Cls.RegisterBanks) {
    Text += "=== Register Bank " + Name + "\n\n";
    for (const Register *Reg : Bank->Registers)
      Text += registerText(*Reg);
  }
  return Text;
}

} // namespace

void Class::generateDocs(const char *File) const {
  const std::string Text = "== Attributes\n\n" + propertyTable(*this) + interfaceTable(*this) +
                           portTable(*this) + registerTexts(*this);
  if (File)
    std::ofstream(File, std::ios::trunc) << Text;
  else
    outs() << Text;
}
