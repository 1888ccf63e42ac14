#include "AccessibilitySupport/Input/XKeysymKeyCode.h"

#include <map>
#include <string_view>

#include "Base/Text/Text.h"

namespace tavik::XKeysymKeyCode {

namespace {

using KeyCodes = std::map<std::string, std::uint16_t, std::less<>>;

/// Names keep their case: "F5" is a key and "f5" is none.
const KeyCodes keyCodeMap = {
    // clang-format off
    // Editing and navigation
    {"BackSpace", 51}, {"Tab", 48}, {"Linefeed", 36}, {"Clear", 71}, {"Return", 36}, {"Escape", 53},
    {"Delete", 117}, {"Pause", 113}, {"Scroll_Lock", 107}, {"Sys_Req", 105}, {"Home", 115}, {"Left", 123},
    {"Up", 126}, {"Right", 124}, {"Down", 125}, {"Prior", 116}, {"Page_Up", 116}, {"Next", 121},
    {"Page_Down", 121}, {"End", 119}, {"Begin", 115}, {"Menu", 110}, {"Help", 114}, {"Insert", 114},
    {"Num_Lock", 71},
    // Function keys
    {"F1", 122}, {"F2", 120}, {"F3", 99}, {"F4", 118}, {"F5", 96}, {"F6", 97}, {"F7", 98}, {"F8", 100},
    {"F9", 101}, {"F10", 109}, {"F11", 103}, {"F12", 111}, {"F13", 105}, {"F14", 107}, {"F15", 113},
    {"F16", 106}, {"F17", 64}, {"F18", 79}, {"F19", 80}, {"F20", 90},
    // Keypad
    {"KP_0", 82}, {"KP_1", 83}, {"KP_2", 84}, {"KP_3", 85}, {"KP_4", 86}, {"KP_5", 87}, {"KP_6", 88},
    {"KP_7", 89}, {"KP_8", 91}, {"KP_9", 92}, {"KP_Delete", 71}, {"KP_Enter", 76}, {"KP_Equal", 81},
    {"KP_Multiply", 67}, {"KP_Add", 69}, {"KP_Subtract", 78}, {"KP_Decimal", 65}, {"KP_Divide", 75},
    {"KP_Home", 115}, {"KP_Left", 123}, {"KP_Up", 126}, {"KP_Right", 124}, {"KP_Down", 125},
    {"KP_Prior", 116}, {"KP_Page_Up", 116}, {"KP_Next", 121}, {"KP_Page_Down", 121}, {"KP_End", 119},
    {"KP_Begin", 115}, {"KP_Insert", 114},
    // Modifiers as keys
    {"Shift_L", 56}, {"Shift_R", 60}, {"Control_L", 59}, {"Control_R", 62}, {"Meta_L", 55}, {"Meta_R", 54},
    {"Alt_L", 58}, {"Alt_R", 61}, {"Super_L", 55}, {"Super_R", 54}, {"Caps_Lock", 57},
    // Everyday names
    {"space", 49}, {"Space", 49}, {"Enter", 36}, {"enter", 36}, {"return", 36}, {"tab", 48}, {"escape", 53},
    {"esc", 53}, {"backspace", 51}, {"delete", 117}, {"home", 115}, {"end", 119}, {"left", 123},
    {"arrowleft", 123}, {"leftarrow", 123}, {"up", 126}, {"arrowup", 126}, {"uparrow", 126}, {"right", 124},
    {"arrowright", 124}, {"rightarrow", 124}, {"down", 125}, {"arrowdown", 125}, {"downarrow", 125},
    {"page_up", 116}, {"pageup", 116}, {"page_down", 121}, {"pagedown", 121},
    // Punctuation
    {"bracketleft", 33}, {"leftbracket", 33}, {"[", 33}, {"braceleft", 33}, {"{", 33}, {"bracketright", 30},
    {"rightbracket", 30}, {"]", 30}, {"braceright", 30}, {"}", 30}, {"minus", 27}, {"underscore", 27},
    {"equal", 24}, {"equals", 24}, {"plus", 24}, {"comma", 43}, {"less", 43}, {"period", 47},
    {"greater", 47}, {"slash", 44}, {"question", 44}, {"semicolon", 41}, {"colon", 41}, {"quote", 39},
    {"apostrophe", 39}, {"quotedbl", 39}, {"backslash", 42}, {"bar", 42}, {"grave", 50}, {"backquote", 50},
    {"tilde", 50}, {"parenleft", 29}, {"parenright", 25},
    // clang-format on
};

/// Names that mean a key together with shift.
const KeyCodes shiftedAliasMap = {
    // clang-format off
    {"braceleft", 33}, {"braceright", 30}, {"{", 33}, {"}", 30}, {"underscore", 27}, {"plus", 24},
    {"less", 43}, {"greater", 47}, {"question", 44}, {"colon", 41}, {"quotedbl", 39}, {"bar", 42},
    {"tilde", 50}, {"parenleft", 29}, {"parenright", 25},
    // clang-format on
};

std::optional<std::uint16_t> lookUp(const KeyCodes& codes, const std::string& name) {
  const auto found = codes.find(name);
  return found == codes.end() ? std::nullopt : std::optional(found->second);
}

std::string normalized(const std::string& name) {
  return text::lowercased(text::replacingAll(text::replacingAll(text::trimmed(name), "_", ""), "-", ""));
}

}  // namespace

std::optional<std::uint16_t> keyCode(const std::string& name) {
  if (auto code = lookUp(keyCodeMap, name)) return code;
  if (auto code = lookUp(keyCodeMap, text::lowercased(name))) return code;
  return lookUp(keyCodeMap, normalized(name));
}

std::optional<VirtualKeyPress> keyPress(const std::string& name, std::uint32_t modifiers) {
  if (auto code = lookUp(shiftedAliasMap, normalized(name))) {
    return VirtualKeyPress{*code, modifiers | KeyModifier::shift, std::nullopt};
  }
  const auto code = keyCode(name);
  if (!code) return std::nullopt;
  return VirtualKeyPress{*code, modifiers, std::nullopt};
}

}  // namespace tavik::XKeysymKeyCode
