#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "Backends/Linux/Accessibility/ApplicationDirectory.h"
#include "Backends/Linux/Accessibility/ElementReader.h"
#include "Backends/Linux/Accessibility/NotificationHub.h"
#include "Backends/Linux/Accessibility/WindowPlacement.h"
#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

/// The accessibility port over AT-SPI2.
///
/// Elements of the caller's own process are not served: they answer `apiDisabled`,
/// since the thread that would ask is the one that would have to answer.
class ATSPIAccessibilityPort : public AccessibilityPort {
 public:
  /// The session bus tells where the accessibility bus is. The poster runs work on
  /// the main queue, later. All three outlive the port.
  ATSPIAccessibilityPort(BusConnection& sessionBus, WindowPlacement& placement,
                         NotificationHub::Poster poster);
  ~ATSPIAccessibilityPort() override;

  /// Whether the bus that carries all of this answers. Any thread.
  bool isBusConnected() { return bus_.isConnected(); }
  /// The processes that offer their elements now. Any thread.
  std::vector<std::int32_t> accessibleProcesses() { return directory_->pids(); }

  /// Gives an element of a process behind the focus by a click at a point that changes
  /// nothing on the user's desktop; absent when the process is in front and needs no
  /// such means.
  using ClickBehind = std::function<std::optional<bool>(std::int32_t pid, Point at)>;
  /// Set before use. Without it text in windows behind is focused as the application
  /// likes, and some come to the front for it.
  void setClickBehind(ClickBehind click) { clickBehind_ = std::move(click); }
  /// The tool did something that may have moved the focus inside the process. Any
  /// thread.
  void forgetGivenFocus(std::int32_t pid);

  /// By what the process says on the bus; `other` for one that is not there. Any thread.
  Toolkit toolkit(std::int32_t pid);

  AXElement createApplication(std::int32_t pid) override;
  AXElement createSystemWide() override;
  AXResult<std::int32_t> getPid(const AXElement& element) override;
  AXErrorCode setMessagingTimeout(const AXElement& element, float seconds) override;
  std::unique_ptr<AXReadScope> beginReadScope(const AXElement& root) override;

  AXResult<AXValue> copyAttributeValue(const AXElement& element, const std::string& attribute) override;
  AXResult<AXValue> copyAttributeValues(const AXElement& element, const std::string& attribute, long index,
                                        long maxValues) override;
  AXResult<long> getAttributeValueCount(const AXElement& element, const std::string& attribute) override;
  AXResult<AXArray> copyMultipleAttributeValues(const AXElement& element,
                                                const std::vector<std::string>& attributes) override;
  AXResult<AXValue> copyParameterizedAttributeValue(const AXElement& element, const std::string& attribute,
                                                    const AXValue& parameter) override;
  AXResult<bool> isAttributeSettable(const AXElement& element, const std::string& attribute) override;
  AXErrorCode setAttributeValue(const AXElement& element, const std::string& attribute,
                                const AXValue& value) override;

  AXResult<std::vector<std::string>> copyActionNames(const AXElement& element) override;
  AXResult<std::string> copyActionDescription(const AXElement& element, const std::string& action) override;
  AXErrorCode performAction(const AXElement& element, const std::string& action) override;

  AXResult<AXElement> copyElementAtPosition(const AXElement& element, Point point) override;

  AXResult<std::shared_ptr<AXObserver>> createObserver(std::int32_t pid, ObserverCallback callback) override;
  void addObserverSource(const std::shared_ptr<AXObserver>& observer) override;
  void removeObserverSource(const std::shared_ptr<AXObserver>& observer) override;
  AXErrorCode addNotification(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                              const std::string& notification) override;
  AXErrorCode removeNotification(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                                 const std::string& notification) override;

 private:
  class ReadScope;
  /// The read scopes of one process, and what they share.
  struct Scopes {
    /// By number; the latest is the one that is being read.
    std::map<std::uint64_t, LinuxElement> roots;
    /// Made at the first reading; let go of when a scope begins and when something
    /// was changed.
    std::shared_ptr<AccessibleTree> tree;
  };

  std::chrono::milliseconds timeout(std::int32_t pid);
  /// The tree that the scopes of the process share, and the root of the latest;
  /// absent without a scope.
  std::shared_ptr<AccessibleTree> scopeTree(std::int32_t pid,
                                            const std::vector<AccessibleApplication>& applications,
                                            LinuxElement& root);
  void endScope(std::int32_t pid, std::uint64_t number);
  void forgetReadings(std::int32_t pid);
  std::vector<AccessibleReference> objectsOf(const LinuxElement& element,
                                             const std::vector<AccessibleApplication>& applications) const;

  enum class Extent { oneElement, wholeTree };

  /// Runs `body` with a reader of the element's process, after making sure that the
  /// element is there. In a scope, what reads for the sake of a whole tree has it
  /// fetched first.
  template <class T, class Body>
  AXResult<T> reading(const AXElement& element, Body body, Extent extent = Extent::oneElement);
  template <class Body>
  AXErrorCode writing(const AXElement& element, Body body);
  /// Applications do not say where the focus is in a window that is not active, so
  /// what the tool gave it to is remembered. Absent when that is not known.
  std::optional<AccessibleReference> givenFocus(std::int32_t pid);
  AXErrorCode giveFocus(const AXElement& element);
  AXResult<AXValue> attribute(ElementReader& reader, const LinuxElement& element, const std::string& name);
  AXResult<AXElement> hitTest(ElementReader& reader, const LinuxElement& start, Point point);

  BusConnection& sessionBus_;
  WindowPlacement& placement_;
  ApplicationHabits habits_;
  BusConnection bus_;
  const std::shared_ptr<ApplicationDirectory> directory_;
  const std::shared_ptr<NotificationHub> hub_;

  std::mutex mutex_;
  std::chrono::milliseconds processWideTimeout_;
  std::unordered_map<std::int32_t, std::chrono::milliseconds> timeouts_;
  std::unordered_map<std::int32_t, Scopes> scopes_;
  std::uint64_t nextScope_ = 1;
  std::unordered_map<std::int32_t, AccessibleReference> givenFocus_;
  ClickBehind clickBehind_;
};

}  // namespace tavik
