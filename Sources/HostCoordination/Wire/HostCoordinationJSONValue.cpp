#include "HostCoordination/Wire/HostCoordinationJSONValue.h"

namespace tavik {

namespace {

std::optional<HostCoordinationJSONValue> objectFrom(const ParsedJSON& json) {
  HostCoordinationJSONValue::Object object;
  for (const auto& [key, member] : json.items()) {
    auto value = HostCoordinationJSONValue::from(member);
    if (!value) return std::nullopt;
    object.emplace(key, std::move(*value));
  }
  return object;
}

std::optional<HostCoordinationJSONValue> arrayFrom(const ParsedJSON& json) {
  HostCoordinationJSONValue::Array array;
  array.reserve(json.size());
  for (const ParsedJSON& element : json) {
    auto value = HostCoordinationJSONValue::from(element);
    if (!value) return std::nullopt;
    array.push_back(std::move(*value));
  }
  return array;
}

}  // namespace

std::optional<HostCoordinationJSONValue> HostCoordinationJSONValue::from(const ParsedJSON& json) {
  if (json.is_object()) return objectFrom(json);
  if (json.is_array()) return arrayFrom(json);
  if (json.is_boolean()) return json.get<bool>();
  if (json.is_number()) return json.get<double>();
  if (json.is_string()) return json.get<std::string>();
  if (json.is_null()) return null();
  return std::nullopt;
}

JSON HostCoordinationJSONValue::foundationValue() const {
  if (const Object* object = objectValue()) {
    JSON json = JSON::object();
    for (const auto& [key, value] : *object) json[key] = value.foundationValue();
    return json;
  }
  if (const Array* array = arrayValue()) {
    JSON json = JSON::array();
    for (const auto& value : *array) json.push_back(value.foundationValue());
    return json;
  }
  if (const bool* truth = boolValue()) return *truth;
  if (const double* number = numberValue()) return jsonNumber(*number);
  if (const std::string* text = stringValue()) return *text;
  return nullptr;
}

const HostCoordinationJSONValue* HostCoordinationJSONValue::member(const std::string& key) const {
  const Object* object = objectValue();
  if (!object) return nullptr;
  const auto found = object->find(key);
  return found == object->end() ? nullptr : &found->second;
}

}  // namespace tavik
