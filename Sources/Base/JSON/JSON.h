#pragma once

#include <exception>
#include <nlohmann/json.hpp>
#include <string>

#include "Base/Encoding/Bytes.h"

namespace tavik {

/// JSON to be written: objects keep the order in which their keys were added.
using JSON = nlohmann::ordered_json;
/// JSON that was read: objects are searched by key, quickly also when a stranger
/// sent a million of them.
using ParsedJSON = nlohmann::json;

/// A number that JSON cannot write.
class EncodingError : public std::exception {
 public:
  const char* what() const noexcept override {
    return "Unable to encode a number that is not finite in JSON.";
  }
};

/// Throws `DecodingError` for anything that is no JSON text, nests deeper than 512
/// levels or is longer than `longestText` bytes.
ParsedJSON parsedJSON(std::string_view text, std::size_t longestText = 64 * 1024 * 1024);

/// JSON on one line. Ill-formed UTF-8 is written as U+FFFD.
std::string jsonText(const JSON& json);

/// A whole number without a fraction ("2", not "2.0"), any other in its shortest
/// form. Throws `EncodingError` for a number that is not finite.
JSON jsonNumber(double value);

}  // namespace tavik
