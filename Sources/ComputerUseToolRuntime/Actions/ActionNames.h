#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"

namespace tavik {

/// The names under which the model asks for actions, with their raw names.
const std::map<std::string, std::string>& readableToRawAction();

/// What the model reads for a raw name; absent for an action that stays hidden.
std::optional<std::string> readableActionName(const std::string& raw);

/// The raw name of the action that the model asks for, among those that the element
/// offers: by the table, by the element's own description, and as a last way one that
/// an element of the role may be asked for unseen. Absent when there is none. Asks
/// the live element; does not throw.
std::optional<std::string> resolveAvailableRawActionName(const std::string& requested,
                                                         const std::vector<std::string>& availableActions,
                                                         const AXElement& element,
                                                         const std::optional<std::string>& role,
                                                         AccessibilityPort& port);

/// Whether an element that does not name its actions may be asked for this one.
bool actionsCanBeAttemptedWithoutActionNames(const std::string& rawAction, const std::optional<std::string>& role);
/// The raw name of a readable one, when it may be asked for unseen.
std::optional<std::string> implicitPublicRawSecondaryAction(const std::string& requestedAction,
                                                            const std::optional<std::string>& role);

}  // namespace tavik
