#pragma once

#include <chrono>
#include <string>

#include "Backends/Linux/Accessibility/ElementReader.h"

namespace tavik {

/// Acts on the elements of one process. Lives for one operation.
class ElementWriter {
 public:
  ElementWriter(BusConnection& bus, ElementReader& reader, std::chrono::milliseconds timeout);

  AXErrorCode set(const LinuxElement& element, const std::string& attribute, const AXValue& value);
  AXErrorCode perform(const LinuxElement& element, const std::string& action);

 private:
  AXErrorCode setValue(const AccessibleReference& object, const AXValue& value);
  AXErrorCode setNumber(const AccessibleReference& object, double number);
  AXErrorCode setText(const AccessibleReference& object, const std::string& text);
  AXErrorCode setFocused(const AccessibleReference& object);
  AXErrorCode setSelected(const LinuxElement& element, bool selected);
  AXErrorCode setSelectedChildren(const LinuxElement& element, const AXValue& value);
  AXErrorCode setSelectedTextRange(const AccessibleReference& object, const AXValue& value);
  AXErrorCode setSelectedText(const AccessibleReference& object, const AXValue& value);
  AXErrorCode scrollToCaret(const AccessibleReference& object);
  AXErrorCode step(const AccessibleReference& object, int direction);
  AXErrorCode doOwnAction(const AccessibleReference& object, int number);
  AXErrorCode selectRow(const AccessibleReference& table, std::int32_t childIndex, bool selected);
  AXErrorCode selectIn(const AccessibleReference& container, const AccessibleReference& child, bool selected);

  /// Sends a call whose answer is a truth value; false counts as `whenFalse`.
  AXErrorCode demand(const BusMessage& message, AXErrorCode whenFalse = AXError::cannotComplete);
  static AXErrorCode codeOf(const BusReply& reply);

  BusConnection& bus_;
  ElementReader& reader_;
  const std::chrono::milliseconds timeout_;
};

}  // namespace tavik
