// The commands that create, select and list debugging contexts.

#include "Debugging/DebugCommands.h"

#include "Base/HexText.h"
#include "Debugging/LoadContext.h"
#include "orvy/Support/Loader.h"

#include <exception>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugging;

int orvy::debugging::loadContext(void *Memory, const char *Path, Symbols Which) {
  try {
    const bool HasDwarf = Which == Symbols::Any ? orvy_elfHasDwarf(Path) : Which == Symbols::All;
    auto Made =
        std::make_unique<Ctxt>(Memory, Path, HasDwarf ? Ctxt::Kind::Dwarf : Ctxt::Kind::Symtab);
    if (Which == Symbols::All)
      Made->addSymtab(Path);
    Manager::getDebuggingManager().add(Path, std::move(Made));
    return 0;
  } catch (const std::exception &) {
    errs() << "warning: can't read symtabs or dwarf in '" << Path << "'\n"
           << "note: the file otherwise loaded successfully\n";
    return 1;
  }
}

static int load(Command &Cmd, Interpreter *) {
  const char *Path = Cmd.getOption("file").getValue<const char *>();
  if (!orvy_imageIsELF(Path))
    return 1;
  return loadContext(Cmd.getOption("mem").getValue<void *>(), Path, Symbols::Any);
}

static Command LoadCtxt("experimental-debug-load-ctxt",
                        {{"mem", OK_Object, true, "Memory space object"},
                         {"file", OK_Path, true, "Path to file to load"}},
                        load, "");

static int dispose(Command &Cmd, Interpreter *) {
  Manager::getDebuggingManager().dispose(Cmd.getOption("ctxt").Value);
  return 0;
}

static Command DisposeCtxt("experimental-debug-dispose-ctxt",
                           {{"ctxt", OK_String, true, "Name of debugging context"}}, dispose, "");

static int listContexts(Command &, Interpreter *) {
  const Manager &All = Manager::getDebuggingManager();
  for (const auto &[Path, Context] : All.getAll()) {
    const bool IsCurrent = Context.get() == All.getCurrent();
    if (IsCurrent)
      outs() << "*\033[32m";
    outs() << Path << ": " << (Context->getKind() == Ctxt::Kind::Dwarf ? "DWARF\n" : "symtab\n");
    if (IsCurrent)
      outs() << "\033[0m";
  }
  return 0;
}

static Command ListContexts("experimental-debug-list-contexts", {}, listContexts, "");

static int setContext(Command &Cmd, Interpreter *) {
  return Manager::getDebuggingManager().setCurrent(Cmd.getOption("ctxt").Value) ? 0 : 1;
}

static Command SetContexts("experimental-debug-set-context",
                           {{"ctxt", OK_String, true, "Debugging context name"}}, setContext, "");

// The contents of a context.

static std::string rangeText(Symtab::Range R) {
  return ": 0x" + hexText(R.first, 1) + " - " + hexText(R.first + R.second, 1) + "\n";
}

static int listSymbols(Command &Cmd, Interpreter *) {
  const Ctxt *Context = chosenContext(Cmd);
  if (!Context)
    return 1;
  if (!Context->getSymtab())
    return 0;
  const auto &Symbols = *reinterpret_cast<const Symtab *>(Context->getSymtab());
  const auto global = [](const char *Kind) {
    return [Kind](const std::string &, const std::string &Name, Symtab::Range R) {
      outs() << Kind << " GLOBAL " << Name << rangeText(R);
    };
  };
  const auto local = [](const char *Kind) {
    return [Kind](const std::string &File, const std::string &Name, Symtab::Range R) {
      outs() << Kind << " LOCAL " << File << ":" << Name << rangeText(R);
    };
  };
  outs() << "SYMTABS\n";
  Symbols.visitGlobalFuncs(global("FUNCTION"));
  Symbols.visitGlobalData(global("OBJECT"));
  Symbols.visitLocalFuncs(local("FUNCTION"));
  Symbols.visitLocalData(local("OBJECT"));
  return 0;
}

static Command ListCtxtData("experimental-debug-list-ranges", {contextOption()}, listSymbols, "");

static std::string baseText(dwarf::CompilationUnit &Unit) {
  try {
    return "0x" + hexText(Unit.getBaseAddress(), 1);
  } catch (...) { // the unit has no base address
    return "??????????";
  }
}

static const char *languageText(dwarf::CompilationUnit &Unit) {
  try {
    const char *Name = Unit.getLanguageName();
    return Name ? Name : "<unknown language>";
  } catch (...) { // the unit has no language attribute
    return "<unknown language>";
  }
}

static int listUnits(Command &Cmd, Interpreter *) {
  const Ctxt *Context = chosenContext(Cmd);
  if (!Context)
    return 1;
  if (!Context->getDwarf())
    return complain(-1, "no dwarf context found");
  outs() << "Compilation Units:\n";
  for (const auto &Unit :
       reinterpret_cast<dwarf::DebugInfo *>(Context->getDwarf())->getCompUnits()) {
    const char *Name = Unit->getName();
    outs() << "\t" << baseText(*Unit) << ": (" << languageText(*Unit) << ") "
           << (Name ? Name : "<unknown cu-name>") << "\n";
  }
  return 0;
}

static Command ListCtxtCompUnits("experimental-debug-list-cu", {contextOption()}, listUnits, "");
