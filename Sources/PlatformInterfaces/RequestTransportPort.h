#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Base/Encoding/Bytes.h"

namespace tavik {

/// One incoming request as the transport carries it.
struct IncomingRequest {
  /// Absent when the parameter is missing or unreadable.
  std::optional<std::string> requestType;
  std::optional<Bytes> requestData;
  std::optional<std::string> requestID;
  /// 0 when the transport does not know the sender.
  std::int32_t senderPID = 0;
};

/// What a request is answered with: `directObject` on success, else a number and
/// a text.
struct RequestReply {
  std::optional<Bytes> directObject;
  std::int32_t errorNumber = 0;
  std::string errorString;
};

/// A request whose answer is put off.
using SuspensionID = std::uint64_t;

/// Receives requests and answers them later. The handler is called on the main
/// queue, once for each request, and must return at once.
class RequestTransportPort {
 public:
  /// Given each request and the reply that goes out if the handler returns without
  /// having suspended it.
  using EventHandler = std::function<void(const IncomingRequest& request, RequestReply& reply)>;

  virtual ~RequestTransportPort() = default;

  /// Begins to receive. False when the address is taken by another process.
  virtual bool setEventHandler(EventHandler handler) = 0;
  /// Afterwards no new request arrives; suspended ones can still be answered.
  virtual void removeEventHandler() = 0;

  /// Only inside the handler: puts the answer of the request being handled off.
  /// Absent when that is impossible.
  virtual std::optional<SuspensionID> suspendCurrentRequest() = 0;
  /// Whether the transport can carry these bytes as an answer.
  virtual bool canEncodeResponse(const Bytes& directObject) = 0;
  /// Answers a suspended request; each identifier once. Any thread. A sender that
  /// has gone is ignored.
  virtual void resume(SuspensionID suspension, RequestReply reply) = 0;
};

/// The other end: sends one request to the runtime and waits for its answer.
class RequestSenderPort {
 public:
  enum class Failure {
    none,
    /// No runtime answers at the address and none could be started.
    notReachable,
    /// The runtime went away before it answered.
    disconnected,
    /// No answer within the time-out.
    timedOut,
  };
  struct Outcome {
    Failure failure = Failure::none;
    /// For a person; empty on success.
    std::string detail;
    RequestReply reply;
  };

  virtual ~RequestSenderPort() = default;
  /// Blocks for the answer. Any thread, many at once.
  virtual Outcome send(const std::string& requestType, const Bytes& requestData, const std::string& requestID,
                       double timeoutSeconds) = 0;
  /// Whether a runtime is listening now; does not start one.
  virtual bool isRuntimeRunning() = 0;
};

}  // namespace tavik
