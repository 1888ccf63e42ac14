#include "AccessibilitySupport/Tree/WordMatch.h"

#include <algorithm>
#include <optional>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

char lowercasedASCII(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// What stands before and after the first place of the word.
struct Surroundings {
  std::string_view before;
  std::string_view after;
};

std::optional<Surroundings> find(std::string_view text, std::string_view word) {
  const auto place = std::search(text.begin(), text.end(), word.begin(), word.end(),
                                 [](char a, char b) { return lowercasedASCII(a) == b; });
  if (place == text.end()) return std::nullopt;
  const auto offset = static_cast<std::size_t>(place - text.begin());
  return Surroundings{text.substr(0, offset), text.substr(offset + word.size())};
}

bool isBlank(std::string_view text) {
  return text.empty() || text::isBlank(text);
}

}  // namespace

bool containsWord(std::string_view text, std::string_view word) {
  return find(text, word).has_value();
}

bool isWord(std::string_view text, std::string_view word) {
  const auto around = find(text, word);
  return around && isBlank(around->before) && isBlank(around->after);
}

bool beginsWithWord(std::string_view text, std::string_view word) {
  const auto around = find(text, word);
  if (!around || !isBlank(around->before)) return false;
  // A blank at the word's end counts only if it is not trimmed away.
  return word.back() != ' ' || !isBlank(around->after);
}

}  // namespace tavik
