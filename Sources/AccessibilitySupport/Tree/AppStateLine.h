#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "AccessibilitySupport/Tree/UIElementTreeItem.h"
#include "AccessibilitySupport/Tree/WebSurroundings.h"

namespace tavik {

/// The grammar of a line of the tree text, as the model reads it:
///
///     12 text field (settable, string) Name, Value: Ada, Placeholder: Your name
///
/// The index, the role, the states, what the item is called, and the details. Values
/// stand as the application gives them, line feeds included; nothing reads it back.

/// The word for what the item is. Valid as long as the item does not change.
std::string_view appStateRole(const UIElementTreeItem& item, const WebSurroundings& surroundings);

/// Appends the line without indent and index.
void appendAppStateDescription(std::string& text, const UIElementTreeItem& item,
                               const WebSurroundings& surroundings);

/// Appends the line with `indent` tabs and, if the item has one, its index.
void appendAppStateLine(std::string& text, const UIElementTreeItem& item, std::size_t indent,
                        const WebSurroundings& surroundings);

}  // namespace tavik
