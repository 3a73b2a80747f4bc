// ShownText.h - converts bytes to a text that a property can hold: UTF-8 without null bytes.

#ifndef ORVY_MODELS_DEVICES_SHOWNTEXT_H
#define ORVY_MODELS_DEVICES_SHOWNTEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace devices {

/// The length in bytes of the character at the start of a text; 0 if it is invalid.
inline size_t characterLength(std::string_view Text) {
  auto At = [&](size_t Idx) { return static_cast<uint8_t>(Text[Idx]); };
  uint8_t First = At(0);
  if (First < 0x80)
    return First ? 1 : 0;
  size_t Length = First >= 0xC2 && First <= 0xDF   ? 2
                  : First >= 0xE0 && First <= 0xEF ? 3
                  : First >= 0xF0 && First <= 0xF4 ? 4
                                                   : 0;
  if (Length == 0 || Length > Text.size())
    return 0;
  for (size_t Idx = 1; Idx < Length; ++Idx)
    if ((At(Idx) & 0xC0) != 0x80)
      return 0;
  // Overlong forms, surrogates, and code points above the last one.
  bool IsInvalid = (First == 0xE0 && At(1) < 0xA0) || (First == 0xED && At(1) > 0x9F) ||
                   (First == 0xF0 && At(1) < 0x90) || (First == 0xF4 && At(1) > 0x8F);
  return IsInvalid ? 0 : Length;
}

/// The bytes, with U+FFFD for each one that is not part of a character.
inline std::string shownText(std::string_view Bytes) {
  std::string Text;
  while (!Bytes.empty()) {
    size_t Length = characterLength(Bytes);
    Text += Length ? Bytes.substr(0, Length) : std::string_view("\xEF\xBF\xBD");
    Bytes.remove_prefix(Length ? Length : 1);
  }
  return Text;
}

/// Whether a string property restores the bytes from a checkpoint. It does not restore the text
/// that stands for a null string there.
inline bool isText(std::string_view Bytes) {
  if (Bytes == "<<orvy-string-nullptr>>")
    return false;
  while (!Bytes.empty()) {
    size_t Length = characterLength(Bytes);
    if (Length == 0)
      return false;
    Bytes.remove_prefix(Length);
  }
  return true;
}

} // namespace devices

#endif
