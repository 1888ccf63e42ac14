#include "TavikComputerUseBridge/Protocol/MessageLines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace tavik {
namespace {

using ::testing::ElementsAre;

class MessageLinesTest : public ::testing::Test {
 protected:
  MessageLines lines{8};
  std::vector<std::optional<std::string>> received;

  void append(std::string_view bytes) {
    lines.append(bytes, [&](std::optional<std::string> line) { received.push_back(std::move(line)); });
  }
  void finish() {
    lines.finish([&](std::optional<std::string> line) { received.push_back(std::move(line)); });
  }
};

TEST_F(MessageLinesTest, joinsALineThatComesInPieces) {
  append("a");
  append("b\nc");
  EXPECT_THAT(received, ElementsAre("ab"));
  append("\n");
  EXPECT_THAT(received, ElementsAre("ab", "c"));
}

TEST_F(MessageLinesTest, handsOnSeveralLinesAtOnceAndEmptyOnesToo) {
  append("a\n\nb\n");
  EXPECT_THAT(received, ElementsAre("a", "", "b"));
}

TEST_F(MessageLinesTest, takesACarriageReturnBeforeTheLineFeedAsPartOfTheLineEnd) {
  append("a\r\nb\rc\r\n");
  EXPECT_THAT(received, ElementsAre("a", "b\rc"));
}

TEST_F(MessageLinesTest, reportsALineOverTheLimitOnceAndGoesOnWithTheNext) {
  append("12345678\n123456");
  append("789");
  append("012345\nok\n");
  EXPECT_THAT(received, ElementsAre("12345678", std::nullopt, "ok"));
}

TEST_F(MessageLinesTest, handsOnALastLineWithoutLineFeed) {
  append("a\nlast");
  finish();
  EXPECT_THAT(received, ElementsAre("a", "last"));
}

TEST_F(MessageLinesTest, hasNothingBehindTheLastLineFeed) {
  append("a\n");
  finish();
  EXPECT_THAT(received, ElementsAre("a"));
}

}  // namespace
}  // namespace tavik
