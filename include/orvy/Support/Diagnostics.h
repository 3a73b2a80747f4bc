// Diagnostics.h - messages about a place in a text: file, line and what is wrong there.

#ifndef ORVY_SUPPORT_DIAGNOSTICS_H
#define ORVY_SUPPORT_DIAGNOSTICS_H

#include "orvy/Support/Export.h"

#include <cstdarg>
#include <memory>
#include <string>
#include <vector>

namespace orvy {

/// Receives diagnostics. The file name may be empty, the line counts from 1.
class ORVY_API DiagnosticsClient {
public:
  virtual void warning(const std::string &File, uint32_t Line, const char *Fmt, va_list Args) = 0;
  virtual void error(const std::string &File, uint32_t Line, const char *Fmt, va_list Args) = 0;
  /// Turns colours on or off, for a client that has any.
  virtual void setColor(bool On);
  virtual ~DiagnosticsClient();

  /// A new client that writes to the process's standard error, with colours on.
  static std::unique_ptr<DiagnosticsClient> createStderrClient();
};

/// Writes "file:line: error: text" lines to the process's standard error.
class ORVY_API StdErrDiagClient final : public DiagnosticsClient {
public:
  void warning(const std::string &File, uint32_t Line, const char *Fmt, va_list Args) override;
  void error(const std::string &File, uint32_t Line, const char *Fmt, va_list Args) override;
  void setColor(bool On) override { Color = On; }

private:
  bool Color = true;
};

/// Hands the messages about one text to its clients. Silent while it has none.
class DiagnosticsEngine {
public:
  ORVY_API void addClient(std::unique_ptr<DiagnosticsClient> Client);
  void setFileName(std::string Name) { FileName = std::move(Name); }
  const std::string &getFileName() const { return FileName; }
  /// Reports an error in a line of the text under work.
  ORVY_API void error(uint32_t Line, const char *Fmt, ...) ORVY_PRINTF(3, 4);

private:
  std::vector<std::unique_ptr<DiagnosticsClient>> Clients;
  std::string FileName;
};

} // namespace orvy

#endif
