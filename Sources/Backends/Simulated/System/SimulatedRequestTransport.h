#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/RequestTransportPort.h"

namespace tavik {

/// A request as its sender sees it.
class SimulatedRequest {
 public:
  explicit SimulatedRequest(Scheduler& scheduler) : reply_(scheduler) {}

  bool isAnswered() const { return reply_.isResumed(); }
  /// Waits for the answer.
  RequestReply reply() const { return reply_.wait("the reply to a request"); }

 private:
  friend class SimulatedRequestTransport;
  Completion<RequestReply> reply_;
};

/// Carries requests from a test to the handler on the main queue, and each answer
/// back, once: answering a request twice ends the program.
class SimulatedRequestTransport : public RequestTransportPort {
 public:
  SimulatedRequestTransport(Scheduler& scheduler, MainQueue& mainQueue)
      : scheduler_(scheduler), mainQueue_(mainQueue) {}

  /// Sends what a client would. Without a handler the request is never answered.
  SimulatedRequest send(IncomingRequest request);
  SimulatedRequest send(std::string requestType, std::string requestData, std::int32_t senderPID = 0,
                        std::optional<std::string> requestID = std::nullopt);

  /// From now on the address counts as taken.
  void occupyAddress() { addressIsTaken_ = true; }
  void refuseToSuspend() { refusesToSuspend_ = true; }
  /// From now on answers longer than this cannot be encoded.
  void limitResponses(std::size_t bytes) { responseLimit_ = bytes; }

  bool isReceiving() const;
  /// Requests whose answer is put off and has not come yet.
  std::size_t suspendedCount() const;

  bool setEventHandler(EventHandler handler) override;
  void removeEventHandler() override;
  std::optional<SuspensionID> suspendCurrentRequest() override;
  bool canEncodeResponse(const Bytes& directObject) override;
  void resume(SuspensionID suspension, RequestReply reply) override;

 private:
  void deliver(const IncomingRequest& request, const Completion<RequestReply>& reply);

  Scheduler& scheduler_;
  MainQueue& mainQueue_;
  mutable Mutex mutex_;
  EventHandler handler_;
  bool addressIsTaken_ = false;
  bool refusesToSuspend_ = false;
  std::optional<std::size_t> responseLimit_;
  /// The request that the handler is looking at; main thread only.
  const Completion<RequestReply>* current_ = nullptr;
  bool currentIsSuspended_ = false;
  SuspensionID nextSuspension_ = 1;
  std::map<SuspensionID, Completion<RequestReply>> suspended_;
};

}  // namespace tavik
