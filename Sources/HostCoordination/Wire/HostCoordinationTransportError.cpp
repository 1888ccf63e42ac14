#include "HostCoordination/Wire/HostCoordinationTransportError.h"

#include <system_error>
#include <utility>

namespace tavik {

namespace {

using Case = HostCoordinationTransportError::Case;

struct Words {
  const char* description;
  const char* diagnosticReason;
};

/// In the order of the cases; those of `system` are made of its number.
constexpr Words words[] = {
    {"", ""},
    {"Host coordination socket closed", "connection_closed"},
    {"Host coordination socket connection changed", "connection_changed"},
    {"Host coordination frame is too large", "frame_too_large"},
    {"Host coordination frame is invalid", "invalid_frame"},
    {"Host coordination socket is not connected", "not_connected"},
    {"Host coordination socket path is too long", "socket_path_too_long"},
};

const Words& wordsOf(Case which) {
  return words[static_cast<std::size_t>(which)];
}

}  // namespace

HostCoordinationTransportError::HostCoordinationTransportError(Case which)
    : HostCoordinationTransportError(which, 0, wordsOf(which).description) {}

HostCoordinationTransportError::HostCoordinationTransportError(Case which, int errorNumber,
                                                               std::string description)
    : case_(which), errorNumber_(errorNumber), description_(std::move(description)) {}

HostCoordinationTransportError HostCoordinationTransportError::system(int errorNumber) {
  return {Case::system, errorNumber, std::generic_category().message(errorNumber)};
}

std::string HostCoordinationTransportError::diagnosticReason() const {
  if (case_ == Case::system) return "system_error_" + std::to_string(errorNumber_);
  return wordsOf(case_).diagnosticReason;
}

LoggedError HostCoordinationTransportError::loggedError() const {
  return {"HostCoordinationTransportError", "HostCoordination.HostCoordinationTransportError",
          case_ == Case::system ? errorNumber_ : static_cast<long>(case_)};
}

}  // namespace tavik
