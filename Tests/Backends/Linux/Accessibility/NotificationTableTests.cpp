#include "Backends/Linux/Accessibility/NotificationTable.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

using Names = std::vector<std::string>;

AccessibleEvent event(const std::string& category, const std::string& kind, const std::string& detail = "",
                      std::int64_t amount = 0) {
  return {.source = {":1.1", "/a"},
          .category = category,
          .kind = kind,
          .detail = detail,
          .amount = amount,
          .other = {}};
}

Names meaning(const AccessibleEvent& event) {
  Names names;
  for (const NotificationRule& rule : notificationRules()) {
    if (rule.matches(event)) names.emplace_back(rule.notification);
  }
  return names;
}

TEST(NotificationTableTests, FocusCountsWhereItComesNotWhereItGoes) {
  EXPECT_EQ(meaning(event("Object", "StateChanged", "focused", 1)), Names{"AXFocusedUIElementChanged"});
  EXPECT_EQ(meaning(event("Object", "StateChanged", "focused", 0)), Names{});
}

TEST(NotificationTableTests, AWindowThatComesForwardIsFocusedAndMain) {
  Names both{"AXFocusedWindowChanged", "AXMainWindowChanged"};
  EXPECT_EQ(meaning(event("Window", "Activate")), both);
  EXPECT_EQ(meaning(event("Window", "activate")), both) << "toolkits spell it in two ways";
}

TEST(NotificationTableTests, TextAndValuesChange) {
  EXPECT_EQ(meaning(event("Object", "TextChanged", "insert/system", 0)), Names{"AXValueChanged"});
  EXPECT_EQ(meaning(event("Object", "PropertyChange", "accessible-value")), Names{"AXValueChanged"});
  EXPECT_EQ(meaning(event("Object", "PropertyChange", "accessible-name")), Names{"AXTitleChanged"});
  EXPECT_EQ(meaning(event("Object", "TextCaretMoved")), Names{"AXSelectedTextChanged"});
}

TEST(NotificationTableTests, AChildThatComesIsCreatedAndItsParentLaidOutAnew) {
  AccessibleEvent added = event("Object", "ChildrenChanged", "add");
  EXPECT_EQ(meaning(added), Names{"AXLayoutChanged"}) << "the child is not named";
  added.other = {":1.1", "/b"};
  EXPECT_EQ(meaning(added), (Names{"AXCreated", "AXLayoutChanged"}));
  added.detail = "remove/system";
  EXPECT_EQ(meaning(added), (Names{"AXUIElementDestroyed", "AXLayoutChanged"}));
}

TEST(NotificationTableTests, WhatAppearsMayBeAMenu) {
  EXPECT_EQ(meaning(event("Object", "StateChanged", "showing", 1)),
            (Names{"AXLayoutChanged", "AXMenuOpened"}));
  EXPECT_EQ(meaning(event("Object", "StateChanged", "showing", 0)),
            (Names{"AXLayoutChanged", "AXMenuClosed"}));
}

TEST(NotificationTableTests, EverythingThatASettlingInterfaceSaysIsKnown) {
  for (std::string_view name : {"AXUIElementDestroyed",
                                "AXFocusedUIElementChanged",
                                "AXFocusedWindowChanged",
                                "AXMainWindowChanged",
                                "AXValueChanged",
                                "AXSelectedTextChanged",
                                "AXWindowCreated",
                                "AXWindowMoved",
                                "AXWindowResized",
                                "AXWindowMiniaturized",
                                "AXWindowDeminiaturized",
                                "AXLayoutChanged",
                                "AXSelectedChildrenChanged",
                                "AXRowCountChanged",
                                "AXSelectedRowsChanged",
                                "AXCreated",
                                "AXTitleChanged",
                                "AXResized",
                                "AXMoved",
                                "AXMenuOpened",
                                "AXMenuClosed"}) {
    bool isKnown = false;
    for (const NotificationRule& rule : notificationRules()) isKnown |= rule.notification == name;
    EXPECT_TRUE(isKnown) << name;
  }
}

TEST(NotificationTableTests, ApplicationsAreAskedInTheRegistrysSpelling) {
  Names names;
  for (const NotificationRule& rule : notificationRules()) {
    if (rule.notification == "AXFocusedUIElementChanged" || rule.notification == "AXWindowCreated") {
      names.push_back(rule.registryName());
    }
  }
  EXPECT_EQ(names, (Names{"object:state-changed:focused", "window:create"}));
}

TEST(NotificationTableTests, AnEventIsReadFromItsSignal) {
  BusMessage signal = BusMessage::signal("/a", "org.a11y.atspi.Event.Object", "ChildrenChanged");
  BusWriter(signal).string("add").int32(3).int32(0).variant("(so)", [](BusWriter& inner) {
    inner.structure([](BusWriter& parts) { parts.string(":1.7").path("/b"); });
  });
  AccessibleEvent read = AccessibleEvent::from(signal);
  EXPECT_EQ(read.category, "Object");
  EXPECT_EQ(read.kind, "ChildrenChanged");
  EXPECT_EQ(read.detail, "add");
  EXPECT_EQ(read.amount, 3);
  EXPECT_EQ(read.other, (AccessibleReference{":1.7", "/b"}));
  EXPECT_EQ(AccessibleEvent::from(BusMessage::signal("/a", "b.c", "D")).category, "");
}

}  // namespace
}  // namespace tavik
