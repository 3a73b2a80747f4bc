// LogLine.h - a line of the log under construction.

#ifndef ORVY_LIB_LOGLINE_H
#define ORVY_LIB_LOGLINE_H

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace orvy {

/// At most 1022 characters, then the line end and a NUL. What is too much is cut off.
class LogLine {
public:
  void add(std::string_view Piece) {
    const size_t Fitting = std::min(Piece.size(), Limit - Length);
    std::memcpy(Text + Length, Piece.data(), Fitting);
    Length += Fitting;
  }
  [[gnu::format(printf, 2, 0)]] void addFormatted(const char *Fmt, va_list Args) {
    const int Wanted = std::vsnprintf(Text + Length, Limit + 1 - Length, Fmt, Args);
    if (Wanted > 0)
      Length += std::min(static_cast<size_t>(Wanted), Limit - Length);
  }
  const char *end() {
    Text[Length] = '\n';
    Text[Length + 1] = '\0';
    return Text;
  }

private:
  static constexpr size_t Limit = 1022;
  char Text[Limit + 2];
  size_t Length = 0;
};

} // namespace orvy

#endif
