#pragma once

#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Base/JSON/JSON.h"

namespace tavik {

/// A JSON value that messages of the host carry and that this program owns.
class HostCoordinationJSONValue {
 public:
  using Object = std::map<std::string, HostCoordinationJSONValue>;
  using Array = std::vector<HostCoordinationJSONValue>;

  HostCoordinationJSONValue() = default;
  HostCoordinationJSONValue(Object value) : value_(std::move(value)) {}
  HostCoordinationJSONValue(Array value) : value_(std::move(value)) {}
  HostCoordinationJSONValue(std::string value) : value_(std::move(value)) {}
  HostCoordinationJSONValue(const char* value) : value_(std::string(value)) {}
  HostCoordinationJSONValue(double value) : value_(value) {}
  HostCoordinationJSONValue(bool value) : value_(value) {}

  static HostCoordinationJSONValue null() { return {}; }

  /// Nothing when the value, or one inside it, is none of JSON's.
  static std::optional<HostCoordinationJSONValue> from(const ParsedJSON& foundationValue);
  /// The form to be written. Throws `EncodingError` for a number that is not finite.
  JSON foundationValue() const;

  /// Each is null unless the value is of that kind.
  const Object* objectValue() const { return std::get_if<Object>(&value_); }
  const Array* arrayValue() const { return std::get_if<Array>(&value_); }
  const std::string* stringValue() const { return std::get_if<std::string>(&value_); }
  const bool* boolValue() const { return std::get_if<bool>(&value_); }
  const double* numberValue() const { return std::get_if<double>(&value_); }
  bool isNull() const { return std::holds_alternative<std::monostate>(value_); }

  /// The member of an object; null when there is none or this is no object.
  const HostCoordinationJSONValue* member(const std::string& key) const;

  bool operator==(const HostCoordinationJSONValue&) const = default;

 private:
  std::variant<std::monostate, Object, Array, std::string, double, bool> value_;
};

}  // namespace tavik
