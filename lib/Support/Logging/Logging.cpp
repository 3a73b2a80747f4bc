#include "orvy/Support/Logging.h"

#include "Base/ErrorRecord.h"
#include "Logging/LogHeader.h"
#include "Logging/LogLine.h"
#include "Logging/LogSources.h"
#include "Logging/LoggingEngine.h"
#include "orvy/Support/CommandLineOptions.h"

#include <algorithm>
#include <cstdlib>

using namespace orvy;

// Null until this file's initialisers have run, and never destroyed: an engine may be built on
// either side of the option's life.
static cl::opt<bool> *const LogStderr =
    new cl::opt<bool>(cl::longName("log-stderr"), cl::category("Logging"),
                      cl::description("Change default log output to stderr"));

ManagedStatic<LoggingEngine> orvy::TheEngine;

namespace {

constexpr uint32_t CategoryCount = 16;

[[gnu::format(printf, 6, 0)]] const char *compose(LogLine &Out, orvy_LogLevel Level,
                                                  const void *Obj, uint32_t Category, bool Color,
                                                  const char *Fmt, va_list Args) {
  addLogHeader(Out, Level, Obj, Category, Color);
  Out.addFormatted(Fmt, Args);
  return Out.end();
}

// Records the message without level and time, for functions that return the reason of a failure.
[[gnu::format(printf, 2, 0)]] void record(const void *Obj, const char *Fmt, va_list Args) {
  LogLine Out;
  if (const char *Name = logSources().nameOf(Obj)) {
    Out.add(Name);
    Out.add(": ");
  }
  va_list Own;
  va_copy(Own, Args);
  Out.addFormatted(Fmt, Own);
  va_end(Own);
  recordError(Out.end());
}

constexpr LogThresholds withThreshold(LogThresholds Set, uint32_t Category, orvy_LogLevel Level) {
  const uint32_t Shift = 4 * Category;
  return (Set & ~(0xfull << Shift)) | static_cast<uint64_t>(std::min(Level, ovLOG_Debug)) << Shift;
}

} // namespace

// Clients.

void LoggingClient::setColor(bool) {}
LoggingClient::~LoggingClient() = default;

std::unique_ptr<LoggingClient>
LoggingClient::createStrCallbackClient(std::function<void(const char *)> Func) {
  return std::make_unique<StrCallbackClient>(std::move(Func));
}

std::unique_ptr<LoggingClient> LoggingClient::createStdoutClient() {
  return std::make_unique<StdoutLoggingClient>();
}

std::unique_ptr<LoggingClient> LoggingClient::createStderrClient() {
  return std::make_unique<StderrLoggingClient>();
}

std::unique_ptr<LoggingClient> LoggingClient::createFileClient(const char *Path) {
  FILE *File = std::fopen(Path, "w");
  return File ? std::make_unique<FileLoggingClient>(File, true, false) : nullptr;
}

std::unique_ptr<LoggingClient> LoggingClient::createFileClient(FILE *File) {
  return std::make_unique<FileLoggingClient>(File, false, false);
}

std::unique_ptr<LoggingClient> LoggingClient::createSqlLiteClient() {
  return nullptr;
}

FileLoggingClient::~FileLoggingClient() {
  if (Owned)
    std::fclose(File);
}

void FileLoggingClient::log(orvy_LogLevel Level, const void *Obj, uint32_t Category,
                            const char *Fmt, va_list Args) {
  LogLine Out;
  std::fputs(compose(Out, Level, Obj, Category, Color, Fmt, Args), File);
}

void StrCallbackClient::log(orvy_LogLevel Level, const void *Obj, uint32_t Category,
                            const char *Fmt, va_list Args) {
  LogLine Out;
  Func(compose(Out, Level, Obj, Category, false, Fmt, Args));
}

// The engine.

LoggingEngine::LoggingEngine() {
  const bool ToStderr = std::getenv("ORVY_LOG_STDERR") || (LogStderr && *LogStderr);
  addClient(ToStderr ? LoggingClient::createStderrClient() : LoggingClient::createStdoutClient());
}

void LoggingEngine::log(orvy_LogLevel Level, const void *Obj, uint32_t Category, const char *Fmt,
                        va_list Args) {
  if (Category >= CategoryCount)
    Category = 0;
  if (!passes(Level, Category))
    return;
  const orvy_Object *Header = logSources().headerOf(Obj);
  if (Header && Level > thresholdOf(Header->LoggingFlags, Category))
    return;
  if (Level <= ovLOG_Error)
    record(Obj, Fmt, Args);
  for (const auto &Client : Clients) {
    va_list Own;
    va_copy(Own, Args);
    Client->log(Level, Obj, Category, Fmt, Own);
    va_end(Own);
  }
}

void LoggingEngine::setLevel(orvy_LogLevel Level) {
  for (uint32_t Category = 0; Category < CategoryCount; ++Category)
    setSeverity(Category, Level);
}

void LoggingEngine::setSeverity(uint32_t Category, orvy_LogLevel Level) {
  if (Category < CategoryCount)
    Thresholds = withThreshold(Thresholds, Category, Level);
}

orvy_LogLevel LoggingEngine::getSeverity(uint32_t Category) const {
  return Category < CategoryCount ? static_cast<orvy_LogLevel>(thresholdOf(Thresholds, Category))
                                  : ovLOG_Debug;
}

