#include "Backends/Simulated/Accessibility/ElementBuilder.h"

#include <algorithm>

#include "Backends/Simulated/Accessibility/SimulatedElement.h"

namespace tavik {

ElementBuilder::Extras& ElementBuilder::extras() {
  // A copied plan shares what was planned until one of the two changes it.
  extras_ = extras_ ? std::make_shared<Extras>(*extras_) : std::make_shared<Extras>();
  return *extras_;
}

ElementBuilder& ElementBuilder::range(double minimum, double maximum) {
  return attribute("AXMinValue", minimum).attribute("AXMaxValue", maximum);
}

ElementBuilder& ElementBuilder::frame(const Rect& frame) {
  frame_ = frame;
  return *this;
}

ElementBuilder& ElementBuilder::attribute(std::string name, AXValue value, std::optional<bool> settable) {
  auto known = std::ranges::find(attributes_, name, &StoredAttribute::name);
  if (known == attributes_.end()) {
    attributes_.push_back({std::move(name), std::move(value), settable});
  } else {
    known->value = std::move(value);
    if (settable) known->settable = settable;
  }
  return *this;
}

ElementBuilder& ElementBuilder::without(std::string attributeName) {
  return attribute(std::move(attributeName), AXErrorMark{AXError::attributeUnsupported}, false);
}

ElementBuilder& ElementBuilder::parameterized(std::string attributeName, ParameterizedAnswer answer) {
  extras().parameterized.emplace_back(std::move(attributeName), std::move(answer));
  return *this;
}

ElementBuilder& ElementBuilder::onAction(std::string name, ElementHandler handler) {
  extras().actions.push_back({std::move(name), {}, std::move(handler)});
  return *this;
}

ElementBuilder& ElementBuilder::onAction(std::string name, std::function<void()> handler) {
  return onAction(std::move(name), ElementHandler([handler = std::move(handler)](SimulatedElement) { handler(); }));
}

ElementBuilder& ElementBuilder::action(std::string name, std::string description) {
  extras().actions.push_back({std::move(name), std::move(description), {}});
  return *this;
}

ElementBuilder& ElementBuilder::rewrites(std::string attributeName, ValueRewriter rewriter) {
  extras().rewriters.emplace_back(std::move(attributeName), std::move(rewriter));
  return *this;
}

ElementBuilder& ElementBuilder::inert() {
  extras().isInert = true;
  return *this;
}

ElementBuilder& ElementBuilder::menu(std::vector<ElementBuilder> items) {
  extras().menu = std::move(items);
  return *this;
}

ElementBuilder& ElementBuilder::contentHeight(double points) {
  extras().contentHeight = points;
  return *this;
}

ElementBuilder& ElementBuilder::computesVisibleChildren() {
  extras().computesVisibleChildren = true;
  return *this;
}

ElementBuilder& ElementBuilder::add(ElementBuilder child) {
  children_.push_back(std::move(child));
  return *this;
}

ElementBuilder& ElementBuilder::add(std::vector<ElementBuilder> children) {
  for (ElementBuilder& child : children) children_.push_back(std::move(child));
  return *this;
}

ElementBuilder& ElementBuilder::as(SimulatedElement& handle) {
  handle_ = &handle;
  return *this;
}

namespace simulated {

ElementBuilder element(std::string role, std::string title) {
  ElementBuilder plan(std::move(role));
  if (!title.empty()) plan.title(std::move(title));
  return plan;
}

ElementBuilder button(std::string title) { return element("AXButton", std::move(title)); }

ElementBuilder checkBox(std::string title, bool isOn) {
  return element("AXCheckBox", std::move(title)).value(isOn ? 1 : 0);
}

ElementBuilder radioButton(std::string title, bool isOn) {
  return element("AXRadioButton", std::move(title)).value(isOn ? 1 : 0);
}

ElementBuilder radioGroup(std::vector<ElementBuilder> buttons) {
  return element("AXRadioGroup").add(std::move(buttons));
}

ElementBuilder staticText(std::string text) { return element("AXStaticText").value(std::move(text)); }

ElementBuilder link(std::string title, std::string url) {
  ElementBuilder plan = element("AXLink", std::move(title));
  if (!url.empty()) plan.url(std::move(url));
  return plan;
}

ElementBuilder image(std::string description) { return element("AXImage").description(std::move(description)); }

ElementBuilder textField(std::string text) { return element("AXTextField").value(std::move(text)); }

ElementBuilder secureTextField(std::string text) {
  return textField(std::move(text)).subrole("AXSecureTextField");
}

ElementBuilder textArea(std::string text) { return element("AXTextArea").value(std::move(text)); }

ElementBuilder comboBox(std::string text) { return element("AXComboBox").value(std::move(text)); }

ElementBuilder slider(double value, double minimum, double maximum) {
  return element("AXSlider").value(value).range(minimum, maximum);
}

ElementBuilder stepper(double value, double minimum, double maximum) {
  return element("AXIncrementor").value(value).range(minimum, maximum);
}

ElementBuilder popUpButton(std::string chosen, std::vector<ElementBuilder> items) {
  return element("AXPopUpButton").value(std::move(chosen)).menu(std::move(items));
}

ElementBuilder menuButton(std::string title, std::vector<ElementBuilder> items) {
  return element("AXMenuButton", std::move(title)).menu(std::move(items));
}

ElementBuilder menu(std::string title, std::vector<ElementBuilder> items) {
  return element("AXMenuBarItem", std::move(title)).selectable().add(element("AXMenu").add(std::move(items)));
}

ElementBuilder menuItem(std::string title) { return element("AXMenuItem", std::move(title)).selectable(); }

ElementBuilder submenu(std::string title, std::vector<ElementBuilder> items) {
  return menuItem(std::move(title)).add(element("AXMenu").add(std::move(items)));
}

ElementBuilder group(std::string title) { return element("AXGroup", std::move(title)); }

ElementBuilder toolbar() { return element("AXToolbar"); }

ElementBuilder scrollArea(const Rect& frame, double contentHeight) {
  return element("AXScrollArea").frame(frame).contentHeight(contentHeight);
}

ElementBuilder list() { return element("AXList"); }
ElementBuilder table() { return element("AXTable"); }
ElementBuilder outline() { return element("AXOutline"); }

ElementBuilder row(const std::vector<std::string>& cells) {
  ElementBuilder plan = element("AXRow").selectable();
  for (const std::string& text : cells) plan.add(element("AXCell").add(staticText(text)));
  return plan;
}

ElementBuilder disclosureTriangle(bool isOpen) { return element("AXDisclosureTriangle").value(isOpen ? 1 : 0); }

ElementBuilder webArea(std::string title, std::string url) {
  ElementBuilder plan = element("AXWebArea", std::move(title)).roleDescription("HTML content");
  if (!url.empty()) plan.url(std::move(url));
  return plan;
}

}  // namespace simulated

}  // namespace tavik
