#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Backends/Linux/Accessibility/AccessibleTree.h"
#include "Backends/Linux/Accessibility/ActionTable.h"
#include "Backends/Linux/Accessibility/LinuxElement.h"
#include "Backends/Linux/Accessibility/NodeView.h"
#include "Backends/Linux/Accessibility/RoleTable.h"
#include "Backends/Linux/Accessibility/WindowPlacement.h"
#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

/// Answers questions about the elements of one process in the AX vocabulary, from
/// what a tree has read or reads for it. Lives for one operation.
class ElementReader {
 public:
  ElementReader(AccessibleTree& tree, WindowPlacement& placement, std::int32_t pid);

  /// Reads, in one flight, what a typical question about the element needs. Success
  /// when the element is there.
  AXErrorCode prepare(const LinuxElement& element);

  AXResult<AXValue> attribute(const LinuxElement& element, const std::string& name);
  bool isSettable(const LinuxElement& element, const std::string& name);
  std::vector<ActionTranslation> actions(const LinuxElement& element);
  AXResult<AXValue> parameterizedAttribute(const LinuxElement& element, const std::string& name,
                                           const AXValue& parameter);

  NodeView view(const AccessibleReference& object, Facets facets = 0);
  RoleTranslation role(const LinuxElement& element);
  /// What is on screen below the element, in the shape of the AX vocabulary.
  std::vector<LinuxElement> children(const LinuxElement& element);
  std::optional<LinuxElement> parent(const LinuxElement& element);
  std::optional<Rect> frame(const LinuxElement& element);
  std::vector<LinuxElement> windows();
  /// The window that has the keyboard, else the first.
  std::optional<LinuxElement> mainWindow();
  std::optional<LinuxElement> focusedElement(const std::optional<AccessibleReference>& lastKnown);
  /// The element that an object appears as; absent for nothing.
  std::optional<LinuxElement> elementFor(const AccessibleReference& object);
  /// The cells of a row that the bus has no object for.
  std::vector<AccessibleReference> cells(const LinuxElement& row);

  AccessibleTree& tree() { return tree_; }
  std::int32_t pid() const { return pid_; }

 private:
  friend struct AttributeTable;
  LinuxElement object(const AccessibleReference& reference) const;
  std::vector<AccessibleReference> shownChildren(const AccessibleReference& object, Facets facets = 0);
  std::vector<LinuxElement> applicationChildren();
  const std::vector<std::vector<AccessibleReference>>& lines(const AccessibleReference& container);
  /// Whether cells stand directly in this table, to be put into rows.
  bool isLined(const AccessibleReference& container);
  /// Whether the items of the menu stand directly in the title that opens it.
  bool holdsItems(const NodeView& node);
  /// What the window server knows of a top-level object.
  std::optional<PlacedWindow> placement(const AccessibleReference& topLevel);
  std::optional<LinuxElement> window(const LinuxElement& element);
  std::optional<LinuxElement> menuBar();
  std::optional<LinuxElement> shownMenu(const LinuxElement& element);
  std::vector<LinuxElement> selectedChildren(const LinuxElement& element);
  bool isSelected(const LinuxElement& element);
  std::vector<ActionTranslation> rowActions(const LinuxElement& row);
  std::string chosenOption(const AccessibleReference& comboBox);
  std::optional<TextRange> visibleRange(const LinuxElement& element);

  AccessibleTree& tree_;
  WindowPlacement& placement_;
  const std::int32_t pid_;
};

}  // namespace tavik
