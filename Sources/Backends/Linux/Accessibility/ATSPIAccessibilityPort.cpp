#include "Backends/Linux/Accessibility/ATSPIAccessibilityPort.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "Backends/Linux/Accessibility/ElementWriter.h"
#include "Backends/Linux/Accessibility/FactQuestions.h"

namespace tavik {

namespace {

using namespace std::chrono_literals;
using Kind = LinuxElement::Kind;

constexpr std::chrono::milliseconds defaultTimeout = 6s;
constexpr std::chrono::milliseconds addressTimeout = 2s;
constexpr int deepestHit = 64;

const AccessibleReference statusObject{"org.a11y.Bus", "/org/a11y/bus"};

BusConnection::AddressProvider accessibilityBusAddress(BusConnection& sessionBus) {
  return [&sessionBus] {
    if (const char* address = std::getenv("AT_SPI_BUS_ADDRESS"); address && *address)
      return std::string(address);
    return sessionBus.call(accessibility::call(statusObject, "org.a11y.Bus", "GetAddress"), addressTimeout)
        .read()
        .string();
  };
}

/// Some toolkits look whether anyone listens before they offer anything.
void announceListener(BusConnection& sessionBus) {
  BusMessage message = accessibility::call(statusObject, "org.freedesktop.DBus.Properties", "Set");
  BusWriter(message).string("org.a11y.Status").string("IsEnabled").variant("b", [](BusWriter& inner) {
    inner.boolean(true);
  });
  dbus_message_set_no_reply(message.raw(), TRUE);
  sessionBus.send(message);
}

}  // namespace

class ATSPIAccessibilityPort::ReadScope : public AXReadScope {
 public:
  ReadScope(ATSPIAccessibilityPort& port, std::int32_t pid, std::uint64_t number)
      : port_(port), pid_(pid), number_(number) {}
  ~ReadScope() override { port_.endScope(pid_, number_); }

