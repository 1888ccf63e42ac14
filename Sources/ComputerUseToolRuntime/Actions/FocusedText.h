#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"

namespace tavik {

/// The text that has the focus, at one moment.
struct FocusedTextState {
  AXElement element;
  std::optional<std::string> role = {};
  std::optional<std::string> roleDescription = {};
  std::string value = {};
  /// UTF-16 units; the caret when the length is 0.
  TextRange selectedRange = {};
};

/// The focused element of the process as it is now; absent when it has no text value.
std::optional<FocusedTextState> focusedTextState(std::int32_t inPid, const LiveElementReader& reader);
/// The same as the tree saw it; asks the live element only for the selection.
std::optional<FocusedTextState> focusedTextState(const UIElementTree* from);

/// An editor that draws its own text, such as one made of a page.
bool isVirtualEditor(const std::optional<std::string>& roleDescription,
                     const std::optional<std::string>& elementDescription);
/// Such an editor while it only shows a file, and will drop what is typed.
bool isPreviewEditor(const std::optional<std::string>& roleDescription,
                     const std::optional<std::string>& elementDescription);

}  // namespace tavik
