#include "AccessibilitySupport/Tree/LiveItemValues.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "AccessibilitySupport/Access/AXAttributes.h"

namespace tavik {

namespace {

std::string decimalText(double number) {
  // Beyond these bounds the plain notation would be mostly zeros.
  const double magnitude = std::abs(number);
  const bool isPlain = magnitude == 0 || (magnitude >= 1e-6 && magnitude < 1e21);
  if (magnitude == 0) number = 0;
  char digits[64];
  const auto end = std::to_chars(digits, digits + sizeof digits, number,
                                 isPlain ? std::chars_format::fixed : std::chars_format::general);
  return {digits, end.ptr};
}

std::optional<std::string> valueText(const AXValue& value) {
  if (const auto* text = value.get<std::string>()) return *text;
  if (const auto* flag = value.get<bool>()) return *flag ? "true" : "false";
  if (const auto* integer = value.get<std::int64_t>()) return std::to_string(*integer);
  if (const auto* real = value.get<double>()) return decimalText(*real);
  return std::nullopt;
}

std::optional<std::string> valueType(const AXValue& value) {
  if (value.get<std::string>()) return "string";
  if (value.get<bool>()) return "bool";
  if (value.get<std::int64_t>() || value.get<double>()) return "float";
  if (value.get<Point>() || value.get<Size>() || value.get<Rect>() || value.get<TextRange>()) return "value";
  if (value.get<AXURL>()) return "url";
  return std::nullopt;
}

std::optional<Rect> extractFrame(const AXValue& value) {
  if (const auto* frame = value.get<Rect>()) return *frame;
  if (const auto* origin = value.get<Point>()) return Rect{*origin, {}};
  if (const auto* size = value.get<Size>()) return Rect{{}, *size};
  return std::nullopt;
}

/// A text is a URL when it is not empty and holds no character that none may hold.
std::optional<AXURL> parsedURL(const std::string& text) {
  constexpr std::string_view forbidden = " \"<>\\^`{|}\x7f";
  const auto isForbidden = [&](char character) {
    return static_cast<unsigned char>(character) < 0x20 || forbidden.contains(character);
  };
  if (text.empty() || std::ranges::any_of(text, isForbidden)) return std::nullopt;
  return AXURL{text};
}

std::optional<AXURL> url(const AXValue& value) {
  if (const auto* url = value.get<AXURL>()) return *url;
  if (const auto* text = value.get<std::string>()) return parsedURL(*text);
  return std::nullopt;
}

/// The answers to the batched read, each looked up by its attribute's name.
class BatchedAnswers {
 public:
  BatchedAnswers(const std::vector<std::string>& attributes, AXWrapper::Values values)
      : attributes_(attributes), values_(std::move(values)) {}

  bool has(const std::string& attribute) const { return entry(attribute).has_value(); }

  template <class T>
  std::optional<T> converted(const std::string& attribute,
                             std::optional<T> (*convert)(const AXValue&)) const {
    const auto& value = entry(attribute);
    return value ? convert(*value) : std::nullopt;
  }

  std::optional<std::string> string(const std::string& attribute) const {
    const auto& value = entry(attribute);
    const auto* text = value ? value->get<std::string>() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
  }

  bool boolean(const std::string& attribute, bool otherwise) const {
    const auto& value = entry(attribute);
    const auto* flag = value ? value->get<bool>() : nullptr;
    return flag ? *flag : otherwise;
  }

 private:
  const std::optional<AXValue>& entry(const std::string& attribute) const {
    static const std::optional<AXValue> absent;
    const auto found = std::ranges::find(attributes_, attribute);
    return found == attributes_.end() ? absent : values_[static_cast<std::size_t>(found - attributes_.begin())];
  }

  const std::vector<std::string>& attributes_;
  const AXWrapper::Values values_;
};

}  // namespace

UIElementTreeItemValues itemValues(const std::vector<std::string>& attributes, AXWrapper::Values answered) {
  const BatchedAnswers answers(attributes, std::move(answered));
  UIElementTreeItemValues values;
  values.role = answers.string(AXAttributes::role);
  values.roleDescription = answers.string(AXAttributes::roleDescription);
  values.title = answers.string(AXAttributes::title);
  values.value = answers.converted(AXAttributes::value, valueText);
  values.elementDescription = answers.string(AXAttributes::description);
  values.placeholderValue = answers.string(AXAttributes::placeholderValue);
  values.identifier = answers.string(AXAttributes::identifier);
  values.subrole = answers.string(AXAttributes::subrole);
  values.frame = answers.converted(AXAttributes::frame, extractFrame);
  values.isEnabled = answers.boolean(AXAttributes::enabled, true);
  values.isSelectable = answers.has(AXAttributes::selected);
  values.isSelected = answers.boolean(AXAttributes::selected, false);
  values.isFocused = answers.boolean(AXAttributes::focused, false);
  values.valueType = answers.converted(AXAttributes::value, valueType);
  values.help = answers.string(AXAttributes::help);
  values.url = answers.converted(AXAttributes::url, url);
  return values;
}

}  // namespace tavik
