#include <algorithm>
#include <cstdlib>

#include "Backends/Linux/Accessibility/ElementReader.h"
#include "Backends/Linux/Accessibility/FactQuestions.h"
#include "Backends/Linux/Accessibility/TextUnits.h"
#include "Base/Text/Text.h"

namespace tavik {

using Role = AccessibleRole;
using State = AccessibleState;
using Kind = LinuxElement::Kind;
using Element = const LinuxElement&;

/// The attributes, one function each, and the table of them.
struct AttributeTable {
  using Value = AXResult<AXValue>;
  using Reader = ElementReader&;

  struct Entry {
    std::string_view name;
    Value (*read)(Reader reader, Element element);
  };

  // Forms of answers.

  static Value none() { return Value::failed(AXError::attributeUnsupported); }
  static Value empty() { return Value::failed(AXError::noValue); }
  static Value of(AXValue value) { return Value::success(std::move(value)); }
  static Value textOrNone(const std::string& text) { return text.empty() ? none() : of(text); }
  static Value elementOrEmpty(const std::optional<LinuxElement>& element) {
    return element ? of(LinuxElement::handle(*element)) : empty();
  }
  static Value elements(const std::vector<LinuxElement>& list) {
    AXArray array;
    for (Element element : list) array.emplace_back(LinuxElement::handle(element));
    return of(std::move(array));
  }
  static bool isObject(Element element) { return element.kind == Kind::object; }
  static bool isApplication(Element element) { return element.kind == Kind::application; }
  static std::string_view roleOf(Reader reader, Element element) { return reader.role(element).role; }
  static bool hasRole(Reader reader, Element element, std::string_view role) {
    return roleOf(reader, element) == role;
  }
  static bool isTextElement(Reader reader, Element element) {
    return isObject(element) && isTextRole(reader.view(element.object).facts.role);
  }

  // What the element is.

  static Value role(Reader reader, Element element) { return of(reader.role(element).role); }
  static Value subrole(Reader reader, Element element) { return textOrNone(reader.role(element).subrole); }
  static Value roleDescription(Reader reader, Element element) {
    return of(reader.role(element).description);
  }

  // What it says.

  static Value title(Reader reader, Element element) {
    if (isApplication(element)) {
      const auto& applications = reader.tree().applications();
      return textOrNone(applications.empty() ? "" : reader.view(applications.front().root).facts.name);
    }
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    RoleTranslation translation = translateRole(node);
    std::string_view role = translation.role;
    if (role == "AXStaticText" || role == "AXImage") return none();
    if (role == "AXPopUpButton" && showsChoiceAsName(node)) return none();
    std::string name = displayName(node);
    if (name.empty() && node.isTopLevel) {
      std::optional<PlacedWindow> placed = reader.placement(element.object);
      if (placed) name = placed->title;
    }
    return textOrNone(name);
  }

  /// A name says what the element is; without one, what describes it does.
  static Value description(Reader reader, Element element) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    std::string name = displayName(node);
    if (std::string_view(translateRole(node).role) == "AXImage" && !name.empty()) return of(name);
    if (!name.empty() || isFormattedNumber(node) || isShell(node)) return none();
    return textOrNone(text::trimmed(node.facts.description));
  }

