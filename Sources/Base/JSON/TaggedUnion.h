#pragma once

#include <array>
#include <utility>
#include <variant>

#include "Base/JSON/JSONCoding.h"

namespace tavik {

/// A union of records that knows which it holds: `Type::Payload` is a variant,
/// `Type::caseNames` the key of each alternative in the same order, and `payload()`
/// what is held.
template <class Type>
concept TaggedUnion = requires(const Type& value) {
  typename Type::Payload;
  Type::caseNames.size();
  value.payload();
};

/// On the wire: {"caseName": {"_0": payload}}. Exactly one known key is read.
template <TaggedUnion Union>
struct JSONCoding<Union> {
  static constexpr std::string_view typeName = "Dictionary";

  static JSON encode(const Union& value) {
    JSON wrapped = JSON::object();
    wrapped.emplace(kPayloadKey,
                    std::visit([](const auto& payload) { return encodedJSON(payload); }, value.payload()));
    JSON json = JSON::object();
    json.emplace(Union::caseNames[value.payload().index()], std::move(wrapped));
    return json;
  }

  static Union decode(const ParsedJSON& json, const CodingPath& path) {
    requireType(json.is_object(), typeName, json, path);
    const std::size_t tag = onlyKnownKey(json, path);
    const std::string_view name = Union::caseNames[tag];
    const CodingPath casePath(path, name);
    const ParsedJSON& wrapped = *json.find(name);
    if (wrapped.is_null()) throw DecodingError::valueNotFound(typeName, casePath);
    requireType(wrapped.is_object(), typeName, wrapped, casePath);
    const auto payload = wrapped.find(kPayloadKey);
    if (payload == wrapped.end()) throw DecodingError::keyNotFound(kPayloadKey, casePath);
    return decodePayload(tag, *payload, CodingPath(casePath, kPayloadKey));
  }

 private:
  static constexpr const char* kPayloadKey = "_0";
  static constexpr std::size_t kCaseCount = std::variant_size_v<typename Union::Payload>;
  static_assert(Union::caseNames.size() == kCaseCount);

  static std::size_t onlyKnownKey(const ParsedJSON& json, const CodingPath& path) {
    std::size_t known = 0;
    std::size_t tag = 0;
    for (std::size_t i = 0; i < kCaseCount; ++i) {
      if (!json.contains(Union::caseNames[i])) continue;
      ++known;
      tag = i;
    }
    if (known != 1) throw DecodingError::dataCorrupted("Invalid number of keys found, expected one.", path);
    return tag;
  }

  static Union decodePayload(std::size_t tag, const ParsedJSON& json, const CodingPath& path) {
    using Decode = Union (*)(const ParsedJSON&, const CodingPath&);
    static constexpr auto decoders = []<std::size_t... index>(std::index_sequence<index...>) {
      return std::array<Decode, kCaseCount>{[](const ParsedJSON& payload, const CodingPath& at) {
        return Union(decodedJSON<std::variant_alternative_t<index, typename Union::Payload>>(payload, at));
      }...};
    }
    (std::make_index_sequence<kCaseCount>());
    return decoders[tag](json, path);
  }
};

}  // namespace tavik
