#include <algorithm>

#include "Backends/Simulated/Accessibility/ElementModel.h"
#include "Backends/Simulated/Accessibility/Membership.h"
#include "Backends/Simulated/Accessibility/RoleCustoms.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

using Answer = std::optional<AXResult<AXValue>>;

Answer gives(AXValue value) { return AXResult<AXValue>::success(std::move(value)); }
Answer hasNoValue() { return AXResult<AXValue>::failed(AXError::noValue); }

const ElementBuilder::StoredAttribute* stored(const ElementNode& node, const std::string& attribute) {
  const auto found = std::ranges::find(node.attributes, attribute, &ElementBuilder::StoredAttribute::name);
  return found == node.attributes.end() ? nullptr : &*found;
}

AXResult<AXValue> answerOf(const AXValue& value) {
  if (const auto* mark = value.get<AXErrorMark>()) return AXResult<AXValue>::failed(mark->code);
  if (value.isNull()) return AXResult<AXValue>::failed(AXError::noValue);
  return AXResult<AXValue>::success(value);
}

bool isTrue(const ElementNode& node, const std::string& attribute) {
  const auto* found = stored(node, attribute);
  const bool* flag = found ? found->value.get<bool>() : nullptr;
  return flag && *flag;
}

std::string storedText(const ElementNode& node) {
  const auto* value = stored(node, "AXValue");
  const auto* text = value ? value->value.get<std::string>() : nullptr;
  return text ? *text : std::string();
}

TextRange selectedRange(const ElementNode& node) {
  const auto* found = stored(node, "AXSelectedTextRange");
  const auto* range = found ? found->value.get<TextRange>() : nullptr;
  return range ? *range : TextRange{text::utf16Length(storedText(node)), 0};
}

bool isOfSelection(const ElementNode& node, const std::string& attribute) {
  return !attribute.empty() && roleCustoms(node.role).selectionAttribute == attribute;
}

std::string selectionNotification(const ElementNode& container) {
  const bool hasRows = roleCustoms(container.role).selectionAttribute == "AXSelectedRows";
  return hasRows ? "AXSelectedRowsChanged" : "AXSelectedChildrenChanged";
}

std::vector<ElementNode*> withRole(const std::vector<ElementNode*>& nodes, const std::string& role) {
  std::vector<ElementNode*> chosen;
  std::ranges::copy_if(nodes, std::back_inserter(chosen), [&](const auto* node) { return node->role == role; });
  return chosen;
}

std::vector<ElementNode*> selectedAmong(const std::vector<ElementNode*>& nodes) {
  std::vector<ElementNode*> chosen;
  std::ranges::copy_if(nodes, std::back_inserter(chosen), [](const auto* node) { return isTrue(*node, "AXSelected"); });
  return chosen;
}

bool hasMenu(const ElementNode& node) {
  const bool showsOnDemand = node.extras && !node.extras->menu.empty();
  return showsOnDemand || !withRole(node.children, "AXMenu").empty();
}

bool isEnabledByCustom(const std::string& role) {
  return role != "AXApplication" && role != "AXWindow" && role != "AXSystemWide";
}

std::optional<double> numberIn(const AXValue& value) {
  if (const auto* real = value.get<double>()) return *real;
  if (const auto* integer = value.get<std::int64_t>()) return static_cast<double>(*integer);
  return std::nullopt;
}

/// The half-open bounds of each line of a text, in UTF-16 units, new lines included.
std::vector<TextRange> linesOf(const std::string& content) {
  std::vector<TextRange> lines;
  long start = 0;
  for (const std::string& line : text::split(content, '\n', true)) {
    const long length = text::utf16Length(line) + 1;
    lines.push_back({start, length});
    start += length;
  }
  if (!lines.empty()) --lines.back().length;
  return lines;
}

long lineAt(const std::vector<TextRange>& lines, long index) {
  for (std::size_t number = 0; number < lines.size(); ++number) {
    if (index < lines[number].location + lines[number].length) return static_cast<long>(number);
  }
  return std::max(0L, static_cast<long>(lines.size()) - 1);
}

}  // namespace

// Reading

