// The commands on the log: levels, colours, messages from scripts, and the log file.

#include "CommandLine/Handlers.h"
#include "Logging/LogHeader.h"
#include "Logging/LoggingEngine.h"

#include "orvy/Support/Logging.h"

#include <cstdio>

using namespace orvy;
using namespace orvy::cl;

namespace {

constexpr uint32_t FirstClassCategory = 8;
constexpr uint32_t LastClassCategory = 15;

// Messages

template <orvy_LogLevel Level> int emit(Command &Cmd, Interpreter *) {
  std::string Text;
  for (const std::string &Word : Cmd.getPositionals())
    Text.append(Text.empty() ? "" : " ").append(Word);
  if (!Cmd.getPositionals().empty())
    orvy_logToCategory(nullptr, 0, Level, "%s", Text.c_str());
  return 0;
}

// Levels

std::optional<orvy_LogLevel> levelForName(std::string_view Name) {
  for (orvy_LogLevel Level = ovLOG_Fatal; Level <= ovLOG_Debug;
       Level = static_cast<orvy_LogLevel>(Level + 1))
    if (Name == logLevelName(Level))
      return Level;
  return std::nullopt;
}

/// The number of a category, fixed or named by the object's class; 0 for an unknown name.
uint32_t categoryForName(std::string_view Name, void *Obj) {
  static constexpr std::pair<std::string_view, uint32_t> Fixed[] = {
      {"config", 3}, {"target", 2}, {"sim", 1}};
  for (const auto &[Known, Category] : Fixed)
    if (Name == Known)
      return Category;
  if (!Obj || Name.empty())
    return 0; // an empty name must not match an unnamed category
  for (uint32_t Category = FirstClassCategory; Category <= LastClassCategory; ++Category) {
    const char *Known = orvy_getLoggingCategory(orvy_classForObject(Obj), Category);
    if (Known && Name == Known)
      return Category;
  }
  return 0;
}

int setSeverity(void *Obj, uint32_t Category, const std::string &Name) {
  const auto Level = levelForName(Name);
  if (!Level) {
    if (Obj)
      errs() << "unknown log level '" << Name << "'\n";
    return 1;
  }
  orvy_logSetSeverity(Obj, Category, *Level);
  return 0;
}

int setLevels(const std::vector<std::string> &Names) {
  int Result = 0;
  for (const std::string &Name : Names) {
    if (const auto Level = levelForName(Name)) {
      orvy_logSetLevel(*Level);
      continue;
    }
    errs() << "unknown log-level must be one of fatal, error, warning, info and debug\n";
    Result = 1;
  }
  return Result;
}

int showLevel(void *Obj, uint32_t Category, const std::string &CategoryName) {
  if (!Obj) {
    outs() << "current log level: '" << logLevelName(TheEngine->getSeverity(0)) << "'\n";
    return 0;
  }
  if (orvy_isExternal(Obj)) {
    errs() << "cannot get log level for external objects\n";
    return 1;
  }
  outs() << "current log level object = " << orvy_nameForObject(Obj)
         << ", category = " << (Category ? CategoryName : "default") << ", level = '"
         << logLevelName(orvy_objectGetLogLevel(Obj, Category)) << "'\n";
  return 0;
}

int logLevel(Command &Cmd, Interpreter *) {
  void *Obj = given<void *>(Cmd, "obj").value_or(nullptr);
  const std::string CategoryName = given<const char *>(Cmd, "category").value_or("");
  const uint32_t Category = categoryForName(CategoryName, Obj);
  if (Category == 0 && !CategoryName.empty() && CategoryName != "default")
    errs() << "warning: unknown category '" << CategoryName << "', using the default one\n";
  const Option &Severity = Cmd.getOption("severity");
  const std::vector<std::string> &Words = Cmd.getPositionals();
  if (Severity.Valid && !levelForName(Severity.Value))
    errs() << "invalid logging severity\n";
  if (Severity.Valid && (Obj || Words.empty()))
    return setSeverity(Obj, Category, Severity.Value);
  if (!Words.empty())
    return setLevels(Words);
  return showLevel(Obj, Category, CategoryName);
}

Command LogLevel("log-level",
                 {{"obj", OK_Object, false},
                  {"category", OK_String, false},
                  {"severity", OK_String, false}},
                 logLevel,
                 "Show and set log level\n"
                 "Log level is set by giving one of: fatal, error, warning, info and debug\n"
                 "as a positional argument");

template <int On> void setColours() {
  orvy_logSetColour(On);
}

Command LogEnableColours("log-enable-colours", call<setColours<1>>,
                         "Enable logging with colors to stdout/stderr\n");

Command LogDisableColours("log-disable-colours", call<setColours<0>>,
                          "Disable logging with colors to stdout/stderr\n");

Command LogDebug("log-debug", emit<ovLOG_Debug>,
                 "Emit debug log message. Debug messages are only emitted in the asserts builds of "
                 "ORVY.");

Command LogInfo("log-info", emit<ovLOG_Info>, "Emit info log message");

Command LogWarn("log-warn", emit<ovLOG_Warning>, "Emit warning log message");

Command LogError("log-error", emit<ovLOG_Error>, "Emit error log message");

Command LogFatal("log-fatal", emit<ovLOG_Fatal>, "Emit fatal log message");

// The file

class LogSetFileCommand final : public Command {
public:
  LogSetFileCommand()
      : Command("log-set-file", {{"file", OK_String, true}}, Handler(),
                "Set file for ORVY log. Setting file to '<default>' will restore default "
                "behaviour. The log file will be appended to if it already exist.") {}
  ~LogSetFileCommand() override {
    if (File)
      replaceFile(nullptr);
  }

  int run(Interpreter *) override {
    const std::string &Path = getOption("file").Value;
    if (Path == "<default>") {
      replaceFile(nullptr);
      return 0;
    }
    FILE *Opened = std::fopen(Path.c_str(), "a");
    if (!Opened) {
      std::perror("log-set-file");
      return -1;
    }
    replaceFile(Opened);
    orvy_logSetDefaultFile(File);
    return 0;
  }

private:
  /// Detaches the log from the former file before closing it.
  void replaceFile(FILE *New) {
    orvy_logSetDefaultFile(nullptr);
    if (File)
      std::fclose(File);
    File = New;
  }

  FILE *File = nullptr;
};

LogSetFileCommand LogSetFile;

} // namespace
