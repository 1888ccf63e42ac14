#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "Base/JSON/Field.h"

namespace tavik {

/// Who the runtime is and whether it can serve.
struct ComputerUseIPCHealthResponse {
  std::string generationID;
  std::int32_t runtimePID = 0;
  std::string bundleIdentifier;
  std::string bundlePath;
  bool isHealthy = false;
  std::optional<std::int64_t> activeClientCount;
  std::optional<double> heartbeatTimeoutSeconds;

  static constexpr auto fields =
      std::tuple(field("generationID", &ComputerUseIPCHealthResponse::generationID),
                 field("runtimePID", &ComputerUseIPCHealthResponse::runtimePID),
                 field("bundleIdentifier", &ComputerUseIPCHealthResponse::bundleIdentifier),
                 field("bundlePath", &ComputerUseIPCHealthResponse::bundlePath),
                 field("isHealthy", &ComputerUseIPCHealthResponse::isHealthy),
                 field("activeClientCount", &ComputerUseIPCHealthResponse::activeClientCount),
                 field("heartbeatTimeoutSeconds", &ComputerUseIPCHealthResponse::heartbeatTimeoutSeconds));
  bool operator==(const ComputerUseIPCHealthResponse&) const = default;
};

/// A client's heartbeat.
struct ComputerUseIPCHealthRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCHealthRequest";
  using Response = ComputerUseIPCHealthResponse;

  std::optional<bool> refreshClientActivity;

  static constexpr auto fields =
      std::tuple(field("refreshClientActivity", &ComputerUseIPCHealthRequest::refreshClientActivity));
  bool operator==(const ComputerUseIPCHealthRequest&) const = default;
};

}  // namespace tavik
