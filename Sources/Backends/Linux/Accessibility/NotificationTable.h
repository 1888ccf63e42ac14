#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Backends/Linux/Accessibility/AccessibleFacts.h"
#include "Backends/Linux/Bus/BusMessage.h"

namespace tavik {

/// An event of the accessibility bus.
struct AccessibleEvent {
  AccessibleReference source;
  /// "Object", "Window", "Document".
  std::string category;
  /// "StateChanged", in the sender's spelling.
  std::string kind;
  /// What changed: a state, a property, "add".
  std::string detail;
  /// For a state, whether it is set now.
  std::int64_t amount = 0;
  /// The object that came or went, where the event names one.
  AccessibleReference other;

  /// Absent fields are left empty.
  static AccessibleEvent from(const BusMessage& signal);
};

/// What one event means in the AX vocabulary.
struct NotificationRule {
  std::string_view category;
  std::string_view kind;
  /// Empty for any.
  std::string_view detail;
  enum class When { always, set, cleared } when;
  std::string_view notification;
  enum class Subject {
    source,
    /// The object that came or went.
    other,
    /// The source, and only when it is a menu.
    menu,
  } subject;

  bool matches(const AccessibleEvent& event) const;
  /// The name under which applications are asked to send the event.
  std::string registryName() const;
};

std::span<const NotificationRule> notificationRules();

}  // namespace tavik
