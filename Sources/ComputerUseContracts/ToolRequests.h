#pragma once

#include <string>
#include <string_view>
#include <tuple>

#include "Base/JSON/Field.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ComputerUseIPCEmptyResponse.h"
#include "ComputerUseContracts/ComputerUseIPCToolResultResponse.h"

namespace tavik {

// The requests to see and to operate applications. `app` is a name or an identifier.

struct ComputerUseIPCListAppsRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCListAppsRequest";
  using Response = ComputerUseIPCToolResultResponse;

  static constexpr std::tuple<> fields{};
  bool operator==(const ComputerUseIPCListAppsRequest&) const = default;
};

struct ComputerUseIPCAppGetStateRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCAppGetStateRequest";
  using Response = ComputerUseIPCToolResultResponse;

  std::string app;

  static constexpr auto fields = std::tuple(field("app", &ComputerUseIPCAppGetStateRequest::app));
  bool operator==(const ComputerUseIPCAppGetStateRequest&) const = default;
};

struct ComputerUseIPCAppPerformActionRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCAppPerformActionRequest";
  using Response = ComputerUseIPCToolResultResponse;

  std::string app;
  ComputerUseIPCAction action;

  static constexpr auto fields = std::tuple(field("app", &ComputerUseIPCAppPerformActionRequest::app),
                                            field("action", &ComputerUseIPCAppPerformActionRequest::action));
  bool operator==(const ComputerUseIPCAppPerformActionRequest&) const = default;
};

struct ComputerUseIPCAppStartRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCAppStartRequest";
  using Response = ComputerUseIPCEmptyResponse;

  std::string app;

  static constexpr auto fields = std::tuple(field("app", &ComputerUseIPCAppStartRequest::app));
  bool operator==(const ComputerUseIPCAppStartRequest&) const = default;
};

struct ComputerUseIPCAppModifyRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCAppModifyRequest";
  using Response = ComputerUseIPCEmptyResponse;

  std::string app;
  std::string modification;

  static constexpr auto fields =
      std::tuple(field("app", &ComputerUseIPCAppModifyRequest::app),
                 field("modification", &ComputerUseIPCAppModifyRequest::modification));
  bool operator==(const ComputerUseIPCAppModifyRequest&) const = default;
};

struct ComputerUseIPCAppUsageRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCAppUsageRequest";
  using Response = ComputerUseIPCEmptyResponse;

  static constexpr std::tuple<> fields{};
  bool operator==(const ComputerUseIPCAppUsageRequest&) const = default;
};

}  // namespace tavik
