#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Backends/Simulated/Accessibility/ElementBuilder.h"
#include "Backends/Simulated/Accessibility/FaultScript.h"

namespace tavik {

class ElementModel;
struct ElementNode;

/// A test's hand on one element of a simulated application. Copies name the same
/// element; valid as long as the desktop, also after the element has died. What a
/// test does here is what the application does by itself: it waits for nobody,
/// counts as no call and notifies observers as the application would. Any thread.
class SimulatedElement {
 public:
  SimulatedElement() = default;
  SimulatedElement(ElementModel& model, ElementNode& node) : model_(&model), node_(&node) {}

  explicit operator bool() const { return node_ != nullptr; }
  bool operator==(const SimulatedElement&) const = default;

  /// The handle that the code under test uses.
  AXElement element() const;
  operator AXValue() const { return element(); }
  std::int32_t pid() const;

  /// Adds a child behind the others and answers it. Existing windows and elements
  /// grow by one call a child, so a chain of 100,000 is no problem.
  SimulatedElement add(const ElementBuilder& plan) const;
  SimulatedElement insert(std::size_t index, const ElementBuilder& plan) const;
  /// Lists an element that lives elsewhere among the children, as broken
  /// applications do: this is how cycles are made.
  void addReference(SimulatedElement other) const;
  /// Takes the element and what is below it away; they are dead from now on.
  void remove() const;
  void removeChildren() const;
  /// Dead, and yet its parent still lists it.
  void die() const;
  bool isAlive() const;

  SimulatedElement parent() const;
  std::vector<SimulatedElement> children() const;
  SimulatedElement child(std::size_t index) const;
  /// The first element below this one, or this one, with that AXIdentifier or,
  /// failing that, with that AXTitle; an empty handle when there is none.
  SimulatedElement find(const std::string& identifierOrTitle) const;

  /// What the attribute is now; null when there is none.
  AXValue get(const std::string& attribute) const;
  AXValue value() const { return get("AXValue"); }
  std::string text() const;
  TextRange selectedRange() const;
  bool isFocused() const;
  std::string role() const;
  Rect frame() const;

  /// Stores an attribute and tells the observers what such a change tells.
  void set(const std::string& attribute, AXValue value) const;
  /// The same without a word to anybody.
  void setQuietly(const std::string& attribute, AXValue value) const;
  void setSettable(const std::string& attribute, bool isSettable) const;
  /// The element has the attribute no more.
  void drop(const std::string& attribute) const;
  /// Moves what is below along.
  void setFrame(const Rect& frame) const;
  void focus() const;
  /// As a user would: what the role does, then the handlers.
  void press() const { perform("AXPress"); }
  void perform(const std::string& action) const;
  void onAction(const std::string& action, ElementHandler handler) const;
  void onAction(const std::string& action, std::function<void()> handler) const;
  void rewrites(const std::string& attribute, ValueRewriter rewriter) const;
  /// Sends a notification about this element.
  void notify(const std::string& notification) const;

  /// Scripts the calls on this element; the latest fault that fits decides.
  Fault on(AXCall call) const;

  /// How many calls reached the target: all reads, or those of one attribute
  /// however it was read.
  int reads(const std::string& attribute = {}) const;
  int calls(AXOperation operation, const std::string& name = {}) const;

  /// "button 'Save'".
  std::string label() const;

  ElementModel* model() const { return model_; }
  ElementNode* node() const { return node_; }

 protected:
  ElementModel* model_ = nullptr;
  ElementNode* node_ = nullptr;
};

}  // namespace tavik
