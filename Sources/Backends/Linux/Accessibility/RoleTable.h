#pragma once

#include "Backends/Linux/Accessibility/NodeView.h"

namespace tavik {

/// A role in the AX vocabulary. The subrole is empty where there is none.
struct RoleTranslation {
  const char* role;
  const char* subrole;
  const char* description;
};

RoleTranslation translateRole(const NodeView& node);

/// The roles of elements that stand for something the bus has no object for.
inline constexpr RoleTranslation applicationRole{"AXApplication", "", "application"};
inline constexpr RoleTranslation systemWideRole{"AXSystemWide", "", "system wide"};
inline constexpr RoleTranslation tableRowRole{"AXRow", "AXTableRow", "row"};
inline constexpr RoleTranslation outlineRowRole{"AXRow", "AXOutlineRow", "row"};
inline constexpr RoleTranslation menuRole{"AXMenu", "", "menu"};

}  // namespace tavik
