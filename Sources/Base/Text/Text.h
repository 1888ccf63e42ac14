#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::text {

/// All text is UTF-8. Bytes that are no UTF-8 are read as U+FFFD. A "character" is
/// what a person sees as one: a grapheme cluster.

std::size_t characterCount(std::string_view text);
std::vector<std::string> characters(std::string_view text);
/// The first `count` characters.
std::string prefix(std::string_view text, std::size_t count);

/// Without white space and new lines (Unicode's) at both ends.
std::string trimmed(std::string_view text);
bool isBlank(std::string_view text);
bool containsWhiteSpace(std::string_view text);

/// Lower case by Unicode's rules, independent of any locale.
std::string lowercased(std::string_view text);
bool contains(std::string_view text, std::string_view part);
bool containsIgnoringCase(std::string_view text, std::string_view part);
bool hasPrefixIgnoringCase(std::string_view text, std::string_view prefix);

/// Which text a person of the process's locale expects first in a list, where upper
/// and lower case are the same: below 0 for `a`, above 0 for `b`, 0 for neither.
int localizedCaseInsensitiveCompare(std::string_view a, std::string_view b);

std::string joined(const std::vector<std::string>& parts, std::string_view separator);
/// Pieces between occurrences of the separator; empty ones kept or left out.
std::vector<std::string> split(std::string_view text, char separator, bool keepEmpty);

std::string replacingAll(std::string_view text, std::string_view what, std::string_view with);

/// The length in UTF-16 units, and the slice [location, location + length) of them.
/// The slice is absent when it leaves the text or would cut a character in two.
long utf16Length(std::string_view text);
std::optional<std::string> utf16Slice(std::string_view text, long location, long length);

/// The UTF-16 units of a text, and the text of UTF-16 units.
std::u16string utf16(std::string_view text);
std::string utf8(std::u16string_view units);

/// The text with every ill-formed sequence replaced by U+FFFD.
std::string repairedUTF8(std::string_view text);

/// True when the ICU regular expression finds a match anywhere in the text.
bool matches(std::string_view text, const std::string& pattern, bool ignoringCase = false);

}  // namespace tavik::text
