#include "ComputerUseContracts/ToolResult.h"

#include <gtest/gtest.h>

#include "Base/JSON/Record.h"
#include "ComputerUseContracts/ComputerUseIPCToolResultResponse.h"

namespace tavik {
namespace {

std::string wire(const ToolResult& result) {
  return std::string(textOf(encodeRecord(ComputerUseIPCToolResultResponse::from(result))));
}

ToolResult fromWire(std::string_view json) {
  return decodeRecord<ComputerUseIPCToolResultResponse>(bytesOf(json)).toToolResult();
}

const ToolResult kTextAndImage{
    {ToolResultContent::text("seen"), ToolResultContent::image({0x89, 'P', 'N', 'G'}, "image/png")}, false};

TEST(ToolResult, aMessageIsOneBlockOfText) {
  EXPECT_EQ(ToolResult::text("ok"), (ToolResult{{ToolResultContent::text("ok")}, false}));
  EXPECT_EQ(ToolResult::error("no"), (ToolResult{{ToolResultContent::text("no")}, true}));
}

TEST(ToolResult, saysForTheHostThatItIsAnErrorOnlyWhenItIs) {
  EXPECT_EQ(
      kTextAndImage.toJSON().dump(),
      R"({"content":[{"type":"text","text":"seen"},{"type":"image","data":"iVBORw==","mimeType":"image/png"}]})");
  EXPECT_EQ(ToolResult::error("no").toJSON().dump(),
            R"({"content":[{"type":"text","text":"no"}],"isError":true})");
  EXPECT_EQ(ToolResult{}.toJSON().dump(), R"({"content":[]})");
}

TEST(ToolResult, alwaysSaysOnTheWireWhetherItIsAnError) {
  EXPECT_EQ(
      wire(kTextAndImage),
      R"({"content":[{"type":"text","text":"seen"},{"type":"image","data":"iVBORw==","mimeType":"image/png"}],)"
      R"("isError":false})");
  EXPECT_EQ(wire(ToolResult::error("no")), R"({"content":[{"type":"text","text":"no"}],"isError":true})");
}

TEST(ToolResult, withoutContentIsAnEmptyListOnTheWire) {
  EXPECT_EQ(wire(ToolResult{}), R"({"content":[],"isError":false})");
  EXPECT_EQ(fromWire(R"({"content":[],"isError":true})"), (ToolResult{{}, true}));
}

TEST(ToolResult, comesBackFromTheWireAsItWent) {
  EXPECT_EQ(fromWire(wire(kTextAndImage)), kTextAndImage);
  EXPECT_EQ(fromWire(wire(ToolResult::error("no"))), ToolResult::error("no"));
}

TEST(ToolResult, anImageWithoutAKindIsAPNG) {
  EXPECT_EQ(fromWire(R"({"content":[{"type":"image","data":"AAE="}],"isError":false})").content[0],
            ToolResultContent::image({0, 1}, "image/png"));
  EXPECT_EQ(fromWire(R"({"content":[{"type":"image","data":"","mimeType":"image/jpeg"}],"isError":false})")
                .content[0],
            ToolResultContent::image({}, "image/jpeg"));
}

TEST(ToolResult, anImageWithoutDataBecomesItsText) {
  EXPECT_EQ(fromWire(R"({"content":[{"type":"image","mimeType":"image/png"}],"isError":false})"),
            ToolResult::text(""));
  EXPECT_EQ(fromWire(R"({"content":[{"type":"image","text":"none"}],"isError":false})"),
            ToolResult::text("none"));
}

TEST(ToolResult, blocksOfAnyOtherKindAreText) {
  EXPECT_EQ(fromWire(R"({"content":[{"type":"sound","text":"la","data":"AAE="}],"isError":false})"),
            ToolResult::text("la"));
  EXPECT_EQ(fromWire(R"({"content":[{"type":"text"}],"isError":false})"), ToolResult::text(""));
}

}  // namespace
}  // namespace tavik
