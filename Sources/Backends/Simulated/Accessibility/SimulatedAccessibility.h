#pragma once

#include "Backends/Simulated/Accessibility/ElementModel.h"
#include "Backends/Simulated/Journal.h"
#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

/// The accessibility port over the model: counts each call, lets scripted faults
/// meet it, and gives up on an application that does not answer when the messaging
/// time-out has passed in the scheduler's time.
class SimulatedAccessibility : public AccessibilityPort {
 public:
  SimulatedAccessibility(ElementModel& model, Journal& journal) : model_(model), journal_(journal) {}

  AXElement createApplication(std::int32_t pid) override { return model_.applicationHandle(pid); }
  AXElement createSystemWide() override { return model_.handle(model_.systemWide()); }
  AXResult<std::int32_t> getPid(const AXElement& element) override;
  AXErrorCode setMessagingTimeout(const AXElement& element, float seconds) override;
  /// Reading costs nothing here, so that there is nothing to prepare.
  std::unique_ptr<AXReadScope> beginReadScope(const AXElement&) override { return nullptr; }

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
  /// What stands between a call and its answer.
  struct Passage {
    ElementNode* node = nullptr;
    /// Other than success: the call ends with it.
    AXErrorCode code = AXError::success;
    /// The application does what it was asked, whatever the answer.
    bool isServed = true;
  };
  enum class FaultsMet {
    all,
    /// Those about one attribute only.
    named,
  };
  Passage enter(const AXElement& element, AXOperation operation, const std::string& name,
                FaultsMet met = FaultsMet::all);
  AXErrorCode spend(const Fault::Effect& effect, const Fault& fault, double timeoutSeconds);
  /// What the application makes of a written value; nothing when it ignores it.
  std::optional<AXValue> rewritten(const ElementNode& node, const std::string& attribute, const AXValue& value);
  /// Enters with the operation and, when the application answers, runs `body` on the
  /// element under the lock.
  template <class Value, class Body>
  AXResult<Value> ask(const AXElement& element, AXOperation operation, const std::string& name, Body body);
  void journal(const std::string& kind, const AXElement& element, const std::string& name, AXValue value,
               AXErrorCode code);

  ElementModel& model_;
  Journal& journal_;
};

}  // namespace tavik