  static Value help(Reader reader, Element element) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    std::string description = text::trimmed(node.facts.description);
    std::string name = displayName(node);
    if (name.empty() || name == description || isFormattedNumber(node)) return none();
    return textOrNone(description);
  }

  static Value identifier(Reader reader, Element element) {
    if (!isObject(element)) return none();
    // A whole-tree reading has asked wherever the application gives identifiers.
    Facets facets = reader.tree().isPrefetched() ? Facets{0} : Facets{identifierFacet};
    return textOrNone(reader.view(element.object, facets).facts.identifier);
  }

  static Value placeholder(Reader reader, Element element) {
    if (!isTextElement(reader, element)) return none();
    const auto& attributes = reader.view(element.object, attributesFacet).facts.attributes;
    for (const char* key : {"placeholder-text", "placeholder"}) {
      if (auto found = attributes.find(key); found != attributes.end()) return textOrNone(found->second);
    }
    return none();
  }

  static Value url(Reader reader, Element element) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    std::string address;
    if (node.facts.role == Role::link) address = reader.view(element.object, linkFacet).facts.link;
    if (hasRole(reader, element, "AXWebArea")) {
      address = reader.view(element.object, documentFacet).facts.documentURL;
    }
    return address.empty() ? none() : of(AXURL{address});
  }

  static Value titleElement(Reader reader, Element element) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    if (!(detailFacets(node) & labelFacet)) return none();
    const AccessibleReference& label = reader.view(element.object, labelFacet).facts.label;
    return label.isNull() || label == element.object ? none() : elementOrEmpty(reader.elementFor(label));
  }

  // Its value.

  static Value value(Reader reader, Element element) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    std::string_view role = translateRole(node).role;
    if (role == "AXStaticText") {
      std::string shown = displayText(node);
      return of(shown.empty() ? reader.view(element.object, textFacet).facts.text : shown);
    }
    if (isTextRole(node.facts.role)) return of(reader.view(element.object, textFacet).facts.text);
    if (role == "AXPopUpButton" && node.facts.role == Role::comboBox) {
      if (showsChoiceAsName(node)) return textOrNone(displayName(node));
      return textOrNone(reader.chosenOption(element.object));
    }
    if (role == "AXCheckBox" || role == "AXRadioButton" || isCheckable(node)) return of(toggle(node));
    if (role == "AXDisclosureTriangle") return of(node.facts.is(State::expanded) ? 1 : 0);
    if (!node.facts.has(valueInterface) || node.facts.role == Role::splitPane) return none();
    const AccessibleFacts& facts = reader.view(element.object, valueFacet).facts;
    return role == "AXScrollBar" ? of(scrolledFraction(reader, element)) : of(facts.value);
  }

  /// GTK and Qt give a closed choice the name of what is chosen.
  static bool showsChoiceAsName(const NodeView& node) {
    return node.facts.role == Role::comboBox && node.toolkit != Toolkit::chromium &&
           node.toolkit != Toolkit::other;
  }

  static bool isCheckable(const NodeView& node) {
    return node.facts.role == Role::checkMenuItem || node.facts.role == Role::radioMenuItem;
  }

  static int toggle(const NodeView& node) {
    if (node.facts.role == Role::pageTab) return isCurrentTab(node) ? 1 : 0;
    if (node.facts.is(State::indeterminate)) return 2;
    return node.facts.is(State::checked) || node.facts.is(State::pressed) ? 1 : 0;
  }

  /// What Qt says of a tab as its focus is that it is in front.
  static bool isCurrentTab(const NodeView& node) {
    return node.facts.is(node.toolkit == Toolkit::qt ? State::focused : State::selected);
  }

  /// From 0 at one end to 1 at the other.
  static double scrolledFraction(Reader reader, Element element) {
    const AccessibleFacts& facts = reader.view(element.object, valueFacet | valueLimitsFacet).facts;
    double length = facts.maximum - facts.minimum;
    return length > 0 ? std::clamp((facts.value - facts.minimum) / length, 0.0, 1.0) : 0.0;
  }

  /// GTK describes a slider by its value.
  static bool isFormattedNumber(const NodeView& node) {
    if (!node.facts.has(valueInterface)) return false;
    const std::string& text = node.facts.description;
    return text.find_first_not_of(" +-.,%0123456789") == std::string::npos;
  }

  static Value valueDescription(Reader reader, Element element) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    return isFormattedNumber(node) ? textOrNone(text::trimmed(node.facts.description)) : none();
  }

  static Value minimum(Reader reader, Element element) {
    return limit(reader, element, &AccessibleFacts::minimum, 0);
  }
  static Value maximum(Reader reader, Element element) {
    return limit(reader, element, &AccessibleFacts::maximum, 1);
  }
  static Value limit(Reader reader, Element element, double AccessibleFacts::*field, double ofScrollBar) {
    if (!isObject(element) || !reader.view(element.object).facts.has(valueInterface)) return none();
    if (hasRole(reader, element, "AXScrollBar")) return of(ofScrollBar);
    return of(reader.view(element.object, valueLimitsFacet).facts.*field);
  }

  // Its states.

  static Value enabled(Reader reader, Element element) {
    if (element.kind == Kind::row) {
      auto cells = reader.cells(element);
      return of(!cells.empty() && isEnabled(reader.view(cells.front())));
    }
    if (element.kind == Kind::application || element.kind == Kind::systemWide) return none();
    return of(isEnabled(reader.view(element.object)));
  }
  static bool isEnabled(const NodeView& node) {
    // What has neither state is disabled; some things have only one of the two.
    return node.facts.is(State::enabled) || node.facts.is(State::sensitive);
  }

  static Value focused(Reader reader, Element element) {
    if (element.kind == Kind::row) {
      auto cells = reader.cells(element);
      return of(std::any_of(cells.begin(), cells.end(),
                            [&](const auto& cell) { return reader.view(cell).facts.is(State::focused); }));
    }
    if (element.kind == Kind::menu) return of(reader.view(element.object).facts.is(State::focused));
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    return of(node.isTopLevel ? node.facts.is(State::active) : hasFocus(node));
  }

  static Value selected(Reader reader, Element element) {
    if (element.kind == Kind::row) {
      auto cells = reader.cells(element);
      bool canBe = std::any_of(cells.begin(), cells.end(),
                               [&](const auto& cell) { return canBeSelected(reader.view(cell)); });
      return canBe ? of(reader.isSelected(element)) : none();
    }
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    return canBeSelected(node) ? of(node.facts.is(State::selected)) : none();
  }
  /// Every item of a menu may be selected, and says so only while it is.
  static bool canBeSelected(const NodeView& node) {
    if (node.facts.is(State::selected)) return true;
    bool isMenuPart = isMenuItemRole(node.facts.role) || node.facts.role == Role::menu ||
                      node.facts.role == Role::separator;
    return node.facts.is(State::selectable) && !isMenuPart && !node.isInLine;
  }

  static Value stateOfWindow(Reader reader, Element element, State state) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    return node.isTopLevel ? of(node.facts.is(state)) : none();
  }
  static Value isMain(Reader reader, Element element) {
    return stateOfWindow(reader, element, State::active);
  }
  static Value isModal(Reader reader, Element element) {
    return stateOfWindow(reader, element, State::modal);
  }
  static Value isMinimized(Reader reader, Element element) {
    return stateOfWindow(reader, element, State::iconified);
  }

  static Value disclosing(Reader reader, Element element) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    return node.facts.is(State::expandable) ? of(node.facts.is(State::expanded)) : none();
  }

  static Value orientation(Reader reader, Element element) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    if (node.facts.is(State::horizontal)) return of("AXHorizontalOrientation");
    return node.facts.is(State::vertical) ? of("AXVerticalOrientation") : none();
  }

  // Where it is.

  static Value frame(Reader reader, Element element) {
    auto frame = reader.frame(element);
    return frame ? of(*frame) : none();
  }
  static Value position(Reader reader, Element element) {
    auto frame = reader.frame(element);
    return frame ? of(frame->origin) : none();
  }
  static Value size(Reader reader, Element element) {
    auto frame = reader.frame(element);
    return frame ? of(frame->size) : none();
  }

  // What surrounds it.

  static Value parent(Reader reader, Element element) { return elementOrEmpty(reader.parent(element)); }
  static Value window(Reader reader, Element element) {
    if (element.kind == Kind::systemWide || isApplication(element)) return none();
    return elementOrEmpty(reader.window(element));
  }
  static Value children(Reader reader, Element element) {
    return element.kind == Kind::systemWide ? none() : elements(reader.children(element));
  }
  static Value rows(Reader reader, Element element) {
    if (!isObject(element) || !isRowContainerRole(reader.view(element.object).facts.role)) return none();
    std::vector<LinuxElement> rows = reader.children(element);
    std::erase_if(rows, [&](Element child) { return !hasRole(reader, child, "AXRow"); });
    return elements(rows);
  }
  static Value tabs(Reader reader, Element element) {
    return hasRole(reader, element, "AXTabGroup") ? children(reader, element) : none();
  }
  static Value selectedChildren(Reader reader, Element element) {
    if (!isObject(element)) return none();
    NodeView node = reader.view(element.object);
    if (!node.facts.has(selectionInterface) && !isRowContainerRole(node.facts.role)) return none();
    return elements(reader.selectedChildren(element));
  }
  static Value selectedRows(Reader reader, Element element) {
    if (!isObject(element) || !isRowContainerRole(reader.view(element.object).facts.role)) return none();
    std::vector<LinuxElement> rows = reader.selectedChildren(element);
    std::erase_if(rows, [&](Element child) { return !hasRole(reader, child, "AXRow"); });
    return elements(rows);
  }

  static Value windows(Reader reader, Element element) {
    return isApplication(element) ? elements(reader.windows()) : none();
  }
  static Value mainWindow(Reader reader, Element element) {
    return isApplication(element) ? elementOrEmpty(reader.mainWindow()) : none();
  }
  static Value menuBar(Reader reader, Element element) {
    return isApplication(element) ? elementOrEmpty(reader.menuBar()) : none();
  }
  static Value shownMenu(Reader reader, Element element) {
    std::string_view role = roleOf(reader, element);
    if (role != "AXMenuBarItem" && role != "AXMenuItem" && role != "AXPopUpButton") return none();
    return elementOrEmpty(reader.shownMenu(element));
  }

  // Its text.

  static Value characterCount(Reader reader, Element element) {
    if (!isTextElement(reader, element)) return none();
    return of(std::int64_t{text::utf16Length(reader.view(element.object, textFacet).facts.text)});
  }
  static Value selectedTextRange(Reader reader, Element element) {
    if (!isTextElement(reader, element)) return none();
    const AccessibleFacts& facts = reader.view(element.object, textFacet | textSelectionFacet).facts;
    return of(selection(facts));
  }
  static TextRange selection(const AccessibleFacts& facts) {
    if (facts.selectionStart < facts.selectionEnd) {
      return utf16Range(facts.text, facts.selectionStart, facts.selectionEnd);
    }
    return utf16Range(facts.text, facts.caret, facts.caret);
  }
  static Value selectedText(Reader reader, Element element) {
    if (!isTextElement(reader, element)) return none();
    const AccessibleFacts& facts = reader.view(element.object, textFacet | textSelectionFacet).facts;
    TextRange range = selection(facts);
    return of(text::utf16Slice(facts.text, range.location, range.length).value_or(""));
  }
  static Value visibleCharacterRange(Reader reader, Element element) {
    if (!isTextElement(reader, element)) return none();
    auto range = reader.visibleRange(element);
    return range ? of(*range) : none();
  }

  static Value focusedElement(Reader reader, Element element) {
    return isApplication(element) ? elementOrEmpty(reader.focusedElement(std::nullopt)) : none();
  }

  static constexpr Entry entries[] = {
      {"AXRole", role},
      {"AXRoleDescription", roleDescription},
      {"AXSubrole", subrole},
      {"AXTitle", title},
      {"AXValue", value},
      {"AXDescription", description},
      {"AXHelp", help},
      {"AXIdentifier", identifier},
      {"AXPlaceholderValue", placeholder},
      {"AXURL", url},
      {"AXTitleUIElement", titleElement},
      {"AXValueDescription", valueDescription},
      {"AXMinValue", minimum},
      {"AXMaxValue", maximum},
      {"AXOrientation", orientation},
      {"AXEnabled", enabled},
      {"AXFocused", focused},
      {"AXSelected", selected},
      {"AXDisclosing", disclosing},
      {"AXMain", isMain},
      {"AXModal", isModal},
      {"AXMinimized", isMinimized},
      {"AXFrame", frame},
      {"AXPosition", position},
      {"AXSize", size},
      {"AXParent", parent},
      {"AXWindow", window},
      {"AXTopLevelUIElement", window},
      {"AXChildren", children},
      {"AXRows", rows},
      {"AXTabs", tabs},
      {"AXSelectedChildren", selectedChildren},
      {"AXSelectedRows", selectedRows},
      {"AXWindows", windows},
      {"AXMainWindow", mainWindow},
      {"AXFocusedWindow", mainWindow},
      {"AXFocusedUIElement", focusedElement},
      {"AXMenuBar", menuBar},
      {"AXShownMenuUIElement", shownMenu},
      {"AXNumberOfCharacters", characterCount},
      {"AXSelectedText", selectedText},
      {"AXSelectedTextRange", selectedTextRange},
      {"AXVisibleCharacterRange", visibleCharacterRange},
  };

  // What can be set.

  static bool isEditable(const NodeView& node) {
    return node.facts.has(editableTextInterface) && node.facts.is(State::editable) && isEnabled(node);
  }

  static bool isSettable(Reader reader, Element element, std::string_view name) {
    if (element.kind == Kind::row) return name == "AXSelected";
    if (!isObject(element)) return false;
    NodeView node = reader.view(element.object);
    if (name == "AXValue")
      return (isEditable(node) && isTextRole(node.facts.role)) ||
             (isAdjustable(node) && node.facts.role != Role::splitPane && isEnabled(node));
    if (name == "AXFocused") return node.facts.is(State::focusable);
    if (name == "AXSelected") return canBeSelected(node);
    if (name == "AXSelectedTextRange") return isTextRole(node.facts.role) && node.facts.has(textInterface);
    if (name == "AXSelectedText") return isTextRole(node.facts.role) && isEditable(node);
    if (name == "AXSelectedChildren" || name == "AXSelectedRows") return node.facts.has(selectionInterface);
    return false;
  }
};

