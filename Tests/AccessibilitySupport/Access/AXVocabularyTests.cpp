#include <gtest/gtest.h>

#include "AccessibilitySupport/Access/AXActions.h"
#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Access/AXNotifications.h"

namespace tavik {
namespace {

TEST(AXVocabularyTests, TheBatchedReadAsksForFourteenAttributesInOrder) {
  const std::vector<std::string> expected = {"AXRole",        "AXRoleDescription",
                                             "AXTitle",       "AXValue",
                                             "AXDescription", "AXPlaceholderValue",
                                             "AXIdentifier",  "AXSubrole",
                                             "AXFrame",       "AXEnabled",
                                             "AXSelected",    "AXFocused",
                                             "AXHelp",        "AXURL"};
  EXPECT_EQ(AXAttributes::batchAttributes, expected);
}

TEST(AXVocabularyTests, FourteenActionsHaveAReadableNameAndDeleteAndZoomHaveNone) {
  EXPECT_EQ(AXActions::readableToRaw.size(), 14u);
  EXPECT_EQ(AXActions::readableToRaw.at("Show Alternate UI"), "AXShowAlternateUI");
  EXPECT_EQ(AXActions::readableToRaw.at("Scroll Left By Page"), "AXScrollLeftByPage");
  EXPECT_FALSE(AXActions::rawToReadable.contains(AXActions::delete_));
  EXPECT_FALSE(AXActions::rawToReadable.contains(AXActions::zoomWindow));
}

TEST(AXVocabularyTests, RawNamesLeadBackToTheirReadableNames) {
  ASSERT_EQ(AXActions::rawToReadable.size(), AXActions::readableToRaw.size());
  for (const auto& [readable, raw] : AXActions::readableToRaw) {
    EXPECT_EQ(AXActions::rawToReadable.at(raw), readable);
  }
}

TEST(AXVocabularyTests, ConstantsCarryThePlatformsWords) {
  EXPECT_EQ(AXAttributes::description, "AXDescription");
  EXPECT_EQ(AXAttributes::titleUIElement, "AXTitleUIElement");
  EXPECT_EQ(AXAttributes::selectedTextMarkerRange, "AXSelectedTextMarkerRange");
  EXPECT_EQ(AXActions::delete_, "AXDelete");
  EXPECT_EQ(AXNotifications::uiElementDestroyed, "AXUIElementDestroyed");
  EXPECT_EQ(AXNotifications::windowDeminiaturized, "AXWindowDeminiaturized");
}

}  // namespace
}  // namespace tavik
