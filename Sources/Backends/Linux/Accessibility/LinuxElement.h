#pragma once

#include <cstdint>
#include <string>

#include "Backends/Linux/Accessibility/AccessibleFacts.h"
#include "PlatformInterfaces/AXElement.h"

namespace tavik {

/// What an accessibility element of this backend stands for.
struct LinuxElement {
  enum class Kind {
    systemWide,
    /// A process, whatever it has registered on the bus.
    application,
    /// One object of the bus.
    object,
    /// Cells that stand directly in a table and share a line; `object` is the table
    /// and `anchor` the path of the first cell.
    row,
    /// What pulls down from `object`, a menu title or a menu item that holds its
    /// items itself.
    menu,
  };

  Kind kind = Kind::systemWide;
  std::int32_t pid = 0;
  AccessibleReference object;
  std::string anchor;

  bool operator==(const LinuxElement&) const = default;

  static AXElement handle(LinuxElement element);
  /// Absent for a handle of another backend and for the empty one.
  static const LinuxElement* from(const AXElement& element);
};

}  // namespace tavik
