#include "TavikComputerUseRuntime/Requests/ToolRequests.h"

#include "ComputerUseContracts/ToolRequests.h"

namespace tavik {

namespace {

/// One request between its start and its finish, whichever way it ends.
class RequestOfTheTurn {
 public:
  explicit RequestOfTheTurn(ComputerUseTurnLifecycleCoordinator* coordinator) : coordinator_(coordinator) {
    if (coordinator_) coordinator_->toolRequestStarted();
  }
  ~RequestOfTheTurn() {
    if (coordinator_) coordinator_->toolRequestFinished();
  }
  RequestOfTheTurn(const RequestOfTheTurn&) = delete;
  RequestOfTheTurn& operator=(const RequestOfTheTurn&) = delete;

 private:
  ComputerUseTurnLifecycleCoordinator* const coordinator_;
};

bool usesAnApplication(const std::string& requestType) {
  return requestType == ComputerUseIPCAppGetStateRequest::requestType ||
         requestType == ComputerUseIPCAppPerformActionRequest::requestType;
}

}  // namespace

std::optional<ToolResult> ToolRequests::route(const std::string& requestType, const Bytes& requestData) {
  const RequestOfTheTurn request(usesAnApplication(requestType) ? turnLifecycle_ : nullptr);
  return route_(requestType, requestData);
}

}  // namespace tavik
