#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "PlatformInterfaces/AXValue.h"

namespace tavik {

class SimulatedElement;

/// What an application does when asked; given the element that was asked.
using ElementHandler = std::function<void(SimulatedElement element)>;
/// What a written value becomes; nothing when the write is ignored.
using ValueRewriter = std::function<std::optional<AXValue>(const AXValue& written)>;
/// The answer to a parameterized attribute.
using ParameterizedAnswer = std::function<AXValue(const AXValue& parameter)>;

/// A plan of an element and what is below it; `SimulatedElement::add` makes it real.
/// Every method answers the plan itself.
class ElementBuilder {
 public:
  struct StoredAttribute {
    std::string name;
    AXValue value;
    /// By the role's custom when absent.
    std::optional<bool> settable;
  };
  struct StoredAction {
    std::string name;
    std::string description;
    ElementHandler handler;
  };
  struct Extras {
    std::vector<StoredAction> actions;
    std::vector<std::pair<std::string, ValueRewriter>> rewriters;
    std::vector<std::pair<std::string, ParameterizedAnswer>> parameterized;
    /// Shown by a press (pop-up and menu buttons) or AXShowMenu (all others).
    std::vector<ElementBuilder> menu;
    /// What a test said of attributes, also of those that are derived.
    std::map<std::string, bool> settable;
    std::optional<double> contentHeight;
    bool computesVisibleChildren = false;
    bool isInert = false;
  };

  explicit ElementBuilder(std::string role) : role_(std::move(role)) {}

  ElementBuilder& title(std::string text) { return attribute("AXTitle", std::move(text)); }
  ElementBuilder& value(AXValue value) { return attribute("AXValue", std::move(value)); }
  ElementBuilder& description(std::string text) { return attribute("AXDescription", std::move(text)); }
  ElementBuilder& help(std::string text) { return attribute("AXHelp", std::move(text)); }
  ElementBuilder& placeholder(std::string text) { return attribute("AXPlaceholderValue", std::move(text)); }
  ElementBuilder& identifier(std::string text) { return attribute("AXIdentifier", std::move(text)); }
  ElementBuilder& subrole(std::string text) { return attribute("AXSubrole", std::move(text)); }
  ElementBuilder& roleDescription(std::string text) { return attribute("AXRoleDescription", std::move(text)); }
  ElementBuilder& url(std::string text) { return attribute("AXURL", AXURL{std::move(text)}); }
  ElementBuilder& range(double minimum, double maximum);
  ElementBuilder& enabled(bool isEnabled) { return attribute("AXEnabled", isEnabled); }
  /// Gives the element AXSelected, which can be written.
  ElementBuilder& selectable(bool isSelected = false) { return attribute("AXSelected", isSelected, true); }
  ElementBuilder& focusable() { return attribute("AXFocused", false, true); }
  /// In global points.
  ElementBuilder& frame(const Rect& frame);
  ElementBuilder& frame(double x, double y, double width, double height) {
    return frame(Rect{{x, y}, {width, height}});
  }
  /// Any attribute, also one that the model would derive itself: what is stored
  /// wins. An `AXErrorMark` makes reading it fail with that code, null has no value.
  ElementBuilder& attribute(std::string name, AXValue value, std::optional<bool> settable = std::nullopt);
  ElementBuilder& without(std::string attributeName);
  ElementBuilder& parameterized(std::string attributeName, ParameterizedAnswer answer);

  /// Offers an action beside those that the role has by custom; a role's own action
  /// gets the handler on top of what it does.
  ElementBuilder& onAction(std::string name, ElementHandler handler);
  ElementBuilder& onAction(std::string name, std::function<void()> handler);
  /// Offers an action under what the application calls it; it does nothing by itself.
  ElementBuilder& action(std::string name, std::string description = {});
  template <class Handler>
  ElementBuilder& onPress(Handler handler) {
    return onAction("AXPress", std::move(handler));
  }
  ElementBuilder& rewrites(std::string attributeName, ValueRewriter rewriter);
  /// Actions succeed and do nothing but run their handlers.
  ElementBuilder& inert();
  ElementBuilder& menu(std::vector<ElementBuilder> items);
  /// Makes a scroll area that scrolls: gives it a bar, page actions and this much content.
  ElementBuilder& contentHeight(double points);
  /// Gives the element AXVisibleChildren: those whose frames meet its own.
  ElementBuilder& computesVisibleChildren();

  ElementBuilder& add(ElementBuilder child);
  ElementBuilder& add(std::vector<ElementBuilder> children);
  /// Where to put the handle once the element is real.
  ElementBuilder& as(SimulatedElement& handle);

 private:
  friend class ElementModel;
  Extras& extras();

  std::string role_;
  std::optional<Rect> frame_;
  std::vector<StoredAttribute> attributes_;
  std::shared_ptr<Extras> extras_;
  std::vector<ElementBuilder> children_;
  SimulatedElement* handle_ = nullptr;
};

/// The usual elements, as an application of the desktop's toolkit makes them.
namespace simulated {

ElementBuilder element(std::string role, std::string title = {});
ElementBuilder button(std::string title);
ElementBuilder checkBox(std::string title, bool isOn = false);
ElementBuilder radioButton(std::string title, bool isOn = false);
/// Pressing one of them takes the others back.
ElementBuilder radioGroup(std::vector<ElementBuilder> buttons);
ElementBuilder staticText(std::string text);
ElementBuilder link(std::string title, std::string url = {});
ElementBuilder image(std::string description);
ElementBuilder textField(std::string text = {});
ElementBuilder secureTextField(std::string text = {});
ElementBuilder textArea(std::string text = {});
ElementBuilder comboBox(std::string text = {});
ElementBuilder slider(double value, double minimum = 0, double maximum = 1);
ElementBuilder stepper(double value, double minimum = 0, double maximum = 100);
ElementBuilder popUpButton(std::string chosen, std::vector<ElementBuilder> items);
ElementBuilder menuButton(std::string title, std::vector<ElementBuilder> items);
/// A title of the menu bar with its menu below it.
ElementBuilder menu(std::string title, std::vector<ElementBuilder> items);
ElementBuilder menuItem(std::string title);
ElementBuilder submenu(std::string title, std::vector<ElementBuilder> items);
ElementBuilder group(std::string title = {});
ElementBuilder toolbar();
ElementBuilder scrollArea(const Rect& frame, double contentHeight);
ElementBuilder list();
ElementBuilder table();
ElementBuilder outline();
/// A row that can be selected, with a cell for each text.
ElementBuilder row(const std::vector<std::string>& cells = {});
ElementBuilder disclosureTriangle(bool isOpen = false);
ElementBuilder webArea(std::string title = {}, std::string url = {});

}  // namespace simulated

}  // namespace tavik
