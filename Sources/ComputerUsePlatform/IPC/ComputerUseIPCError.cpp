#include "ComputerUsePlatform/IPC/ComputerUseIPCError.h"

namespace tavik {

const char* ComputerUseIPCError::what() const noexcept {
  switch (case_) {
    case Case::unknown:
      return "unknown";
    case Case::authorizationFailed:
      return "authorizationFailed";
    case Case::uiElementError:
      return "uiElementError";
    case Case::bundleIdLookupError:
      return "bundleIdLookupError";
    case Case::timeout:
      return "timeout";
    case Case::cancelled:
      return "cancelled";
    case Case::urlBlocklist:
      return "urlBlocklist";
    case Case::rateLimited:
      return "rateLimited";
  }
  return "unknown";
}

LoggedError ComputerUseIPCError::loggedError() const {
  return {"ComputerUseIPCError", "ComputerUsePlatform.ComputerUseIPCError", rawValue()};
}

}  // namespace tavik
