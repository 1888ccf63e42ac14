#include "Base/Text/Text.h"

#include <unicode/brkiter.h>
#include <unicode/coll.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <memory>

namespace tavik::text {

namespace {

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

std::string utf8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

bool isASCIISpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The break iterator of the calling thread; making one costs far more than using it.
icu::BreakIterator& characterIterator() {
  thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
    UErrorCode status = U_ZERO_ERROR;
    return std::unique_ptr<icu::BreakIterator>(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  }();
  return *iterator;
}

/// The user's locale. That of a process without one, "C", sorts by code; nobody reads
/// lists in that order, so the order of all languages stands for it.
icu::Locale readersLocale() {
  const icu::Locale locale = icu::Locale::getDefault();
  return std::string_view(locale.getVariant()) == "POSIX" ? icu::Locale::getRoot() : locale;
}

/// The collator of the calling thread, which tells letters and accents apart but not
/// cases; null where ICU's data are missing.
icu::Collator* caseInsensitiveCollator() {
  thread_local const std::unique_ptr<icu::Collator> collator = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> made(icu::Collator::createInstance(readersLocale(), status));
    if (U_FAILURE(status)) return std::unique_ptr<icu::Collator>();
    made->setStrength(icu::Collator::SECONDARY);
    return made;
  }();
  return collator.get();
}

/// In ASCII only a carriage return before a line feed joins two into one.
bool everyByteIsACharacter(std::string_view text) {
  return isASCII(text) && text.find('\r') == std::string_view::npos;
}

}  // namespace

std::size_t characterCount(std::string_view text) {
  if (everyByteIsACharacter(text)) return text.size();
  const icu::UnicodeString string = unicode(text);
  icu::BreakIterator& iterator = characterIterator();
  iterator.setText(string);
  std::size_t count = 0;
  while (iterator.next() != icu::BreakIterator::DONE) ++count;
  return count;
}

std::vector<std::string> characters(std::string_view text) {
  std::vector<std::string> characters;
  const icu::UnicodeString string = unicode(text);
  icu::BreakIterator& iterator = characterIterator();
  iterator.setText(string);
  std::int32_t begin = 0;
  for (std::int32_t end = iterator.next(); end != icu::BreakIterator::DONE; end = iterator.next()) {
    characters.push_back(utf8(string.tempSubStringBetween(begin, end)));
    begin = end;
  }
  return characters;
}

std::string prefix(std::string_view text, std::size_t count) {
  if (everyByteIsACharacter(text)) return std::string(text.substr(0, count));
  const icu::UnicodeString string = unicode(text);
  icu::BreakIterator& iterator = characterIterator();
  iterator.setText(string);
  std::int32_t end = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::int32_t next = iterator.next();
    if (next == icu::BreakIterator::DONE) break;
    end = next;
  }
  return utf8(string.tempSubString(0, end));
}

std::string trimmed(std::string_view text) {
  while (!text.empty() && isASCIISpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isASCIISpace(text.back())) text.remove_suffix(1);
  if (text.empty() || isASCII(text)) return std::string(text);
  icu::UnicodeString string = unicode(text);
  std::int32_t start = 0;
  std::int32_t end = string.length();
  while (start < end && u_isUWhiteSpace(string.char32At(start))) start = string.moveIndex32(start, 1);
  while (end > start && u_isUWhiteSpace(string.char32At(string.moveIndex32(end, -1)))) {
    end = string.moveIndex32(end, -1);
  }
  return utf8(string.tempSubStringBetween(start, end));
}

bool isBlank(std::string_view text) {
  return trimmed(text).empty();
}

bool containsWhiteSpace(std::string_view text) {
  if (std::any_of(text.begin(), text.end(), isASCIISpace)) return true;
  if (isASCII(text)) return false;
  const icu::UnicodeString string = unicode(text);
  for (std::int32_t i = 0; i < string.length(); i = string.moveIndex32(i, 1)) {
    if (u_isUWhiteSpace(string.char32At(i))) return true;
  }
  return false;
}

std::string lowercased(std::string_view text) {
  if (!isASCII(text)) return utf8(unicode(text).toLower(icu::Locale::getRoot()));
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
  return contains(lowercased(text), lowercased(part));
}

bool hasPrefixIgnoringCase(std::string_view text, std::string_view prefix) {
  return lowercased(text).starts_with(lowercased(prefix));
}

int localizedCaseInsensitiveCompare(std::string_view a, std::string_view b) {
  icu::Collator* collator = caseInsensitiveCollator();
  if (collator == nullptr) return lowercased(a).compare(lowercased(b));
  UErrorCode status = U_ZERO_ERROR;
  return collator->compare(unicode(a), unicode(b), status);
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
  std::string result;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) result += separator;
    result += parts[i];
  }
  return result;
}

std::vector<std::string> split(std::string_view text, char separator, bool keepEmpty) {
  std::vector<std::string> pieces;
  while (true) {
    const std::size_t end = text.find(separator);
    const std::string_view piece = text.substr(0, end);
    if (keepEmpty || !piece.empty()) pieces.emplace_back(piece);
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

std::string replacingAll(std::string_view text, std::string_view what, std::string_view with) {
  std::string result;
  while (!what.empty()) {
    const std::size_t found = text.find(what);
    if (found == std::string_view::npos) break;
    result.append(text.substr(0, found)).append(with);
    text.remove_prefix(found + what.size());
  }
  return result.append(text);
}

long utf16Length(std::string_view text) {
  return isASCII(text) ? static_cast<long>(text.size()) : unicode(text).length();
}

std::optional<std::string> utf16Slice(std::string_view text, long location, long length) {
  if (location < 0 || length < 0) return std::nullopt;
  const icu::UnicodeString string = unicode(text);
  if (location > string.length() || length > string.length() - location) return std::nullopt;
  const auto start = static_cast<std::int32_t>(location);
  const auto end = static_cast<std::int32_t>(location + length);
  icu::BreakIterator& iterator = characterIterator();
  iterator.setText(string);
  if (!iterator.isBoundary(start) || !iterator.isBoundary(end)) return std::nullopt;
  return utf8(string.tempSubStringBetween(start, end));
}

std::u16string utf16(std::string_view text) {
  const icu::UnicodeString string = unicode(text);
  return {string.getBuffer(), static_cast<std::size_t>(string.length())};
}

std::string utf8(std::u16string_view units) {
  return utf8(icu::UnicodeString(units.data(), static_cast<std::int32_t>(units.size())));
}

std::string repairedUTF8(std::string_view text) {
  return isASCII(text) ? std::string(text) : utf8(unicode(text));
}

bool matches(std::string_view text, const std::string& pattern, bool ignoringCase) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString subject = unicode(text);
  icu::RegexMatcher matcher(unicode(pattern), subject, ignoringCase ? UREGEX_CASE_INSENSITIVE : 0, status);
  return U_SUCCESS(status) && matcher.find();
}

}  // namespace tavik::text
