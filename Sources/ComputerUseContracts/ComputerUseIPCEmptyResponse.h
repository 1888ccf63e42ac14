#pragma once

#include <tuple>

namespace tavik {

/// The answer that says only that the request was served: "{}".
struct ComputerUseIPCEmptyResponse {
  static constexpr std::tuple<> fields{};
  bool operator==(const ComputerUseIPCEmptyResponse&) const = default;
};

}  // namespace tavik
