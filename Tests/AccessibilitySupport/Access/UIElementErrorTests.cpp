#include "AccessibilitySupport/Access/UIElementError.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

TEST(UIElementErrorTests, OnlyAnAXErrorHasACode) {
  EXPECT_EQ(UIElementError::axError(-25205).axErrorCode(), -25205);
  EXPECT_EQ(UIElementError::nilValue().axErrorCode(), std::nullopt);
  EXPECT_EQ(UIElementError::invalidElement().axErrorCode(), std::nullopt);
}

TEST(UIElementErrorTests, ErrorsAreEqualByCaseAndCode) {
  EXPECT_EQ(UIElementError::axError(-1), UIElementError::axError(-1));
  EXPECT_FALSE(UIElementError::axError(-1) == UIElementError::axError(-2));
  EXPECT_FALSE(UIElementError::nilValue() == UIElementError::invalidElement());
}

TEST(UIElementErrorTests, TheLogSeesTheCasesInTheirOrder) {
  EXPECT_EQ(UIElementError::axError(-1).loggedError().code, 0);
  EXPECT_EQ(UIElementError::nilValue().loggedError().code, 1);
  EXPECT_EQ(UIElementError::invalidElement().loggedError().code, 2);
  EXPECT_EQ(UIElementError::nilValue().loggedError().typeName, "UIElementError");
}

}  // namespace
}  // namespace tavik
