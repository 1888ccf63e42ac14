#pragma once

#include <string>
#include <vector>

namespace tavik {

/// One thing that the system needs of a desktop.
struct DesktopProbe {
  /// For a person: "X display".
  std::string name;
  bool ok = false;
  /// Whether nothing works without it; else some things do.
  bool isEssential = true;
  /// What was found.
  std::string detail;
  /// What a person can do about it; empty when all is well.
  std::string remedy;
};

/// Looks at this desktop as the environment of this process names it. Blocks for a
/// few seconds at most, changes nothing and starts nothing. In the order in which
/// things are worth repairing: a probe that fails may be the cause of those after it.
std::vector<DesktopProbe> diagnoseLinuxDesktop();

}  // namespace tavik
