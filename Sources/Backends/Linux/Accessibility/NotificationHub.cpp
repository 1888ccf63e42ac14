#include "Backends/Linux/Accessibility/NotificationHub.h"

#include <set>
#include <utility>

#include "Backends/Linux/Accessibility/FactQuestions.h"

namespace tavik {

namespace {

using namespace std::chrono_literals;
using accessibility::call;

const AccessibleReference registryObject{accessibility::registry, accessibility::registryPath};
constexpr std::chrono::milliseconds menuRoleTimeout = 1s;

/// Wanted as long as the port lives: the first makes toolkits keep the list of all
/// their objects, the second tells where the focus is without a search.
constexpr std::string_view permanentEvents[] = {"object:children-changed", "object:state-changed:focused"};

}  // namespace

class NotificationHub::Observer : public AXObserver {
 public:
  Observer(std::shared_ptr<NotificationHub> hub, std::int32_t pid,
           AccessibilityPort::ObserverCallback callback)
      : hub(std::move(hub)), pid(pid), callback(std::move(callback)) {}

  ~Observer() override {
    for (BusConnection::SubscriptionID subscription : subscriptions) hub->bus_.unsubscribe(subscription);
    for (const auto& [element, notification] : registrations) hub->want(notification, -1);
  }

  struct Registration {
    AXElement element;
    std::string notification;
    bool operator==(const Registration&) const = default;
  };

  /// An application's registration hears of all its elements.
  bool isRegistered(const AXElement& subject, const std::string& notification) {
    std::lock_guard lock(mutex);
    for (const Registration& registration : registrations) {
      if (registration.notification != notification) continue;
      const LinuxElement* element = LinuxElement::from(registration.element);
      if (element->kind == LinuxElement::Kind::application || registration.element == subject) return true;
    }
    return false;
  }

  const std::shared_ptr<NotificationHub> hub;
  const std::int32_t pid;
  const AccessibilityPort::ObserverCallback callback;
  std::vector<BusConnection::SubscriptionID> subscriptions;

