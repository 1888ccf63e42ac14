#include "Backends/Simulated/System/SimulatedKeyboard.h"

#include <utility>

namespace tavik {

namespace {

constexpr std::uint32_t shiftState = 0x02;
constexpr std::uint32_t optionState = 0x08;

/// Letters and digits at the places of an ANSI keyboard, and the keys that every
/// layout has.
SimulatedKeyboardLayout::Keys ansiKeys() {
  SimulatedKeyboardLayout::Keys keys;
  const std::pair<const char16_t*, std::array<std::uint16_t, 13>> rows[] = {
      {u"asdfghjkl", {0, 1, 2, 3, 5, 4, 38, 40, 37}},
      {u"qwertyuiop", {12, 13, 14, 15, 17, 16, 32, 34, 31, 35}},
      {u"zxcvbnm", {6, 7, 8, 9, 11, 45, 46}},
  };
  for (const auto& [letters, codes] : rows) {
    for (std::size_t i = 0; letters[i]; ++i) {
      const char16_t upper = static_cast<char16_t>(letters[i] - u'a' + u'A');
      keys[codes[i]] = {std::u16string(1, letters[i]), std::u16string(1, upper), u"", u""};
    }
  }
  keys[36] = {u"\r", u"\r", u"\r", u"\r"};
  keys[48] = {u"\t", u"\t", u"\t", u"\t"};
  keys[49] = {u" ", u" ", u"\u00A0", u"\u00A0"};
  return keys;
}

}  // namespace

std::shared_ptr<const KeyboardLayout> SimulatedKeyboardLayout::us() {
  Keys keys = ansiKeys();
  keys[18] = {u"1", u"!", u"\u00A1", u"\u2044"};
  keys[19] = {u"2", u"@", u"\u2122", u"\u20AC"};
  keys[20] = {u"3", u"#", u"\u00A3", u"\u2039"};
  keys[21] = {u"4", u"$", u"\u00A2", u"\u203A"};
  keys[23] = {u"5", u"%", u"", u""};
  keys[22] = {u"6", u"^", u"", u""};
  keys[26] = {u"7", u"&", u"", u""};
  keys[28] = {u"8", u"*", u"", u""};
  keys[25] = {u"9", u"(", u"", u""};
  keys[29] = {u"0", u")", u"", u""};
  keys[27] = {u"-", u"_", u"\u2013", u"\u2014"};
  keys[24] = {u"=", u"+", u"\u2260", u"\u00B1"};
  keys[33] = {u"[", u"{", u"", u""};
  keys[30] = {u"]", u"}", u"", u""};
  keys[42] = {u"\\", u"|", u"", u""};
  keys[41] = {u";", u":", u"", u""};
  keys[39] = {u"'", u"\"", u"", u""};
  keys[43] = {u",", u"<", u"", u""};
  keys[47] = {u".", u">", u"", u""};
  keys[44] = {u"/", u"?", u"", u""};
  keys[50] = {u"`", u"~", u"", u""};
  // The keypad repeats digits at higher key codes.
  keys[83] = {u"1", u"1", u"1", u"1"};
  return std::make_shared<SimulatedKeyboardLayout>(std::move(keys));
}

std::shared_ptr<const KeyboardLayout> SimulatedKeyboardLayout::german() {
  Keys keys = ansiKeys();
  std::swap(keys[6], keys[16]);
  keys[18] = {u"1", u"!", u"", u""};
  keys[26] = {u"7", u"/", u"|", u""};
  keys[37] = {u"l", u"L", u"@", u""};
  keys[23] = {u"5", u"%", u"[", u""};
  keys[22] = {u"6", u"&", u"]", u""};
  keys[33] = {u"\u00FC", u"\u00DC", u"", u""};
  keys[14] = {u"e", u"E", u"\u20AC", u""};
  keys[24] = {u"", u"", u"", u""};
  keys[31] = {u"o", u"O", u"", u"xy"};
  return std::make_shared<SimulatedKeyboardLayout>(std::move(keys));
}

std::optional<std::u16string> SimulatedKeyboardLayout::translate(std::uint16_t keyCode,
                                                                 std::uint32_t modifierState) const {
  if (modifierState & ~(shiftState | optionState)) return std::nullopt;
  const auto key = keys_.find(keyCode);
  if (key == keys_.end()) return std::nullopt;
  const std::size_t level = (modifierState & shiftState ? 1 : 0) + (modifierState & optionState ? 2 : 0);
  const std::u16string& units = key->second[level];
  return units.empty() ? std::nullopt : std::optional(units);
}

void SimulatedKeyboard::use(std::shared_ptr<const KeyboardLayout> layout) {
  std::function<void()> handler;
  {
    MutexLock lock(mutex_);
    layout_ = std::move(layout);
    handler = handler_;
  }
  if (handler) handler();
}

void SimulatedKeyboard::setOnRead(std::function<void()> body) {
  MutexLock lock(mutex_);
  onRead_ = std::move(body);
}

int SimulatedKeyboard::reads() const {
  MutexLock lock(mutex_);
  return reads_;
}

std::optional<KeyboardLayoutSnapshot> SimulatedKeyboard::copyCurrentLayout() {
  requireNoLockHeld("reading the keyboard layout");
  std::shared_ptr<const KeyboardLayout> layout;
  std::function<void()> onRead;
  {
    MutexLock lock(mutex_);
    ++reads_;
    layout = layout_;
    onRead = onRead_;
  }
  if (onRead) onRead();
  return layout ? std::optional(KeyboardLayoutSnapshot{layout}) : std::nullopt;
}

void SimulatedKeyboard::setLayoutChangedHandler(std::function<void()> handler) {
  MutexLock lock(mutex_);
  handler_ = std::move(handler);
}

}  // namespace tavik
