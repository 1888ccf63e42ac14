#pragma once

#include <optional>
#include <tuple>

#include "Base/JSON/Field.h"
#include "Base/JSON/JSONCoding.h"
#include "Base/JSON/TaggedUnion.h"

namespace tavik {

/// A struct with a table of its fields, as `Base/JSON/Field.h` tells.
template <class Type>
concept JSONRecord = requires {
  std::tuple_size<std::remove_cvref_t<decltype(Type::fields)>>::value;
};

template <JSONRecord Record>
struct JSONCoding<Record> {
  static constexpr std::string_view typeName = "Dictionary";

  static JSON encode(const Record& record) {
    JSON json = JSON::object();
    std::apply([&](const auto&... field) { (encodeField(field.key, record.*field.member, json), ...); },
               Record::fields);
    return json;
  }

  static Record decode(const ParsedJSON& json, const CodingPath& path) {
    requireType(json.is_object(), typeName, json, path);
    Record record{};
    std::apply([&](const auto&... field) { (decodeField(json, field.key, record.*field.member, path), ...); },
               Record::fields);
    return record;
  }

 private:
  template <class Value>
  static void encodeField(const char* key, const Value& value, JSON& json) {
    json.emplace(key, encodedJSON(value));
  }
  template <class Value>
  static void encodeField(const char* key, const std::optional<Value>& value, JSON& json) {
    if (value) json.emplace(key, encodedJSON(*value));
  }

  template <class Value>
  static void decodeField(const ParsedJSON& json, const char* key, Value& value, const CodingPath& path) {
    const auto found = json.find(key);
    if (found == json.end()) throw DecodingError::keyNotFound(key, path);
    value = decodedJSON<Value>(*found, CodingPath(path, key));
  }
  template <class Value>
  static void decodeField(const ParsedJSON& json, const char* key, std::optional<Value>& value,
                          const CodingPath& path) {
    const auto found = json.find(key);
    if (found == json.end() || found->is_null()) return;
    value = decodedJSON<Value>(*found, CodingPath(path, key));
  }
};

/// The record's JSON text. Text that is no UTF-8 is written with U+FFFD.
template <class Record>
Bytes encodeRecord(const Record& record) {
  return bytesOf(jsonText(encodedJSON(record)));
}

/// Throws `DecodingError` when the bytes are no JSON, or not that of such a record.
template <class Record>
Record decodeRecord(const Bytes& bytes) {
  return decodedJSON<Record>(parsedJSON(textOf(bytes)), CodingPath());
}

}  // namespace tavik
