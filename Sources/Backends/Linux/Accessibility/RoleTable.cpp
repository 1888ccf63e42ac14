#include "Backends/Linux/Accessibility/RoleTable.h"

#include "Backends/Linux/Accessibility/ActionTable.h"

namespace tavik {

namespace {

using Role = AccessibleRole;
using State = AccessibleState;
using Condition = bool (*)(const NodeView& node);

bool always(const NodeView&) {
  return true;
}
bool atTopLevel(const NodeView& node) {
  return node.isTopLevel;
}
bool inMenuBar(const NodeView& node) {
  return node.parentRole == Role::menuBar;
}
bool inMenu(const NodeView& node) {
  return node.parentRole == Role::menu || node.parentRole == Role::popupMenu;
}
bool inTree(const NodeView& node) {
  return node.parentRole == Role::tree || node.parentRole == Role::treeTable;
}
bool isMultiLine(const NodeView& node) {
  return node.facts.is(State::multiLine);
}
bool isEditable(const NodeView& node) {
  return node.facts.is(State::editable) || node.containsEntry;
}
bool isInLine(const NodeView& node) {
  return node.isInLine;
}
bool isExpandable(const NodeView& node) {
  return node.facts.is(State::expandable);
}
bool isSelectable(const NodeView& node) {
  return node.facts.is(State::selectable) || node.facts.is(State::selected);
}
bool isToggled(const NodeView& node) {
  return ownActionNumber(node.facts, {"toggle"}).has_value();
}
bool canBePressed(const NodeView& node) {
  return ownActionNumber(node.facts, {"click", "press", "Press"}).has_value();
}
bool inBrowser(const NodeView& node) {
  return node.toolkit == Toolkit::chromium;
}
bool opensMenu(const NodeView& node) {
  return node.facts.is(State::hasPopup);
}

struct RoleRule {
  Role role;
  Condition condition;
  RoleTranslation translation;
};

/// The first rule that holds is the answer.
constexpr RoleRule rules[] = {
    // Windows
    {Role::frame, atTopLevel, {"AXWindow", "AXStandardWindow", "standard window"}},
    {Role::frame, always, {"AXGroup", "", "group"}},
    {Role::window, atTopLevel, {"AXWindow", "AXStandardWindow", "standard window"}},
    {Role::window, always, {"AXGroup", "", "group"}},
    {Role::dialog, atTopLevel, {"AXWindow", "AXDialog", "dialog"}},
    {Role::dialog, always, {"AXGroup", "AXApplicationDialog", "web dialog"}},
    {Role::alert, atTopLevel, {"AXWindow", "AXDialog", "dialog"}},
    {Role::alert, always, {"AXGroup", "AXApplicationAlert", "alert"}},
    {Role::fileChooser, atTopLevel, {"AXWindow", "AXDialog", "dialog"}},
    {Role::fileChooser, always, {"AXGroup", "", "group"}},
    {Role::colorChooser, atTopLevel, {"AXWindow", "AXDialog", "dialog"}},
    {Role::colorChooser, always, {"AXColorWell", "", "color well"}},
    {Role::fontChooser, atTopLevel, {"AXWindow", "AXDialog", "dialog"}},
    {Role::fontChooser, always, {"AXGroup", "", "group"}},
    {Role::inputMethodWindow, always, {"AXWindow", "AXSystemFloatingWindow", "system floating window"}},
    {Role::desktopFrame, always, {"AXGroup", "", "group"}},
    {Role::internalFrame, always, {"AXGroup", "", "group"}},

    // Menus
    {Role::menuBar, always, {"AXMenuBar", "", "menu bar"}},
    {Role::menu, inMenuBar, {"AXMenuBarItem", "", "menu bar item"}},
    {Role::menu, inMenu, {"AXMenuItem", "", "menu item"}},
    {Role::menu, always, menuRole},
    {Role::popupMenu, always, menuRole},
    {Role::menuItem, inMenuBar, {"AXMenuBarItem", "", "menu bar item"}},
    {Role::menuItem, always, {"AXMenuItem", "", "menu item"}},
    {Role::checkMenuItem, always, {"AXMenuItem", "", "menu item"}},
    {Role::radioMenuItem, always, {"AXMenuItem", "", "menu item"}},
    {Role::tearoffMenuItem, always, {"AXMenuItem", "", "menu item"}},
    {Role::separator, inMenuBar, {"AXMenuBarItem", "", "menu bar item"}},
    {Role::separator, inMenu, {"AXMenuItem", "", "menu item"}},
    {Role::separator, always, {"AXSplitter", "", "splitter"}},

    // Buttons and other controls
    {Role::pushButton, isShell, {"AXGroup", "", "group"}},
    {Role::pushButton, opensMenu, {"AXPopUpButton", "", "pop up button"}},
    {Role::pushButton, always, {"AXButton", "", "button"}},
    {Role::pushButtonMenu, always, {"AXMenuButton", "", "menu button"}},
    {Role::toggleButton, isExpandable, {"AXDisclosureTriangle", "", "disclosure triangle"}},
    {Role::toggleButton, always, {"AXCheckBox", "AXToggle", "toggle button"}},
    {Role::checkBox, always, {"AXCheckBox", "", "check box"}},
    {Role::radioButton, always, {"AXRadioButton", "", "radio button"}},
    {Role::comboBox, isEditable, {"AXComboBox", "", "combo box"}},
    {Role::comboBox, always, {"AXPopUpButton", "", "pop up button"}},
    {Role::slider, always, {"AXSlider", "", "slider"}},
    {Role::dial, always, {"AXSlider", "", "slider"}},
    {Role::spinButton, always, {"AXIncrementor", "", "stepper"}},
    {Role::scrollBar, always, {"AXScrollBar", "", "scroll bar"}},
    {Role::progressBar, always, {"AXProgressIndicator", "", "progress indicator"}},
    {Role::levelBar, always, {"AXLevelIndicator", "", "level indicator"}},
    {Role::rating, always, {"AXLevelIndicator", "AXRatingIndicator", "rating indicator"}},
    {Role::animation, always, {"AXBusyIndicator", "", "busy indicator"}},
    {Role::link, always, {"AXLink", "", "link"}},
    {Role::calendar, always, {"AXGroup", "", "calendar"}},
    {Role::dateEditor, always, {"AXDateField", "", "date field"}},

    // Text
    {Role::label, inBrowser, {"AXGroup", "", "group"}},
    {Role::label, always, {"AXStaticText", "", "text"}},
    {Role::acceleratorLabel, always, {"AXStaticText", "", "text"}},
    {Role::staticText, always, {"AXStaticText", "", "text"}},
    {Role::caption, always, {"AXStaticText", "", "text"}},
    {Role::text, isMultiLine, {"AXTextArea", "", "text entry area"}},
    {Role::text, always, {"AXTextField", "", "text field"}},
    {Role::entry, isMultiLine, {"AXTextArea", "", "text entry area"}},
    {Role::entry, always, {"AXTextField", "", "text field"}},
    {Role::autocomplete, always, {"AXTextField", "", "text field"}},
    {Role::editbar, always, {"AXTextField", "", "text field"}},
    {Role::passwordText, always, {"AXTextField", "AXSecureTextField", "secure text field"}},
    {Role::terminal, always, {"AXTextArea", "", "text entry area"}},
    {Role::heading, always, {"AXHeading", "", "heading"}},

    // Pictures
    {Role::image, always, {"AXImage", "", "image"}},
    {Role::icon, always, {"AXImage", "", "image"}},
    {Role::desktopIcon, always, {"AXImage", "", "image"}},
    {Role::imageMap, always, {"AXImage", "AXImageMap", "image map"}},
    {Role::chart, always, {"AXImage", "", "image"}},
    {Role::video, always, {"AXGroup", "AXVideo", "video playback"}},
    {Role::audio, always, {"AXGroup", "AXAudio", "audio playback"}},

    // Lists, tables and trees
    {Role::list, always, {"AXList", "AXContentList", "list"}},
    {Role::listBox, always, {"AXList", "AXContentList", "list"}},
    {Role::listItem, isSelectable, tableRowRole},
    {Role::listItem, always, {"AXGroup", "", "group"}},
    {Role::table, always, {"AXTable", "", "table"}},
    {Role::treeTable, always, {"AXOutline", "", "outline"}},
    {Role::tree, always, {"AXOutline", "", "outline"}},
    {Role::tableRow, inTree, outlineRowRole},
    {Role::tableRow, always, tableRowRole},
    {Role::treeItem, isInLine, {"AXCell", "", "cell"}},
    {Role::treeItem, always, outlineRowRole},
    {Role::tableCell, isToggled, {"AXCheckBox", "", "check box"}},
    {Role::tableCell, always, {"AXCell", "", "cell"}},
    {Role::tableColumnHeader, canBePressed, {"AXButton", "AXSortButton", "sort button"}},
    {Role::tableColumnHeader, always, {"AXCell", "", "column header"}},
    {Role::columnHeader, canBePressed, {"AXButton", "AXSortButton", "sort button"}},
    {Role::columnHeader, always, {"AXCell", "", "column header"}},
    {Role::tableRowHeader, always, {"AXCell", "", "row header"}},
    {Role::rowHeader, always, {"AXCell", "", "row header"}},
    {Role::directoryPane, always, {"AXBrowser", "", "browser"}},
    {Role::descriptionList, always, {"AXList", "AXDefinitionList", "definition list"}},

    // Containers with a name of their own
    {Role::application, always, applicationRole},
    {Role::toolBar, always, {"AXToolbar", "", "toolbar"}},
    {Role::statusBar, always, {"AXGroup", "", "status bar"}},
    {Role::infoBar, always, {"AXGroup", "", "group"}},
    {Role::pageTabList, always, {"AXTabGroup", "", "tab group"}},
    {Role::pageTab, always, {"AXRadioButton", "AXTabButton", "tab"}},
    {Role::scrollPane, always, {"AXScrollArea", "", "scroll area"}},
    {Role::splitPane, always, {"AXSplitGroup", "", "split group"}},
    {Role::toolTip, always, {"AXHelpTag", "", "help tag"}},
    {Role::ruler, always, {"AXRuler", "", "ruler"}},

    // Documents and what they are made of
    {Role::documentWeb, always, {"AXWebArea", "", "HTML content"}},
    {Role::documentFrame, always, {"AXWebArea", "", "HTML content"}},
    {Role::htmlContainer, always, {"AXGroup", "", "group"}},
    {Role::documentText, always, {"AXGroup", "AXDocument", "document"}},
    {Role::documentSpreadsheet, always, {"AXGroup", "AXDocument", "document"}},
    {Role::documentPresentation, always, {"AXGroup", "AXDocument", "document"}},
    {Role::documentEmail, always, {"AXGroup", "AXDocument", "document"}},
    {Role::article, always, {"AXGroup", "AXDocumentArticle", "article"}},
    {Role::landmark, always, {"AXGroup", "AXLandmarkRegion", "region"}},
    {Role::form, always, {"AXGroup", "AXLandmarkForm", "form"}},
    {Role::math, always, {"AXGroup", "AXDocumentMath", "math"}},
    {Role::log, always, {"AXGroup", "AXApplicationLog", "log"}},
    {Role::marquee, always, {"AXGroup", "AXApplicationMarquee", "marquee"}},
    {Role::timer, always, {"AXGroup", "AXApplicationTimer", "timer"}},
    {Role::notification, always, {"AXGroup", "AXApplicationStatus", "status"}},
    {Role::descriptionTerm, always, {"AXGroup", "AXTerm", "term"}},
    {Role::descriptionValue, always, {"AXGroup", "AXDefinition", "definition"}},
    {Role::definition, always, {"AXGroup", "AXDefinition", "definition"}},
};

}  // namespace

RoleTranslation translateRole(const NodeView& node) {
  for (const RoleRule& rule : rules) {
    if (rule.role == node.facts.role && rule.condition(node)) return rule.translation;
  }
  // Panels, fillers, sections, paragraphs and whatever else only holds others.
  return {"AXGroup", "", "group"};
}

}  // namespace tavik
