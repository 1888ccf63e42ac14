#pragma once

#include <optional>
#include <string>
#include <vector>

#include "PlatformInterfaces/RefusedApplicationClass.h"

namespace tavik {

/// Whether an application of a Linux desktop belongs to a class that the agent never
/// touches: by the id of its desktop entry, by the desktop's category, or by its
/// program, for what was started by hand. An empty id or program matches nothing.
std::optional<RefusedApplicationClass> refusedApplicationClass(const std::string& entryID,
                                                               const std::vector<std::string>& categories,
                                                               const std::string& program,
                                                               const std::string& windowClass);

}  // namespace tavik
