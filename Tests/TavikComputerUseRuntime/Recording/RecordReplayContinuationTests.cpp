#include "TavikComputerUseRuntime/Recording/RecordReplayContinuation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "TavikComputerUseRuntime/Recording/EndedRecordings.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ScriptedRouter.h"

namespace tavik {
namespace {

using Fields = std::map<std::string, std::string>;

ComputerUseIPCEventStreamSessionStatus ended(const std::string& reason, std::optional<std::string> sessionId = "conversation") {
  ComputerUseIPCEventStreamSessionStatus status;
  status.recordSessionId = "r1";
  status.endedAt = "2026-01-01T00:00:00Z";
  status.endReason = reason;
  status.sessionId = std::move(sessionId);
  return status;
}

struct Continuing {
  explicit Continuing(SimulatedScheduler& scheduler) : scheduler(scheduler), sockets(scheduler) {
    sockets.listen(routerPath);
  }
  ~Continuing() { client.stop(); }

  SimulatedScheduler& scheduler;
  LogCapture log;
  SimulatedSockets sockets;
  HostCoordinationRouterClient client{scheduler, sockets, routerPath, {.clientType = "test"}};
  RecordReplayContinuation continuation{scheduler, client};
  EndedRecordings endedRecordings{continuation};
};

void continuing(const std::function<void(Continuing&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    Continuing continuing(scheduler);
    body(continuing);
  });
}

TEST(RecordReplayContinuation, beginsATurnInTheHostsConversation) {
  const std::pair<const char*, const char*> texts[] = {{"maxDuration", "I'm done recording."},
                                                       {"recordingControlsStopped", "I'm done recording."},
                                                       {"recordingControlsCancelled", "I've cancelled recording."}};
  for (const auto& [reason, text] : texts) {
    continuing([&](Continuing& c) {
      c.client.start();
      ScriptedRouter router = ScriptedRouter::welcome(c.sockets);
      c.scheduler.settle();
      c.continuation.notifyRecordingEnded(ended(reason));
      const ParsedJSON request = router.receive().value();
      EXPECT_EQ(request["method"], "thread-follower-start-turn");
      EXPECT_EQ(request["version"], 1);
      EXPECT_EQ(request["timeoutMs"], 5000);
      EXPECT_EQ(request["params"]["conversationId"], "conversation");
      EXPECT_EQ(request["params"]["turnStartParams"]["input"][0]["text"], text);
      router.answer(request, nullptr);
      c.scheduler.settle();
      const auto sent = c.log.only("recording_continuation_sent");
      EXPECT_EQ(sent.level, LogLevel::info);
      EXPECT_EQ(sent.fields, (Fields{{"sessionId", "conversation"}, {"recordSessionId", "r1"}}));
    });
  }
}

TEST(RecordReplayContinuation, withoutAConversationThereIsNothingToSend) {
  for (const std::optional<std::string>& none : {std::optional<std::string>(), std::optional<std::string>("")}) {
    continuing([&](Continuing& c) {
      c.continuation.notifyRecordingEnded(ended("maxDuration", none));
      c.scheduler.settle();
      const auto skipped = c.log.only("recording_continuation_skipped");
      EXPECT_EQ(skipped.level, LogLevel::warning);
      EXPECT_EQ(skipped.category, LogCategory::ipc);
      EXPECT_EQ(skipped.fields, (Fields{{"reason", "missing_session_identity"}}));
    });
  }
}

TEST(RecordReplayContinuation, aFailureIsLoggedAndNotRepeated) {
  continuing([](Continuing& c) {
    c.continuation.notifyRecordingEnded(ended("maxDuration"));
    c.scheduler.sleep(seconds(60));
    const auto failed = c.log.only("recording_continuation_failed");
    EXPECT_EQ(failed.level, LogLevel::error);
    EXPECT_EQ(failed.fields, (Fields{{"sessionId", "conversation"}, {"recordSessionId", "r1"}, {"socketPath", routerPath}}));
  });
}

TEST(EndedRecordings, theEndOfARecordingIsAnnouncedOnceHoweverOftenItIsTold) {
  continuing([](Continuing& c) {
    c.endedRecordings.statusChanged(ended("maxDuration"));
    c.endedRecordings.statusChanged(ended("maxDuration"));
    auto other = ended("maxDuration");
    other.recordSessionId = "r2";
    c.endedRecordings.statusChanged(other);
    c.scheduler.settle();
    EXPECT_EQ(c.log.count("recording_continuation_failed"), 2u);
  });
}

TEST(EndedRecordings, aStatusThatLacksTheEndOrWasNeverRecordedAnnouncesNothing) {
  continuing([](Continuing& c) {
    for (int lacking = 0; lacking < 4; ++lacking) {
      auto status = ended("maxDuration");
      if (lacking == 0) status.isRecording = true;
      if (lacking == 1) status.recordSessionId = "";
      if (lacking == 2) status.endedAt.reset();
      if (lacking == 3) status.endReason = "";
      EXPECT_FALSE(representsEndedRecording(status)) << lacking;
      c.endedRecordings.statusChanged(status);
    }
    c.scheduler.settle();
    EXPECT_TRUE(c.log.events().empty());
  });
}

}  // namespace
}  // namespace tavik
