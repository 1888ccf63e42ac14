#include "Backends/Simulated/Accessibility/FaultScript.h"

namespace tavik {

AXCall AXCall::read(std::string attribute) {
  return {{AXOperation::copyAttributeValue, AXOperation::copyAttributeValues, AXOperation::getAttributeValueCount,
           AXOperation::copyMultipleAttributeValues, AXOperation::copyParameterizedAttributeValue},
          std::move(attribute)};
}

bool AXCall::matches(AXOperation operation, const std::string& calledName) const {
  const bool asksNobody = operation == AXOperation::getPid || operation == AXOperation::setMessagingTimeout;
  const bool isChosen = operations.empty() ? !asksNobody : operations.contains(operation);
  return isChosen && (name.empty() || name == calledName);
}

Fault::Fault(AXCall call) : state_(std::make_shared<State>()) { state_->call = std::move(call); }

Fault& Fault::answers(AXErrorCode code) {
  MutexLock lock(state_->mutex);
  state_->effect.code = code;
  return *this;
}

Fault& Fault::delays(Duration duration) {
  MutexLock lock(state_->mutex);
  state_->effect.delay = duration;
  return *this;
}

Fault& Fault::hangs() {
  MutexLock lock(state_->mutex);
  state_->effect.hangs = true;
  return *this;
}

Fault& Fault::runs(std::function<void()> body) {
  MutexLock lock(state_->mutex);
  state_->effect.body = std::move(body);
  return *this;
}

Fault& Fault::butServes() {
  MutexLock lock(state_->mutex);
  state_->effect.serves = true;
  return *this;
}

Fault& Fault::times(int count) {
  MutexLock lock(state_->mutex);
  state_->remaining = count;
  return *this;
}

Fault& Fault::after(int count) {
  MutexLock lock(state_->mutex);
  state_->skipped = count;
  return *this;
}

void Fault::release() {
  std::vector<std::shared_ptr<TaskRecord>> waiters;
  {
    MutexLock lock(state_->mutex);
    state_->released = true;
    waiters.swap(state_->waiters);
  }
  for (const auto& waiter : waiters) waiter->unpark();
}

int Fault::metCalls() const {
  MutexLock lock(state_->mutex);
  return state_->met;
}

bool Fault::isAboutOneName() const {
  MutexLock lock(state_->mutex);
  return !state_->call.name.empty();
}

std::optional<Fault::Effect> Fault::meet(AXOperation operation, const std::string& name) const {
  MutexLock lock(state_->mutex);
  State& state = *state_;
  if (state.released || !state.call.matches(operation, name)) return std::nullopt;
  if (state.skipped > 0) {
    --state.skipped;
    return std::nullopt;
  }
  if (state.remaining) {
    if (*state.remaining <= 0) return std::nullopt;
    --*state.remaining;
  }
  ++state.met;
  return state.effect;
}

bool Fault::awaitRelease(Scheduler& scheduler, MonotonicTime deadline) const {
  while (true) {
    {
      MutexLock lock(state_->mutex);
      if (state_->released) return true;
      state_->waiters.push_back(TaskRecord::current());
    }
    if (scheduler.now() >= deadline) return false;
    scheduler.park("an answer of a hung application", deadline);
  }
}

}  // namespace tavik
