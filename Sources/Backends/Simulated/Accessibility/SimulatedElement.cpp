#include "Backends/Simulated/Accessibility/SimulatedElement.h"

#include <limits>
#include <unordered_set>

#include "Backends/Simulated/Accessibility/ElementModel.h"

namespace tavik {

namespace {

std::string textIn(const AXValue& value) {
  const auto* text = value.get<std::string>();
  return text ? *text : "";
}

}  // namespace

AXElement SimulatedElement::element() const { return model_->handle(*node_); }

std::int32_t SimulatedElement::pid() const { return node_->application->record.pid; }

SimulatedElement SimulatedElement::add(const ElementBuilder& plan) const {
  return insert(std::numeric_limits<std::size_t>::max(), plan);
}

SimulatedElement SimulatedElement::insert(std::size_t index, const ElementBuilder& plan) const {
  return model_->change([&](ElementEffects& effects) {
    return SimulatedElement(*model_, model_->makeLocked(*node_->application, node_, plan, index, effects));
  });
}

void SimulatedElement::addReference(SimulatedElement other) const {
  model_->look([&] { node_->children.push_back(other.node_); });
}

void SimulatedElement::remove() const {
  model_->change([&](ElementEffects& effects) { model_->removeLocked(*node_, effects); });
}

void SimulatedElement::removeChildren() const {
  for (const SimulatedElement& child : children()) child.remove();
}

void SimulatedElement::die() const {
  model_->look([&] { node_->isAlive = false; });
}

bool SimulatedElement::isAlive() const {
  return model_->look([&] { return node_->isAlive; });
}

SimulatedElement SimulatedElement::parent() const {
  return node_->parent ? SimulatedElement(*model_, *node_->parent) : SimulatedElement();
}

std::vector<SimulatedElement> SimulatedElement::children() const {
  return model_->look([&] {
    std::vector<SimulatedElement> elements;
    for (ElementNode* child : node_->children) elements.emplace_back(*model_, *child);
    return elements;
  });
}

SimulatedElement SimulatedElement::child(std::size_t index) const { return children().at(index); }

SimulatedElement SimulatedElement::find(const std::string& identifierOrTitle) const {
  SimulatedElement titled;
  std::vector<SimulatedElement> open{*this};
  std::unordered_set<const ElementNode*> seen;
  while (!open.empty()) {
    const SimulatedElement candidate = open.back();
    open.pop_back();
    if (!seen.insert(candidate.node_).second) continue;
    if (textIn(candidate.get("AXIdentifier")) == identifierOrTitle) return candidate;
    if (!titled && textIn(candidate.get("AXTitle")) == identifierOrTitle) titled = candidate;
    const auto children = candidate.children();
    open.insert(open.end(), children.rbegin(), children.rend());
  }
  return titled;
}

AXValue SimulatedElement::get(const std::string& attribute) const {
  return model_->look([&] { return model_->readLocked(*node_, attribute).value; });
}

std::string SimulatedElement::text() const { return textIn(value()); }

TextRange SimulatedElement::selectedRange() const {
  const AXValue range = get("AXSelectedTextRange");
  return range.get<TextRange>() ? *range.get<TextRange>() : TextRange{};
}

bool SimulatedElement::isFocused() const {
  return model_->look([&] { return node_->application->focusedElement == node_; });
}

std::string SimulatedElement::role() const { return node_->role; }

Rect SimulatedElement::frame() const {
  return model_->look([&] { return node_->frame.value_or(Rect{}); });
}

void SimulatedElement::set(const std::string& attribute, AXValue value) const {
  model_->change([&](ElementEffects& effects) { model_->setLocked(*node_, attribute, std::move(value), effects); });
}

void SimulatedElement::setQuietly(const std::string& attribute, AXValue value) const {
  model_->look([&] { model_->storeLocked(*node_, attribute, std::move(value)); });
}

void SimulatedElement::setSettable(const std::string& attribute, bool isSettable) const {
  model_->look([&] {
    if (!node_->extras) node_->extras = std::make_shared<ElementBuilder::Extras>();
    node_->extras->settable[attribute] = isSettable;
  });
}

void SimulatedElement::drop(const std::string& attribute) const {
  model_->look([&] {
    std::erase_if(node_->attributes, [&](const auto& stored) { return stored.name == attribute; });
    model_->storeLocked(*node_, attribute, AXErrorMark{AXError::attributeUnsupported});
  });
}

void SimulatedElement::setFrame(const Rect& frame) const {
  model_->change([&](ElementEffects& effects) {
    const Rect before = node_->frame.value_or(frame);
    model_->moveLocked(*node_, {frame.origin.x - before.origin.x, frame.origin.y - before.origin.y});
    node_->frame = frame;
    if (!(frame.origin == before.origin)) effects.notify(*node_, "AXMoved");
    if (!(frame.size == before.size)) effects.notify(*node_, "AXResized");
  });
}

void SimulatedElement::focus() const {
  model_->change([&](ElementEffects& effects) { model_->focusLocked(*node_, true, effects); });
}

void SimulatedElement::perform(const std::string& action) const {
  model_->change([&](ElementEffects& effects) { model_->performLocked(*node_, action, effects); });
}

void SimulatedElement::onAction(const std::string& action, ElementHandler handler) const {
  model_->look([&] {
    if (!node_->extras) node_->extras = std::make_shared<ElementBuilder::Extras>();
    node_->extras->actions.push_back({action, {}, std::move(handler)});
  });
}

void SimulatedElement::onAction(const std::string& action, std::function<void()> handler) const {
  onAction(action, ElementHandler([handler = std::move(handler)](SimulatedElement) { handler(); }));
}

void SimulatedElement::rewrites(const std::string& attribute, ValueRewriter rewriter) const {
  model_->look([&] {
    if (!node_->extras) node_->extras = std::make_shared<ElementBuilder::Extras>();
    node_->extras->rewriters.emplace_back(attribute, std::move(rewriter));
  });
}

void SimulatedElement::notify(const std::string& notification) const {
  model_->change([&](ElementEffects& effects) { effects.notify(*node_, notification); });
}

Fault SimulatedElement::on(AXCall call) const {
  Fault fault(std::move(call));
  model_->look([&] { node_->faults.push_back(fault); });
  return fault;
}

int SimulatedElement::reads(const std::string& attribute) const {
  return model_->look([&] {
    if (!attribute.empty()) return model_->readsLocked(*node_, attribute);
    int all = 0;
    for (const CallCount& count : node_->counts) {
      if (AXCall::read().operations.contains(count.operation)) all += static_cast<int>(count.count);
    }
    return all;
  });
}

int SimulatedElement::calls(AXOperation operation, const std::string& name) const {
  return model_->look([&] { return model_->callsLocked(*node_, operation, name); });
}

std::string SimulatedElement::label() const {
  return model_->look([&] { return model_->labelLocked(*node_); });
}

}  // namespace tavik
