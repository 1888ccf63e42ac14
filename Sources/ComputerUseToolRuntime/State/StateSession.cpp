#include "ComputerUseToolRuntime/State/StateSession.h"

#include <utility>
#include <vector>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"
#include "ComputerUsePlatform/Refetch/RefetchableAppStateAXTree.h"

namespace tavik {

namespace {

constexpr int treeDepth = 50;
constexpr Duration treeTimeout = milliseconds(5000);
constexpr const char* noFocusedElement = "focusedElementDescriptionNotFound";

/// Of anything but a text only that it is there.
std::string printed(const AXValue& value) {
  const auto* text = value.get<std::string>();
  return text ? *text : "";
}

}  // namespace

std::optional<std::string> focusedElementDescription(std::int32_t pid, AXWrapper& access) {
  const AXElement focused = LiveElementReader(access).focusedElement(pid);
  if (!focused) return std::nullopt;
  std::vector<std::string> pieces;
  for (const std::string& attribute : {AXAttributes::role, AXAttributes::subrole, AXAttributes::title,
                                       AXAttributes::description, AXAttributes::identifier}) {
    if (const auto value = access.copyAttributeValueOptional(focused, attribute)) {
      pieces.push_back(attribute + "=" + printed(*value));
    }
  }
  return pieces.empty() ? std::nullopt : std::optional(text::joined(pieces, "|"));
}

void StateSession::install(const StateSubject& subject, std::shared_ptr<UIElementTree> tree,
                           const StateWindow& window) {
  // A state that nobody waits for any more must not become the model's.
  services_.scheduler.checkCancellation();
  const std::int32_t pid = subject.resolved.pid;
  auto treeBuilder = [&access = services_.access, &scheduler = services_.scheduler, pid,
                      rootElement = tree->itemReadFrom()->axElement] {
    const auto root = rootElement ? rootElement : access.port().createApplication(pid);
    return UIElementTree::build(access, scheduler, pid, root, treeDepth, treeTimeout);
  };
  auto appStateTree = std::make_shared<RefetchableAppStateAXTree>(services_.access, services_.transformations, tree, pid,
                                                                  std::move(treeBuilder));
  const auto frontmost = services_.workspace.frontmostApplication();
  auto focused = focusedElementDescription(pid, services_.access);
  const bool isComparable = focused.has_value();
  if (const std::string ofTree = tree->focusedElementDescription(); !focused && ofTree != noFocusedElement) {
    focused = ofTree;
  }
  services_.session.install(std::move(appStateTree), std::move(tree),
                            {.appQuery = subject.appQuery,
                             .bundleIdentifier = subject.resolved.bundleID,
                             .pid = pid,
                             .appName = subject.appName,
                             .frontmostPID = frontmost ? std::optional(frontmost->pid) : std::nullopt,
                             .focusedElementDescription = std::move(focused),
                             .focusedElementDescriptionIsComparable = isComparable,
                             .targetWindowID = window.windowID,
                             .targetWindowBounds = window.bounds,
                             .screenshotPixelSize = window.pixelSize,
                             .capturedAt = services_.scheduler.wallTime()});

  auto& monitor = services_.userInteractionMonitor;
  monitor.clearIntervention(subject.resolved.bundleID);
  const bool isWatched =
      monitor.currentProcessID() == pid && monitor.currentAppIdentifier() == subject.resolved.bundleID;
  if (!isWatched) monitor.startMonitoring(subject.resolved.bundleID, subject.appName, pid);
  startFocusedElementObserverIfNeeded(pid);
  if (services_.focusStealPreventer.protectedPID() != pid) services_.focusStealPreventer.start(pid);
}

void StateSession::startFocusedElementObserverIfNeeded(std::int32_t pid) {
  if (focusedElementObserver_ && focusedElementObserver_->pid() == pid && focusedElementObserver_->isRunning()) return;
  if (focusedElementObserver_) focusedElementObserver_->stop();
  focusedElementObserver_ = SystemFocusedUIElementObserver::create(services_.access, pid);
  focusedElementObserver_->start();
}

void StateSession::stopFollowing() {
  if (focusedElementObserver_) focusedElementObserver_->stop();
  focusedElementObserver_.reset();
  services_.focusStealPreventer.stop();
}

AXElement StateSession::observedFocusedElement(std::int32_t pid) const {
  const bool isFollowed = focusedElementObserver_ && focusedElementObserver_->pid() == pid;
  return isFollowed ? focusedElementObserver_->focusedElement() : AXElement();
}

}  // namespace tavik
