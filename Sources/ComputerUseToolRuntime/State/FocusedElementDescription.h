#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "ComputerUseToolRuntime/State/FocusedElementSnapshot.h"

namespace tavik {

/// How a state names the element that has the focus: by the index and line that the
/// model knows, as far as it can be told. What the application names comes first,
/// then what an observer saw, the live element, and the element that had the focus
/// before the action. Absent when there is nothing to say.
std::optional<std::string> modelFocusedElementDescription(
    std::int32_t pid, const UIElementTree& tree, const std::optional<FocusedElementSnapshot>& preActionFocusedElement,
    const AXElement& observerFocusedElement, const LiveElementReader& reader);

/// The index and line of the one item that stands for the element.
std::optional<std::string> indexedFocusedElementDescription(const FocusedElementSnapshot& focused,
                                                            const UIElementTree& tree);
/// How alike they are; above 6 they are taken for the same.
int focusedElementMatchScore(const FocusedElementSnapshot& focused, const UIElementTree::Item& item);

/// The only text input in an open menu, such as the box of a command palette.
std::optional<std::string> activeMenuTextInputDescription(const UIElementTree& tree);
/// The only editor of a window whose status line tells where the caret is.
std::optional<std::string> uniqueEditorWithCaretStatusDescription(const UIElementTree& tree);

bool focusedSnapshotLooksLikeTextEditor(const FocusedElementSnapshot& focused);
bool focusedSnapshotLooksLikePlainTextInput(const FocusedElementSnapshot& focused);
/// A part of a page that has the focus only because nothing inside it says more.
bool focusedItemIsLowSignalWebContainer(const UIElementTree::Item& item);

}  // namespace tavik
