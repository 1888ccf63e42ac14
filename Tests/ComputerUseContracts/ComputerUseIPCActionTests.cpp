#include "ComputerUseContracts/ComputerUseIPCAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/JSON/Record.h"

namespace tavik {
namespace {

using testing::ElementsAre;

ComputerUseIPCAction decode(std::string_view json) {
  return decodeRecord<ComputerUseIPCAction>(bytesOf(json));
}

std::string written(const ComputerUseIPCAction& action) {
  return std::string(textOf(encodeRecord(action)));
}

DecodingError failure(std::string_view json) {
  try {
    decode(json);
  } catch (const DecodingError& error) {
    return error;
  }
  ADD_FAILURE() << "decoded: " << json;
  return DecodingError::dataCorrupted("no failure");
}

struct Golden {
  ComputerUseIPCAction action;
  const char* caseName;
  const char* json;
};

const Golden kGoldens[] = {
    {ClickParams{.elementIndex = 7, .x = {}, .y = {}}, "click",
     R"({"click":{"_0":{"elementIndex":7,"clickCount":1,"mouseButton":0}}})"},
    {ClickParams{.elementIndex = {}, .x = 10, .y = 20.5, .clickCount = 2, .mouseButton = 1}, "click",
     R"({"click":{"_0":{"x":10,"y":20.5,"clickCount":2,"mouseButton":1}}})"},
    {ScrollParams{.elementIndex = 3, .direction = 1, .pages = 0.5}, "scroll",
     R"({"scroll":{"_0":{"elementIndex":3,"direction":1,"pages":0.5}}})"},
    {DragParams{.fromX = 1, .fromY = 2, .toX = 3, .toY = -4.25}, "drag",
     R"({"drag":{"_0":{"fromX":1,"fromY":2,"toX":3,"toY":-4.25}}})"},
    {TypeTextParams{.text = "h\u00E9\n"}, "typeText", "{\"typeText\":{\"_0\":{\"text\":\"h\u00E9\\n\"}}}"},
    {PressKeyParams{.key = "cmd+s"}, "pressKey", R"({"pressKey":{"_0":{"key":"cmd+s"}}})"},
    {SetValueParams{.elementIndex = 9, .value = "50"}, "setValue",
     R"({"setValue":{"_0":{"elementIndex":9,"value":"50"}}})"},
    {TextSelectionParams{.elementIndex = 4,
                         .text = "word",
                         .prefix = "a ",
                         .suffix = {},
                         .selection = TextSelectionMode::cursorAfter},
     "selectText",
     R"({"selectText":{"_0":{"elementIndex":4,"text":"word","prefix":"a ","selection":"cursor_after"}}})"},
    {PerformSecondaryActionParams{.elementIndex = 2, .action = "Raise"}, "performSecondaryAction",
     R"({"performSecondaryAction":{"_0":{"elementIndex":2,"action":"Raise"}}})"},
    {PerformSecondaryActionParams{.elementIndex = 2, .action = {}}, "performSecondaryAction",
     R"({"performSecondaryAction":{"_0":{"elementIndex":2}}})"},
};

TEST(ComputerUseIPCAction, isWrittenAsTheCaseAroundItsParameters) {
  for (const Golden& golden : kGoldens) EXPECT_EQ(written(golden.action), golden.json);
}

TEST(ComputerUseIPCAction, isReadFromTheCaseAroundItsParameters) {
  for (const Golden& golden : kGoldens) {
    EXPECT_EQ(decode(golden.json), golden.action) << golden.json;
    EXPECT_STREQ(decode(golden.json).caseName(), golden.caseName);
  }
}

TEST(ComputerUseIPCAction, needsExactlyOneKnownCase) {
  constexpr const char* kText = "Invalid number of keys found, expected one.";
  for (const char* json :
       {"{}", R"({"fly":{"_0":{}}})", R"({"typeText":{"_0":{"text":"a"}},"pressKey":{"_0":{"key":"a"}}})",
        R"({"click":null,"drag":null})"}) {
    EXPECT_EQ(failure(json).kind(), DecodingError::Kind::dataCorrupted) << json;
    EXPECT_STREQ(failure(json).what(), kText) << json;
  }
}

TEST(ComputerUseIPCAction, ignoresKeysThatAreNoCase) {
  EXPECT_EQ(decode(R"({"note":1,"pressKey":{"_0":{"key":"a"},"_1":2}})"), PressKeyParams{"a"});
}

TEST(ComputerUseIPCAction, tellsWhereItsParametersAreWrong) {
  const DecodingError unwrapped = failure(R"({"pressKey":{"key":"a"}})");
  EXPECT_EQ(unwrapped.kind(), DecodingError::Kind::keyNotFound);
  EXPECT_THAT(unwrapped.codingPath(), ElementsAre("pressKey"));

  const DecodingError mistyped = failure(R"({"pressKey":{"_0":{"key":1}}})");
  EXPECT_EQ(mistyped.kind(), DecodingError::Kind::typeMismatch);
  EXPECT_THAT(mistyped.codingPath(), ElementsAre("pressKey", "_0", "key"));

  EXPECT_EQ(failure(R"({"pressKey":null})").kind(), DecodingError::Kind::valueNotFound);
  EXPECT_EQ(failure(R"({"pressKey":{"_0":null}})").kind(), DecodingError::Kind::valueNotFound);
  EXPECT_EQ(failure(R"({"pressKey":[]})").kind(), DecodingError::Kind::typeMismatch);
  EXPECT_EQ(failure(R"("pressKey")").kind(), DecodingError::Kind::typeMismatch);
}

TEST(ComputerUseIPCAction, aClickWithoutAPlaceIsReadAndLeftToTheAction) {
  const ComputerUseIPCAction action = decode(R"({"click":{"_0":{"clickCount":1,"mouseButton":0}}})");
  EXPECT_EQ(action, (ClickParams{.elementIndex = {}, .x = {}, .y = {}, .clickCount = 1, .mouseButton = 0}));
}

TEST(ComputerUseIPCAction, aClickWithoutCountOrButtonIsNotRead) {
  EXPECT_EQ(failure(R"({"click":{"_0":{"elementIndex":1,"mouseButton":0}}})").kind(),
            DecodingError::Kind::keyNotFound);
  EXPECT_EQ(failure(R"({"click":{"_0":{"elementIndex":1,"clickCount":1}}})").kind(),
            DecodingError::Kind::keyNotFound);
}

TEST(ComputerUseIPCAction, valuesOutsideTheVocabulariesAreRead) {
  EXPECT_EQ(decode(R"({"click":{"_0":{"clickCount":-1,"mouseButton":99}}})").get<ClickParams>()->mouseButton,
            99);
  EXPECT_EQ(decode(R"({"scroll":{"_0":{"direction":17,"pages":-1}}})").get<ScrollParams>()->direction, 17);
}

TEST(ComputerUseIPCAction, aSelectionModeIsOneOfThree) {
  EXPECT_EQ(
      failure(R"({"selectText":{"_0":{"elementIndex":1,"text":"a","selection":"cursorBefore"}}})").kind(),
      DecodingError::Kind::dataCorrupted);
}

TEST(ComputerUseIPCAction, givesItsParametersOnlyAsWhatTheyAre) {
  const ComputerUseIPCAction action = PressKeyParams{"a"};
  ASSERT_NE(action.get<PressKeyParams>(), nullptr);
  EXPECT_EQ(action.get<PressKeyParams>()->key, "a");
  EXPECT_EQ(action.get<ClickParams>(), nullptr);
}

TEST(ComputerUseIPCAction, onlyTypingDependsOnTheFocusedElement) {
  for (const Golden& golden : kGoldens) {
    EXPECT_EQ(golden.action.dependsOnFocusedElement(), golden.caseName == std::string("typeText"));
  }
}

TEST(ComputerUseIPCAction, typingAndSettingPreserveTheFocusedElement) {
  for (const Golden& golden : kGoldens) {
    const std::string name = golden.caseName;
    EXPECT_EQ(golden.action.shouldPreserveFocusedElementAfterMutation(),
              name == "typeText" || name == "setValue");
  }
}

double suppression(ComputerUseIPCAction action) {
  return action.toolGeneratedEventSuppressionInterval();
}

TEST(ComputerUseIPCAction, suppressesItsOwnInputAsLongAsTheActionEchoes) {
  ClickParams click{.elementIndex = 1, .x = {}, .y = {}};
  EXPECT_DOUBLE_EQ(suppression(click), 0.5);
  click.clickCount = 2;
  EXPECT_DOUBLE_EQ(suppression(click), 0.8);
  click.mouseButton = 1;
  EXPECT_DOUBLE_EQ(suppression(click), 1.4);
  EXPECT_DOUBLE_EQ(suppression(ScrollParams{}), 0.6);
  EXPECT_DOUBLE_EQ(suppression(DragParams{}), 0.8);
  EXPECT_DOUBLE_EQ(suppression(PressKeyParams{}), 1.4);
  EXPECT_DOUBLE_EQ(suppression(SetValueParams{}), 0.4);
  EXPECT_DOUBLE_EQ(suppression(TextSelectionParams{}), 0.4);
  EXPECT_DOUBLE_EQ(suppression(PerformSecondaryActionParams{}), 1.0);
}

TEST(ComputerUseIPCAction, typingIsSuppressedByTheLengthOfItsTextWithinLimits) {
  EXPECT_DOUBLE_EQ(suppression(TypeTextParams{""}), 0.8);
  EXPECT_DOUBLE_EQ(suppression(TypeTextParams{std::string(10, 'x')}), 0.8);
  EXPECT_DOUBLE_EQ(suppression(TypeTextParams{std::string(120, 'x')}), 1.2);
  EXPECT_DOUBLE_EQ(suppression(TypeTextParams{std::string(200, 'x')}), 1.6);
  std::string accented;
  for (int i = 0; i < 100; ++i) accented += "e\u0301";
  EXPECT_DOUBLE_EQ(suppression(TypeTextParams{accented}), 1.0)
      << "characters count, not bytes or code points";
}

}  // namespace
}  // namespace tavik
