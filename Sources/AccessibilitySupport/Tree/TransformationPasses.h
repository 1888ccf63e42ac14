#pragma once

#include <memory>
#include <string>

#include "AccessibilitySupport/Tree/UIElementTreeTransformation.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// The passes, one function each, in the order of `UIElementTreeTransformation`. Each
/// is asked for one item, after all items below it.

/// Keeps the actions that the model can make use of.
UIElementTreeTransformationResult filterActions(const std::shared_ptr<UIElementTreeItem>& item,
                                                const UIElementTreeItem& parent);

/// Gives an item without a title the text of the sibling that is its label.
UIElementTreeTransformationResult associateTitleUIElements(const std::shared_ptr<UIElementTreeItem>& item,
                                                           const UIElementTreeItem& parent);

/// Folds the children of a selectable row into a label.
UIElementTreeTransformationResult flattenIntoSelectableAncestor(
    const std::shared_ptr<UIElementTreeItem>& item, const UIElementTreeItem& parent);

/// Removes subtrees that say nothing.
UIElementTreeTransformationResult pruneNonDescriptiveSubtrees(const std::shared_ptr<UIElementTreeItem>& item,
                                                              const UIElementTreeItem& parent);

/// Removes empty disabled leaves.
UIElementTreeTransformationResult pruneEmptyDisabledElements(const std::shared_ptr<UIElementTreeItem>& item,
                                                             const UIElementTreeItem& parent);

/// Replaces a plain group by its only child.
UIElementTreeTransformationResult mergeSingleItemGroups(const std::shared_ptr<UIElementTreeItem>& item,
                                                        const UIElementTreeItem& parent);

/// Keeps every item: a hierarchy that looks redundant still tells where things are.
/// Its place among the passes is fixed.
UIElementTreeTransformationResult flattenRedundantHierarchy(const std::shared_ptr<UIElementTreeItem>& item,
                                                            const UIElementTreeItem& parent);

/// Removes static texts that repeat the text of their parent.
UIElementTreeTransformationResult flattenRepetitiveStaticText(const std::shared_ptr<UIElementTreeItem>& item,
                                                              const UIElementTreeItem& parent);

/// Turns a link into a Markdown value.
UIElementTreeTransformationResult flattenLinksIntoMarkdownText(const std::shared_ptr<UIElementTreeItem>& item,
                                                               const UIElementTreeItem& parent);

/// Joins runs of adjacent plain texts among the children of an item.
UIElementTreeTransformationResult mergeTextOnlySiblings(const std::shared_ptr<UIElementTreeItem>& item,
                                                        const UIElementTreeItem& parent);

/// Empties the groups of the calendar application: an event says all by its title.
UIElementTreePass removeElementsUnderCalendarEvents(WorkspacePort& workspace);

/// Replaces the value of a text area by the text that is in sight.
UIElementTreeTransformationResult retrieveAttributedTextFromTextAreas(
    const std::shared_ptr<UIElementTreeItem>& item, const UIElementTreeItem& parent);

/// Replaces the value of a web area by the text that is in sight.
UIElementTreeTransformationResult retrieveAttributedTextFromWebAreas(
    const std::shared_ptr<UIElementTreeItem>& item, const UIElementTreeItem& parent);

// What the passes ask of items.

/// A plain text with nothing below it.
bool isTextOnly(const UIElementTreeItem& item);
bool containsFocusedElement(const UIElementTreeItem& item);
/// The item's title or value, else the texts below it, with a blank between them.
std::string collectText(const UIElementTreeItem& from);
/// True for an item that says nothing and can do nothing. To be asked bottom-up:
/// children that are non-descriptive have been removed, so one that is left counts.
bool isNonDescriptive(const UIElementTreeItem& item);
/// True for a group that is more than a wrapper.
bool hasMeaningfulContainerMetadata(const UIElementTreeItem& item);

}  // namespace tavik