AXResult<AXValue> ElementModel::readLocked(ElementNode& node, const std::string& attribute) const {
  const auto* own = stored(node, attribute);
  if (own && attribute != "AXFocused") return answerOf(own->value);
  if (own && own->value.get<AXErrorMark>()) return answerOf(own->value);
  if (Answer derived = deriveLocked(node, attribute)) return *std::move(derived);
  return AXResult<AXValue>::failed(AXError::attributeUnsupported);
}

Answer ElementModel::deriveLocked(ElementNode& node, const std::string& attribute) const {
  const RoleCustoms& customs = roleCustoms(node.role);
  if (attribute == "AXRole") return gives(node.role);
  if (attribute == "AXRoleDescription") return customs.description.empty() ? std::nullopt : gives(customs.description);
  if (attribute == "AXChildren") return gives(handles(node.children));
  if (node.frame) {
    if (attribute == "AXFrame") return gives(*node.frame);
    if (attribute == "AXPosition") return gives(node.frame->origin);
    if (attribute == "AXSize") return gives(node.frame->size);
  }
  if (!node.application) {
    if (attribute == "AXFocusedApplication") return frontmost_ ? gives(handle(*frontmost_->root)) : hasNoValue();
    if (attribute == "AXFocusedUIElement") {
      return frontmost_ ? deriveOfApplicationLocked(*frontmost_->root, attribute) : hasNoValue();
    }
    return std::nullopt;
  }
  if (attribute == "AXEnabled" && isEnabledByCustom(node.role)) return gives(true);
  if (attribute == "AXParent" && node.parent) return gives(handle(*node.parent));
  if (attribute == "AXWindow" || attribute == "AXTopLevelUIElement") {
    const ElementNode* window = windowOfLocked(node);
    return window ? gives(handle(*window)) : std::nullopt;
  }
  if (attribute == "AXFocused") {
    const bool has = customs.isFocusable || node.role == "AXWindow" || stored(node, attribute);
    if (!has) return std::nullopt;
    const ElementNode* focused =
        node.role == "AXWindow" ? node.application->focusedWindow : node.application->focusedElement;
    return gives(focused == &node || isTrue(node, attribute));
  }
  if (attribute == "AXShownMenuUIElement" && hasMenu(node)) {
    return node.shownMenu ? gives(handle(*node.shownMenu)) : hasNoValue();
  }
  if (isOfSelection(node, attribute)) return gives(handles(selectedAmong(node.children)));
  if (attribute == "AXRows" && customs.selectionAttribute == "AXSelectedRows") {
    return gives(handles(withRole(node.children, "AXRow")));
  }
  if (attribute == "AXVisibleChildren" && node.extras && node.extras->computesVisibleChildren) {
    std::vector<ElementNode*> visible;
    std::ranges::copy_if(node.children, std::back_inserter(visible), [&](const ElementNode* child) {
      return !child->frame || !node.frame || child->frame->intersects(*node.frame);
    });
    return gives(handles(visible));
  }
  if (customs.isText) return deriveOfTextLocked(node, attribute);
  if (node.role == "AXApplication") return deriveOfApplicationLocked(node, attribute);
  if (node.role == "AXWindow") return deriveOfWindowLocked(node, attribute);
  return std::nullopt;
}

Answer ElementModel::deriveOfApplicationLocked(ElementNode& node, const std::string& attribute) const {
  const ApplicationNode& application = *node.application;
  const auto elementOrNothing = [&](const ElementNode* element) {
    return element ? gives(handle(*element)) : hasNoValue();
  };
  if (attribute == "AXWindows") return gives(handles(application.windows));
  if (attribute == "AXFocusedWindow") return elementOrNothing(application.focusedWindow);
  if (attribute == "AXMainWindow") return elementOrNothing(application.mainWindow);
  if (attribute == "AXMenuBar") return elementOrNothing(application.menuBar);
  if (attribute == "AXFrontmost") return gives(frontmost_ == &application);
  if (attribute == "AXHidden") return gives(application.isHidden);
  if (attribute == "AXFocusedUIElement") {
    if (application.focusedElement) return elementOrNothing(application.focusedElement);
    return elementOrNothing(application.focusedWindow);
  }
  return std::nullopt;
}

