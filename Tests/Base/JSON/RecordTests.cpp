#include "Base/JSON/Record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace tavik {

enum class Colour { red, darkBlue };
template <>
inline constexpr auto rawValues<Colour> = std::to_array<std::string_view>({"red", "dark_blue"});

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Inner {
  std::string name;
  static constexpr auto fields = std::tuple(field("name", &Inner::name));
  bool operator==(const Inner&) const = default;
};

struct Everything {
  std::string text;
  std::int64_t wide = 0;
  std::int32_t narrow = 0;
  std::uint32_t unsignedNarrow = 0;
  double real = 0;
  bool flag = false;
  Bytes data;
  Colour colour = Colour::red;
  Inner inner;
  std::vector<Inner> list;
  std::optional<std::string> maybe;
  std::optional<Inner> maybeInner;

  static constexpr auto fields =
      std::tuple(field("text", &Everything::text), field("wide", &Everything::wide),
                 field("narrow", &Everything::narrow), field("unsignedNarrow", &Everything::unsignedNarrow),
                 field("real", &Everything::real), field("flag", &Everything::flag),
                 field("data", &Everything::data), field("colour", &Everything::colour),
                 field("inner", &Everything::inner), field("list", &Everything::list),
                 field("maybe", &Everything::maybe), field("maybeInner", &Everything::maybeInner));
  bool operator==(const Everything&) const = default;
};

template <class Value>
struct Holding {
  Value value{};
  static constexpr auto fields = std::tuple(field("value", &Holding::value));
};

Everything filled() {
  return {.text = "t\"\n",
          .wide = std::numeric_limits<std::int64_t>::min(),
          .narrow = -7,
          .unsignedNarrow = 4294967295u,
          .real = 0.5,
          .flag = true,
          .data = {0, 255},
          .colour = Colour::darkBlue,
          .inner = {"in"},
          .list = {{"a"}, {"b"}},
          .maybe = "m",
          .maybeInner = Inner{"mi"}};
}

constexpr std::string_view kFilledJSON =
    R"({"text":"t\"\n","wide":-9223372036854775808,"narrow":-7,"unsignedNarrow":4294967295,"real":0.5,)"
    R"("flag":true,"data":"AP8=","colour":"dark_blue","inner":{"name":"in"},"list":[{"name":"a"},)"
    R"({"name":"b"}],"maybe":"m","maybeInner":{"name":"mi"}})";

template <class Record>
Record decode(std::string_view json) {
  return decodeRecord<Record>(bytesOf(json));
}

template <class Value>
Value valueIn(std::string_view json) {
  return decode<Holding<Value>>(json).value;
}

template <class Record>
DecodingError failure(std::string_view json) {
  try {
    decode<Record>(json);
  } catch (const DecodingError& error) {
    return error;
  }
  ADD_FAILURE() << "decoded: " << json;
  return DecodingError::dataCorrupted("no failure");
}

template <class Value>
std::string written(Value value) {
  return std::string(textOf(encodeRecord(Holding<Value>{std::move(value)})));
}

TEST(Record, isWrittenInTheOrderOfItsTable) {
  EXPECT_EQ(textOf(encodeRecord(filled())), kFilledJSON);
}

TEST(Record, readsBackWhatItWrote) {
  EXPECT_EQ(decode<Everything>(kFilledJSON), filled());
}

TEST(Record, leavesOutWhatHasNoValueAndNeverWritesNull) {
  EXPECT_EQ(written(std::optional<std::string>()), "{}");
  EXPECT_EQ(written(std::vector<Inner>()), R"({"value":[]})");
}

TEST(Record, takesAnAbsentOrNullOptionalForNoValue) {
  EXPECT_EQ(valueIn<std::optional<std::string>>("{}"), std::nullopt);
  EXPECT_EQ(valueIn<std::optional<std::string>>(R"({"value":null})"), std::nullopt);
}

TEST(Record, ignoresUnknownKeysAndWhiteSpace) {
  EXPECT_EQ(decode<Inner>(" { \"other\" : [1, {}], \"name\" : \"x\" }\n"), Inner{"x"});
}

