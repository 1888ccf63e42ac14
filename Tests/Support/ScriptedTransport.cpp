#include "Tests/Support/ScriptedTransport.h"

#include <utility>

namespace tavik {

ScriptedTransport::Sent ScriptedTransport::send(IncomingRequest request) {
  Completion<RequestReply> reply(scheduler_);
  if (!handler_) return {std::nullopt, reply};
  suspensionOfCurrentRequest_.reset();
  RequestReply inPlace;
  {
    MutexLock lock(mutex_);
    replies_.emplace(lastSuspension_ + 1, reply);
  }
  handler_(request, inPlace);
  if (!suspensionOfCurrentRequest_) reply.resume(std::move(inPlace));
  return {suspensionOfCurrentRequest_, reply};
}

int ScriptedTransport::answerCount(SuspensionID suspension) {
  MutexLock lock(mutex_);
  return answerCounts_[suspension];
}

bool ScriptedTransport::setEventHandler(EventHandler handler) {
  if (addressIsTaken) return false;
  handler_ = std::move(handler);
  return true;
}

void ScriptedTransport::removeEventHandler() {
  handler_ = nullptr;
}

std::optional<SuspensionID> ScriptedTransport::suspendCurrentRequest() {
  requireNoLockHeld("suspendCurrentRequest");
  if (!canSuspend) return std::nullopt;
  MutexLock lock(mutex_);
  suspensionOfCurrentRequest_ = ++lastSuspension_;
  return suspensionOfCurrentRequest_;
}

bool ScriptedTransport::canEncodeResponse(const Bytes&) {
  requireNoLockHeld("canEncodeResponse");
  return canEncode;
}

void ScriptedTransport::resume(SuspensionID suspension, RequestReply reply) {
  requireNoLockHeld("resume");
  std::optional<Completion<RequestReply>> completion;
  {
    MutexLock lock(mutex_);
    ++answerCounts_[suspension];
    completion = replies_.at(suspension);
  }
  completion->resume(std::move(reply));
}

}  // namespace tavik