AXResult<AXValue> ElementReader::attribute(const LinuxElement& element, const std::string& name) {
  for (const AttributeTable::Entry& entry : AttributeTable::entries) {
    if (entry.name == name) return entry.read(*this, element);
  }
  return AttributeTable::none();
}

bool ElementReader::isSettable(const LinuxElement& element, const std::string& name) {
  return AttributeTable::isSettable(*this, element, name);
}

AXResult<AXValue> ElementReader::parameterizedAttribute(const LinuxElement& element, const std::string& name,
                                                        const AXValue& parameter) {
  using Value = AXResult<AXValue>;
  bool isAttributed = name == "AXAttributedStringForRange";
  if (name != "AXStringForRange" && !isAttributed)
    return Value::failed(AXError::parameterizedAttributeUnsupported);
  if (!AttributeTable::isTextElement(*this, element)) {
    return Value::failed(AXError::parameterizedAttributeUnsupported);
  }
  const TextRange* range = parameter.get<TextRange>();
  if (!range) return Value::failed(AXError::illegalArgument);
  const std::string& whole = view(element.object, textFacet).facts.text;
  std::optional<std::string> slice = text::utf16Slice(whole, range->location, range->length);
  if (!slice) return Value::failed(AXError::noValue);
  return isAttributed ? Value::success(AXAttributedText{*slice}) : Value::success(*slice);
}

}  // namespace tavik
