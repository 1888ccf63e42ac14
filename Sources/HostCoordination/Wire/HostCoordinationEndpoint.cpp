#include "HostCoordination/Wire/HostCoordinationEndpoint.h"

#include <filesystem>

#include "Base/Text/Text.h"

namespace tavik {

std::string HostCoordinationEndpoint::defaultSocketPath(const Environment& environment,
                                                        const std::string& homeDirectory,
                                                        const std::string& runtimeBundleIdentifier) {
  std::filesystem::path root = text::trimmed(environment(homeEnvironmentKey).value_or(""));
  if (root.empty()) {
    const bool isChineseEdition = runtimeBundleIdentifier.find(".cn.") != std::string::npos;
    root = std::filesystem::path(homeDirectory) / (isChineseEdition ? ".tavik-cn" : ".tavik");
  }
  return root / "ipc" / "ipc.sock";
}

}  // namespace tavik
