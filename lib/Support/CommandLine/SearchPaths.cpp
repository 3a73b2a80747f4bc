#include "SearchPaths.h"

#include <algorithm>

using namespace orvy::cl;

static std::vector<std::string> &paths() {
  static std::vector<std::string> Paths;
  return Paths;
}

static bool isListed(const std::string &Path) {
  return std::find(paths().begin(), paths().end(), Path) != paths().end();
}

const std::vector<std::string> &orvy::cl::getSearchPaths() {
  return paths();
}

void orvy::cl::appendSearchPath(const std::string &Path) {
  if (!isListed(Path))
    paths().push_back(Path);
}

void orvy::cl::prependSearchPath(const std::string &Path) {
  if (!isListed(Path))
    paths().insert(paths().begin(), Path);
}
