#pragma once

#include <string>
#include <vector>

namespace tavik {

/// What elements of a role have in common on the desktop.
struct RoleCustoms {
  /// For a person: "check box".
  std::string description;
  /// The actions, in order.
  std::vector<std::string> actions;
  /// Attributes that can be written when the element has them.
  std::vector<std::string> settable;
  bool isFocusable = false;
  bool isText = false;
  /// Which attribute lists its selected children: rows, children, or none (empty).
  std::string selectionAttribute = {};
};

/// The customs of a role; an unknown role has its own name and no customs.
const RoleCustoms& roleCustoms(const std::string& role);

/// "AXPress" is "press", "AXShowMenu" is "show menu".
std::string customaryActionDescription(const std::string& action);

}  // namespace tavik
