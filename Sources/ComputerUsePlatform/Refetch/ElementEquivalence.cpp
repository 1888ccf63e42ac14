#include "ComputerUsePlatform/Refetch/ElementEquivalence.h"

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Tree/LiveItemValues.h"

namespace tavik {

namespace {

const std::vector<std::string> signatureAttributes = {
    AXAttributes::role,       AXAttributes::title, AXAttributes::description,      AXAttributes::value,
    AXAttributes::roleDescription, AXAttributes::subrole, AXAttributes::identifier, AXAttributes::help,
    AXAttributes::placeholderValue, AXAttributes::url,
};

}  // namespace

ElementEquivalenceSignature equivalenceSignature(const UIElementTreeItemValues& item) {
  return {.role = item.role,
          .title = item.title,
          .elementDescription = item.elementDescription,
          .value = item.value,
          .roleDescription = item.roleDescription,
          .subrole = item.subrole,
          .identifier = item.identifier,
          .help = item.help,
          .placeholderValue = item.placeholderValue,
          .url = item.url};
}

std::optional<ElementEquivalenceSignature> liveEquivalenceSignature(AXWrapper& access, const AXElement& element) {
  auto answers = access.tryCopyMultipleAttributeValues(element, signatureAttributes);
  if (!answers) return std::nullopt;
  return equivalenceSignature(itemValues(signatureAttributes, *std::move(answers)));
}

std::vector<std::shared_ptr<UIElementTree::Item>> collectEquivalentCandidates(const UIElementTree::Item& item,
                                                                              const UIElementTree& tree) {
  const auto wanted = equivalenceSignature(item);
  std::vector<std::shared_ptr<UIElementTree::Item>> candidates;
  for (const auto& candidate : tree.allItems()) {
    if (equivalenceSignature(*candidate) == wanted) candidates.push_back(candidate);
  }
  return candidates;
}

}  // namespace tavik
