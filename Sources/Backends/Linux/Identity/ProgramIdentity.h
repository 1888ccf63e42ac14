#pragma once

#include <optional>
#include <string>

namespace tavik {

/// The identifier of one of the system's own programs, by the name of its
/// executable; absent for any other program.
std::optional<std::string> ownProgramIdentifier(const std::string& executablePath);

}  // namespace tavik