void LoggingEngine::setColor(bool On) {
  for (const auto &Client : Clients)
    Client->setColor(On);
}

void LoggingEngine::addClient(std::unique_ptr<LoggingClient> Client) {
  Clients.push_back(std::move(Client));
}

void LoggingEngine::replaceClients(std::unique_ptr<LoggingClient> Client) {
  Clients.clear();
  Clients.push_back(std::move(Client));
}

// The flat interface. A message that the engine silences costs no more than the test of its level.

#define EMIT_MESSAGE(Category, Level)                                                              \
  do {                                                                                             \
    LoggingEngine &Engine = *TheEngine;                                                            \
    if (Engine.passes(Level, Category)) {                                                          \
      va_list Args;                                                                                \
      va_start(Args, Fmt);                                                                         \
      Engine.log(Level, Obj, Category, Fmt, Args);                                                 \
      va_end(Args);                                                                                \
    }                                                                                              \
  } while (false)

#define DEFINE_LOG(Name, Category, Level)                                                          \
  void Name(const void *Obj, const char *Fmt, ...) {                                               \
    EMIT_MESSAGE(Category, Level);                                                                 \
  }

#define DEFINE_FATAL(Name, Category)                                                               \
  void Name(const void *Obj, const char *Fmt, ...) {                                               \
    EMIT_MESSAGE(Category, ovLOG_Fatal);                                                           \
    std::fflush(nullptr); /* abort does not flush what the clients have written */                 \
    std::abort();                                                                                  \
  }

DEFINE_FATAL(orvy_logFatal, 0)
DEFINE_FATAL(orvy_logCritical, 0)
DEFINE_LOG(orvy_logError, 0, ovLOG_Error)
DEFINE_LOG(orvy_logWarning, 0, ovLOG_Warning)
DEFINE_LOG(orvy_logInfo, 0, ovLOG_Info)
DEFINE_LOG(orvy_logDebugFunc, 0, ovLOG_Debug)

DEFINE_FATAL(orvy_logSimFatal, 1)
DEFINE_LOG(orvy_logSimError, 1, ovLOG_Error)
DEFINE_LOG(orvy_logSimWarning, 1, ovLOG_Warning)
DEFINE_LOG(orvy_logSimInfo, 1, ovLOG_Info)

DEFINE_FATAL(orvy_logTargetFatal, 2)
DEFINE_LOG(orvy_logTargetError, 2, ovLOG_Error)
DEFINE_LOG(orvy_logTargetWarning, 2, ovLOG_Warning)
DEFINE_LOG(orvy_logTargetInfo, 2, ovLOG_Info)

DEFINE_FATAL(orvy_logConfigFatal, 3)
DEFINE_LOG(orvy_logConfigError, 3, ovLOG_Error)
DEFINE_LOG(orvy_logConfigWarning, 3, ovLOG_Warning)
DEFINE_LOG(orvy_logConfigInfo, 3, ovLOG_Info)

void orvy_logToCategory(const void *Obj, uint32_t Category, orvy_LogLevel Level, const char *Fmt,
                        ...) {
  va_list Args;
  va_start(Args, Fmt);
  TheEngine->log(Level, Obj, Category, Fmt, Args);
  va_end(Args);
}

void orvy_logToCategoryVA(const void *Obj, uint32_t Category, orvy_LogLevel Level, const char *Fmt,
                          va_list Args) {
  TheEngine->log(Level, Obj, Category, Fmt, Args);
}

void orvy_log(orvy_LogLevel Level, const void *Obj, const char *Fmt, va_list Args) {
  TheEngine->log(Level, Obj, 0, Fmt, Args);
}

void orvy_logSetLevel(orvy_LogLevel Level) {
  TheEngine->setLevel(Level);
}

void orvy_logSetSeverity(void *Obj, uint32_t Category, orvy_LogLevel Level) {
  if (Obj)
    orvy_objectSetLogLevel(Obj, Category, Level);
  else
    TheEngine->setSeverity(Category, Level);
}

void orvy_objectSetLogLevel(void *Obj, uint32_t Category, orvy_LogLevel Level) {
  if (orvy_Object *Header = logSources().headerOf(Obj); Header && Category < CategoryCount)
    Header->LoggingFlags = withThreshold(Header->LoggingFlags, Category, Level);
}

orvy_LogLevel orvy_objectGetLogLevel(const void *Obj, uint32_t Category) {
  const orvy_Object *Header = logSources().headerOf(Obj);
  if (!Header || Category >= CategoryCount)
    return ovLOG_Debug;
  return static_cast<orvy_LogLevel>(thresholdOf(Header->LoggingFlags, Category));
}

void orvy_logSetColour(int On) {
  TheEngine->setColor(On != 0);
}

void orvy_logSetFunc(void (*Func)(const char *Line)) {
  TheEngine->replaceClients(Func ? LoggingClient::createStrCallbackClient(Func)
                                 : LoggingClient::createStderrClient());
}

void orvy_logSetDefaultFile(FILE *File) {
  if (!File || File == stderr)
    TheEngine->replaceClients(LoggingClient::createStderrClient());
  else if (File == stdout)
    TheEngine->replaceClients(LoggingClient::createStdoutClient());
  else
    TheEngine->replaceClients(LoggingClient::createFileClient(File));
}
