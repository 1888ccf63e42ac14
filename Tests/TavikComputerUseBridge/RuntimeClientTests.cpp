#include "TavikComputerUseBridge/Runtime/RuntimeClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ComputerUseContracts/ToolError.h"
#include "ScriptedSender.h"

namespace tavik {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

const RuntimeRequest reading{.requestType = "Read", .data = bytesOf("{}"), .isRepeatable = true};
const RuntimeRequest acting{.requestType = "Act", .data = bytesOf(R"({"app":"a"})")};

class RuntimeClientTest : public ::testing::Test {
 protected:
  ScriptedSender sender;
  RuntimeClient client{sender};

  std::string failureOf(const RuntimeRequest& request) {
    try {
      client.send(request);
    } catch (const ToolError& error) {
      return error.description();
    }
    return "none";
  }
  void answerWith(const RequestSenderPort::Outcome& outcome) {
    sender.script = [outcome](const auto&) { return outcome; };
  }
};

TEST_F(RuntimeClientTest, sendsTheRecordAndGivesTheResponse) {
  answerWith(ScriptedSender::answer(R"({"x":1})"));
  RequestIDScope requestID("ab12");
  EXPECT_EQ(textOf(client.send(acting)), R"({"x":1})");
  ASSERT_THAT(sender.sent(), SizeIs(1));
  const auto sent = sender.sent()[0];
  EXPECT_EQ(sent.requestType, "Act");
  EXPECT_EQ(sent.json, R"({"app":"a"})");
  EXPECT_EQ(sent.requestID, "ab12");
  EXPECT_EQ(sent.timeoutSeconds, 120.0);
}

TEST_F(RuntimeClientTest, putsAFailureOfTheTransportIntoWords) {
  using Failure = RequestSenderPort::Failure;
  answerWith(ScriptedSender::failure(Failure::notReachable, "There is no session bus."));
  EXPECT_EQ(failureOf(acting),
            "IPC error: the runtime does not run and could not be started (There is no session bus). Ask the "
            "user to run "
            "\"TavikComputerUseBridge doctor\".");
  answerWith(ScriptedSender::failure(Failure::timedOut, ""));
  EXPECT_THAT(failureOf(acting),
              StartsWith("IPC error: the runtime did not answer in time. If it was an action"));
  answerWith(ScriptedSender::failure(Failure::disconnected, ""));
  EXPECT_THAT(failureOf(acting), StartsWith("IPC error: the runtime ended before it answered."));
}

TEST_F(RuntimeClientTest, putsEachErrorNumberIntoWords) {
  const std::vector<std::pair<std::int32_t, std::string>> expected = {
      {-10000, "could not do the request (unknown)"},
      {-10006, "does not accept requests from this program"},
      {-10008, "did not let its elements be read"},
      {-10010, "identifier could not be found"},
      {-10011, "took too long"},
      {-10012, "ended before it answered"},
      {-10015, "must not be read or operated"},
      {-10016, "too many requests are in progress"},
      {-1, "could not do the request (unknown)"},
  };
  for (const auto& [number, words] : expected) {
    answerWith(ScriptedSender::errorNumber(number, "unknown"));
    EXPECT_THAT(failureOf(acting), StartsWith("IPC error: ")) << number;
    EXPECT_THAT(failureOf(acting), HasSubstr(words)) << number;
  }
}

TEST_F(RuntimeClientTest, takesASuccessWithoutAnAnswerForAFailure) {
  answerWith({});
  EXPECT_EQ(failureOf(acting), "IPC error: the runtime gave an empty answer.");
}

TEST_F(RuntimeClientTest, readsAgainWhenTheRuntimeEndedJustThen) {
  int call = 0;
  sender.script = [&](const auto&) {
    return ++call == 1 ? ScriptedSender::errorNumber(-10012, "TavikComputerUseRuntime is terminating")
                       : ScriptedSender::answer("{}");
  };
  EXPECT_EQ(textOf(client.send(reading)), "{}");
  EXPECT_EQ(call, 2);
}

TEST_F(RuntimeClientTest, readsAgainOnlyOnce) {
  answerWith(ScriptedSender::failure(RequestSenderPort::Failure::disconnected, ""));
  EXPECT_THAT(failureOf(reading), HasSubstr("ended before it answered"));
  EXPECT_THAT(sender.sent(), SizeIs(2));
}

TEST_F(RuntimeClientTest, neverRepeatsAnAction) {
  answerWith(ScriptedSender::failure(RequestSenderPort::Failure::disconnected, ""));
  failureOf(acting);
  EXPECT_THAT(sender.sent(), SizeIs(1));
}

TEST_F(RuntimeClientTest, doesNotReadAgainAfterATimeOut) {
  answerWith(ScriptedSender::failure(RequestSenderPort::Failure::timedOut, ""));
  failureOf(reading);
  EXPECT_THAT(sender.sent(), SizeIs(1));
}

TEST_F(RuntimeClientTest, refreshesItsActivityWithAHealthRequest) {
  answerWith(ScriptedSender::answer("{}"));
  EXPECT_TRUE(client.refreshActivity());
  ASSERT_THAT(sender.sent(), SizeIs(1));
  EXPECT_EQ(sender.sent()[0].requestType, "ComputerUseIPCHealthRequest");
  EXPECT_EQ(sender.sent()[0].json, R"({"refreshClientActivity":true})");
  answerWith(ScriptedSender::failure(RequestSenderPort::Failure::timedOut, ""));
  EXPECT_FALSE(client.refreshActivity());
}

TEST_F(RuntimeClientTest, startsNoRuntimeToSayThatItLives) {
  sender.isRunning = false;
  EXPECT_TRUE(client.refreshActivity());
  EXPECT_THAT(sender.sent(), IsEmpty());
}

}  // namespace
}  // namespace tavik
