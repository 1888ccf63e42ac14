#include "Backends/Simulated/Accessibility/ElementModel.h"

#include <algorithm>
#include <unordered_set>

#include "Backends/Simulated/Accessibility/RoleCustoms.h"
#include "Backends/Simulated/Accessibility/SimulatedIdentity.h"
#include "Backends/Simulated/Accessibility/SimulatedObserver.h"

namespace tavik {

namespace {

/// What an application that sets no time-out of its own has to live with.
constexpr double customaryMessagingTimeout = 6;

/// The element and everything below it, each once, without recursion.
std::vector<ElementNode*> subtree(ElementNode& root) {
  std::vector<ElementNode*> nodes{&root};
  std::unordered_set<const ElementNode*> seen{&root};
  for (std::size_t index = 0; index < nodes.size(); ++index) {
    for (ElementNode* child : nodes[index]->children) {
      if (child->parent == nodes[index] && seen.insert(child).second) nodes.push_back(child);
    }
  }
  return nodes;
}

}  // namespace

ElementModel::ElementModel(Scheduler& scheduler, MainQueue& mainQueue)
    : scheduler_(scheduler), mainQueue_(mainQueue) {
  systemWide_.role = "AXSystemWide";
}

ElementModel::~ElementModel() = default;

// Effects

void ElementModel::bringAbout(ElementEffects& effects) {
  for (auto& [node, notification] : effects.notifications) post(*node, notification);
  for (auto& handler : effects.handlers) handler();
}

void ElementModel::post(ElementNode& node, const std::string& notification) {
  std::vector<std::shared_ptr<SimulatedObserver>> observers;
  const std::int32_t pid = node.application->record.pid;
  {
    MutexLock lock(mutex_);
    if (observers_.empty()) return;
    std::erase_if(observers_, [](const auto& observer) { return observer.expired(); });
    for (const auto& weak : observers_) {
      auto observer = weak.lock();
      if (observer && observer->pid() == pid) observers.push_back(std::move(observer));
    }
  }
  for (const auto& observer : observers) observer->post(&node, node.application->root, handle(node), notification);
}

void ElementModel::addObserver(const std::shared_ptr<SimulatedObserver>& observer) {
  MutexLock lock(mutex_);
  observers_.push_back(observer);
}

// Applications

ApplicationNode& ElementModel::addApplication(RunningApplication record) {
  MutexLock lock(mutex_);
  auto application = std::make_unique<ApplicationNode>();
  application->record = std::move(record);
  application->root = &newNodeLocked(*application, "AXApplication");
  if (application->record.localizedName) {
    storeLocked(*application->root, "AXTitle", *application->record.localizedName);
  }
  applications_.push_back(std::move(application));
  return *applications_.back();
}

ApplicationNode* ElementModel::runningApplicationLocked(std::int32_t pid) const {
  const auto found = std::ranges::find_if(applications_, [&](const auto& application) {
    return application->isRunning && application->record.pid == pid;
  });
  return found == applications_.end() ? nullptr : found->get();
}

void ElementModel::activateLocked(ApplicationNode* application, ElementEffects& effects) {
  if (frontmost_ == application) return;
  if (frontmost_ && frontmost_->isRunning) effects.notify(*frontmost_->root, "AXApplicationDeactivated");
  frontmost_ = application;
  effects.handlers.push_back(frontmostChanged_);
  if (!application) return;
  application->isHidden = false;
  bringForwardLocked(*application);
  effects.notify(*application->root, "AXApplicationActivated");
}

void ElementModel::exitLocked(ApplicationNode& application, ElementEffects& effects) {
  application.isRunning = false;
  for (ElementNode& node : application.nodes) node.isAlive = false;
  application.windows.clear();
  application.openMenus.clear();
  application.focusedWindow = application.mainWindow = application.focusedElement = nullptr;
  std::erase_if(screenWindows_, [&](const ScreenWindow& window) {
    return window.record.ownerPID == application.record.pid;
  });
  effects.notify(*application.root, "AXUIElementDestroyed");
  if (frontmost_ == &application) activateLocked(nullptr, effects);
}

// Elements

ElementNode& ElementModel::newNodeLocked(ApplicationNode& application, std::string role) {
  ElementNode& node = application.nodes.emplace_back();
  node.application = &application;
  node.role = std::move(role);
  return node;
}

ElementNode& ElementModel::makeLocked(ApplicationNode& application, ElementNode* parent, const ElementBuilder& plan,
                                      std::optional<std::size_t> index, ElementEffects& effects) {
  ElementNode& node = newNodeLocked(application, plan.role_);
  node.parent = parent;
  node.frame = plan.frame_;
  node.attributes = plan.attributes_;
  if (plan.extras_) node.extras = std::make_shared<ElementBuilder::Extras>(*plan.extras_);
  if (parent) {
    const std::size_t place = std::min(index.value_or(parent->children.size()), parent->children.size());
    parent->children.insert(parent->children.begin() + static_cast<std::ptrdiff_t>(place), &node);
    node.isAlive = parent->isAlive;
  }
  if (plan.handle_) *plan.handle_ = SimulatedElement(*this, node);
  for (const ElementBuilder& child : plan.children_) makeLocked(application, &node, child, std::nullopt, effects);
  if (node.extras && node.extras->contentHeight) {
    ElementBuilder bar("AXScrollBar");
    bar.value(0.0).attribute("AXOrientation", "AXVerticalOrientation");
    storeLocked(node, "AXVerticalScrollBar",
                handle(makeLocked(application, &node, bar, std::nullopt, effects)));
  }
  if (!observers_.empty()) effects.notify(node, "AXCreated");
  if (parent && node.role == "AXRow") effects.notify(*parent, "AXRowCountChanged");
  return node;
}

void ElementModel::removeLocked(ElementNode& node, ElementEffects& effects) {
  ApplicationNode& application = *node.application;
  const std::vector<ElementNode*> nodes = subtree(node);
  const std::unordered_set<const ElementNode*> gone(nodes.begin(), nodes.end());
  const auto isGone = [&](const ElementNode* candidate) { return gone.contains(candidate); };
  for (ElementNode* dead : nodes) {
    dead->isAlive = false;
    if (!observers_.empty()) effects.notify(*dead, "AXUIElementDestroyed");
  }
  if (node.parent) {
    std::erase(node.parent->children, &node);
    if (node.parent->shownMenu == &node) node.parent->shownMenu = nullptr;
    if (node.role == "AXRow") effects.notify(*node.parent, "AXRowCountChanged");
  }
  std::erase_if(application.windows, isGone);
  std::erase_if(application.openMenus, isGone);
  std::erase_if(screenWindows_, [&](const ScreenWindow& window) { return isGone(window.node); });
  if (isGone(application.menuBar)) application.menuBar = nullptr;
  if (isGone(application.focusedElement)) application.focusedElement = nullptr;
  ElementNode* next = application.windows.empty() ? nullptr : application.windows.front();
  if (isGone(application.mainWindow)) {
    application.mainWindow = next;
    if (next) effects.notify(*next, "AXMainWindowChanged");
  }
  if (isGone(application.focusedWindow)) {
    application.focusedWindow = next;
    if (next) effects.notify(*next, "AXFocusedWindowChanged");
  }
}

void ElementModel::moveLocked(ElementNode& node, Point by) {
  for (ElementNode* moved : subtree(node)) {
    if (!moved->frame) continue;
    moved->frame->origin.x += by.x;
    moved->frame->origin.y += by.y;
  }
}

void ElementModel::scrollLocked(ElementNode& area, double toPoints, ElementEffects& effects) {
  if (!area.extras || !area.extras->contentHeight || !area.frame) return;
  const double furthest = std::max(0.0, *area.extras->contentHeight - area.frame->size.height);
  const double target = std::clamp(toPoints, 0.0, furthest);
  if (target == area.scrolled) return;
  const double by = area.scrolled - target;
  area.scrolled = target;
  for (ElementNode* child : area.children) {
    if (child->role == "AXScrollBar") {
      setLocked(*child, "AXValue", furthest > 0 ? target / furthest : 0.0, effects);
    } else {
      moveLocked(*child, {0, by});
    }
  }
}

void ElementModel::focusLocked(ElementNode& node, bool isFocused, ElementEffects& effects) {
  ApplicationNode& application = *node.application;
  if (!isFocused) {
    if (application.focusedElement == &node) application.focusedElement = nullptr;
    return;
  }
  if (application.focusedElement == &node) return;
  application.focusedElement = &node;
  ElementNode* window = windowOfLocked(node);
  if (window && window != application.focusedWindow) {
    application.focusedWindow = window;
    effects.notify(*window, "AXFocusedWindowChanged");
  }
  effects.notify(node, "AXFocusedUIElementChanged");
}

ElementNode* ElementModel::windowOfLocked(const ElementNode& node) const {
  for (ElementNode* ancestor = node.parent; ancestor; ancestor = ancestor->parent) {
    if (ancestor->role == "AXWindow") return ancestor;
  }
  return nullptr;
}

ElementNode* ElementModel::hitLocked(ElementNode& root, Point point) const {
  ElementNode* deepest = nullptr;
  std::vector<ElementNode*> candidates{&root};
  std::unordered_set<const ElementNode*> seen{&root};
  while (!candidates.empty()) {
    ElementNode* node = candidates.back();
    candidates.pop_back();
    if (!node->isAlive || (node->frame && !node->frame->contains(point))) continue;
    if (node->frame) {
      deepest = node;
      candidates.clear();
    }
    for (ElementNode* child : node->children) {
      if (seen.insert(child).second) candidates.push_back(child);
    }
  }
  return deepest;
}

ElementNode* ElementModel::hitLocked(ApplicationNode& application, Point point) const {
  std::vector<ElementNode*> roots(application.openMenus.rbegin(), application.openMenus.rend());
  roots.insert(roots.end(), application.windows.begin(), application.windows.end());
  if (application.menuBar) roots.push_back(application.menuBar);
  for (ElementNode* root : roots) {
    if (ElementNode* hit = hitLocked(*root, point)) return hit;
  }
  return nullptr;
}

std::string ElementModel::labelLocked(const ElementNode& node) const {
  auto& asked = const_cast<ElementNode&>(node);
  const auto textOf = [&](const char* attribute) {
    const auto value = readLocked(asked, attribute);
    const auto* text = value.value.get<std::string>();
    return text ? *text : std::string();
  };
  std::string label = textOf("AXRoleDescription");
  if (label.empty()) label = node.role;
  for (const char* attribute : {"AXTitle", "AXDescription", "AXIdentifier"}) {
    if (std::string name = textOf(attribute); !name.empty()) return label + " '" + name + "'";
  }
  return label;
}

// Windows

ElementNode& ElementModel::addWindowLocked(ApplicationNode& application, const ElementBuilder& plan,
                                           ElementEffects& effects) {
  ElementNode& window = makeLocked(application, application.root, plan, std::nullopt, effects);
  application.windows.insert(application.windows.begin(), &window);
  WindowRecord record;
  record.ownerPID = application.record.pid;
  window.windowID = *addScreenWindowLocked(record, &window).record.windowID;
  effects.notify(window, "AXWindowCreated");
  raiseLocked(window, effects);
  return window;
}

void ElementModel::raiseLocked(ElementNode& window, ElementEffects& effects) {
  ApplicationNode& application = *window.application;
  if (std::erase(application.windows, &window) > 0) {
    application.windows.insert(application.windows.begin(), &window);
  }
  const auto place = std::ranges::find(screenWindows_, &window, &ScreenWindow::node);
  if (place != screenWindows_.end()) {
    const auto front = std::ranges::find_if(
        screenWindows_, [&](const ScreenWindow& other) { return other.record.layer <= place->record.layer; });
    if (front <= place) std::rotate(front, place, place + 1);
  }
  if (application.mainWindow != &window) {
    application.mainWindow = &window;
    effects.notify(window, "AXMainWindowChanged");
  }
  if (application.focusedWindow != &window) {
    application.focusedWindow = &window;
    effects.notify(window, "AXFocusedWindowChanged");
  }
}

void ElementModel::bringForwardLocked(ApplicationNode& application) {
  std::ranges::stable_sort(screenWindows_, [&](const ScreenWindow& a, const ScreenWindow& b) {
    if (a.record.layer != b.record.layer) return a.record.layer > b.record.layer;
    const bool aIsOurs = a.record.ownerPID == application.record.pid;
    const bool bIsOurs = b.record.ownerPID == application.record.pid;
    return aIsOurs && !bIsOurs;
  });
}

ScreenWindow& ElementModel::addScreenWindowLocked(WindowRecord record, ElementNode* node) {
  if (!record.windowID) record.windowID = nextWindowID_++;
  const auto front = std::ranges::find_if(
      screenWindows_, [&](const ScreenWindow& other) { return other.record.layer <= record.layer; });
  ScreenWindow window;
  window.record = std::move(record);
  window.node = node;
  return *screenWindows_.insert(front, std::move(window));
}

WindowRecord ElementModel::currentRecordLocked(const ScreenWindow& window) const {
  WindowRecord record = window.record;
  if (!window.node) return record;
  const auto title = readLocked(*window.node, "AXTitle");
  if (const auto* text = title.value.get<std::string>()) record.name = *text;
  const auto minimized = readLocked(*window.node, "AXMinimized");
  const bool* isMinimized = minimized.value.get<bool>();
  record.isOnScreen = !(isMinimized && *isMinimized) && !window.node->application->isHidden;
  record.bounds = window.node->frame;
  return record;
}

// Handles

AXElement ElementModel::handle(const ElementNode& node) const {
  if (&node == &systemWide_) return AXElement(std::make_shared<SimulatedIdentity>(*this, &node, 0));
  const bool isRoot = node.application->root == &node;
  return AXElement(
      std::make_shared<SimulatedIdentity>(*this, isRoot ? nullptr : &node, node.application->record.pid));
}

AXElement ElementModel::applicationHandle(std::int32_t pid) const {
  return AXElement(std::make_shared<SimulatedIdentity>(*this, nullptr, pid));
}

AXArray ElementModel::handles(const std::vector<ElementNode*>& nodes) const {
  AXArray array;
  array.reserve(nodes.size());
  for (const ElementNode* node : nodes) array.emplace_back(handle(*node));
  return array;
}

ElementModel::Target ElementModel::resolveLocked(const AXElement& element) const {
  const auto* identity = dynamic_cast<const SimulatedIdentity*>(element.identity());
  if (!identity || identity->model != this) return {};
  Target target{identity, const_cast<ElementNode*>(identity->node), identity->pid, false};
  if (identity->node == &systemWide_) {
    target.isSystemWide = true;
  } else if (!target.node) {
    ApplicationNode* application = runningApplicationLocked(identity->pid);
    target.node = application ? application->root : nullptr;
  }
  return target;
}

// Scripts and counts

std::uint16_t ElementModel::nameNumberLocked(const std::string& name) {
  return nameNumbers_.emplace(name, static_cast<std::uint16_t>(nameNumbers_.size())).first->second;
}

void ElementModel::countLocked(ElementNode& node, AXOperation operation, const std::string& name) {
  const std::uint16_t number = nameNumberLocked(name);
  for (CallCount& count : node.counts) {
    if (count.operation == operation && count.name == number) {
      ++count.count;
      return;
    }
  }
  node.counts.push_back({operation, number, 1});
}

int ElementModel::callsLocked(const ElementNode& node, AXOperation operation, const std::string& name) const {
  const auto number = nameNumbers_.find(name);
  if (number == nameNumbers_.end()) return 0;
  int calls = 0;
  for (const CallCount& count : node.counts) {
    if (count.operation == operation && count.name == number->second) calls += static_cast<int>(count.count);
  }
  return calls;
}

int ElementModel::readsLocked(const ElementNode& node, const std::string& attribute) const {
  int reads = 0;
  for (const AXOperation operation : AXCall::read().operations) reads += callsLocked(node, operation, attribute);
  return reads;
}

std::vector<Fault> ElementModel::faultsLocked(const ElementNode* node) const {
  std::vector<Fault> faults;
  const auto append = [&](const std::vector<Fault>& some) {
    faults.insert(faults.end(), some.rbegin(), some.rend());
  };
  if (node) append(node->faults);
  if (node && node->application) append(node->application->faults);
  append(faults_);
  return faults;
}

double ElementModel::messagingTimeoutLocked(const ApplicationNode* application) const {
  if (application && application->messagingTimeout) return *application->messagingTimeout;
  return messagingTimeout_.value_or(customaryMessagingTimeout);
}

void ElementModel::setMessagingTimeoutLocked(ApplicationNode* application, std::optional<double> seconds) {
  (application ? application->messagingTimeout : messagingTimeout_) = seconds;
}

}  // namespace tavik
