#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Base/Encoding/Base64.h"
#include "Base/JSON/DecodingError.h"
#include "Base/JSON/JSON.h"
#include "Base/JSON/RawValue.h"

namespace tavik {

/// How one type is read from JSON and written to it. `typeName` is the type's word
/// in errors. Reading throws `DecodingError`.
template <class Value>
struct JSONCoding;

template <class Value>
JSON encodedJSON(const Value& value) {
  return JSONCoding<Value>::encode(value);
}

template <class Value>
Value decodedJSON(const ParsedJSON& json, const CodingPath& path) {
  if (json.is_null()) throw DecodingError::valueNotFound(JSONCoding<Value>::typeName, path);
  return JSONCoding<Value>::decode(json, path);
}

/// What a JSON value is, with its article.
constexpr std::string_view describedType(const ParsedJSON& json) {
  if (json.is_string()) return "a string";
  if (json.is_number()) return "a number";
  if (json.is_boolean()) return "a boolean";
  if (json.is_array()) return "an array";
  if (json.is_object()) return "a dictionary";
  return "null";
}

inline void requireType(bool isExpected, std::string_view expected, const ParsedJSON& json,
                        const CodingPath& path) {
  if (!isExpected) throw DecodingError::typeMismatch(expected, describedType(json), path);
}

template <>
struct JSONCoding<std::string> {
  static constexpr std::string_view typeName = "String";
  static JSON encode(const std::string& value) { return value; }
  static std::string decode(const ParsedJSON& json, const CodingPath& path) {
    requireType(json.is_string(), typeName, json, path);
    return json.get_ref<const std::string&>();
  }
};

template <>
struct JSONCoding<bool> {
  static constexpr std::string_view typeName = "Bool";
  static JSON encode(bool value) { return value; }
  static bool decode(const ParsedJSON& json, const CodingPath& path) {
    requireType(json.is_boolean(), typeName, json, path);
    return json.get<bool>();
  }
};

template <>
struct JSONCoding<double> {
  static constexpr std::string_view typeName = "Double";
  static JSON encode(double value) { return jsonNumber(value); }
  static double decode(const ParsedJSON& json, const CodingPath& path) {
    requireType(json.is_number(), typeName, json, path);
    return json.get<double>();
  }
};

template <std::integral Integer>
requires(!std::same_as<Integer, bool>) struct JSONCoding<Integer> {
  static constexpr std::string_view typeName = "Int";
  static JSON encode(Integer value) { return value; }
  static Integer decode(const ParsedJSON& json, const CodingPath& path) {
    requireType(json.is_number(), typeName, json, path);
    const auto value = wholeNumber(json);
    if (!value || !std::in_range<Integer>(*value)) {
      throw DecodingError::dataCorrupted(
          "Parsed JSON number <" + json.dump() + "> does not fit in an integer.", path);
    }
    return static_cast<Integer>(*value);
  }

 private:
  /// Absent outside the 64-bit integers and for a number with a fraction.
  /// A float at the lower limit is a rounded one from below: the limit itself is read
  /// as an integer.
  static std::optional<std::int64_t> wholeNumber(const ParsedJSON& json) {
    if (json.is_number_float()) {
      constexpr double limit = 9223372036854775808.0;
      const double value = json.get<double>();
      if (!(value > -limit && value < limit) || std::trunc(value) != value) return std::nullopt;
      return static_cast<std::int64_t>(value);
    }
    if (json.is_number_unsigned() && !std::in_range<std::int64_t>(json.get<std::uint64_t>()))
      return std::nullopt;
    return json.get<std::int64_t>();
  }
};

template <>
struct JSONCoding<Bytes> {
  static constexpr std::string_view typeName = "Data";
  static JSON encode(const Bytes& value) { return base64Encoded(value); }
  static Bytes decode(const ParsedJSON& json, const CodingPath& path) {
    requireType(json.is_string(), typeName, json, path);
    auto bytes = base64Decoded(json.get_ref<const std::string&>());
    if (!bytes) throw DecodingError::dataCorrupted("Encountered Data is not valid Base64.", path);
    return *std::move(bytes);
  }
};

template <class Element>
struct JSONCoding<std::vector<Element>> {
  static constexpr std::string_view typeName = "Array";
  static JSON encode(const std::vector<Element>& values) {
    JSON json = JSON::array();
    for (const Element& value : values) json.push_back(encodedJSON(value));
    return json;
  }
  static std::vector<Element> decode(const ParsedJSON& json, const CodingPath& path) {
    requireType(json.is_array(), typeName, json, path);
    std::vector<Element> values;
    for (const ParsedJSON& element : json) {
      values.push_back(decodedJSON<Element>(element, CodingPath(path, values.size())));
    }
    return values;
  }
};

template <RawValueEnumeration Enumeration>
struct JSONCoding<Enumeration> {
  static constexpr std::string_view typeName = "String";
  static JSON encode(Enumeration value) { return rawValue(value); }
  static Enumeration decode(const ParsedJSON& json, const CodingPath& path) {
    requireType(json.is_string(), typeName, json, path);
    const auto& text = json.get_ref<const std::string&>();
    const auto value = fromRawValue<Enumeration>(text);
    if (!value)
      throw DecodingError::dataCorrupted("Cannot initialize from invalid String value " + text, path);
    return *value;
  }
};

}  // namespace tavik
