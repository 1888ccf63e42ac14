#include "AccessibilitySupport/Access/LiveElementReader.h"

#include <charconv>

#include "AccessibilitySupport/Access/AXAttributes.h"

namespace tavik {

std::optional<double> wholeNumber(const std::string& text) {
  // A sign that `from_chars` does not know.
  const char* begin = text.data() + (text.starts_with('+') && !text.starts_with("+-") ? 1 : 0);
  const char* end = text.data() + text.size();
  double number = 0;
  const auto [stopped, error] = std::from_chars(begin, end, number);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return number;
}

template <class T>
std::optional<T> LiveElementReader::value(const AXElement& element, const std::string& attribute) const {
  const auto answer = access_.tryCopyAttributeValue(element, attribute);
  const T* value = answer ? answer->get<T>() : nullptr;
  return value ? std::optional(*value) : std::nullopt;
}

std::optional<std::string> LiveElementReader::string(const AXElement& element,
                                                     const std::string& attribute) const {
  return value<std::string>(element, attribute);
}

std::optional<bool> LiveElementReader::boolean(const AXElement& element, const std::string& attribute) const {
  return value<bool>(element, attribute);
}

std::optional<double> LiveElementReader::number(const AXElement& element,
                                                const std::string& attribute) const {
  const auto answer = access_.tryCopyAttributeValue(element, attribute);
  if (!answer) return std::nullopt;
  if (const auto* integer = answer->get<std::int64_t>()) return static_cast<double>(*integer);
  if (const auto* real = answer->get<double>()) return *real;
  return std::nullopt;
}

std::optional<double> LiveElementReader::numeric(const AXElement& element,
                                                 const std::string& attribute) const {
  if (auto found = number(element, attribute)) return found;
  const auto text = string(element, attribute);
  return text ? wholeNumber(*text) : std::nullopt;
}

std::optional<TextRange> LiveElementReader::range(const AXElement& element,
                                                  const std::string& attribute) const {
  return value<TextRange>(element, attribute);
}

AXElement LiveElementReader::element(const AXElement& element, const std::string& attribute) const {
  return value<AXElement>(element, attribute).value_or(AXElement());
}

std::vector<AXElement> LiveElementReader::elements(const AXElement& element,
                                                   const std::string& attribute) const {
  std::vector<AXElement> found;
  const auto array = value<AXArray>(element, attribute);
  if (!array) return found;
  for (const auto& member : *array) {
    const auto* child = member.get<AXElement>();
    if (child && *child) found.push_back(*child);
  }
  return found;
}

std::optional<std::string> LiveElementReader::roleName(const AXElement& element) const {
  return string(element, AXAttributes::role);
}

std::optional<Rect> LiveElementReader::frame(const AXElement& element) const {
  const auto position = value<Point>(element, AXAttributes::position);
  if (!position) return std::nullopt;
  const auto size = value<Size>(element, AXAttributes::size);
  if (!size) return std::nullopt;
  return Rect{*position, *size};
}

std::optional<Point> LiveElementReader::frameCenter(const AXElement& element) const {
  const auto rect = frame(element);
  return rect ? std::optional(rect->center()) : std::nullopt;
}

std::optional<std::set<std::string>> LiveElementReader::supportedActionNames(const AXElement& element) const {
  const auto names = access_.port().copyActionNames(element);
  if (!names.ok()) return std::nullopt;
  return std::set<std::string>(names.value.begin(), names.value.end());
}

bool LiveElementReader::isSettable(const AXElement& element, const std::string& attribute) const {
  const auto answer = access_.port().isAttributeSettable(element, attribute);
  return answer.ok() && answer.value;
}

AXElement LiveElementReader::focusedElement(std::int32_t pid) const {
  return element(access_.port().createApplication(pid), AXAttributes::focusedUIElement);
}

bool LiveElementReader::isFocusedElement(const AXElement& element, std::int32_t pid) const {
  return element && focusedElement(pid) == element;
}

}  // namespace tavik
