// LoggingEngine.h - the process-wide log: thresholds and clients.

#ifndef ORVY_LIB_LOGGINGENGINE_H
#define ORVY_LIB_LOGGINGENGINE_H

#include "orvy/Support/Logging.h"
#include "orvy/Support/ManagedStatic.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace orvy {

/// Sixteen 4-bit log levels, category n in bits 4n to 4n+3.
using LogThresholds = uint64_t;

constexpr LogThresholds AllDebug = 0x4444444444444444;

constexpr uint32_t thresholdOf(LogThresholds Set, uint32_t Category) {
  return Set >> (4 * Category) & 0xf;
}

/// Receives the messages that pass.
class LoggingClient {
public:
  /// @param Category  at most 15
  virtual void log(orvy_LogLevel Level, const void *Obj, uint32_t Category, const char *Fmt,
                   va_list Args) = 0;
  /// Turns colours on or off, for a client that has any.
  virtual void setColor(bool On);
  virtual ~LoggingClient();

  static std::unique_ptr<LoggingClient>
  createStrCallbackClient(std::function<void(const char *)> Func);
  static std::unique_ptr<LoggingClient> createStdoutClient();
  static std::unique_ptr<LoggingClient> createStderrClient();
  /// Writes the file anew; null if it cannot be opened.
  static std::unique_ptr<LoggingClient> createFileClient(const char *Path);
  /// The stream stays the caller's.
  static std::unique_ptr<LoggingClient> createFileClient(FILE *File);
  /// There is no such client: always null.
  static std::unique_ptr<LoggingClient> createSqlLiteClient();
};

/// Writes lines to a stream. What cannot be written is lost silently.
class FileLoggingClient : public LoggingClient {
public:
  FileLoggingClient(FILE *File, bool Owned, bool Color) : File(File), Owned(Owned), Color(Color) {}
  FileLoggingClient(const FileLoggingClient &) = delete;
  FileLoggingClient &operator=(const FileLoggingClient &) = delete;
  ~FileLoggingClient() override;

  void log(orvy_LogLevel Level, const void *Obj, uint32_t Category, const char *Fmt,
           va_list Args) override;
  void setColor(bool On) override { Color = On; }

private:
  FILE *File;
  bool Owned;
  bool Color;
};

class StdoutLoggingClient final : public FileLoggingClient {
public:
  StdoutLoggingClient() : FileLoggingClient(stdout, false, true) {}
};

class StderrLoggingClient final : public FileLoggingClient {
public:
  StderrLoggingClient() : FileLoggingClient(stderr, false, true) {}
};

/// Passes each line, line end included, to a function.
class StrCallbackClient final : public LoggingClient {
public:
  explicit StrCallbackClient(std::function<void(const char *)> Func) : Func(std::move(Func)) {}
  void log(orvy_LogLevel Level, const void *Obj, uint32_t Category, const char *Fmt,
           va_list Args) override;

private:
  std::function<void(const char *)> Func;
};

/// Filters messages and hands them to its clients in order. One for the process: TheEngine.
class LoggingEngine {
public:
  /// With a client on the standard output, or on the standard error if the environment variable
  /// ORVY_LOG_STDERR or the option --log-stderr asks for it.
  LoggingEngine();

  void log(orvy_LogLevel Level, const void *Obj, uint32_t Category, const char *Fmt, va_list Args);

  /// Whether the engine's own threshold lets a level pass.
  bool passes(orvy_LogLevel Level, uint32_t Category) const {
    return Level <= thresholdOf(Thresholds.load(std::memory_order_relaxed), Category);
  }
  void setLevel(orvy_LogLevel Level);
  void setSeverity(uint32_t Category, orvy_LogLevel Level);
  orvy_LogLevel getSeverity(uint32_t Category) const;
  void setColor(bool On);

  void addClient(std::unique_ptr<LoggingClient> Client);
  /// Removes all clients for the one given.
  void replaceClients(std::unique_ptr<LoggingClient> Client);

private:
  std::vector<std::unique_ptr<LoggingClient>> Clients;
  std::atomic<LogThresholds> Thresholds{AllDebug}; // read by messages of any thread
};

/// The engine, built when it is first used.
extern ManagedStatic<LoggingEngine> TheEngine;

} // namespace orvy

#endif
