#include "AccessibilitySupport/Input/TypedPiece.h"

#include <algorithm>

#include "AccessibilitySupport/Input/KeyboardLayoutSnapshotProvider.h"
#include "AccessibilitySupport/Input/ReverseLayout.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr std::uint16_t tabKeyCode = 48;

bool isControl(char16_t unit) { return unit < u' ' || unit == 0x7F; }

/// The presses for all units of a character; empty when one of them has no key.
std::vector<VirtualKeyPress> pressesOf(const std::u16string& units, const ReverseLayout& layout) {
  std::vector<VirtualKeyPress> presses;
  for (char16_t unit : units) {
    if (unit == u'\t') {
      presses.push_back({tabKeyCode, 0, "\t"});
      continue;
    }
    const auto press = layout.press(unit == u'\n' ? u'\r' : unit);
    if (!press) return {};
    presses.push_back(*press);
  }
  return presses;
}

}  // namespace

std::optional<std::vector<TypedPiece>> TypedPiece::pieces(const std::string& text,
                                                          KeyboardLayoutSnapshotProvider& layouts) {
  const auto snapshot = layouts.currentSnapshot();
  if (!snapshot) return std::nullopt;
  const ReverseLayout layout(*snapshot->layout);
  std::vector<TypedPiece> pieces;
  for (const std::string& character : text::characters(text)) {
    const std::u16string units = text::utf16(character);
    const auto presses = pressesOf(units, layout);
    if (presses.empty() && std::ranges::all_of(units, isControl)) continue;
    if (pieces.empty() || pieces.back().presses.empty() != presses.empty()) pieces.emplace_back();
    pieces.back().text += character;
    pieces.back().presses.insert(pieces.back().presses.end(), presses.begin(), presses.end());
  }
  return pieces;
}

}  // namespace tavik
