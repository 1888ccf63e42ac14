#include "Backends/Linux/Accessibility/ElementWriter.h"

#include <algorithm>

#include "Backends/Linux/Accessibility/FactQuestions.h"
#include "Backends/Linux/Accessibility/TextUnits.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

using Kind = LinuxElement::Kind;
using accessibility::call;

constexpr std::uint32_t scrollAnywhere = 6;

/// A value that is stepped by its application's own count, or by a tenth.
double stepLength(const AccessibleFacts& facts) {
  if (facts.increment > 0) return facts.increment;
  double length = facts.maximum - facts.minimum;
  return length > 0 ? length / 10 : 1;
}

std::optional<double> numberOf(const AXValue& value) {
  if (auto* integer = value.get<std::int64_t>()) return static_cast<double>(*integer);
  if (auto* real = value.get<double>()) return *real;
  if (auto* boolean = value.get<bool>()) return *boolean ? 1 : 0;
  return std::nullopt;
}

std::optional<bool> truthOf(const AXValue& value) {
  std::optional<double> number = numberOf(value);
  return number ? std::optional(*number != 0) : std::nullopt;
}

}  // namespace

ElementWriter::ElementWriter(BusConnection& bus, ElementReader& reader, std::chrono::milliseconds timeout)
    : bus_(bus), reader_(reader), timeout_(timeout) {}

AXErrorCode ElementWriter::codeOf(const BusReply& reply) {
  switch (reply.status) {
    case BusReply::Status::returned:
      return AXError::success;
    case BusReply::Status::failed:
      return AXError::failure;
    default:
      return AXError::cannotComplete;
  }
}

AXErrorCode ElementWriter::demand(const BusMessage& message, AXErrorCode whenFalse) {
  BusReply reply = bus_.call(message, timeout_);
  if (AXErrorCode code = codeOf(reply); code != AXError::success) return code;
  BusReader answer = reply.read();
  return answer.type() == DBUS_TYPE_BOOLEAN && !answer.boolean() ? whenFalse : AXError::success;
}

AXErrorCode ElementWriter::perform(const LinuxElement& element, const std::string& action) {
  std::vector<ActionTranslation> offered = reader_.actions(element);
  auto found =
      std::find_if(offered.begin(), offered.end(), [&](const auto& each) { return each.name == action; });
  if (found == offered.end()) return AXError::actionUnsupported;
  const AccessibleReference& object = found->cell.isNull() ? element.object : found->cell;
  switch (found->means) {
    case ActionTranslation::Means::ownAction:
      return doOwnAction(object, found->number);
    case ActionTranslation::Means::increment:
      return step(object, 1);
    case ActionTranslation::Means::decrement:
      return step(object, -1);
    case ActionTranslation::Means::scrollTo: {
      BusMessage message = call(object, accessibility::component, "ScrollTo");
      BusWriter(message).uint32(scrollAnywhere);
      return demand(message);
    }
    case ActionTranslation::Means::scrollToCaret:
      return scrollToCaret(object);
  }
  return AXError::actionUnsupported;
}

AXErrorCode ElementWriter::doOwnAction(const AccessibleReference& object, int number) {
  BusMessage message = call(object, accessibility::action, "DoAction");
  BusWriter(message).int32(number);
  return demand(message);
}

AXErrorCode ElementWriter::scrollToCaret(const AccessibleReference& object) {
  const auto caret =
      static_cast<std::int32_t>(reader_.tree().read(object, baseFacets | textSelectionFacet).caret);
  BusMessage message = call(object, accessibility::text, "ScrollSubstringTo");
  BusWriter(message).int32(caret).int32(caret).uint32(scrollAnywhere);
  return demand(message, AXError::failure);
}

AXErrorCode ElementWriter::step(const AccessibleReference& object, int direction) {
  const AccessibleFacts& facts = reader_.tree().read(object, baseFacets | valueFacet | valueLimitsFacet);
  double next = facts.value + direction * stepLength(facts);
  if (facts.maximum > facts.minimum) next = std::clamp(next, facts.minimum, facts.maximum);
  return setNumber(object, next);
}

