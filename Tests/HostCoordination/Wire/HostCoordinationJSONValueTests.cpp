#include "HostCoordination/Wire/HostCoordinationJSONValue.h"

#include <gtest/gtest.h>

#include <limits>

#include "HostCoordination/Wire/HostCoordinationBroadcast.h"

namespace tavik {
namespace {

using Value = HostCoordinationJSONValue;

Value valueOf(const char* json) {
  return Value::from(parsedJSON(json)).value();
}

TEST(HostCoordinationJSONValue, everyKindIsReadAndWrittenAsItWas) {
  const char* json = R"({"array":[1,2.5,"three",false,null],"object":{"empty":{}},"true":true})";
  EXPECT_EQ(jsonText(valueOf(json).foundationValue()), json);
}

TEST(HostCoordinationJSONValue, anAccessorOfAnotherKindGivesNothing) {
  const Value text("x");
  EXPECT_EQ(*text.stringValue(), "x");
  EXPECT_EQ(text.objectValue(), nullptr);
  EXPECT_EQ(text.arrayValue(), nullptr);
  EXPECT_EQ(text.boolValue(), nullptr);
  EXPECT_EQ(text.numberValue(), nullptr);
  EXPECT_EQ(text.member("x"), nullptr);
  EXPECT_FALSE(text.isNull());
}

TEST(HostCoordinationJSONValue, aTruthValueIsNoNumberAndANumberNoTruthValue) {
  EXPECT_NE(valueOf("true").boolValue(), nullptr);
  EXPECT_EQ(valueOf("true").numberValue(), nullptr);
  EXPECT_EQ(valueOf("1").boolValue(), nullptr);
  EXPECT_EQ(*valueOf("1").numberValue(), 1.0);
}

TEST(HostCoordinationJSONValue, aValueInsideThatIsNoneOfJSONsMakesTheWholeNone) {
  ParsedJSON binary = ParsedJSON::array();
  binary.push_back(ParsedJSON::binary({1, 2}));
  EXPECT_FALSE(Value::from(binary));
  ParsedJSON object = ParsedJSON::object();
  object["fine"] = 1;
  object["inside"] = binary;
  EXPECT_FALSE(Value::from(object));
}

TEST(HostCoordinationJSONValue, aNumberThatJSONLacksCannotBeWritten) {
  EXPECT_THROW(Value(std::numeric_limits<double>::infinity()).foundationValue(), EncodingError);
}

std::optional<HostCoordinationBroadcast> broadcastWithVersion(const std::string& version) {
  return HostCoordinationBroadcast::from(
      parsedJSON(R"({"type":"broadcast","method":"m","params":{},"version":)" + version + "}"));
}

TEST(HostCoordinationBroadcast, aVersionMayBeWrittenWithAFractionOfNothing) {
  EXPECT_EQ(broadcastWithVersion("11").value().version, 11);
  EXPECT_EQ(broadcastWithVersion("11.0").value().version, 11);
  EXPECT_EQ(broadcastWithVersion("-1").value().version, -1);
}

TEST(HostCoordinationBroadcast, anythingElseIsNoVersion) {
  for (const char* version : {"true", "\"11\"", "11.5", "null", "[11]", "18446744073709551615", "1e300"}) {
    EXPECT_FALSE(broadcastWithVersion(version)) << version;
  }
}

TEST(HostCoordinationBroadcast, onlyMethodVersionAndParamsAreNeeded) {
  const auto least = broadcastWithVersion("1").value();
  EXPECT_EQ(least.sourceClientID, std::nullopt);
  EXPECT_EQ(least.targetClientIDs, std::nullopt);
  const auto most = HostCoordinationBroadcast::from(parsedJSON(
      R"({"method":"m","version":1,"params":null,"sourceClientId":"a","targetClientIds":["b","c"]})"));
  EXPECT_EQ(most.value().sourceClientID, "a");
  EXPECT_EQ(most.value().targetClientIDs, (std::vector<std::string>{"b", "c"}));
  for (const char* frame : {R"({"version":1,"params":{}})", R"({"method":7,"version":1,"params":{}})",
                            R"({"method":"m","params":{}})", R"({"method":"m","version":1})"}) {
    EXPECT_FALSE(HostCoordinationBroadcast::from(parsedJSON(frame))) << frame;
  }
}

}  // namespace
}  // namespace tavik
