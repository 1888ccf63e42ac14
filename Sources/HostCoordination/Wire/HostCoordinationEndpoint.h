#pragma once

#include <functional>
#include <optional>
#include <string>

namespace tavik {

/// Where the host's Router listens.
class HostCoordinationEndpoint {
 public:
  using Environment = std::function<std::optional<std::string>(const std::string& name)>;

  static constexpr const char* homeEnvironmentKey = "TAVIK_HOME";

  /// The path of the Router's socket: below the directory that the environment names,
  /// else below the home directory, where each edition of the host has its own.
  static std::string defaultSocketPath(const Environment& environment, const std::string& homeDirectory,
                                       const std::string& runtimeBundleIdentifier);
};

}  // namespace tavik
