#pragma once

#include <string>
#include <vector>

#include "Backends/Linux/Bus/BusConnection.h"

namespace tavik {

/// The environment, as "NAME=value", for a program that belongs to the session:
/// that of this process and, for names which it lacks, what the desktop told the
/// session's service manager at login. A host may have started this process with
/// next to nothing, not even the display.
std::vector<std::string> sessionEnvironment(BusConnection& bus);

}  // namespace tavik
