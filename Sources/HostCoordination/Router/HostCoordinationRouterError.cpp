#include "HostCoordination/Router/HostCoordinationRouterError.h"

#include <utility>

namespace tavik {

namespace {

using Case = HostCoordinationRouterError::Case;

/// In the order of the cases.
constexpr const char* descriptions[] = {
    "Host coordination request was rejected: ",
    "Host coordination Router is disconnected",
    "Host coordination initialize request timed out",
    "Host coordination initialize response is invalid",
    "Host coordination request timed out",
};

const char* descriptionOf(Case which) {
  return descriptions[static_cast<std::size_t>(which)];
}

}  // namespace

HostCoordinationRouterError::HostCoordinationRouterError(Case which)
    : HostCoordinationRouterError(which, descriptionOf(which)) {}

HostCoordinationRouterError::HostCoordinationRouterError(Case which, std::string description)
    : case_(which), description_(std::move(description)) {}

HostCoordinationRouterError HostCoordinationRouterError::requestRejected(const std::string& text) {
  return {Case::requestRejected, descriptionOf(Case::requestRejected) + text};
}

LoggedError HostCoordinationRouterError::loggedError() const {
  return {"HostCoordinationRouterError", "HostCoordination.HostCoordinationRouterError",
          static_cast<long>(case_)};
}

}  // namespace tavik
