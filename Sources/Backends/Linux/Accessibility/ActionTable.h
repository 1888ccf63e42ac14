#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Backends/Linux/Accessibility/NodeView.h"

namespace tavik {

/// An action of an element and how the application does it.
struct ActionTranslation {
  enum class Means {
    /// The object's own action with this number.
    ownAction,
    /// A step of the object's value.
    increment,
    decrement,
    /// A request to scroll the object into view.
    scrollTo,
    /// A request to scroll a text to its caret.
    scrollToCaret,
  };

  /// The raw name, "AXPress".
  std::string name;
  Means means = Means::ownAction;
  int number = 0;
  /// For a person; may be empty.
  std::string description;
  /// The object whose action it is, where that is not the element's own.
  AccessibleReference cell = {};
};

/// The object's actions in its own order, each raw name once. Needs the actions and
/// the base facets.
std::vector<ActionTranslation> translateActions(const NodeView& node);

/// The number of the object's own action with one of these names, if any.
std::optional<int> ownActionNumber(const AccessibleFacts& facts,
                                   std::initializer_list<std::string_view> names);

/// Whether the number of an object is a value that a person sets.
bool isAdjustable(const NodeView& node);

}  // namespace tavik