TEST(Record, takesIntegersWithAndWithoutAFraction) {
  EXPECT_EQ(valueIn<std::int64_t>(R"({"value":11})"), 11);
  EXPECT_EQ(valueIn<std::int64_t>(R"({"value":11.0})"), 11);
  EXPECT_EQ(valueIn<std::int64_t>(R"({"value":1e3})"), 1000);
  EXPECT_EQ(valueIn<std::int64_t>(R"({"value":9223372036854775807})"),
            std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(valueIn<double>(R"({"value":11})"), 11.0);
}

TEST(Record, refusesIntegersOutsideTheirRange) {
  for (const char* number :
       {"11.5", "9223372036854775808", "-9223372036854775809", "1e19", "1e300", "-0.5"}) {
    const std::string json = std::string(R"({"value":)") + number + "}";
    EXPECT_EQ(failure<Holding<std::int64_t>>(json).kind(), DecodingError::Kind::dataCorrupted) << number;
  }
  EXPECT_EQ(failure<Holding<std::int32_t>>(R"({"value":2147483648})").kind(),
            DecodingError::Kind::dataCorrupted);
  EXPECT_EQ(failure<Holding<std::uint32_t>>(R"({"value":-1})").kind(), DecodingError::Kind::dataCorrupted);
  EXPECT_EQ(failure<Holding<std::uint32_t>>(R"({"value":4294967296.0})").kind(),
            DecodingError::Kind::dataCorrupted);
}

TEST(Record, neverMixesBooleansAndNumbers) {
  EXPECT_EQ(failure<Holding<bool>>(R"({"value":1})").kind(), DecodingError::Kind::typeMismatch);
  EXPECT_EQ(failure<Holding<std::int64_t>>(R"({"value":true})").kind(), DecodingError::Kind::typeMismatch);
  EXPECT_EQ(failure<Holding<double>>(R"({"value":false})").kind(), DecodingError::Kind::typeMismatch);
  EXPECT_EQ(failure<Holding<double>>(R"({"value":"1"})").kind(), DecodingError::Kind::typeMismatch);
}

TEST(Record, writesWholeNumbersWithoutAFraction) {
  EXPECT_EQ(written(2.0), R"({"value":2})");
  EXPECT_EQ(written(-0.25), R"({"value":-0.25})");
  EXPECT_EQ(written(1e300), R"({"value":1e+300})");
}

TEST(Record, cannotWriteNumbersThatAreNotFinite) {
  EXPECT_THROW(written(std::numeric_limits<double>::quiet_NaN()), EncodingError);
  EXPECT_THROW(written(std::numeric_limits<double>::infinity()), EncodingError);
}

TEST(Record, writesTextThatIsNoUTF8WithReplacementCharacters) {
  EXPECT_EQ(written(std::string("a\xFF\xC3")), "{\"value\":\"a\uFFFD\uFFFD\"}");
  EXPECT_EQ(written(std::string("a\0b", 3)), R"({"value":"a\u0000b"})");
}

TEST(DecodingError, tellsAMissingKeyAndTheObjectThatLacksIt) {
  const DecodingError error = failure<Everything>(
      R"({"text":"","wide":0,"narrow":0,"unsignedNarrow":0,"real":0,"flag":false,"data":"","colour":"red",)"
      R"("inner":{"name":""},"list":[{"name":"a"},{}]})");
  EXPECT_EQ(error.kind(), DecodingError::Kind::keyNotFound);
  EXPECT_THAT(error.codingPath(), ElementsAre("list", "Index 1"));
  EXPECT_STREQ(error.what(), "No value associated with key \"name\".");
}

TEST(DecodingError, tellsANullWhereAValueMustBe) {
  const DecodingError error = failure<Inner>(R"({"name":null})");
  EXPECT_EQ(error.kind(), DecodingError::Kind::valueNotFound);
  EXPECT_THAT(error.codingPath(), ElementsAre("name"));
  EXPECT_STREQ(error.what(), "Expected String value but found null instead.");
}

TEST(DecodingError, tellsAWrongType) {
  const DecodingError error = failure<Holding<Inner>>(R"({"value":{"name":7}})");
  EXPECT_EQ(error.kind(), DecodingError::Kind::typeMismatch);
  EXPECT_THAT(error.codingPath(), ElementsAre("value", "name"));
  EXPECT_STREQ(error.what(), "Expected to decode String but found a number instead.");
  EXPECT_THAT(failure<Inner>("[]").codingPath(), IsEmpty());
  EXPECT_STREQ(failure<Inner>("[]").what(), "Expected to decode Dictionary but found an array instead.");
}

TEST(DecodingError, tellsValuesThatAreNotTheirKind) {
  EXPECT_STREQ(failure<Holding<Bytes>>(R"({"value":"?"})").what(), "Encountered Data is not valid Base64.");
  EXPECT_STREQ(failure<Holding<Colour>>(R"({"value":"blue"})").what(),
               "Cannot initialize from invalid String value blue");
}

TEST(DecodingError, answersEverythingThatIsNoJSON) {
  for (const char* text : {"", " ", "{", "}", "nul", "{\"name\":}", "{\"name\":\"a\"} x", "{'name':1}",
                           "\xFF", "{\"name\":\"\xFF\"}", "{\"name\":\"\\ud800\"}", "{\"name\":1e999}",
                           "{\"name\":\"a", "{\"name\":\"\x01\"}"}) {
    EXPECT_EQ(failure<Inner>(text).kind(), DecodingError::Kind::dataCorrupted) << text;
    EXPECT_STREQ(failure<Inner>(text).what(), "The given data was not valid JSON.") << text;
  }
}

TEST(DecodingError, answersEveryTruncation) {
  for (std::size_t length = 0; length < kFilledJSON.size(); ++length) {
    EXPECT_EQ(failure<Everything>(kFilledJSON.substr(0, length)).kind(), DecodingError::Kind::dataCorrupted);
  }
}

TEST(DecodingError, answersDeepNestingWithoutDescending) {
  constexpr std::size_t kDepth = 1'000'000;
  EXPECT_STREQ(failure<Inner>(std::string(kDepth, '[')).what(), "Too many nested arrays or dictionaries.");
  std::string objects;
  for (int i = 0; i < 100'000; ++i) objects += "{\"a\":";
  EXPECT_STREQ(failure<Inner>(objects).what(), "Too many nested arrays or dictionaries.");
}

TEST(DecodingError, letsBracketsInTextsBe) {
  const std::string brackets = std::string(10'000, '[') + "\\\"" + std::string(10'000, '{');
  EXPECT_EQ(decode<Inner>("{\"name\":\"" + brackets + "\"}").name.size(), 20'001u);
  const std::string deepest = std::string(511, '[') + std::string(511, ']');
  EXPECT_EQ(decode<Inner>("{\"name\":\"x\",\"other\":" + deepest + "}"), Inner{"x"});
}

TEST(DecodingError, answersOversizedData) {
  const std::string json = "{\"name\":\"" + std::string(65 * 1024 * 1024, 'x') + "\"}";
  EXPECT_STREQ(failure<Inner>(json).what(), "The given data was too long.");
}

TEST(Record, readsAnObjectOfManyKeysQuickly) {
  std::string json = "{\"name\":\"x\"";
  for (int i = 0; i < 200'000; ++i) json += ",\"" + std::to_string(i) + "\":0";
  EXPECT_EQ(decode<Inner>(json + "}"), Inner{"x"});
}

TEST(Record, survivesAnyMutationOfItsBytes) {
  std::mt19937 random(20260305);
  int decoded = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string json(kFilledJSON);
    const int mutations = 1 + static_cast<int>(random() % 4);
    for (int i = 0; i < mutations; ++i) {
      const std::size_t at = random() % json.size();
      switch (random() % 3) {
        case 0:
          json[at] = static_cast<char>(random());
          break;
        case 1:
          json.erase(at, 1 + random() % 8);
          break;
        default:
          json.insert(at, kFilledJSON.substr(random() % kFilledJSON.size(), random() % 16));
      }
      if (json.empty()) json = "{";
    }
    try {
      const auto record = decode<Everything>(json);
      EXPECT_EQ(decodeRecord<Everything>(encodeRecord(record)), record) << json;
      ++decoded;
    } catch (const DecodingError& error) {
      EXPECT_STRNE(error.what(), "");
    }
  }
  EXPECT_GT(decoded, 100) << "the mutations are too coarse to reach the fields";
}

}  // namespace
}  // namespace tavik
