#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Backends/Simulated/Accessibility/ElementBuilder.h"
#include "Backends/Simulated/Accessibility/FaultScript.h"
#include "Backends/Simulated/Accessibility/SimulatedElement.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/AccessibilityPort.h"
#include "PlatformInterfaces/WindowServerPort.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

struct ApplicationNode;

/// How often one operation reached an element with one name.
struct CallCount {
  AXOperation operation;
  std::uint16_t name;
  std::uint32_t count;
};

/// One element as its application holds it. Never freed before the desktop, so that
/// hands and handles on it stay good; `isAlive` says whether it is still there.
struct ElementNode {
  ApplicationNode* application = nullptr;
  ElementNode* parent = nullptr;
  std::vector<ElementNode*> children;
  std::string role;
  std::optional<Rect> frame;
  std::vector<ElementBuilder::StoredAttribute> attributes;
  std::shared_ptr<ElementBuilder::Extras> extras;
  std::vector<Fault> faults;
  std::vector<CallCount> counts;
  bool isAlive = true;

  /// The menu that shows now, among the children while it does.
  ElementNode* shownMenu = nullptr;
  /// How far a scroll area's content is scrolled down, in points.
  double scrolled = 0;
  /// Not 0 for a window that the window server shows.
  std::uint32_t windowID = 0;
};

/// One application: its elements and where it stands.
struct ApplicationNode {
  RunningApplication record;
  bool isRunning = true;
  bool isHidden = false;
  std::deque<ElementNode> nodes;
  ElementNode* root = nullptr;
  /// Front to back.
  std::vector<ElementNode*> windows;
  ElementNode* menuBar = nullptr;
  ElementNode* focusedWindow = nullptr;
  ElementNode* mainWindow = nullptr;
  ElementNode* focusedElement = nullptr;
  std::vector<ElementNode*> openMenus;
  std::vector<Fault> faults;
  std::optional<double> messagingTimeout;
};

/// One window as the window server sees it, whether an element stands for it or not.
struct ScreenWindow {
  WindowRecord record;
  /// Decides the record's bounds, name and visibility when there is one.
  ElementNode* node = nullptr;
  std::array<std::uint8_t, 4> colour{200, 200, 200, 255};
  std::optional<Image> picture;
};

/// What a change brings about once the lock is released.
struct ElementEffects {
  std::vector<std::pair<ElementNode*, std::string>> notifications;
  std::vector<std::function<void()>> handlers;

  void notify(ElementNode& node, std::string notification) {
    notifications.emplace_back(&node, std::move(notification));
  }
};

/// Receives notifications as the accessibility port promises.
class SimulatedObserver;

/// The applications of the desktop with their elements, and the one lock for them.
/// Members whose names end in "Locked" want it held; the others take it.
class ElementModel {
 public:
  ElementModel(Scheduler& scheduler, MainQueue& mainQueue);
  ~ElementModel();
  ElementModel(const ElementModel&) = delete;
  ElementModel& operator=(const ElementModel&) = delete;

  /// Runs `body` under the lock.
  template <class Body>
  auto look(Body body) const {
    MutexLock lock(mutex_);
    return body();
  }
  /// Runs `body` under the lock, and then what it brought about.
  template <class Body>
  auto change(Body body) {
    ElementEffects effects;
    if constexpr (std::is_void_v<decltype(body(effects))>) {
      {
        MutexLock lock(mutex_);
        body(effects);
      }
      bringAbout(effects);
    } else {
      auto result = [&] {
        MutexLock lock(mutex_);
        return body(effects);
      }();
      bringAbout(effects);
      return result;
    }
  }

  // Applications
  ApplicationNode& addApplication(RunningApplication record);
  ApplicationNode* runningApplicationLocked(std::int32_t pid) const;
  const std::vector<std::unique_ptr<ApplicationNode>>& applicationsLocked() const { return applications_; }
  ApplicationNode* frontmostLocked() const { return frontmost_; }
  /// Called outside the lock whenever another application, or none, is in front.
  void setFrontmostChanged(std::function<void()> handler) { frontmostChanged_ = std::move(handler); }
  void activateLocked(ApplicationNode* application, ElementEffects& effects);
  void exitLocked(ApplicationNode& application, ElementEffects& effects);

  // Elements
  ElementNode& makeLocked(ApplicationNode& application, ElementNode* parent, const ElementBuilder& plan,
                          std::optional<std::size_t> index, ElementEffects& effects);
  void removeLocked(ElementNode& node, ElementEffects& effects);
  void moveLocked(ElementNode& node, Point by);
  void scrollLocked(ElementNode& area, double toPoints, ElementEffects& effects);
  void focusLocked(ElementNode& node, bool isFocused, ElementEffects& effects);
  void openMenuLocked(ElementNode& owner, ElementEffects& effects);
  void closeMenusLocked(ApplicationNode& application, ElementEffects& effects);
  void closeMenuLocked(ElementNode& menu, ElementEffects& effects);
  ElementNode* windowOfLocked(const ElementNode& node) const;
  /// The topmost element under the point within `root`, or null.
  ElementNode* hitLocked(ElementNode& root, Point point) const;
  ElementNode* hitLocked(ApplicationNode& application, Point point) const;
  std::string labelLocked(const ElementNode& node) const;

  // Windows
  ElementNode& addWindowLocked(ApplicationNode& application, const ElementBuilder& plan, ElementEffects& effects);
  void raiseLocked(ElementNode& window, ElementEffects& effects);
  /// Puts all windows of the application in front of the others.
  void bringForwardLocked(ApplicationNode& application);
  ScreenWindow& addScreenWindowLocked(WindowRecord record, ElementNode* node);
  std::vector<ScreenWindow>& screenWindowsLocked() { return screenWindows_; }
  WindowRecord currentRecordLocked(const ScreenWindow& window) const;

