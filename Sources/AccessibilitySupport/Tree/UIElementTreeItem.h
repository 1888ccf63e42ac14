#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "Base/Geometry/Geometry.h"
#include "PlatformInterfaces/AXElement.h"
#include "PlatformInterfaces/AXValue.h"

namespace tavik {

/// What was read of one element, without its place in a tree.
struct UIElementTreeItemValues {
  std::optional<std::string> role = {};
  std::optional<std::string> roleDescription = {};
  std::optional<std::string> title = {};
  std::optional<std::string> value = {};
  std::optional<std::string> elementDescription = {};
  std::optional<std::string> placeholderValue = {};
  std::optional<std::string> identifier = {};
  std::optional<std::string> subrole = {};
  std::optional<Rect> frame = {};
  bool isEnabled = true;
  bool isSelectable = false;
  bool isSelected = false;
  bool isFocused = false;
  bool isValueSettable = false;
  /// "string", "bool", "float", "value" or "url".
  std::optional<std::string> valueType = {};
  std::optional<std::string> help = {};
  std::optional<AXURL> url = {};
  /// The live element; null for an item that stands for none.
  AXElement axElement = {};
  /// The way to the live element. Null in an item that was not read from one; such
  /// an item has no live parts. Outlives every tree.
  AXWrapper* access = nullptr;
  /// What the item says in place of the children that were folded into it.
  std::optional<std::string> syntheticFoldedRowLabel = {};
  std::optional<int> elementIndex = {};
  /// Raw names, in the element's own order.
  std::vector<std::string> actions = {};
};

/// One node of a `UIElementTree`. Made with `std::make_shared`. An item owns its
/// children; whoever else holds one may see it outlive its parent, which is then
/// gone. Chains of any length are copied and destroyed without recursion.
class UIElementTreeItem : public UIElementTreeItemValues,
                          public std::enable_shared_from_this<UIElementTreeItem> {
 public:
  using Children = std::vector<std::shared_ptr<UIElementTreeItem>>;

  UIElementTreeItem() = default;
  explicit UIElementTreeItem(UIElementTreeItemValues values) : UIElementTreeItemValues(std::move(values)) {}
  ~UIElementTreeItem();
  UIElementTreeItem(const UIElementTreeItem&) = delete;
  UIElementTreeItem& operator=(const UIElementTreeItem&) = delete;

  std::weak_ptr<UIElementTreeItem> parent;
  Children childItems;

  /// The parent while it lives, else null.
  std::shared_ptr<UIElementTreeItem> parentItem() const { return parent.lock(); }
  /// Replaces the children and makes this item the parent of each.
  void setChildItems(Children children);

  /// This item and all below it again, with every value, the live element and the
  /// index included; the copy has no parent.
  std::shared_ptr<UIElementTreeItem> deepCopy() const;

  const Children& children() const { return childItems; }
  /// The raw role.
  const std::optional<std::string>& readableRole() const { return role; }
  std::string readableDescription() const { return buildReadableDescription(); }

  // What a line of the tree text is derived from. None of it is stored.

  /// A name that the application's developers gave for others to use.
  bool hasPublicIdentifier() const;
  bool appStateIsSelectableRow() const;
  std::string appStateRole() const;
  bool appStateIsWindowChrome() const;
  bool appStateIsVirtualEditor() const;
  bool appStateIsWebLayoutContainer() const;
  std::optional<std::string> appStateFoldedRowLabel() const;
  std::optional<std::string> appStateSelectionComparableText() const;
  /// The name that the model reads for a raw action; may ask the live element.
  std::optional<std::string> appStateActionName(const std::string& raw) const;
  std::vector<std::string> appStateActionNames() const;
  /// What the application calls an action; asks the live element.
  std::optional<std::string> actionDescription(const std::string& raw) const;
  /// The item's line without indent and index.
  std::string appStateDescriptionWithoutIndex() const;
  /// The item in the debug form.
  std::string buildReadableDescription() const;
};

/// Anything whose accessibility values can be read.
template <class Element>
concept UIElementProtocol = requires(const Element& element) {
  { element.role } -> std::convertible_to<std::optional<std::string>>;
  { element.roleDescription } -> std::convertible_to<std::optional<std::string>>;
  { element.title } -> std::convertible_to<std::optional<std::string>>;
  { element.value } -> std::convertible_to<std::optional<std::string>>;
  { element.elementDescription } -> std::convertible_to<std::optional<std::string>>;
  { element.placeholderValue } -> std::convertible_to<std::optional<std::string>>;
  { element.identifier } -> std::convertible_to<std::optional<std::string>>;
  { element.subrole } -> std::convertible_to<std::optional<std::string>>;
  { element.frame } -> std::convertible_to<std::optional<Rect>>;
  { element.isEnabled } -> std::convertible_to<bool>;
  { element.help } -> std::convertible_to<std::optional<std::string>>;
  { element.url } -> std::convertible_to<std::optional<AXURL>>;
};

/// Anything that can be written down for the model as a line of a tree.
template <class Element>
concept LMReadableElement = requires(const Element& element) {
  { element.elementIndex } -> std::convertible_to<std::optional<int>>;
  { element.children() } -> std::convertible_to<std::vector<std::shared_ptr<Element>>>;
  { element.actions } -> std::convertible_to<std::vector<std::string>>;
  { element.readableRole() } -> std::convertible_to<std::optional<std::string>>;
  { element.readableDescription() } -> std::convertible_to<std::string>;
};

static_assert(UIElementProtocol<UIElementTreeItem>);
static_assert(LMReadableElement<UIElementTreeItem>);

}  // namespace tavik
