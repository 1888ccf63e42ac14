#include "Backends/Simulated/System/SimulatedRequestTransport.h"

namespace tavik {

SimulatedRequest SimulatedRequestTransport::send(IncomingRequest request) {
  SimulatedRequest sent(scheduler_);
  mainQueue_.async([this, request = std::move(request), reply = sent.reply_] { deliver(request, reply); });
  return sent;
}

SimulatedRequest SimulatedRequestTransport::send(std::string requestType, std::string requestData,
                                                 std::int32_t senderPID, std::optional<std::string> requestID) {
  return send(IncomingRequest{std::move(requestType), bytesOf(requestData), std::move(requestID), senderPID});
}

void SimulatedRequestTransport::deliver(const IncomingRequest& request, const Completion<RequestReply>& reply) {
  EventHandler handler;
  {
    MutexLock lock(mutex_);
    handler = handler_;
  }
  if (!handler) return;
  current_ = &reply;
  currentIsSuspended_ = false;
  RequestReply immediate;
  handler(request, immediate);
  current_ = nullptr;
  if (!currentIsSuspended_) reply.resume(std::move(immediate));
}

bool SimulatedRequestTransport::isReceiving() const {
  MutexLock lock(mutex_);
  return handler_ != nullptr;
}

std::size_t SimulatedRequestTransport::suspendedCount() const {
  MutexLock lock(mutex_);
  return suspended_.size();
}

bool SimulatedRequestTransport::setEventHandler(EventHandler handler) {
  requireNoLockHeld("setEventHandler");
  if (addressIsTaken_) return false;
  MutexLock lock(mutex_);
  handler_ = std::move(handler);
  return true;
}

void SimulatedRequestTransport::removeEventHandler() {
  requireNoLockHeld("removeEventHandler");
  EventHandler dropped;
  MutexLock lock(mutex_);
  dropped.swap(handler_);
}

std::optional<SuspensionID> SimulatedRequestTransport::suspendCurrentRequest() {
  requireNoLockHeld("suspendCurrentRequest");
  if (!current_ || refusesToSuspend_) return std::nullopt;
  currentIsSuspended_ = true;
  MutexLock lock(mutex_);
  const SuspensionID suspension = nextSuspension_++;
  suspended_.emplace(suspension, *current_);
  return suspension;
}

bool SimulatedRequestTransport::canEncodeResponse(const Bytes& directObject) {
  requireNoLockHeld("canEncodeResponse");
  return !responseLimit_ || directObject.size() <= *responseLimit_;
}

void SimulatedRequestTransport::resume(SuspensionID suspension, RequestReply reply) {
  requireNoLockHeld("resume");
  std::optional<Completion<RequestReply>> waiting;
  {
    MutexLock lock(mutex_);
    auto found = suspended_.find(suspension);
    if (found == suspended_.end()) failContract("a request is answered that does not wait for an answer");
    waiting = found->second;
    suspended_.erase(found);
  }
  waiting->resume(std::move(reply));
}

}  // namespace tavik
