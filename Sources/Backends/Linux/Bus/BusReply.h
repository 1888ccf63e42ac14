#pragma once

#include <string>

#include "Backends/Linux/Bus/BusMessage.h"

namespace tavik {

/// What became of a call.
struct BusReply {
  enum class Status {
    /// `message` is the answer.
    returned,
    /// `message` is the error that the other side sent.
    failed,
    /// No answer within the time given.
    timedOut,
    /// The bus is away, or went away before the answer.
    disconnected,
  };

  Status status = Status::disconnected;
  BusMessage message;

  bool ok() const { return status == Status::returned; }
  std::string errorName() const { return status == Status::failed ? std::string(message.errorName()) : ""; }
  BusReader read() const { return BusReader(ok() ? message.raw() : nullptr); }
};

}  // namespace tavik
