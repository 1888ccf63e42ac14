#pragma once

#include <string>

#include "AccessibilitySupport/Tree/UIElementTree.h"

namespace tavik {

/// Recognises trees that are not worth showing: applications answer with a shell, a
/// menu bar or a placeholder while they start or wake. Pure functions of the tree;
/// each walks or serializes it afresh. "Lines" are those of the text for the model.
namespace StateTreeQuality {

bool isWindowRole(const std::optional<std::string>& role);
/// Part of a page: a web area, or described as HTML.
bool isWebContent(const UIElementTree::Item& item);
bool hasMenuBar(const UIElementTree& tree);
int lineCount(const UIElementTree& tree);

/// Anything that a task would be about: pages, rows, text fields, editors.
bool treeContainsTaskStateContent(const UIElementTree& tree);
/// Nothing below the root but bars, buttons and empty wrappers.
bool treeHasOnlyWindowChrome(const UIElementTree& tree);
bool isWindowTitleShellGroup(const UIElementTree::Item& item, const std::optional<std::string>& rootTitle);
bool isLowSignalChromeContainer(const UIElementTree::Item& item, const std::optional<std::string>& rootTitle);

/// Stands in for content while the application's accessibility layer wakes.
bool shouldRetryTransientAppState(const UIElementTree& tree);
bool shouldRetrySparseWindowAppState(const UIElementTree& tree);
bool shouldRetrySerializedSparseAppState(const UIElementTree& tree);
/// Only the menu bar answered, and no menu is open.
bool shouldRetryMenuBarOnlyAppState(const UIElementTree& tree);
bool shouldRetryLowSignalWindowMenuBarState(const UIElementTree& tree);
bool shouldRetryLowSignalWindowChromeState(const UIElementTree& tree);
/// A window that says nothing but its own title, and some buttons.
bool isPersistentlySparseWindowShell(const UIElementTree& tree);

/// No retry is called for.
bool passesReadinessTest(const UIElementTree& tree);

/// Higher is better; may be negative.
int stateTreeQualityScore(const UIElementTree& tree);
bool isRicherAppStateTree(const UIElementTree& candidate, const UIElementTree& current);
/// Equal for two looks at an application that did not change between them.
std::string stateTreeSignature(const UIElementTree& tree);
/// Whether the candidate is about the window that the current tree is about.
bool stateTreeCanReplaceCurrentWindow(const UIElementTree& candidate, const UIElementTree& current);
bool windowItemsLikelyMatch(const UIElementTree::Item& a, const UIElementTree::Item& b);

}  // namespace StateTreeQuality

}  // namespace tavik
