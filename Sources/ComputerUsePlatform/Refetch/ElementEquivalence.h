#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTree.h"

namespace tavik {

/// What makes two elements the same to a reader. Where they are plays no part: an
/// element that moved is the same element. Equal means exactly equal.
struct ElementEquivalenceSignature {
  std::optional<std::string> role;
  std::optional<std::string> title;
  std::optional<std::string> elementDescription;
  std::optional<std::string> value;
  std::optional<std::string> roleDescription;
  std::optional<std::string> subrole;
  std::optional<std::string> identifier;
  std::optional<std::string> help;
  std::optional<std::string> placeholderValue;
  std::optional<AXURL> url;

  bool operator==(const ElementEquivalenceSignature&) const = default;
};

ElementEquivalenceSignature equivalenceSignature(const UIElementTreeItemValues& item);

/// The signature of the element as it is now; absent when it cannot be read. Where
/// the application only did not answer in time, all fields are absent.
std::optional<ElementEquivalenceSignature> liveEquivalenceSignature(AXWrapper& access, const AXElement& element);

/// The items of the tree that say the same as the item, in tree order.
std::vector<std::shared_ptr<UIElementTree::Item>> collectEquivalentCandidates(const UIElementTree::Item& item,
                                                                              const UIElementTree& tree);

}  // namespace tavik