Answer ElementModel::deriveOfWindowLocked(ElementNode& node, const std::string& attribute) const {
  if (attribute == "AXMain") return gives(node.application->mainWindow == &node);
  if (attribute == "AXMinimized") return gives(false);
  if (attribute == "AXModal") return gives(false);
  if (attribute == "AXSubrole") return gives("AXStandardWindow");
  return std::nullopt;
}

Answer ElementModel::deriveOfTextLocked(ElementNode& node, const std::string& attribute) const {
  const std::string content = storedText(node);
  const TextRange selected = selectedRange(node);
  if (attribute == "AXSelectedTextRange") return gives(selected);
  if (attribute == "AXSelectedText") {
    return gives(text::utf16Slice(content, selected.location, selected.length).value_or(""));
  }
  if (attribute == "AXNumberOfCharacters") return gives(static_cast<std::int64_t>(text::utf16Length(content)));
  if (attribute == "AXVisibleCharacterRange") return gives(TextRange{0, text::utf16Length(content)});
  if (attribute == "AXInsertionPointLineNumber") {
    return gives(static_cast<std::int64_t>(lineAt(linesOf(content), selected.location)));
  }
  return std::nullopt;
}

AXResult<AXValue> ElementModel::readParameterizedLocked(ElementNode& node, const std::string& attribute,
                                                        const AXValue& parameter) const {
  if (!roleCustoms(node.role).isText) return AXResult<AXValue>::failed(AXError::parameterizedAttributeUnsupported);
  const std::string content = storedText(node);
  const std::vector<TextRange> lines = linesOf(content);
  const auto bad = AXResult<AXValue>::failed(AXError::illegalArgument);
  const auto* range = parameter.get<TextRange>();
  const auto* index = parameter.get<std::int64_t>();
  if (attribute == "AXStringForRange" || attribute == "AXAttributedStringForRange") {
    if (!range) return bad;
    const auto slice = text::utf16Slice(content, range->location, range->length);
    if (!slice) return bad;
    return attribute == "AXStringForRange" ? *gives(*slice) : *gives(AXAttributedText{*slice});
  }
  if (attribute == "AXLineForIndex") return index ? *gives(static_cast<std::int64_t>(lineAt(lines, *index))) : bad;
  if (attribute == "AXRangeForLine") {
    if (!index || *index < 0 || *index >= static_cast<std::int64_t>(lines.size())) return bad;
    return *gives(lines[static_cast<std::size_t>(*index)]);
  }
  if (attribute == "AXBoundsForRange") {
    if (!range || !node.frame) return bad;
    constexpr double characterWidth = 8;
    constexpr double lineHeight = 16;
    const long line = lineAt(lines, range->location);
    const long column = range->location - lines[static_cast<std::size_t>(line)].location;
    return *gives(Rect{{node.frame->origin.x + static_cast<double>(column) * characterWidth,
                        node.frame->origin.y + static_cast<double>(line) * lineHeight},
                       {static_cast<double>(range->length) * characterWidth, lineHeight}});
  }
  return AXResult<AXValue>::failed(AXError::parameterizedAttributeUnsupported);
}

bool ElementModel::isSettableLocked(ElementNode& node, const std::string& attribute) const {
  if (node.extras) {
    const auto& said = node.extras->settable;
    if (const auto own = said.find(attribute); own != said.end()) return own->second;
  }
  if (const auto* own = stored(node, attribute); own && own->settable) return *own->settable;
  return isMember(roleCustoms(node.role).settable, attribute);
}

// Storing

void ElementModel::storeLocked(ElementNode& node, const std::string& attribute, AXValue value,
                               std::optional<bool> settable) const {
  const auto found = std::ranges::find(node.attributes, attribute, &ElementBuilder::StoredAttribute::name);
  if (found == node.attributes.end()) {
    node.attributes.push_back({attribute, std::move(value), settable});
    return;
  }
  found->value = std::move(value);
  if (settable) found->settable = settable;
}

