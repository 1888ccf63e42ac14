#pragma once

#include <cstdint>
#include <functional>

#include "PlatformInterfaces/AXElement.h"

namespace tavik {

class ElementModel;
struct ElementNode;

/// Names an element of one desktop. An application is named by its process, so that
/// a handle made before it started, or of its successor, is equal.
class SimulatedIdentity : public AXElementIdentity {
 public:
  SimulatedIdentity(const ElementModel& model, const ElementNode* node, std::int32_t pid)
      : model(&model), node(node), pid(pid) {}

  bool isSame(const AXElementIdentity& other) const override {
    const auto* same = dynamic_cast<const SimulatedIdentity*>(&other);
    return same && same->model == model && same->node == node && same->pid == pid;
  }

  std::size_t hash() const override {
    return std::hash<const void*>()(node) ^ (std::hash<std::int32_t>()(pid) << 1);
  }

  const ElementModel* const model;
  /// Null for an application.
  const ElementNode* const node;
  const std::int32_t pid;
};

}  // namespace tavik
