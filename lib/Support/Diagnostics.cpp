#include "orvy/Support/Diagnostics.h"

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

[[gnu::format(printf, 5, 0)]] static void report(const DiagnosticKind &Kind, bool Color,
                                                 const std::string &File, uint32_t Line,
                                                 const char *Fmt, va_list Args) {
  const char *Start = Color ? Kind.Color : "";
  const char *End = Color ? "\033[0m" : "";
  if (!File.empty())
    std::fprintf(stderr, "%s:", File.c_str());
  std::fprintf(stderr, "%u: %s%s%s: ", Line, Start, Kind.Name, End);
  std::vfprintf(stderr, Fmt, Args);
  std::fputc('\n', stderr);
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
