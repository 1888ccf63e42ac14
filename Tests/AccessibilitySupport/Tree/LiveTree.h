#pragma once

#include <memory>
#include <string>
#include <utility>

#include "AccessDesk.h"
#include "TreeOfItems.h"

namespace tavik {

/// Items that stand for scripted elements of one application.
class LiveTree {
 public:
  explicit LiveTree(AccessDesk& desk) : desk_(desk) {}

  std::shared_ptr<Item> item(UIElementTreeItemValues values, ScriptedNode node = {},
                             std::initializer_list<std::shared_ptr<Item>> children = {}) {
    values.axElement = desk_.port.add(AccessDesk::appPID, std::move(node));
    values.access = &desk_.access;
    return tavik::item(std::move(values), children);
  }

  ScriptedNode& node(const std::shared_ptr<Item>& item) { return desk_.port.at(item->axElement); }

 private:
  AccessDesk& desk_;
};

}  // namespace tavik
