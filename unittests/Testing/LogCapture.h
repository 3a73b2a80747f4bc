// LogCapture.h - what the log says while a test runs.

#ifndef ORVY_UNITTESTS_LOGCAPTURE_H
#define ORVY_UNITTESTS_LOGCAPTURE_H

#include "orvy/Support/Logging.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvy::testing {

/// Takes the log over for its lifetime. One at a time.
class LogCapture {
public:
  LogCapture() {
    captured().clear();
    orvy_logSetFunc([](const char *Line) { captured().emplace_back(Line); });
  }
  ~LogCapture() { orvy_logSetFunc(nullptr); }
  LogCapture(const LogCapture &) = delete;
  LogCapture &operator=(const LogCapture &) = delete;

  /// The lines so far, without their line ends, as in ":error: uart0 : text"; then starts afresh.
  std::vector<std::string> take() {
    std::vector<std::string> Lines = std::exchange(captured(), {});
    for (std::string &Line : Lines)
      Line.erase(Line.find_last_not_of('\n') + 1);
    return Lines;
  }

  /// Every line since the last clear() or take(), line end included.
  const std::vector<std::string> &all() const { return captured(); }
  void clear() { captured().clear(); }

  /// Number of lines that hold a text.
  int count(std::string_view Text) const {
    return static_cast<int>(
        std::count_if(captured().begin(), captured().end(), [&](const std::string &Line) {
          return Line.find(Text) != std::string::npos;
        }));
  }

private:
  static std::vector<std::string> &captured() {
    static std::vector<std::string> Lines;
    return Lines;
  }
};

} // namespace orvy::testing

#endif
