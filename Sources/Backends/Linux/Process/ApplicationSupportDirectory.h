#pragma once

#include <filesystem>

namespace tavik {

/// Where programs keep what they write for themselves, such as logs: the state
/// folder of the desktop's conventions.
std::filesystem::path applicationSupportDirectory();

}  // namespace tavik