  std::mutex mutex;
  bool isDelivering = false;
  std::vector<Registration> registrations;
};

NotificationHub::NotificationHub(BusConnection& bus, ApplicationDirectory& directory, Poster poster)
    : bus_(bus), directory_(directory), poster_(std::move(poster)) {
  for (std::string_view event : permanentEvents) wantedEvents_[std::string(event)] = 1;
  registerWantedEvents();
  focusSubscription_ = bus_.subscribe(
      {.interface = "org.a11y.atspi.Event.Object", .member = "StateChanged", .firstArgument = "focused"},
      [this](const BusMessage& signal) {
        AccessibleEvent event = AccessibleEvent::from(signal);
        if (event.amount == 0) return;
        std::lock_guard lock(mutex_);
        lastFocused_[event.source.bus] = event.source;
      });
}

NotificationHub::~NotificationHub() {
  bus_.unsubscribe(focusSubscription_);
}

void NotificationHub::registerEvent(const std::string& name, bool wanted) {
  BusMessage message =
      call(registryObject, accessibility::registry, wanted ? "RegisterEvent" : "DeregisterEvent");
  BusWriter(message).string(name);
  dbus_message_set_no_reply(message.raw(), TRUE);
  bus_.send(message);
}

void NotificationHub::registerWantedEvents() {
  std::vector<std::string> names;
  {
    std::lock_guard lock(mutex_);
    for (const auto& [name, count] : wantedEvents_) names.push_back(name);
  }
  for (const std::string& name : names) registerEvent(name, true);
}

void NotificationHub::startAnew() {
  {
    std::lock_guard lock(mutex_);
    lastFocused_.clear();
  }
  registerWantedEvents();
}

void NotificationHub::want(const std::string& notification, int change) {
  std::set<std::string> names;
  for (const NotificationRule& rule : notificationRules()) {
    if (rule.notification == notification) names.insert(rule.registryName());
  }
  std::vector<std::string> changed;
  {
    std::lock_guard lock(mutex_);
    for (const std::string& name : names) {
      int& count = wantedEvents_[name];
      count += change;
      if (count == (change > 0 ? 1 : 0)) changed.push_back(name);
      if (count == 0) wantedEvents_.erase(name);
    }
  }
  for (const std::string& name : changed) registerEvent(name, change > 0);
}

AXResult<std::shared_ptr<AXObserver>> NotificationHub::createObserver(
    std::int32_t pid, std::chrono::milliseconds timeout, AccessibilityPort::ObserverCallback callback) {
  using Result = AXResult<std::shared_ptr<AXObserver>>;
  auto applications = directory_.applications(pid, timeout);
  if (!applications.ok()) return Result::failed(applications.code);
  auto observer = std::make_shared<Observer>(shared_from_this(), pid, std::move(callback));
  for (const AccessibleApplication& application : applications.value) {
    std::weak_ptr<Observer> weak = observer;
    observer->subscriptions.push_back(bus_.subscribe(
        {.sender = application.root.bus}, [this, weak](const BusMessage& signal) { hear(weak, signal); }));
  }
  return Result::success(observer);
}

void NotificationHub::setDelivering(const std::shared_ptr<AXObserver>& observer, bool delivering) {
  auto own = std::dynamic_pointer_cast<Observer>(observer);
  if (!own) return;
  std::lock_guard lock(own->mutex);
  own->isDelivering = delivering;
}

AXErrorCode NotificationHub::add(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                                 const std::string& notification) {
  auto own = std::dynamic_pointer_cast<Observer>(observer);
  if (!own) return AXError::invalidUIElementObserver;
  const LinuxElement* target = LinuxElement::from(element);
  if (!target || target->pid != own->pid) return AXError::invalidUIElement;
  bool isKnown = false;
  for (const NotificationRule& rule : notificationRules()) isKnown |= rule.notification == notification;
  if (!isKnown) return AXError::notificationUnsupported;
  {
    std::lock_guard lock(own->mutex);
    Observer::Registration registration{element, notification};
    auto& all = own->registrations;
    if (std::find(all.begin(), all.end(), registration) != all.end())
      return AXError::notificationAlreadyRegistered;
    all.push_back(std::move(registration));
  }
  want(notification, 1);
  return AXError::success;
}

AXErrorCode NotificationHub::remove(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                                    const std::string& notification) {
  auto own = std::dynamic_pointer_cast<Observer>(observer);
  if (!own) return AXError::invalidUIElementObserver;
  {
    std::lock_guard lock(own->mutex);
    if (std::erase(own->registrations, Observer::Registration{element, notification}) == 0) {
      return AXError::notificationNotRegistered;
    }
  }
  want(notification, -1);
  return AXError::success;
}

std::optional<AccessibleReference> NotificationHub::lastFocused(const std::string& busName) {
  std::lock_guard lock(mutex_);
  auto known = lastFocused_.find(busName);
  return known == lastFocused_.end() ? std::nullopt : std::optional(known->second);
}

void NotificationHub::hear(const std::weak_ptr<Observer>& weak, const BusMessage& signal) {
  std::shared_ptr<Observer> observer = weak.lock();
  if (!observer) return;
  AccessibleEvent event = AccessibleEvent::from(signal);
  for (const NotificationRule& rule : notificationRules()) {
    if (!rule.matches(event)) continue;
    const std::string notification(rule.notification);
    if (rule.subject != NotificationRule::Subject::menu) {
      bool isOther = rule.subject == NotificationRule::Subject::other;
      deliver(observer, isOther ? event.other : event.source, notification);
      continue;
    }
    AXElement subject = LinuxElement::handle(
        {.kind = LinuxElement::Kind::object, .pid = observer->pid, .object = event.source, .anchor = {}});
    if (!observer->isRegistered(subject, notification)) continue;
    bus_.callLater(call(event.source, accessibility::accessible, "GetRole"), menuRoleTimeout,
                   [this, weak, source = event.source, notification](const BusReply& reply) {
                     auto role = static_cast<AccessibleRole>(reply.read().integer());
                     bool isMenu = role == AccessibleRole::menu || role == AccessibleRole::popupMenu;
                     std::shared_ptr<Observer> still = weak.lock();
                     if (isMenu && still) deliver(still, source, notification);
                   });
  }
}

void NotificationHub::deliver(const std::shared_ptr<Observer>& observer, const AccessibleReference& subject,
                              const std::string& notification) {
  LinuxElement element{
      .kind = LinuxElement::Kind::object, .pid = observer->pid, .object = subject, .anchor = {}};
  if (subject.path == accessibility::rootPath) {
    element = {.kind = LinuxElement::Kind::application, .pid = observer->pid, .object = {}, .anchor = {}};
  }
  AXElement handle = LinuxElement::handle(element);
  if (!observer->isRegistered(handle, notification)) return;
  poster_([weak = std::weak_ptr<Observer>(observer), handle, notification] {
    std::shared_ptr<Observer> target = weak.lock();
    if (!target) return;
    {
      std::lock_guard lock(target->mutex);
      if (!target->isDelivering) return;
    }
    target->callback(handle, notification);
  });
}

}  // namespace tavik
