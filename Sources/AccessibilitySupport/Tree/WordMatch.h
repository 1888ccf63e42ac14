#pragma once

#include <string_view>

namespace tavik {

/// These compare the text of applications with words of this program, as if the text
/// were in lower case. A word is given in lower case and has no "k": outside ASCII
/// that is the one letter of our words with a second upper case form (the Kelvin
/// sign), so folding ASCII is exact and needs no Unicode tables.

/// The text holds the word anywhere.
bool containsWord(std::string_view text, std::string_view word);
/// The text, without white space around it, is the word.
bool isWord(std::string_view text, std::string_view word);
/// The text, without white space around it, begins with the word.
bool beginsWithWord(std::string_view text, std::string_view word);

}  // namespace tavik
