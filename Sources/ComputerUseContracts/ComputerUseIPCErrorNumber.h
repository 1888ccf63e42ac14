#pragma once

#include <cstdint>

namespace tavik {

/// Why the transport, and not a tool, failed a request: the numbers on the wire.
enum class ComputerUseIPCErrorNumber : std::int32_t {
  unknown = -10000,
  authorizationFailed = -10006,
  uiElementError = -10008,
  bundleIdLookupError = -10010,
  timeout = -10011,
  cancelled = -10012,
  urlBlocklist = -10015,
  rateLimited = -10016,
};

}  // namespace tavik