void ElementModel::setLocked(ElementNode& node, const std::string& attribute, AXValue value, ElementEffects& effects) {
  storeLocked(node, attribute, std::move(value));
  if (attribute == "AXValue") {
    if (roleCustoms(node.role).isText) {
      const long length = text::utf16Length(storedText(node));
      const TextRange selected = selectedRange(node);
      if (selected.location + selected.length > length) storeLocked(node, "AXSelectedTextRange", TextRange{length, 0});
    }
    effects.notify(node, "AXValueChanged");
  }
  if (attribute == "AXTitle") effects.notify(node, "AXTitleChanged");
  if (attribute == "AXSelectedTextRange") effects.notify(node, "AXSelectedTextChanged");
  if (attribute == "AXMinimized") {
    effects.notify(node, isTrue(node, attribute) ? "AXWindowMiniaturized" : "AXWindowDeminiaturized");
  }
}

// Writing

AXErrorCode ElementModel::writeLocked(ElementNode& node, const std::string& attribute, const AXValue& value,
                                      ElementEffects& effects) {
  const AXErrorCode present = readLocked(node, attribute).code;
  const bool exists = present == AXError::success || present == AXError::noValue;
  if (!exists || !isSettableLocked(node, attribute)) return AXError::attributeUnsupported;

  if (attribute == "AXFocused" && node.role != "AXWindow") {
    const bool* isFocused = value.get<bool>();
    if (!isFocused) return AXError::illegalArgument;
    focusLocked(node, *isFocused, effects);
    return AXError::success;
  }
  if (attribute == "AXSelected") {
    const bool* isSelected = value.get<bool>();
    if (!isSelected) return AXError::illegalArgument;
    selectOneLocked(node, *isSelected, effects);
    return AXError::success;
  }
  if (isOfSelection(node, attribute)) return writeSelectionLocked(node, value, effects);
  if (roleCustoms(node.role).isText) return writeTextLocked(node, attribute, value, effects);
  if (node.role == "AXWindow") return writeWindowLocked(node, attribute, value, effects);
  if (node.role == "AXApplication") return writeApplicationLocked(node, attribute, value, effects);

  if (attribute == "AXValue") {
    const auto* minimum = stored(node, "AXMinValue");
    const auto* maximum = stored(node, "AXMaxValue");
    const auto number = numberIn(value);
    if ((node.role == "AXScrollBar" || (minimum && maximum)) && !number) return AXError::illegalArgument;
    ElementNode* area = node.parent;
    if (node.role == "AXScrollBar" && area && area->extras && area->extras->contentHeight && area->frame) {
      scrollLocked(*area, *number * (*area->extras->contentHeight - area->frame->size.height), effects);
      return AXError::success;
    }
    if (minimum && maximum) {
      const double low = numberIn(minimum->value).value_or(0);
      const double high = std::max(low, numberIn(maximum->value).value_or(1));
      setLocked(node, attribute, std::clamp(*number, low, high), effects);
      return AXError::success;
    }
  }
  setLocked(node, attribute, value, effects);
  return AXError::success;
}

AXErrorCode ElementModel::writeTextLocked(ElementNode& node, const std::string& attribute, const AXValue& value,
                                          ElementEffects& effects) {
  const auto* written = value.get<std::string>();
  if (attribute == "AXValue") {
    if (!written) return AXError::illegalArgument;
    storeLocked(node, "AXSelectedTextRange", TextRange{text::utf16Length(*written), 0});
    setLocked(node, attribute, *written, effects);
    effects.notify(node, "AXSelectedTextChanged");
    return AXError::success;
  }
  if (attribute == "AXSelectedTextRange") {
    const auto* range = value.get<TextRange>();
    const long length = text::utf16Length(storedText(node));
    const bool fits = range && range->location >= 0 && range->length >= 0 && range->location <= length &&
                      range->length <= length - range->location;
    if (!fits) return AXError::illegalArgument;
    setLocked(node, attribute, *range, effects);
    return AXError::success;
  }
  if (attribute == "AXSelectedText") {
    if (!written) return AXError::illegalArgument;
    const std::string content = storedText(node);
    const TextRange selected = selectedRange(node);
    const long end = selected.location + selected.length;
    const auto before = text::utf16Slice(content, 0, selected.location);
    const auto behind = text::utf16Slice(content, end, text::utf16Length(content) - end);
    if (!before || !behind) return AXError::failure;
    storeLocked(node, "AXSelectedTextRange", TextRange{selected.location + text::utf16Length(*written), 0});
    setLocked(node, "AXValue", *before + *written + *behind, effects);
    effects.notify(node, "AXSelectedTextChanged");
    return AXError::success;
  }
  setLocked(node, attribute, value, effects);
  return AXError::success;
}

