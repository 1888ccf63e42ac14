#pragma once

#include <optional>
#include <string>

#include "PlatformInterfaces/RequestTransportPort.h"

namespace tavik {

/// Why a request got no answer, in words that tell a model what to do next; nothing
/// when it was answered.
std::optional<std::string> runtimeFailure(const RequestSenderPort::Outcome& outcome);

/// Whether the runtime ended before it did the request, so that a new one, started
/// by the next request, may well do it.
bool runtimeWentAway(const RequestSenderPort::Outcome& outcome);

}  // namespace tavik
