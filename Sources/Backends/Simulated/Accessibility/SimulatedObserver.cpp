#include "Backends/Simulated/Accessibility/SimulatedObserver.h"

namespace tavik {

void SimulatedObserver::addSource() {
  std::vector<Message> early;
  {
    MutexLock lock(mutex_);
    hasSource_ = true;
    hadSource_ = true;
    early.swap(early_);
  }
  for (Message& message : early) schedule(std::move(message));
}

void SimulatedObserver::removeSource() {
  MutexLock lock(mutex_);
  hasSource_ = false;
}

AXErrorCode SimulatedObserver::add(const ElementNode* node, const std::string& notification) {
  MutexLock lock(mutex_);
  const bool isNew = registrations_.emplace(node, notification).second;
  return isNew ? AXError::success : AXError::notificationAlreadyRegistered;
}

AXErrorCode SimulatedObserver::remove(const ElementNode* node, const std::string& notification) {
  MutexLock lock(mutex_);
  const bool wasThere = registrations_.erase({node, notification}) > 0;
  return wasThere ? AXError::success : AXError::notificationNotRegistered;
}

void SimulatedObserver::post(const ElementNode* node, const ElementNode* application, const AXElement& element,
                             const std::string& notification) {
  {
    MutexLock lock(mutex_);
    const bool isRegistered =
        registrations_.contains({node, notification}) || registrations_.contains({application, notification});
    if (!isRegistered) return;
    if (!hadSource_) {
      early_.emplace_back(element, notification);
      return;
    }
    if (!hasSource_) return;
  }
  schedule({element, notification});
}

void SimulatedObserver::schedule(Message message) {
  mainQueue_.async([observer = weak_from_this(), message = std::move(message)] {
    if (auto alive = observer.lock()) alive->deliver(message);
  });
}

void SimulatedObserver::deliver(const Message& message) {
  {
    MutexLock lock(mutex_);
    if (!hasSource_) return;
  }
  callback_(message.first, message.second);
}

}  // namespace tavik
