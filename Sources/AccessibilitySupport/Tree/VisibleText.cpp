#include "AccessibilitySupport/Tree/VisibleText.h"

#include "AccessibilitySupport/Access/AXAttributes.h"

namespace tavik {

namespace {

std::optional<std::string> fetchTextForRange(AXWrapper& access, const AXElement& element,
                                             const AXValue& range) {
  if (auto text = fetchAttributedString(access, element, "AXAttributedStringForRange", range)) return text;
  return fetchString(access, element, "AXStringForRange", range);
}

std::optional<std::string> fetchTextForMarkers(AXWrapper& access, const AXElement& element,
                                               const AXValue& markerRange) {
  const auto text =
      fetchAttributedString(access, element, "AXAttributedStringForTextMarkerRange", markerRange);
  return text ? text : fetchString(access, element, "AXStringForTextMarkerRange", markerRange);
}

}  // namespace

std::optional<std::string> fetchVisibleText(AXWrapper& access, const AXElement& from) {
  if (const auto range = access.copyAttributeValueOptional(from, AXAttributes::visibleCharacterRange)) {
    if (auto text = fetchTextForRange(access, from, *range)) return text;
  }
  auto markers = access.copyAttributeValueOptional(from, AXAttributes::selectedTextMarkerRange);
  if (!markers) markers = access.copyAttributeValueOptional(from, "AXTextMarkerRange");
  return markers ? fetchTextForMarkers(access, from, *markers) : std::nullopt;
}

std::optional<std::string> fetchAttributedString(AXWrapper& access, const AXElement& from,
                                                 const std::string& attribute, const AXValue& parameter) {
  const auto answer = access.port().copyParameterizedAttributeValue(from, attribute, parameter);
  const auto* text = answer.ok() ? answer.value.get<AXAttributedText>() : nullptr;
  return text ? std::optional(text->text) : std::nullopt;
}

std::optional<std::string> fetchString(AXWrapper& access, const AXElement& from, const std::string& attribute,
                                       const AXValue& parameter) {
  const auto answer = access.port().copyParameterizedAttributeValue(from, attribute, parameter);
  const auto* text = answer.ok() ? answer.value.get<std::string>() : nullptr;
  return text ? std::optional(*text) : std::nullopt;
}

}  // namespace tavik
