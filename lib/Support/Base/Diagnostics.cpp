#include "orvy/Support/Diagnostics.h"

#include "Base/ErrorRecord.h"

#include <cstdio>

using namespace orvy;

namespace {

struct DiagnosticKind {
  const char *Color;
  const char *Name;
};
constexpr DiagnosticKind WarningKind = {"\033[33m", "warning"};
constexpr DiagnosticKind ErrorKind = {"\033[31m", "error"};

} // namespace

[[gnu::format(printf, 1, 0)]] static std::string format(const char *Fmt, va_list Args) {
  va_list Measured;
  va_copy(Measured, Args);
  const int Length = std::vsnprintf(nullptr, 0, Fmt, Measured);
  va_end(Measured);
  std::string Text(Length > 0 ? Length : 0, '\0');
  std::vsnprintf(Text.data(), Text.size() + 1, Fmt, Args);
  return Text;
}

[[gnu::format(printf, 5, 0)]] static void report(const DiagnosticKind &Kind, bool Color,
                                                 const std::string &File, uint32_t Line,
                                                 const char *Fmt, va_list Args) {
  const char *Start = Color ? Kind.Color : "";
  const char *End = Color ? "\033[0m" : "";
  const std::string Place = (File.empty() ? "" : File + ":") + std::to_string(Line) + ": ";
  const std::string Text = format(Fmt, Args) + '\n';
  std::fprintf(stderr, "%s%s%s%s: %s", Place.c_str(), Start, Kind.Name, End, Text.c_str());
  recordError(Place + Kind.Name + ": " + Text);
}

void DiagnosticsClient::setColor(bool) {}
DiagnosticsClient::~DiagnosticsClient() = default;

std::unique_ptr<DiagnosticsClient> DiagnosticsClient::createStderrClient() {
  return std::make_unique<StdErrDiagClient>();
}

void StdErrDiagClient::warning(const std::string &File, uint32_t Line, const char *Fmt,
                               va_list Args) {
  report(WarningKind, Color, File, Line, Fmt, Args);
}

void StdErrDiagClient::error(const std::string &File, uint32_t Line, const char *Fmt,
                             va_list Args) {
  report(ErrorKind, Color, File, Line, Fmt, Args);
}

void DiagnosticsEngine::addClient(std::unique_ptr<DiagnosticsClient> Client) {
  Clients.push_back(std::move(Client));
}

void DiagnosticsEngine::error(uint32_t Line, const char *Fmt, ...) {
  for (const auto &Client : Clients) {
    va_list Args;
    va_start(Args, Fmt);
    Client->error(FileName, Line, Fmt, Args);
    va_end(Args);
  }
}
