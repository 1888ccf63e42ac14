#include "TavikComputerUseBridge/Protocol/JSONRPCMessage.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

using Kind = JSONRPCMessage::Kind;

std::expected<JSONRPCMessage, JSONRPCFailure> read(std::string_view text) {
  return JSONRPCMessage::read(ParsedJSON::parse(text));
}

TEST(JSONRPCMessage, readsARequestWithATextOrAnIntegerForIdentifier) {
  const auto byNumber = read(R"({"jsonrpc":"2.0","id":7,"method":"ping"})");
  ASSERT_TRUE(byNumber);
  EXPECT_EQ(byNumber->kind, Kind::request);
  EXPECT_EQ(byNumber->id, 7);
  EXPECT_EQ(byNumber->method, "ping");
  EXPECT_EQ(byNumber->params, JSON::object());

  EXPECT_EQ(read(R"({"jsonrpc":"2.0","id":"a","method":"ping","params":{"x":1}})")->params["x"], 1);
}

TEST(JSONRPCMessage, withoutIdentifierIsANotification) {
  EXPECT_EQ(read(R"({"jsonrpc":"2.0","method":"notifications/initialized"})")->kind, Kind::notification);
}

TEST(JSONRPCMessage, withAResultAndNoMethodIsAResponse) {
  EXPECT_EQ(read(R"({"jsonrpc":"2.0","id":1,"result":{}})")->kind, Kind::response);
}

TEST(JSONRPCMessage, refusesWhatHasNotTheForm) {
  const auto code = [](std::string_view text) { return read(text).error().code; };
  EXPECT_EQ(code("7"), JSONRPCErrorCode::invalidRequest);
  EXPECT_EQ(code(R"({"id":1,"method":"ping"})"), JSONRPCErrorCode::invalidRequest);
  EXPECT_EQ(code(R"({"jsonrpc":"1.0","id":1,"method":"ping"})"), JSONRPCErrorCode::invalidRequest);
  EXPECT_EQ(code(R"({"jsonrpc":"2.0","id":1})"), JSONRPCErrorCode::invalidRequest);
  EXPECT_EQ(code(R"({"jsonrpc":"2.0","id":1,"method":5})"), JSONRPCErrorCode::invalidRequest);
  EXPECT_EQ(code(R"({"jsonrpc":"2.0","id":1.5,"method":"ping"})"), JSONRPCErrorCode::invalidRequest);
  EXPECT_EQ(code(R"({"jsonrpc":"2.0","id":null,"method":"ping"})"), JSONRPCErrorCode::invalidRequest);
  EXPECT_EQ(code(R"({"jsonrpc":"2.0","id":1,"method":"ping","params":[1]})"),
            JSONRPCErrorCode::invalidParams);
}

TEST(JSONRPCMessage, aFailureCarriesTheIdentifierWhereItCouldBeRead) {
  EXPECT_EQ(read(R"({"jsonrpc":"1.0","id":"x","method":"ping"})").error().id, "x");
  EXPECT_TRUE(read(R"({"jsonrpc":"2.0","id":{},"method":"ping"})").error().id.is_null());
}

TEST(JSONRPCLine, thatIsNoJSONIsAParseError) {
  for (const char* line : {"{", "hello", "\xff\xfe", "{\"a\":1}}", "1e999", "\"\xc3\""}) {
    const auto parsed = parseJSONRPCLine(line);
    ASSERT_FALSE(parsed) << line;
    EXPECT_EQ(parsed.error().code, JSONRPCErrorCode::parseError) << line;
  }
}

TEST(JSONRPCLine, nestedAMillionLevelsDeepIsAParseError) {
  const std::string deep = std::string(1'000'000, '[') + std::string(1'000'000, ']');
  EXPECT_EQ(parseJSONRPCLine(deep).error().code, JSONRPCErrorCode::parseError);
}

TEST(JSONRPCLine, withHundredsOfThousandsOfKeysIsReadQuickly) {
  std::string wide = R"({"jsonrpc":"2.0","id":1,"method":"ping")";
  for (int key = 0; key < 300'000; ++key) wide += ",\"" + std::to_string(key) + "\":0";
  EXPECT_EQ(JSONRPCMessage::read(*parseJSONRPCLine(wide + "}"))->method, "ping");
}

}  // namespace
}  // namespace tavik
