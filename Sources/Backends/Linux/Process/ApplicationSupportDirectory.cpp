#include "Backends/Linux/Process/ApplicationSupportDirectory.h"

#include <cstdlib>

#include "Backends/Linux/Process/LinuxProcess.h"

namespace tavik {

std::filesystem::path applicationSupportDirectory() {
  const char* state = std::getenv("XDG_STATE_HOME");
  if (state && *state == '/') return state;
  return std::filesystem::path(LinuxProcess().homeDirectory()) / ".local" / "state";
}

}  // namespace tavik
