#pragma once

#include <optional>
#include <string>

#include "AccessibilitySupport/Access/LiveElementReader.h"

namespace tavik {

/// Waits, up to half a second, until a text that was written shows an effect; what the
/// element says then, absent when it says no text. `previousValue` is what it said
/// before.
std::optional<std::string> waitForStringSetValueEffect(const AXElement& element, const std::string& requestedValue,
                                                       const std::optional<std::string>& previousValue,
                                                       const LiveElementReader& reader, Scheduler& scheduler);

/// Whether what the element says now can be the outcome of the request: applications
/// may well reformat what they are given.
bool stringSetValueShouldBeAccepted(const std::string& requestedValue, const std::optional<std::string>& previousValue,
                                    const std::string& currentValue);
/// A JSON object or array, which may be laid out anew.
bool requestedValueLooksLikeStructuredDocument(const std::string& value);
bool requestedNonEmptyLinesAppearInCurrentValue(const std::string& requestedValue, const std::string& currentValue);

/// The value in single quotes for the model: in one line, and shortened.
std::string valuePreview(const std::string& value);

}  // namespace tavik
