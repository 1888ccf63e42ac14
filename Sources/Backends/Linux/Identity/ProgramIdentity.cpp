#include "Backends/Linux/Identity/ProgramIdentity.h"

namespace tavik {

std::optional<std::string> ownProgramIdentifier(const std::string& executablePath) {
  const std::string name = executablePath.substr(executablePath.rfind('/') + 1);
  if (name == "TavikComputerUseRuntime") return "com.tavik.computeruse";
  if (name == "TavikComputerUseBridge") return "com.tavik.computeruse.bridge";
  return std::nullopt;
}

}  // namespace tavik
