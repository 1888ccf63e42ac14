#include "TreeNode.h"

#include <algorithm>

namespace tavik {

namespace {

constexpr int deepest = 50;

const std::vector<std::string> batch = {"AXRole",        "AXRoleDescription",
                                        "AXTitle",       "AXValue",
                                        "AXDescription", "AXPlaceholderValue",
                                        "AXIdentifier",  "AXSubrole",
                                        "AXFrame",       "AXEnabled",
                                        "AXSelected",    "AXFocused",
                                        "AXHelp",        "AXURL"};

std::string textOf(const AXValue& value) {
  auto* text = value.get<std::string>();
  return text ? *text : "";
}

TreeNode read(AccessibilityPort& port, const AXElement& element, int depth) {
  TreeNode node;
  node.element = element;
  auto values = port.copyMultipleAttributeValues(element, batch);
  if (!values.ok() || depth == deepest) return node;
  const AXArray& v = values.value;
  node.role = textOf(v[0]);
  node.roleDescription = textOf(v[1]);
  node.title = textOf(v[2]);
  if (!v[3].get<AXErrorMark>()) node.value = v[3];
  node.description = textOf(v[4]);
  node.placeholder = textOf(v[5]);
  node.subrole = textOf(v[7]);
  if (auto* frame = v[8].get<Rect>()) node.frame = *frame;
  if (auto* enabled = v[9].get<bool>()) node.isEnabled = *enabled;
  if (auto* selected = v[10].get<bool>()) node.selection = *selected ? "selected" : "selectable";
  if (auto* focused = v[11].get<bool>()) node.isFocused = *focused;
  node.help = textOf(v[12]);
  if (auto* url = v[13].get<AXURL>()) node.url = url->absoluteString;
  node.actions = port.copyActionNames(element).value;
  node.isSettable = port.isAttributeSettable(element, "AXValue").value;
  auto count = port.getAttributeValueCount(element, "AXChildren");
  auto children = port.copyAttributeValues(element, "AXChildren", 0, count.value);
  if (auto* array = children.value.get<AXArray>()) {
    for (const AXValue& child : *array)
      node.children.push_back(read(port, *child.get<AXElement>(), depth + 1));
  }
  return node;
}

}  // namespace

TreeNode readTree(AccessibilityPort& port, const AXElement& root) {
  auto scope = port.beginReadScope(root);
  return read(port, root, 0);
}

bool TreeNode::offers(const std::string& action) const {
  return std::find(actions.begin(), actions.end(), action) != actions.end();
}

std::string TreeNode::text() const {
  return textOf(value);
}

std::size_t TreeNode::count() const {
  std::size_t sum = 1;
  for (const TreeNode& child : children) sum += child.count();
  return sum;
}

const TreeNode* TreeNode::find(const Condition& condition) const {
  if (condition(*this)) return this;
  for (const TreeNode& child : children) {
    if (const TreeNode* found = child.find(condition)) return found;
  }
  return nullptr;
}

const TreeNode* TreeNode::find(const std::string& wantedRole, const std::string& wantedTitle) const {
  return find([&](const TreeNode& node) { return node.role == wantedRole && node.title == wantedTitle; });
}

std::vector<const TreeNode*> TreeNode::all(const std::string& wantedRole) const {
  std::vector<const TreeNode*> result;
  find([&](const TreeNode& node) {
    if (node.role == wantedRole) result.push_back(&node);
    return false;
  });
  return result;
}

std::string TreeNode::outline(int depth) const {
  std::string line(static_cast<std::size_t>(depth) * 2, ' ');
  line += role + " '" + title + "' value '" + text() + "' description '" + description + "'";
  for (const std::string& action : actions) line += " " + action;
  line += "\n";
  for (const TreeNode& child : children) line += child.outline(depth + 1);
  return line;
}

}  // namespace tavik
