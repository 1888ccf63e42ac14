#pragma once

#include <string>
#include <vector>

#include "SlimCore/AppSearch/AppSearchEngine.h"

namespace tavik {

/// The list of applications as the model reads it: one line each, name, identifier
/// and tags; empty for no applications.
std::string formatListApps(const std::vector<AppSearchResult>& apps);

}  // namespace tavik