  // Attributes and actions, as the application answers them
  AXResult<AXValue> readLocked(ElementNode& node, const std::string& attribute) const;
  bool isSettableLocked(ElementNode& node, const std::string& attribute) const;
  AXErrorCode writeLocked(ElementNode& node, const std::string& attribute, const AXValue& value,
                          ElementEffects& effects);
  AXResult<AXValue> readParameterizedLocked(ElementNode& node, const std::string& attribute,
                                            const AXValue& parameter) const;
  std::vector<std::string> actionNamesLocked(const ElementNode& node) const;
  AXResult<std::string> actionDescriptionLocked(const ElementNode& node, const std::string& action) const;
  AXErrorCode performLocked(ElementNode& node, const std::string& action, ElementEffects& effects);
  /// Stores without asking whether the attribute can be written.
  void storeLocked(ElementNode& node, const std::string& attribute, AXValue value,
                   std::optional<bool> settable = std::nullopt) const;
  /// Stores as the application itself does, and tells the observers.
  void setLocked(ElementNode& node, const std::string& attribute, AXValue value, ElementEffects& effects);

  // Handles
  AXElement handle(const ElementNode& node) const;
  AXElement applicationHandle(std::int32_t pid) const;
  ElementNode& systemWide() { return systemWide_; }
  struct Target {
    /// Null when the handle is none of this desktop's.
    const AXElementIdentity* identity = nullptr;
    /// Null when no such process runs.
    ElementNode* node = nullptr;
    std::int32_t pid = 0;
    bool isSystemWide = false;
  };
  Target resolveLocked(const AXElement& element) const;

  // Scripts and counts
  void countLocked(ElementNode& node, AXOperation operation, const std::string& name);
  int callsLocked(const ElementNode& node, AXOperation operation, const std::string& name) const;
  int readsLocked(const ElementNode& node, const std::string& attribute) const;
  /// The faults that may be about an element, the decisive one first.
  std::vector<Fault> faultsLocked(const ElementNode* node) const;
  void addFaultLocked(Fault fault) { faults_.push_back(std::move(fault)); }
  double messagingTimeoutLocked(const ApplicationNode* application) const;
  void setMessagingTimeoutLocked(ApplicationNode* application, std::optional<double> seconds);

  // Observers
  void addObserver(const std::shared_ptr<SimulatedObserver>& observer);
  MainQueue& mainQueue() const { return mainQueue_; }
  Scheduler& scheduler() const { return scheduler_; }

 private:
  void bringAbout(ElementEffects& effects);
  void post(ElementNode& node, const std::string& notification);
  ElementNode& newNodeLocked(ApplicationNode& application, std::string role);
  void showMenuLocked(ElementNode& menu, ElementNode& owner, ElementEffects& effects);
  void pressLocked(ElementNode& node, ElementEffects& effects);
  void pressMenuItemLocked(ElementNode& node, ElementEffects& effects);
  void pressRadioButtonLocked(ElementNode& node, ElementEffects& effects);
  void scrollToVisibleLocked(ElementNode& node, ElementEffects& effects);
  void cancelLocked(ElementNode& node, ElementEffects& effects);
  void stepLocked(ElementNode& node, int direction, ElementEffects& effects);
  void selectLocked(ElementNode& container, const std::vector<ElementNode*>& chosen, ElementEffects& effects);
  void selectOneLocked(ElementNode& node, bool isSelected, ElementEffects& effects);
  AXErrorCode writeTextLocked(ElementNode& node, const std::string& attribute, const AXValue& value,
                              ElementEffects& effects);
  AXErrorCode writeSelectionLocked(ElementNode& node, const AXValue& value, ElementEffects& effects);
  AXErrorCode writeWindowLocked(ElementNode& node, const std::string& attribute, const AXValue& value,
                                ElementEffects& effects);
  AXErrorCode writeApplicationLocked(ElementNode& node, const std::string& attribute, const AXValue& value,
                                     ElementEffects& effects);
  std::optional<AXResult<AXValue>> deriveLocked(ElementNode& node, const std::string& attribute) const;
  std::optional<AXResult<AXValue>> deriveOfApplicationLocked(ElementNode& node, const std::string& attribute) const;
  std::optional<AXResult<AXValue>> deriveOfWindowLocked(ElementNode& node, const std::string& attribute) const;
  std::optional<AXResult<AXValue>> deriveOfTextLocked(ElementNode& node, const std::string& attribute) const;
  AXArray handles(const std::vector<ElementNode*>& nodes) const;
  std::uint16_t nameNumberLocked(const std::string& name);

  Scheduler& scheduler_;
  MainQueue& mainQueue_;
  mutable Mutex mutex_;
  std::vector<std::unique_ptr<ApplicationNode>> applications_;
  ApplicationNode* frontmost_ = nullptr;
  /// Set before use.
  std::function<void()> frontmostChanged_ = [] {};
  ElementNode systemWide_;
  /// Front to back.
  std::vector<ScreenWindow> screenWindows_;
  std::uint32_t nextWindowID_ = 101;
  std::vector<Fault> faults_;
  std::optional<double> messagingTimeout_;
  std::unordered_map<std::string, std::uint16_t> nameNumbers_;
  std::vector<std::weak_ptr<SimulatedObserver>> observers_;
};

}  // namespace tavik
