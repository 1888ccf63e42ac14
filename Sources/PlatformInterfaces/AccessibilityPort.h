#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "PlatformInterfaces/AXValue.h"

namespace tavik {

/// An answer of the accessibility interface: a code and, on success, a value.
template <class T>
struct AXResult {
  AXErrorCode code = AXError::failure;
  T value{};

  bool ok() const { return code == AXError::success; }
  static AXResult success(T value) { return {AXError::success, std::move(value)}; }
  static AXResult failed(AXErrorCode code) { return {code, T{}}; }
};

/// Receives the notifications of one process. Owned by whoever created it; when
/// it is destroyed no further callback begins.
class AXObserver {
 public:
  virtual ~AXObserver() = default;
};

/// While one lives, the port may answer reads of the process from values that it
/// fetched since the scope began, so that a whole tree costs few round trips
/// where the platform asks one question at a time.
class AXReadScope {
 public:
  virtual ~AXReadScope() = default;
};

/// Reads, writes, acts on and observes the elements of other applications.
///
/// Every operation may be called from any thread, from many at once, and blocks
/// for the target's answer, at most for the element's messaging time-out; then it
/// answers `AXError::cannotComplete`. No operation throws. An element of the
/// caller's own process must be asked on the main thread only.
///
/// Attribute, action and notification names are those of the AX vocabulary
/// ("AXRole", "AXPress", "AXValueChanged"); a term without a counterpart there
/// passes under its own name. An attribute that an element does not have answers
/// `attributeUnsupported`; one that it has without a value answers `noValue`.
class AccessibilityPort {
 public:
  /// Runs on the main queue with the element and the notification's name.
  using ObserverCallback = std::function<void(const AXElement& element, const std::string& notification)>;

  virtual ~AccessibilityPort() = default;

  /// The element of an application; no call is made, so a pid that names no
  /// process yields an element that answers `cannotComplete` or `invalidUIElement`.
  virtual AXElement createApplication(std::int32_t pid) = 0;
  /// The element that stands for the whole desktop.
  virtual AXElement createSystemWide() = 0;
  /// The process that serves an element. Never asks the target.
  virtual AXResult<std::int32_t> getPid(const AXElement& element) = 0;
  /// Bounds every later call on the element: on the system-wide element for all
  /// processes, on an application element for all elements of that process.
  virtual AXErrorCode setMessagingTimeout(const AXElement& element, float seconds) = 0;

  /// Announces that the tree below `root` is about to be read. A hint: a port that
  /// reads fast without it answers null. A write or an action through this port
  /// ends the reuse of what it may have changed; scopes of one process share.
  virtual std::unique_ptr<AXReadScope> beginReadScope(const AXElement& root) = 0;

  virtual AXResult<AXValue> copyAttributeValue(const AXElement& element, const std::string& attribute) = 0;
  /// At most `maxValues` members of an array attribute from `index` on.
  virtual AXResult<AXValue> copyAttributeValues(const AXElement& element, const std::string& attribute,
                                                long index, long maxValues) = 0;
  virtual AXResult<long> getAttributeValueCount(const AXElement& element, const std::string& attribute) = 0;
  /// One round trip for many attributes. The answer has one entry for each name,
  /// in order; one that could not be read is an `AXErrorMark`.
  virtual AXResult<AXArray> copyMultipleAttributeValues(const AXElement& element,
                                                        const std::vector<std::string>& attributes) = 0;
  virtual AXResult<AXValue> copyParameterizedAttributeValue(const AXElement& element,
                                                            const std::string& attribute,
                                                            const AXValue& parameter) = 0;
  virtual AXResult<bool> isAttributeSettable(const AXElement& element, const std::string& attribute) = 0;
  virtual AXErrorCode setAttributeValue(const AXElement& element, const std::string& attribute,
                                        const AXValue& value) = 0;

  /// Raw action names ("AXPress"), in the element's own order.
  virtual AXResult<std::vector<std::string>> copyActionNames(const AXElement& element) = 0;
  /// What the application calls an action, for a person.
  virtual AXResult<std::string> copyActionDescription(const AXElement& element, const std::string& action) = 0;
  virtual AXErrorCode performAction(const AXElement& element, const std::string& action) = 0;

  /// The deepest element under a global point: of any application when `element`
  /// is system-wide, else within that application, also where it is covered.
  virtual AXResult<AXElement> copyElementAtPosition(const AXElement& element, Point point) = 0;

  /// An observer of one process. Its callbacks wait until `addObserverSource`.
  virtual AXResult<std::shared_ptr<AXObserver>> createObserver(std::int32_t pid, ObserverCallback callback) = 0;
  /// Begins, and `removeObserverSource` ends, the delivery of callbacks on the
  /// main queue. Removing does not wait for a callback that is running.
  virtual void addObserverSource(const std::shared_ptr<AXObserver>& observer) = 0;
  virtual void removeObserverSource(const std::shared_ptr<AXObserver>& observer) = 0;
  virtual AXErrorCode addNotification(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                                      const std::string& notification) = 0;
  virtual AXErrorCode removeNotification(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                                         const std::string& notification) = 0;
};

}  // namespace tavik
