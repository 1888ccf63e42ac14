#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Backends/Linux/Accessibility/AccessibleRole.h"
#include "Base/Geometry/Geometry.h"
#include "PlatformInterfaces/AXValue.h"

namespace tavik {

/// Names one object of the accessibility bus: the connection that serves it and
/// its path there.
struct AccessibleReference {
  std::string bus;
  std::string path;

  bool isNull() const { return path.empty() || path == "/org/a11y/atspi/null"; }
  bool operator==(const AccessibleReference&) const = default;
};

}  // namespace tavik

template <>
struct std::hash<tavik::AccessibleReference> {
  std::size_t operator()(const tavik::AccessibleReference& reference) const {
    return std::hash<std::string>()(reference.path) * 31 + std::hash<std::string>()(reference.bus);
  }
};

namespace tavik {

/// States of the accessibility bus, by their bit on the wire.
enum class AccessibleState : std::uint8_t {
  active = 1,
  checked = 4,
  collapsed = 5,
  defunct = 6,
  editable = 7,
  enabled = 8,
  expandable = 9,
  expanded = 10,
  focusable = 11,
  focused = 12,
  horizontal = 14,
  iconified = 15,
  modal = 16,
  multiLine = 17,
  pressed = 20,
  selectable = 22,
  selected = 23,
  sensitive = 24,
  showing = 25,
  vertical = 29,
  visible = 30,
  indeterminate = 32,
  hasPopup = 42,
};

/// Interfaces that the backend uses, as a set of bits.
enum AccessibleInterface : std::uint32_t {
  actionInterface = 1,
  componentInterface = 2,
  textInterface = 4,
  editableTextInterface = 8,
  valueInterface = 16,
  selectionInterface = 32,
  tableInterface = 64,
  documentInterface = 128,
  hyperlinkInterface = 256,
};

/// What can be asked of an object, as a set of bits.
enum Facet : std::uint32_t {
  statesFacet = 1,
  roleFacet = 2,
  interfacesFacet = 4,
  nameFacet = 8,
  descriptionFacet = 16,
  parentFacet = 32,
  childrenFacet = 64,
  extentsFacet = 128,
  actionsFacet = 256,
  textFacet = 512,
  valueFacet = 1024,
  valueLimitsFacet = 2048,
  attributesFacet = 4096,
  identifierFacet = 8192,
  labelFacet = 16384,
  linkFacet = 32768,
  documentFacet = 65536,
  columnsFacet = 131072,
  textSelectionFacet = 262144,
  /// The name of the first action, where listing them all is dear.
  firstActionFacet = 524288,
  baseFacets = statesFacet | roleFacet | interfacesFacet | nameFacet | descriptionFacet,
};
using Facets = std::uint32_t;

struct AccessibleAction {
  /// The same in every language. Empty while it has not been asked for.
  std::string name;
  std::string localizedName = {};
  /// For a person; often empty.
  std::string description = {};
};

/// What has been read of one object. A field means something once its facet is in
/// `known`; a question that the object refused leaves the field empty.
struct AccessibleFacts {
  Facets known = 0;
  /// Success, or why the object cannot be read at all.
  AXErrorCode failure = AXError::success;

  AccessibleRole role = AccessibleRole::invalid;
  std::uint64_t states = 0;
  std::uint32_t interfaces = 0;
  std::string name;
  std::string description;
  AccessibleReference parent;
  std::vector<AccessibleReference> children;
  /// As the application says it; null when it gave none.
  Rect extents = Rect::null();
  std::vector<AccessibleAction> actions;
  std::string text;
  double value = 0;
  double minimum = 0;
  double maximum = 0;
  double increment = 0;
  std::map<std::string, std::string> attributes;
  std::string identifier;
  /// The object that labels this one.
  AccessibleReference label;
  std::string link;
  std::string documentURL;
  /// Of a table.
  int columnCount = 0;
  /// In code points; equal when nothing is selected.
  long selectionStart = 0;
  long selectionEnd = 0;
  long caret = 0;

  bool knows(Facets facets) const { return (known & facets) == facets; }
  bool is(AccessibleState state) const { return states >> static_cast<int>(state) & 1; }
  bool has(AccessibleInterface interface) const { return (interfaces & interface) != 0; }
};

}  // namespace tavik
