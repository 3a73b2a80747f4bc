// The smallest model: objects of the class Tiny hold a number, which an interface doubles. Its
// command and its process options use every template whose code lies in the library.

#include "orvy/Support/CommandLineOptions.h"
#include "orvy/Support/Commands.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Orvy.h"
#include "orvy/Support/OutStream.h"

#include "TinyIface.h"

namespace {

struct Tiny {
  orvy_Object Super;
  uint32_t Number;
};

void twice(void *Obj) {
  static_cast<Tiny *>(Obj)->Number *= 2;
}

TinyIface Table = {twice};

void *create(const char *, int, const orvy_CreateArg *) {
  return new Tiny{};
}
void dispose(void *Obj) {
  delete static_cast<Tiny *>(Obj);
}

using namespace orvy::cl;

opt<bool> Flag(longName("tiny-flag"));
opt<int> Signed(longName("tiny-int"));
opt<unsigned> Unsigned(longName("tiny-unsigned"));
opt<char> Letter(longName("tiny-char"));
opt<double> Real(longName("tiny-real"));
list<std::string> Words(longName("tiny-words"));

int showValues(Command &Cmd, Interpreter *) {
  const Option &Int = Cmd.getOption("int");
  const Option &Prop = Cmd.getOption("prop");
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  orvy::outs() << Int.getValue<int>() << " " << Int.getValue<unsigned>() << " "
               << Int.getValue<long>() << " " << Int.getValue<unsigned long>() << " "
               << Cmd.getOption("real").getValue<double>() << " " << orvy_nameForObject(Obj) << " "
               << Cmd.getOption("word").getValue<const char *>() << " "
               << (Prop.getValue<orvy_Propref>().Typ == ovTY_U32) << " "
               << Prop.getValue<orvy_PropName>().Name << " "
               << (Cmd.getOption("iface").getValue<orvy_IfaceRef>().Obj == Obj) << " "
               << (Cmd.getOption("class").getValue<orvy::objsys::Class *>() != nullptr) << "\n";
  return 0;
}

Command ShowValues("tiny-values",
                   {
                       {"int", OK_Int, true},
                       {"real", OK_Double, true},
                       {"obj", OK_Object, true},
                       {"word", OK_String, true},
                       {"prop", OK_Prop, true},
                       {"iface", OK_Iface, true},
                       {"class", OK_Class, true},
                   },
                   showValues, "Shows its options");

} // namespace

extern "C" ORVY_API void orvy_pluginInit(void) {
  orvy_Class *Cls = orvy_registerClass("Tiny", create, dispose);
  orvy_addProperty(Cls, "number", offsetof(Tiny, Number), ovTY_U32, 1, nullptr, nullptr, "");
  orvy_addInterface(Cls, "TinyIface", "TinyIface", &Table, 0, "");
}
