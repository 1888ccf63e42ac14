#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

/// One element and what is below it, copied out through the port.
struct TreeNode {
  AXElement element;
  std::string role;
  std::string subrole;
  std::string roleDescription;
  std::string title;
  AXValue value;
  std::string description;
  std::string help;
  std::string placeholder;
  std::string url;
  Rect frame = Rect::null();
  bool isEnabled = true;
  /// "selected", "selectable", or empty.
  std::string selection;
  bool isFocused = false;
  bool isSettable = false;
  std::vector<std::string> actions;
  std::vector<TreeNode> children;

  bool offers(const std::string& action) const;
  std::string text() const;
  std::size_t count() const;

  using Condition = std::function<bool(const TreeNode&)>;
  /// The first node, parents before children; null when there is none.
  const TreeNode* find(const Condition& condition) const;
  const TreeNode* find(const std::string& role, const std::string& title) const;
  std::vector<const TreeNode*> all(const std::string& role) const;
  /// An indented line for each node, to be shown when a test fails.
  std::string outline(int depth = 0) const;
};

/// Reads a tree the way that the tree build does, in one read scope.
TreeNode readTree(AccessibilityPort& port, const AXElement& root);

}  // namespace tavik