 private:
  ATSPIAccessibilityPort& port_;
  const std::int32_t pid_;
  const std::uint64_t number_;
};

ATSPIAccessibilityPort::ATSPIAccessibilityPort(BusConnection& sessionBus, WindowPlacement& placement,
                                               NotificationHub::Poster poster)
    : sessionBus_(sessionBus),
      placement_(placement),
      bus_(accessibilityBusAddress(sessionBus)),
      directory_(std::make_shared<ApplicationDirectory>(bus_)),
      hub_(std::make_shared<NotificationHub>(bus_, *directory_, std::move(poster))),
      processWideTimeout_(defaultTimeout) {
  announceListener(sessionBus_);
  bus_.onReconnected([directory = std::weak_ptr(directory_), hub = std::weak_ptr(hub_)] {
    if (auto alive = directory.lock()) alive->reset();
    if (auto alive = hub.lock()) alive->startAnew();
  });
}

ATSPIAccessibilityPort::~ATSPIAccessibilityPort() = default;

Toolkit ATSPIAccessibilityPort::toolkit(std::int32_t pid) {
  const auto applications = directory_->applications(pid, timeout(pid));
  return applications.ok() && !applications.value.empty() ? applications.value.front().toolkit : Toolkit::other;
}

AXElement ATSPIAccessibilityPort::createApplication(std::int32_t pid) {
  return LinuxElement::handle({.kind = Kind::application, .pid = pid, .object = {}, .anchor = {}});
}

AXElement ATSPIAccessibilityPort::createSystemWide() {
  return LinuxElement::handle({.kind = Kind::systemWide, .pid = 0, .object = {}, .anchor = {}});
}

AXResult<std::int32_t> ATSPIAccessibilityPort::getPid(const AXElement& element) {
  const LinuxElement* own = LinuxElement::from(element);
  if (!own) return AXResult<std::int32_t>::failed(AXError::illegalArgument);
  return AXResult<std::int32_t>::success(own->pid);
}

AXErrorCode ATSPIAccessibilityPort::setMessagingTimeout(const AXElement& element, float seconds) {
  const LinuxElement* own = LinuxElement::from(element);
  if (!own || seconds < 0) return AXError::illegalArgument;
  auto value = std::chrono::milliseconds(static_cast<long>(seconds * 1000));
  std::lock_guard lock(mutex_);
  if (own->kind == Kind::systemWide) {
    processWideTimeout_ = value > 0ms ? value : defaultTimeout;
  } else if (value > 0ms) {
    timeouts_[own->pid] = value;
  } else {
    timeouts_.erase(own->pid);
  }
  return AXError::success;
}

std::chrono::milliseconds ATSPIAccessibilityPort::timeout(std::int32_t pid) {
  std::lock_guard lock(mutex_);
  auto own = timeouts_.find(pid);
  return own != timeouts_.end() ? own->second : processWideTimeout_;
}

// Scopes.

std::unique_ptr<AXReadScope> ATSPIAccessibilityPort::beginReadScope(const AXElement& root) {
  const LinuxElement* own = LinuxElement::from(root);
  if (!own || own->kind == Kind::systemWide) return nullptr;
  std::lock_guard lock(mutex_);
  std::uint64_t number = nextScope_++;
  Scopes& scopes = scopes_[own->pid];
  scopes.roots.emplace(number, *own);
  scopes.tree = nullptr;
  return std::make_unique<ReadScope>(*this, own->pid, number);
}

void ATSPIAccessibilityPort::endScope(std::int32_t pid, std::uint64_t number) {
  std::lock_guard lock(mutex_);
  auto scopes = scopes_.find(pid);
  scopes->second.roots.erase(number);
  if (scopes->second.roots.empty()) scopes_.erase(scopes);
}

void ATSPIAccessibilityPort::forgetReadings(std::int32_t pid) {
  std::lock_guard lock(mutex_);
  auto scope = scopes_.find(pid);
  if (scope != scopes_.end()) scope->second.tree = nullptr;
}

std::shared_ptr<AccessibleTree> ATSPIAccessibilityPort::scopeTree(
    std::int32_t pid, const std::vector<AccessibleApplication>& applications, LinuxElement& root) {
  std::chrono::milliseconds patience = timeout(pid);
  std::lock_guard lock(mutex_);
  auto scopes = scopes_.find(pid);
  if (scopes == scopes_.end()) return nullptr;
  root = scopes->second.roots.rbegin()->second;
  std::shared_ptr<AccessibleTree>& tree = scopes->second.tree;
  if (!tree || tree->applications() != applications) {
    tree = std::make_shared<AccessibleTree>(bus_, habits_, applications, patience);
  }
  return tree;
}

std::vector<AccessibleReference> ATSPIAccessibilityPort::objectsOf(
    const LinuxElement& element, const std::vector<AccessibleApplication>& applications) const {
  if (element.kind != Kind::application) return {element.object};
  std::vector<AccessibleReference> roots;
  for (const AccessibleApplication& application : applications) roots.push_back(application.root);
  return roots;
}

template <class T, class Body>
AXResult<T> ATSPIAccessibilityPort::reading(const AXElement& element, Body body, Extent extent) {
  const LinuxElement* own = LinuxElement::from(element);
  if (!own) return AXResult<T>::failed(AXError::invalidUIElement);
  if (own->pid == getpid()) return AXResult<T>::failed(AXError::apiDisabled);
  std::vector<AccessibleApplication> applications;
  LinuxElement scopeRoot;
  std::shared_ptr<AccessibleTree> tree;
  if (own->kind != Kind::systemWide) {
    auto found = directory_->applications(own->pid, timeout(own->pid));
    if (!found.ok()) return AXResult<T>::failed(found.code);
    applications = std::move(found.value);
    tree = scopeTree(own->pid, applications, scopeRoot);
  }
  if (!tree) tree = std::make_shared<AccessibleTree>(bus_, habits_, applications, timeout(own->pid));
  std::lock_guard lock(tree->mutex);
  tree->beginOperation();
  bool isInScope = scopeRoot.kind != Kind::systemWide;
  // Whoever reads a menu's title wants to know what it would show.
  if (scopeRoot.kind == Kind::object) {
    const AccessibleRole role = tree->read(scopeRoot.object, roleFacet).role;
    if (role == AccessibleRole::menu || isMenuItemRole(role)) tree->readClosedMenus();
  }
  if (extent == Extent::wholeTree && isInScope && !tree->isPrefetched()) {
    tree->prefetch(objectsOf(scopeRoot, applications));
  }
  ElementReader reader(*tree, placement_, own->pid);
  AXErrorCode code = reader.prepare(*own);
  if (code != AXError::success) return AXResult<T>::failed(code);
  return body(reader, *own);
}

template <class Body>
AXErrorCode ATSPIAccessibilityPort::writing(const AXElement& element, Body body) {
  const LinuxElement* own = LinuxElement::from(element);
  if (own) forgetReadings(own->pid);
  AXResult<bool> result = reading<bool>(element, [&](ElementReader& reader, const LinuxElement& target) {
    ElementWriter writer(bus_, reader, timeout(target.pid));
    return AXResult<bool>{body(writer, target), true};
  });
  if (own) forgetReadings(own->pid);
  return result.code;
}

// Reading.

AXResult<AXValue> ATSPIAccessibilityPort::attribute(ElementReader& reader, const LinuxElement& element,
                                                    const std::string& name) {
  const bool isFocusOfApplication = name == "AXFocusedUIElement" && element.kind == Kind::application;
  const std::optional<AccessibleReference> given =
      isFocusOfApplication || name == "AXFocused" ? givenFocus(element.pid) : std::nullopt;
  if (name == "AXFocused" && element.kind == Kind::object && given == element.object &&
      !reader.focusedElement(std::nullopt)) {
    return AXResult<AXValue>::success(true);
  }
  if (!isFocusOfApplication) return reader.attribute(element, name);
  std::optional<AccessibleReference> last;
  for (const AccessibleApplication& application : reader.tree().applications()) {
    if (!last) last = hub_->lastFocused(application.root.bus);
  }
  std::optional<LinuxElement> focused = reader.focusedElement(last);
  if (!focused && given) focused = LinuxElement{Kind::object, element.pid, *given, {}};
  if (!focused || (given && reader.prepare(*focused) != AXError::success)) {
    return AXResult<AXValue>::failed(AXError::noValue);
  }
  return AXResult<AXValue>::success(LinuxElement::handle(*focused));
}

AXResult<AXValue> ATSPIAccessibilityPort::copyAttributeValue(const AXElement& element,
                                                             const std::string& name) {
  return reading<AXValue>(element, [&](ElementReader& reader, const LinuxElement& target) {
    return attribute(reader, target, name);
  });
}

AXResult<AXValue> ATSPIAccessibilityPort::copyAttributeValues(const AXElement& element,
                                                              const std::string& name, long index,
                                                              long maxValues) {
  if (index < 0 || maxValues < 0) return AXResult<AXValue>::failed(AXError::illegalArgument);
  AXResult<AXValue> whole = copyAttributeValue(element, name);
  if (!whole.ok()) return whole;
  const AXArray* array = whole.value.get<AXArray>();
  if (!array) return AXResult<AXValue>::failed(AXError::illegalArgument);
  long first = std::min<long>(index, static_cast<long>(array->size()));
  long count = std::min<long>(maxValues, static_cast<long>(array->size()) - first);
  return AXResult<AXValue>::success(AXArray(array->begin() + first, array->begin() + first + count));
}

AXResult<long> ATSPIAccessibilityPort::getAttributeValueCount(const AXElement& element,
                                                              const std::string& name) {
  AXResult<AXValue> whole = copyAttributeValue(element, name);
  if (!whole.ok()) return AXResult<long>::failed(whole.code);
  const AXArray* array = whole.value.get<AXArray>();
  if (!array) return AXResult<long>::failed(AXError::illegalArgument);
  return AXResult<long>::success(static_cast<long>(array->size()));
}

AXResult<AXArray> ATSPIAccessibilityPort::copyMultipleAttributeValues(const AXElement& element,
                                                                      const std::vector<std::string>& names) {
  auto readAll = [&](ElementReader& reader, const LinuxElement& target) {
    AXArray values;
    for (const std::string& name : names) {
      AXResult<AXValue> value = attribute(reader, target, name);
      values.push_back(value.ok() ? std::move(value.value) : AXValue(AXErrorMark{value.code}));
    }
    return AXResult<AXArray>::success(std::move(values));
  };
  // Only the reading of a tree asks for so much of one element.
  return reading<AXArray>(element, readAll, Extent::wholeTree);
}

AXResult<AXValue> ATSPIAccessibilityPort::copyParameterizedAttributeValue(const AXElement& element,
                                                                          const std::string& name,
                                                                          const AXValue& parameter) {
  return reading<AXValue>(element, [&](ElementReader& reader, const LinuxElement& target) {
    return reader.parameterizedAttribute(target, name, parameter);
  });
}

AXResult<bool> ATSPIAccessibilityPort::isAttributeSettable(const AXElement& element,
                                                           const std::string& name) {
  return reading<bool>(element, [&](ElementReader& reader, const LinuxElement& target) {
    return AXResult<bool>::success(reader.isSettable(target, name));
  });
}

AXResult<std::vector<std::string>> ATSPIAccessibilityPort::copyActionNames(const AXElement& element) {
  using Names = std::vector<std::string>;
  return reading<Names>(element, [&](ElementReader& reader, const LinuxElement& target) {
    Names names;
    for (const ActionTranslation& action : reader.actions(target)) names.push_back(action.name);
    return AXResult<Names>::success(std::move(names));
  });
}

AXResult<std::string> ATSPIAccessibilityPort::copyActionDescription(const AXElement& element,
                                                                    const std::string& name) {
  return reading<std::string>(element, [&](ElementReader& reader, const LinuxElement& target) {
    for (ActionTranslation& action : reader.actions(target)) {
      if (action.name == name) return AXResult<std::string>::success(std::move(action.description));
    }
    return AXResult<std::string>::failed(AXError::actionUnsupported);
  });
}

// Writing.

AXErrorCode ATSPIAccessibilityPort::setAttributeValue(const AXElement& element, const std::string& name,
                                                      const AXValue& value) {
  if (name == "AXFocused" && value == AXValue(true)) return giveFocus(element);
  return writing(element, [&](ElementWriter& writer, const LinuxElement& target) {
    return writer.set(target, name, value);
  });
}

/// Where asking an application for the focus brings its window to the front, a text
/// in a window behind is clicked instead.
AXErrorCode ATSPIAccessibilityPort::giveFocus(const AXElement& element) {
  std::optional<Point> place;
  AXResult<bool> looked = reading<bool>(element, [&](ElementReader& reader, const LinuxElement& target) {
    const bool isObject = target.kind == Kind::object;
    const bool isText = isObject && isTextRole(reader.view(target.object).facts.role);
    const Toolkit toolkit = isObject ? reader.tree().toolkit(target.object) : Toolkit::other;
    const std::optional<Rect> frame = reader.frame(target);
    if (isText && toolkit != Toolkit::qt && frame) place = frame->center();
    return AXResult<bool>::success(isObject);
  });
  const LinuxElement* own = LinuxElement::from(element);
  if (!looked.ok()) return looked.code;
  const std::optional<bool> clicked = place && clickBehind_ ? clickBehind_(own->pid, *place) : std::nullopt;
  const AXErrorCode code = !clicked   ? writing(element,
                                                [&](ElementWriter& writer, const LinuxElement& target) {
                                                return writer.set(target, "AXFocused", true);
                                              })
                           : *clicked ? AXError::success
                                      : AXError::failure;
  if (code == AXError::success && own->kind == Kind::object) {
    std::lock_guard lock(mutex_);
    givenFocus_.insert_or_assign(own->pid, own->object);
  }
  return code;
}

std::optional<AccessibleReference> ATSPIAccessibilityPort::givenFocus(std::int32_t pid) {
  std::lock_guard lock(mutex_);
  const auto given = givenFocus_.find(pid);
  return given == givenFocus_.end() ? std::nullopt : std::optional(given->second);
}

void ATSPIAccessibilityPort::forgetGivenFocus(std::int32_t pid) {
  std::lock_guard lock(mutex_);
  givenFocus_.erase(pid);
}

AXErrorCode ATSPIAccessibilityPort::performAction(const AXElement& element, const std::string& action) {
  return writing(element, [&](ElementWriter& writer, const LinuxElement& target) {
    return writer.perform(target, action);
  });
}

// Hit testing.

AXResult<AXElement> ATSPIAccessibilityPort::hitTest(ElementReader& reader, const LinuxElement& start,
                                                    Point point) {
  LinuxElement hit = start;
  // Children may reach beyond their parent; the application itself knows them best.
  for (int depth = 0; depth < deepestHit && hit.kind == Kind::object; ++depth) {
    if (reader.tree().toolkit(hit.object) == Toolkit::gtk4) break;
    std::optional<AccessibleReference> next = reader.tree().objectAt(hit.object, point);
    if (!next || *next == hit.object || !isShowing(reader.view(*next, extentsFacet))) break;
    hit.object = *next;
  }
  for (int depth = 0; depth < deepestHit; ++depth) {
    std::vector<LinuxElement> children = reader.children(hit);
    // Later siblings are drawn over earlier ones.
    auto under = std::find_if(children.rbegin(), children.rend(), [&](const LinuxElement& child) {
      std::optional<Rect> frame = reader.frame(child);
      return frame && frame->contains(point);
    });
    if (under == children.rend()) break;
    hit = *under;
  }
  return AXResult<AXElement>::success(LinuxElement::handle(hit));
}

AXResult<AXElement> ATSPIAccessibilityPort::copyElementAtPosition(const AXElement& element, Point point) {
  const LinuxElement* own = LinuxElement::from(element);
  if (own && own->kind == Kind::systemWide) {
    std::optional<std::int32_t> pid = placement_.frontmostProcess(point);
    if (!pid) return AXResult<AXElement>::failed(AXError::noValue);
    return copyElementAtPosition(createApplication(*pid), point);
  }
  return reading<AXElement>(element, [&](ElementReader& reader, const LinuxElement& target) {
    std::vector<LinuxElement> starts =
        target.kind == Kind::application ? reader.children(target) : std::vector{target};
    if (std::optional<LinuxElement> main = reader.mainWindow(); main && target.kind == Kind::application) {
      std::erase(starts, *main);
      starts.push_back(*main);
    }
    auto under = std::find_if(starts.rbegin(), starts.rend(), [&](const LinuxElement& start) {
      std::optional<Rect> frame = reader.frame(start);
      return frame && frame->contains(point);
    });
    if (under == starts.rend()) return AXResult<AXElement>::failed(AXError::noValue);
    return hitTest(reader, *under, point);
  });
}

// Observing.

AXResult<std::shared_ptr<AXObserver>> ATSPIAccessibilityPort::createObserver(std::int32_t pid,
                                                                             ObserverCallback callback) {
  return hub_->createObserver(pid, timeout(pid), std::move(callback));
}

void ATSPIAccessibilityPort::addObserverSource(const std::shared_ptr<AXObserver>& observer) {
  hub_->setDelivering(observer, true);
}

void ATSPIAccessibilityPort::removeObserverSource(const std::shared_ptr<AXObserver>& observer) {
  hub_->setDelivering(observer, false);
}

AXErrorCode ATSPIAccessibilityPort::addNotification(const std::shared_ptr<AXObserver>& observer,
                                                    const AXElement& element,
                                                    const std::string& notification) {
  return hub_->add(observer, element, notification);
}

AXErrorCode ATSPIAccessibilityPort::removeNotification(const std::shared_ptr<AXObserver>& observer,
                                                       const AXElement& element,
                                                       const std::string& notification) {
  return hub_->remove(observer, element, notification);
}

}  // namespace tavik