void ElementModel::selectLocked(ElementNode& container, const std::vector<ElementNode*>& chosen,
                                ElementEffects& effects) {
  for (ElementNode* child : container.children) {
    if (stored(*child, "AXSelected")) storeLocked(*child, "AXSelected", isMember(chosen, child));
  }
  effects.notify(container, selectionNotification(container));
}

void ElementModel::selectOneLocked(ElementNode& node, bool isSelected, ElementEffects& effects) {
  ElementNode* container = node.parent;
  const bool isAlone = !container || roleCustoms(container->role).selectionAttribute.empty();
  if (isAlone || !isSelected) {
    storeLocked(node, "AXSelected", isSelected);
    if (container) effects.notify(*container, selectionNotification(*container));
    return;
  }
  selectLocked(*container, {&node}, effects);
}

AXErrorCode ElementModel::writeSelectionLocked(ElementNode& node, const AXValue& value, ElementEffects& effects) {
  const auto* array = value.get<AXArray>();
  if (!array) return AXError::illegalArgument;
  std::vector<ElementNode*> chosen;
  for (const AXValue& member : *array) {
    const auto* element = member.get<AXElement>();
    ElementNode* target = element ? resolveLocked(*element).node : nullptr;
    if (!target || !isMember(node.children, target)) return AXError::illegalArgument;
    chosen.push_back(target);
  }
  selectLocked(node, chosen, effects);
  return AXError::success;
}

AXErrorCode ElementModel::writeWindowLocked(ElementNode& node, const std::string& attribute, const AXValue& value,
                                            ElementEffects& effects) {
  if (attribute == "AXPosition") {
    const auto* origin = value.get<Point>();
    if (!origin) return AXError::illegalArgument;
    const Point before = node.frame ? node.frame->origin : Point{};
    moveLocked(node, {origin->x - before.x, origin->y - before.y});
    effects.notify(node, "AXWindowMoved");
    return AXError::success;
  }
  if (attribute == "AXSize") {
    const auto* size = value.get<Size>();
    if (!size) return AXError::illegalArgument;
    node.frame->size = *size;
    effects.notify(node, "AXWindowResized");
    return AXError::success;
  }
  const bool* flag = value.get<bool>();
  if (!flag) return AXError::illegalArgument;
  if (attribute == "AXMain" || attribute == "AXFocused") {
    if (*flag) raiseLocked(node, effects);
    return AXError::success;
  }
  setLocked(node, attribute, *flag, effects);
  return AXError::success;
}

AXErrorCode ElementModel::writeApplicationLocked(ElementNode& node, const std::string& attribute,
                                                 const AXValue& value, ElementEffects& effects) {
  ApplicationNode& application = *node.application;
  if (attribute == "AXFocusedWindow") {
    const auto* element = value.get<AXElement>();
    ElementNode* window = element ? resolveLocked(*element).node : nullptr;
    if (!window || window->role != "AXWindow") return AXError::illegalArgument;
    raiseLocked(*window, effects);
    return AXError::success;
  }
  const bool* flag = value.get<bool>();
  if (attribute == "AXFrontmost") {
    if (!flag) return AXError::illegalArgument;
    if (*flag) activateLocked(&application, effects);
    return AXError::success;
  }
  if (attribute == "AXHidden") {
    if (!flag) return AXError::illegalArgument;
    application.isHidden = *flag;
    effects.notify(node, *flag ? "AXApplicationHidden" : "AXApplicationShown");
    return AXError::success;
  }
  setLocked(node, attribute, value, effects);
  return AXError::success;
}

}  // namespace tavik
