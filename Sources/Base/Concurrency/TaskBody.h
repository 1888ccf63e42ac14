#pragma once

#include <functional>
#include <string>

namespace tavik {

/// Runs a task's body. `CancellationError` ends it quietly; any other exception is
/// an error of this program, which ends with the task's name.
void runTaskBody(const std::string& name, const std::function<void()>& body);

}  // namespace tavik
