#include "ComputerUseToolRuntime/Actions/TextSelectionRange.h"

#include <string_view>

#include "Base/Text/Text.h"

namespace tavik {

std::optional<TextRange> textSelectionRange(const std::string& haystack, const std::string& text,
                                            const std::optional<std::string>& prefix,
                                            const std::optional<std::string>& suffix, TextSelectionMode selection) {
  if (text.empty()) return std::nullopt;
  const std::u16string units = text::utf16(haystack);
  const std::u16string_view whole = units;
  const std::u16string wanted = text::utf16(text);
  const std::u16string before = text::utf16(prefix.value_or(""));
  const std::u16string after = text::utf16(suffix.value_or(""));
  std::optional<std::size_t> match;
  for (auto at = whole.find(wanted); at != std::u16string_view::npos; at = whole.find(wanted, at + 1)) {
    if (!whole.substr(0, at).ends_with(before)) continue;
    if (!whole.substr(at + wanted.size()).starts_with(after)) continue;
    if (match) return std::nullopt;
    match = at;
  }
  if (!match) return std::nullopt;
  const auto location = static_cast<long>(*match);
  const auto length = static_cast<long>(wanted.size());
  switch (selection) {
    case TextSelectionMode::text:
      return TextRange{location, length};
    case TextSelectionMode::cursorBefore:
      return TextRange{location, 0};
    case TextSelectionMode::cursorAfter:
      return TextRange{location + length, 0};
  }
  return std::nullopt;
}

}  // namespace tavik
