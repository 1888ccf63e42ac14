#include "ComputerUseToolRuntime/Actions/SetValueEffect.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr std::array waits = {milliseconds(0), milliseconds(80), milliseconds(160), milliseconds(320)};
constexpr std::size_t longestPreview = 160;

/// One value: an application may change it as it likes.
bool isFreeOfLineComparison(const std::string& requestedValue) {
  return !text::contains(requestedValue, "\n") || requestedValueLooksLikeStructuredDocument(requestedValue);
}

}  // namespace

std::optional<std::string> waitForStringSetValueEffect(const AXElement& element, const std::string& requestedValue,
                                                       const std::optional<std::string>& previousValue,
                                                       const LiveElementReader& reader, Scheduler& scheduler) {
  std::optional<std::string> current;
  for (const auto wait : waits) {
    try {
      if (wait != Duration::zero()) scheduler.sleep(wait);
    } catch (const CancellationError&) {
      return current;
    }
    current = reader.string(element, AXAttributes::value);
    if (!current || *current == requestedValue || !previousValue) return current;
    if (*current == *previousValue) continue;
    if (isFreeOfLineComparison(requestedValue)) return current;
    if (requestedNonEmptyLinesAppearInCurrentValue(requestedValue, *current)) return current;
  }
  return current;
}

bool stringSetValueShouldBeAccepted(const std::string& requestedValue, const std::optional<std::string>& previousValue,
                                    const std::string& currentValue) {
  if (currentValue == requestedValue || !previousValue) return true;
  if (currentValue == *previousValue) return false;
  return isFreeOfLineComparison(requestedValue) ||
         requestedNonEmptyLinesAppearInCurrentValue(requestedValue, currentValue);
}

bool requestedValueLooksLikeStructuredDocument(const std::string& value) {
  const std::string document = text::trimmed(value);
  const bool isObject = document.starts_with('{') && document.ends_with('}');
  const bool isArray = document.starts_with('[') && document.ends_with(']');
  return (isObject || isArray) && nlohmann::json::accept(document);
}

bool requestedNonEmptyLinesAppearInCurrentValue(const std::string& requestedValue, const std::string& currentValue) {
  const auto lines = text::split(requestedValue, '\n', /*keepEmpty=*/false);
  return std::ranges::all_of(lines, [&](const std::string& line) {
    return text::contains(currentValue, text::trimmed(line));
  });
}

std::string valuePreview(const std::string& value) {
  const std::string line = text::replacingAll(value, "\n", "\\n");
  if (text::characterCount(line) <= longestPreview) return "'" + line + "'";
  return "'" + text::prefix(line, longestPreview) + "...'";
}

}  // namespace tavik
