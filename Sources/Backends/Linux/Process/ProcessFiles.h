#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavik {

/// What the kernel tells about a process under /proc. Any thread; absent or empty
/// when there is no such process or it may not be asked.

/// The file that the process runs; without the kernel's mark when it was deleted
/// or replaced since.
std::optional<std::string> executablePathOf(std::int32_t pid);
/// The words it was started with.
std::vector<std::string> commandLineOf(std::int32_t pid);
/// The environment it was started with, as "NAME=value".
std::vector<std::string> environmentOf(std::int32_t pid);
/// The file that this process runs.
std::string ownExecutablePath();

}  // namespace tavik
