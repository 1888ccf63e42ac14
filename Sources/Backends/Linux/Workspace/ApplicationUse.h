#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Backends/Linux/Workspace/DesktopEntry.h"
#include "Base/Concurrency/Time.h"

namespace tavik {

/// When and how often the user worked with an application; absent where the desktop
/// does not know.
struct ApplicationUse {
  std::optional<WallTime> lastUsed;
  std::optional<std::int64_t> count;

  bool operator==(const ApplicationUse&) const = default;
};

/// By the identifier of the desktop entry.
using ApplicationUses = std::map<std::string, ApplicationUse>;

/// Adds what the list of recently used documents (`recently-used.xbel`) says of the
/// applications that worked with them.
void addUsesOfDocuments(std::string_view text, const std::vector<DesktopEntry>& entries,
                        ApplicationUses& uses);

/// Adds when GNOME Shell saw each application last (its `application_state`).
void addUsesOfShell(std::string_view text, ApplicationUses& uses);

/// Where a desktop keeps these.
struct ApplicationUseFiles {
  std::filesystem::path documents;
  std::filesystem::path shellState;

  static ApplicationUseFiles ofTheUser();
  ApplicationUses read(const std::vector<DesktopEntry>& entries) const;
};

}  // namespace tavik
