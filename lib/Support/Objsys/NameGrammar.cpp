#include "Objsys/NameGrammar.h"

#include "orvy/Support/Objsys.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>

using orvy::objsys::isValidName;

int orvy::objsys::getIndex(const char *Name, unsigned long Default) {
  std::string_view Text(Name);
  size_t Open = Text.find('[');
  if (Open == Text.npos || Text.find(']') < Open)
    return static_cast<int>(Default);

  // The closing bracket ends the number like any other character.
  const char *Digits = Name + Open + 1;
  char *End = nullptr;
  int SavedError = std::exchange(errno, 0);
  long Index = std::strtol(Digits, &End, 10);
  bool Overflow = std::exchange(errno, SavedError) == ERANGE;
  if (End == Digits)
    throw std::invalid_argument("no index in '" + std::string(Text) + "'");
  if (Overflow || Index < INT_MIN || Index > INT_MAX)
    throw std::out_of_range("index out of range in '" + std::string(Text) + "'");
  return static_cast<int>(Index);
}

bool orvy::objsys::isValidName(const char *Name, char Joiner) {
  auto IsStart = [](char C) {
    return (C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z') || C == '_';
  };
  if (!Name || !IsStart(*Name))
    return false;
  for (const char *At = Name + 1; *At; ++At) {
    bool IsPart = IsStart(*At) || (*At >= '0' && *At <= '9');
    if (!IsPart && !(*At == Joiner && IsStart(At[1])))
      return false;
  }
  return true;
}

int orvy_isValidObjectName(const char *Name) {
  return isValidName(Name, '-');
}

int orvy_isValidClassName(const char *Name) {
  return isValidName(Name, '-');
}

int orvy_isValidInterfaceName(const char *Name) {
  return isValidName(Name, '-');
}

int orvy_isValidPropertyName(const char *Name) {
  return isValidName(Name, '.');
}
