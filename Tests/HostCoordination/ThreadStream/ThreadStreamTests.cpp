#include <gtest/gtest.h>

#include "HostCoordination/ThreadStream/ThreadFollowerStartTurn.h"
#include "HostCoordination/ThreadStream/ThreadStreamFollowingChanged.h"
#include "HostCoordination/ThreadStream/ThreadStreamStateChanged.h"

namespace tavik {
namespace {

HostCoordinationBroadcast broadcast(const std::string& method, std::int64_t version, const std::string& params) {
  return {.method = method,
          .version = version,
          .sourceClientID = std::nullopt,
          .targetClientIDs = std::nullopt,
          .params = HostCoordinationJSONValue::from(parsedJSON(params)).value()};
}

/// "active", "inactive" or "unknown".
std::string activityOf(const std::string& change) {
  const auto state = ThreadStreamStateChanged::from(
      broadcast("thread-stream-state-changed", 11, R"({"conversationId":"c","change":)" + change + "}"));
  const auto activity = state.value().activityChange();
  if (!activity) return "unknown";
  EXPECT_EQ(activity->conversationID, "c");
  return activity->isTurnActive ? "active" : "inactive";
}

std::string activityOfSnapshot(const std::string& state) {
  return activityOf(R"({"type":"snapshot","conversationState":)" + state + "}");
}

std::string activityOfPatches(const std::string& patches) {
  return activityOf(R"({"type":"patches","patches":[)" + patches + "]}");
}

TEST(ThreadStreamFollowingChanged, isReadAndWrittenAsItCame) {
  const char* params = R"({"conversationId":"c","following":true,"hostId":"h"})";
  const auto following = ThreadStreamFollowingChanged::from(broadcast("thread-stream-following-changed", 1, params));
  EXPECT_EQ(following.value(), (ThreadStreamFollowingChanged{"c", "h", true}));
  EXPECT_EQ(jsonText(following->params().foundationValue()), params);
}

TEST(ThreadStreamFollowingChanged, anythingElseIsNone) {
  const char* params = R"({"conversationId":"c","following":true,"hostId":"h"})";
  EXPECT_FALSE(ThreadStreamFollowingChanged::from(broadcast("thread-stream-following-changed", 2, params)));
  EXPECT_FALSE(ThreadStreamFollowingChanged::from(broadcast("thread-stream-state-changed", 1, params)));
  for (const char* lacking : {"[]", "{}", R"({"conversationId":"c","following":1,"hostId":"h"})",
                              R"({"conversationId":"c","following":true})", R"({"following":true,"hostId":"h"})",
                              R"({"conversationId":3,"following":true,"hostId":"h"})"}) {
    EXPECT_FALSE(ThreadStreamFollowingChanged::from(broadcast("thread-stream-following-changed", 1, lacking))) << lacking;
  }
}

TEST(ThreadStreamStateChanged, needsAConversationAndAChange) {
  const auto state = ThreadStreamStateChanged::from(
      broadcast("thread-stream-state-changed", 11, R"({"conversationId":"c","hostId":"h","change":null})"));
  EXPECT_EQ(state.value().hostID, "h");
  EXPECT_FALSE(state->activityChange());
  EXPECT_FALSE(ThreadStreamStateChanged::from(broadcast("thread-stream-state-changed", 10, R"({"conversationId":"c","change":{}})")));
  EXPECT_FALSE(ThreadStreamStateChanged::from(broadcast("other", 11, R"({"conversationId":"c","change":{}})")));
  EXPECT_FALSE(ThreadStreamStateChanged::from(broadcast("thread-stream-state-changed", 11, R"({"conversationId":"c"})")));
  EXPECT_FALSE(ThreadStreamStateChanged::from(broadcast("thread-stream-state-changed", 11, R"({"change":{}})")));
}

TEST(ThreadStreamStateChanged, aSnapshotTellsByItsRuntimeStatus) {
  EXPECT_EQ(activityOfSnapshot(R"({"threadRuntimeStatus":{"type":"active"}})"), "active");
  EXPECT_EQ(activityOfSnapshot(R"({"threadRuntimeStatus":{"type":"idle"}})"), "inactive");
  EXPECT_EQ(activityOfSnapshot(R"({"threadRuntimeStatus":{"type":"running"}})"), "inactive");
  EXPECT_EQ(activityOfSnapshot(R"({"threadRuntimeStatus":{}})"), "unknown");
  EXPECT_EQ(activityOfSnapshot(R"({"threadRuntimeStatus":"active"})"), "unknown");
}

TEST(ThreadStreamStateChanged, aSnapshotTellsByItsTurnsToo) {
  const auto history = [](const std::string& turns) { return R"("turnHistory":{"history":{"entitiesByKey":)" + turns + "}}"; };
  EXPECT_EQ(activityOfSnapshot("{" + history(R"({"a":{"status":"completed"},"b":{"status":"inProgress"}})") + "}"), "active");
  EXPECT_EQ(activityOfSnapshot("{" + history(R"({"a":{"status":"running"}})") + "}"), "inactive");
  EXPECT_EQ(activityOfSnapshot("{" + history("{}") + "}"), "inactive");
  EXPECT_EQ(activityOfSnapshot("{" + history("[]") + "}"), "unknown");
  EXPECT_EQ(activityOfSnapshot(R"({"threadRuntimeStatus":{"type":"idle"},)" + history(R"({"b":{"status":"inProgress"}})") + "}"), "active");
  EXPECT_EQ(activityOfSnapshot("{}"), "unknown");
  EXPECT_EQ(activityOf(R"({"type":"snapshot"})"), "unknown");
  EXPECT_EQ(activityOf(R"({"type":"snapshot","conversationState":[]})"), "unknown");
}

TEST(ThreadStreamStateChanged, otherChangesTellNothing) {
  for (const char* change : {"{}", "[]", "null", R"({"type":"news"})", R"({"type":7})", R"({"type":"patches"})",
                             R"({"type":"patches","patches":{}})", R"({"type":"patches","patches":[]})"}) {
    EXPECT_EQ(activityOf(change), "unknown") << change;
  }
}

TEST(ThreadStreamStateChanged, aPatchOfTheRuntimeStatusTellsWholeOrByItsType) {
  EXPECT_EQ(activityOfPatches(R"({"path":["threadRuntimeStatus"],"value":{"type":"active"}})"), "active");
  EXPECT_EQ(activityOfPatches(R"({"path":["x",0,"threadRuntimeStatus"],"value":{"type":"idle"}})"), "inactive");
  EXPECT_EQ(activityOfPatches(R"({"path":["threadRuntimeStatus","type"],"value":"active"})"), "active");
  EXPECT_EQ(activityOfPatches(R"({"path":["threadRuntimeStatus","type"],"value":"idle"})"), "inactive");
  EXPECT_EQ(activityOfPatches(R"({"path":["threadRuntimeStatus"],"value":"active"})"), "unknown");
  EXPECT_EQ(activityOfPatches(R"({"path":["threadRuntimeStatus","type"],"value":{}})"), "unknown");
  EXPECT_EQ(activityOfPatches(R"({"path":"threadRuntimeStatus","value":{"type":"active"}})"), "unknown");
}

TEST(ThreadStreamStateChanged, aPatchOfATurnTellsByItsStatus) {
  const std::pair<const char*, const char*> statuses[] = {
      {"inProgress", "active"}, {"running", "active"}, {"active", "active"}, {"completed", "inactive"},
      {"failed", "inactive"}, {"interrupted", "inactive"}, {"cancelled", "inactive"}, {"canceled", "inactive"},
      {"pending", "unknown"}, {"", "unknown"}};
  for (const auto& [status, activity] : statuses) {
    const std::string quoted = "\"" + std::string(status) + "\"";
    EXPECT_EQ(activityOfPatches(R"({"path":["turnHistory","history","entitiesByKey","t1","status"],"value":)" + quoted + "}"), activity) << status;
    EXPECT_EQ(activityOfPatches(R"({"path":["entitiesByKey","t1"],"value":{"turnId":"t1","status":)" + quoted + "}}"), activity) << status;
  }
  EXPECT_EQ(activityOfPatches(R"({"path":["entitiesByKey","t1"],"value":{"status":"completed"}})"), "unknown");
  EXPECT_EQ(activityOfPatches(R"({"path":["items","status"],"value":"completed"})"), "unknown");
}

TEST(ThreadStreamStateChanged, theLastPatchThatSaysAnythingDecides) {
  const std::string ended = R"({"path":["entitiesByKey","t","status"],"value":"completed"})";
  const std::string began = R"({"path":["entitiesByKey","u","status"],"value":"running"})";
  const std::string unrelated = R"({"path":["title"],"value":"active"})";
  const std::string unknown = R"({"path":["entitiesByKey","t","status"],"value":"pending"})";
  EXPECT_EQ(activityOfPatches(ended + "," + began), "active");
  EXPECT_EQ(activityOfPatches(began + "," + ended), "inactive");
  EXPECT_EQ(activityOfPatches(ended + "," + unrelated + "," + unknown + ",7"), "inactive");
  EXPECT_EQ(activityOfPatches(unrelated), "unknown");
}

TEST(ThreadFollowerStartTurn, saysTheTextAsTheUserWould) {
  EXPECT_EQ(jsonText(ThreadFollowerStartTurn::params("c", "Done.").foundationValue()),
            R"({"conversationId":"c","turnStartParams":{"inheritThreadSettings":true,)"
            R"("input":[{"text":"Done.","text_elements":[],"type":"text"}]}})");
}

}  // namespace
}  // namespace tavik
