#pragma once

#include <map>
#include <optional>
#include <string>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/RequestTransportPort.h"

namespace tavik {

/// A transport whose senders are the test itself. It counts the answers of each
/// request, for each must get exactly one.
class ScriptedTransport : public RequestTransportPort {
 public:
  explicit ScriptedTransport(Scheduler& scheduler) : scheduler_(scheduler) {}

  bool canSuspend = true;
  bool canEncode = true;
  bool addressIsTaken = false;

  /// A request on its way to its answer.
  struct Sent {
    /// Absent when the request was answered in place or reached nobody.
    std::optional<SuspensionID> suspension;
    Completion<RequestReply> reply;

    RequestReply wait() const { return reply.wait("the reply to a request"); }
    bool isAnswered() const { return reply.isResumed(); }
  };

  Sent send(IncomingRequest request);
  Sent send(std::string requestType, std::int32_t senderPID = 4711) {
    return send({.requestType = std::move(requestType),
                 .requestData = Bytes{},
                 .requestID = {},
                 .senderPID = senderPID});
  }
  bool isReceiving() const { return handler_ != nullptr; }
  int answerCount(SuspensionID suspension);

  bool setEventHandler(EventHandler handler) override;
  void removeEventHandler() override;
  std::optional<SuspensionID> suspendCurrentRequest() override;
  bool canEncodeResponse(const Bytes& directObject) override;
  void resume(SuspensionID suspension, RequestReply reply) override;

 private:
  Scheduler& scheduler_;
  EventHandler handler_;
  Mutex mutex_;
  SuspensionID lastSuspension_ = 0;
  std::optional<SuspensionID> suspensionOfCurrentRequest_;
  std::map<SuspensionID, Completion<RequestReply>> replies_;
  std::map<SuspensionID, int> answerCounts_;
};

}  // namespace tavik