AXErrorCode ElementWriter::set(const LinuxElement& element, const std::string& attribute,
                               const AXValue& value) {
  if (attribute == "AXSelected") {
    std::optional<bool> selected = truthOf(value);
    if (!selected) return AXError::illegalArgument;
    return setSelected(element, *selected);
  }
  if (element.kind != Kind::object) return AXError::attributeUnsupported;
  if (!reader_.isSettable(element, attribute)) return AXError::attributeUnsupported;
  if (attribute == "AXValue") return setValue(element.object, value);
  if (attribute == "AXFocused") {
    std::optional<bool> focused = truthOf(value);
    if (!focused) return AXError::illegalArgument;
    return *focused ? setFocused(element.object) : AXError::failure;
  }
  if (attribute == "AXSelectedTextRange") return setSelectedTextRange(element.object, value);
  if (attribute == "AXSelectedText") return setSelectedText(element.object, value);
  return setSelectedChildren(element, value);
}

// Values.

AXErrorCode ElementWriter::setValue(const AccessibleReference& object, const AXValue& value) {
  NodeView node = reader_.view(object);
  if (isTextRole(node.facts.role)) {
    auto* text = value.get<std::string>();
    return text ? setText(object, *text) : AXError::illegalArgument;
  }
  std::optional<double> number = numberOf(value);
  if (!number) return AXError::illegalArgument;
  if (node.facts.role == AccessibleRole::scrollBar) {
    const AccessibleFacts& facts = reader_.view(object, valueLimitsFacet).facts;
    number = facts.minimum + std::clamp(*number, 0.0, 1.0) * (facts.maximum - facts.minimum);
  }
  return setNumber(object, *number);
}

AXErrorCode ElementWriter::setNumber(const AccessibleReference& object, double number) {
  BusMessage message = call(object, "org.freedesktop.DBus.Properties", "Set");
  BusWriter(message).string(accessibility::value).string("CurrentValue").variant("d", [&](BusWriter& inner) {
    inner.real(number);
  });
  return demand(message);
}

AXErrorCode ElementWriter::setText(const AccessibleReference& object, const std::string& text) {
  BusMessage message = call(object, accessibility::editableText, "SetTextContents");
  BusWriter(message).string(text);
  return demand(message);
}

// Focus and selection.

AXErrorCode ElementWriter::setFocused(const AccessibleReference& object) {
  return demand(call(object, accessibility::component, "GrabFocus"));
}

AXErrorCode ElementWriter::selectIn(const AccessibleReference& container, const AccessibleReference& child,
                                    bool selected) {
  const AccessibleFacts& facts = reader_.tree().read(container, baseFacets | childrenFacet);
  auto position = std::find(facts.children.begin(), facts.children.end(), child);
  if (position == facts.children.end()) return AXError::attributeUnsupported;
  auto index = static_cast<std::int32_t>(position - facts.children.begin());
  AXErrorCode code = AXError::attributeUnsupported;
  if (facts.has(selectionInterface)) {
    BusMessage message =
        call(container, accessibility::selection, selected ? "SelectChild" : "DeselectChild");
    BusWriter(message).int32(index);
    code = demand(message);
  }
  return code != AXError::success && facts.has(tableInterface) ? selectRow(container, index, selected) : code;
}

AXErrorCode ElementWriter::selectRow(const AccessibleReference& table, std::int32_t childIndex,
                                     bool selected) {
  BusMessage question = call(table, accessibility::table, "GetRowAtIndex");
  BusWriter(question).int32(childIndex);
  BusReply reply = bus_.call(question, timeout_);
  if (AXErrorCode code = codeOf(reply); code != AXError::success) return code;
  auto row = static_cast<std::int32_t>(reply.read().integer());
  if (row < 0) return AXError::failure;
  BusMessage message = call(table, accessibility::table, selected ? "AddRowSelection" : "RemoveRowSelection");
  BusWriter(message).int32(row);
  return demand(message);
}

