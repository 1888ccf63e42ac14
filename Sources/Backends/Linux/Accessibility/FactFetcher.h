#pragma once

#include <chrono>
#include <functional>
#include <unordered_map>
#include <vector>

#include "Backends/Linux/Accessibility/AccessibleFacts.h"
#include "Backends/Linux/Accessibility/Toolkit.h"
#include "Backends/Linux/Bus/BusFlight.h"

namespace tavik {

using FactsMap = std::unordered_map<AccessibleReference, AccessibleFacts>;

/// Asks many questions of many objects in one flight and files the answers.
class FactFetcher {
 public:
  /// Called when everything wanted of the object is known; may want more, of this
  /// object or of others.
  using OnKnown = std::function<void(const AccessibleReference& object, AccessibleFacts& facts)>;

  using ToolkitOf = std::function<Toolkit(const AccessibleReference& object)>;

  /// `patience` is how long no answer at all may come; `budget` bounds the whole.
  FactFetcher(BusConnection& bus, FactsMap& facts, ToolkitOf toolkitOf, std::chrono::milliseconds patience,
              std::chrono::milliseconds budget);

  /// Asks what is not known yet. An object that knows it all is reported by `run`.
  void want(const AccessibleReference& object, Facets facets);

  enum class Outcome {
    /// Everything has been answered.
    complete,
    /// The application, or the bus, has stopped answering.
    silent,
    /// The budget is spent while answers were still coming.
    cutShort,
  };
  Outcome run(const OnKnown& onKnown);

 private:
  struct Order {
    AccessibleReference object;
    AccessibleFacts* facts = nullptr;
    /// Wanted, but its interfaces are not known yet.
    Facets deferred = 0;
    /// Facets with questions on their way, and how many questions that is.
    Facets asked = 0;
    int outstanding = 0;
  };

  void ask(std::size_t order, Facets facets);
  void take(std::size_t order, std::size_t question, const BusReply& reply);
  void settle(std::size_t order, const OnKnown& onKnown);

  FactsMap& facts_;
  const ToolkitOf toolkitOf_;
  const std::chrono::milliseconds patience_;
  const std::chrono::milliseconds budget_;
  BusFlight flight_;
  std::vector<Order> orders_;
  std::unordered_map<AccessibleReference, std::size_t> orderOf_;
  std::vector<std::size_t> settled_;
};

}  // namespace tavik