AXErrorCode ElementWriter::setSelected(const LinuxElement& element, bool selected) {
  if (element.kind == Kind::row) {
    std::vector<AccessibleReference> cells = reader_.cells(element);
    if (cells.empty()) return AXError::invalidUIElement;
    return selectIn(element.object, cells.front(), selected);
  }
  if (element.kind != Kind::object) return AXError::attributeUnsupported;
  NodeView node = reader_.view(element.object, actionsFacet);
  if (!node.facts.is(AccessibleState::selectable)) return AXError::attributeUnsupported;
  if (node.facts.is(AccessibleState::selected) == selected) return AXError::success;
  AXErrorCode code = selectIn(node.facts.parent, element.object, selected);
  if (code == AXError::success || !selected) return code;
  // Where the container cannot select, what is selected may do it itself.
  if (std::optional<int> number =
          ownActionNumber(node.facts, {"select", "Press", "Toggle", "click", "doDefault"})) {
    return doOwnAction(element.object, *number);
  }
  return code;
}

AXErrorCode ElementWriter::setSelectedChildren(const LinuxElement& element, const AXValue& value) {
  auto* wanted = value.get<AXArray>();
  if (!wanted) return AXError::illegalArgument;
  bus_.call(call(element.object, accessibility::selection, "ClearSelection"), timeout_);
  for (const AXValue& entry : *wanted) {
    auto* handle = entry.get<AXElement>();
    const LinuxElement* child = handle ? LinuxElement::from(*handle) : nullptr;
    if (!child) return AXError::illegalArgument;
    std::vector<AccessibleReference> cells =
        child->kind == Kind::row ? reader_.cells(*child) : std::vector{child->object};
    if (cells.empty()) return AXError::invalidUIElement;
    AXErrorCode code = selectIn(element.object, cells.front(), true);
    if (code != AXError::success) return code;
  }
  return AXError::success;
}

// Text.

AXErrorCode ElementWriter::setSelectedTextRange(const AccessibleReference& object, const AXValue& value) {
  auto* range = value.get<TextRange>();
  if (!range || range->location < 0 || range->length < 0) return AXError::illegalArgument;
  const AccessibleFacts& facts = reader_.view(object, textFacet | textSelectionFacet).facts;
  auto start = static_cast<std::int32_t>(codePointOffset(facts.text, range->location));
  auto end = static_cast<std::int32_t>(codePointOffset(facts.text, range->location + range->length));
  if (start == end) {
    BusMessage message = call(object, accessibility::text, "SetCaretOffset");
    BusWriter(message).int32(start);
    return demand(message);
  }
  // Some drop a selection that is made a second time.
  if (facts.selectionStart == start && facts.selectionEnd == end) return AXError::success;
  bool hasSelection = facts.selectionStart < facts.selectionEnd;
  BusMessage message = call(object, accessibility::text, hasSelection ? "SetSelection" : "AddSelection");
  if (hasSelection) BusWriter(message).int32(0);
  BusWriter(message).int32(start).int32(end);
  if (reader_.tree().toolkit(object) == Toolkit::gtk4) {
    // GTK 4 selects and never says so.
    return bus_.send(message) ? AXError::success : AXError::cannotComplete;
  }
  return demand(message);
}

AXErrorCode ElementWriter::setSelectedText(const AccessibleReference& object, const AXValue& value) {
  auto* text = value.get<std::string>();
  if (!text) return AXError::illegalArgument;
  const AccessibleFacts& facts = reader_.view(object, textFacet | textSelectionFacet).facts;
  auto start = static_cast<std::int32_t>(facts.selectionStart);
  auto end = static_cast<std::int32_t>(facts.selectionEnd);
  if (start < end) {
    BusMessage removal = call(object, accessibility::editableText, "DeleteText");
    BusWriter(removal).int32(start).int32(end);
    if (AXErrorCode code = demand(removal); code != AXError::success) return code;
  } else {
    start = static_cast<std::int32_t>(facts.caret);
  }
  // Qt cuts or fills the text to that many of its own units, others count bytes.
  const bool countsUnits = reader_.tree().toolkit(object) == Toolkit::qt;
  const auto length = countsUnits ? text::utf16Length(*text) : static_cast<long>(text->size());
  BusMessage insertion = call(object, accessibility::editableText, "InsertText");
  BusWriter(insertion).int32(start).string(*text).int32(static_cast<std::int32_t>(length));
  return demand(insertion);
}

}  // namespace tavik
