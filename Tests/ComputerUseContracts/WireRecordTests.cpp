#include <gtest/gtest.h>

#include <random>

#include "Base/JSON/Record.h"
#include "ComputerUseContracts/AppshotRecords.h"
#include "ComputerUseContracts/ComputerUseRequest.h"
#include "ComputerUseContracts/EventStreamRecords.h"
#include "ComputerUseContracts/HealthRecords.h"
#include "ComputerUseContracts/ToolRequests.h"

namespace tavik {
namespace {

/// The record is written as the text, and the text is read as the record.
template <class Record>
void expectGolden(const Record& record, std::string_view json) {
  EXPECT_EQ(textOf(encodeRecord(record)), json);
  EXPECT_EQ(decodeRecord<Record>(bytesOf(json)), record) << json;
}

template <ComputerUseRequest Record, class Response>
void expectRequest(std::string_view requestType) {
  EXPECT_EQ(Record::requestType, requestType);
  EXPECT_TRUE((std::is_same_v<typename Record::Response, Response>)) << requestType;
}

ComputerUseIPCAppshotRect rect(double x) {
  return {.x = x, .y = 2, .width = 3.5, .height = 4};
}

TEST(WireRecords, requestsCarryTheirNameAndTheirAnswer) {
  using ToolResultResponse = ComputerUseIPCToolResultResponse;
  using Empty = ComputerUseIPCEmptyResponse;
  using Status = ComputerUseIPCEventStreamSessionStatus;
  expectRequest<ComputerUseIPCListAppsRequest, ToolResultResponse>("ComputerUseIPCListAppsRequest");
  expectRequest<ComputerUseIPCAppGetStateRequest, ToolResultResponse>("ComputerUseIPCAppGetStateRequest");
  expectRequest<ComputerUseIPCAppPerformActionRequest, ToolResultResponse>(
      "ComputerUseIPCAppPerformActionRequest");
  expectRequest<ComputerUseIPCAppStartRequest, Empty>("ComputerUseIPCAppStartRequest");
  expectRequest<ComputerUseIPCAppModifyRequest, Empty>("ComputerUseIPCAppModifyRequest");
  expectRequest<ComputerUseIPCAppUsageRequest, Empty>("ComputerUseIPCAppUsageRequest");
  expectRequest<ComputerUseIPCHealthRequest, ComputerUseIPCHealthResponse>("ComputerUseIPCHealthRequest");
  expectRequest<ComputerUseIPCEventStreamStartRequest, Status>("ComputerUseIPCEventStreamStartRequest");
  expectRequest<ComputerUseIPCEventStreamStatusRequest, Status>("ComputerUseIPCEventStreamStatusRequest");
  expectRequest<ComputerUseIPCEventStreamStopRequest, Status>("ComputerUseIPCEventStreamStopRequest");
  expectRequest<ComputerUseIPCAppStartFrontmostCaptureRequest,
                ComputerUseIPCAppStartFrontmostCaptureResponse>(
      "ComputerUseIPCAppStartFrontmostCaptureRequest");
  expectRequest<ComputerUseIPCAppNextCaptureUpdateRequest, ComputerUseIPCAppshotUpdateEnvelope>(
      "ComputerUseIPCAppNextCaptureUpdateRequest");
  expectRequest<ComputerUseIPCAppCancelCaptureRequest, Empty>("ComputerUseIPCAppCancelCaptureRequest");
}

TEST(WireRecords, toolRequests) {
  expectGolden(ComputerUseIPCListAppsRequest{}, "{}");
  expectGolden(ComputerUseIPCAppGetStateRequest{"Text Editor"}, R"({"app":"Text Editor"})");
  expectGolden(
      ComputerUseIPCAppPerformActionRequest{"Notes", ClickParams{.elementIndex = 7, .x = {}, .y = {}}},
      R"({"app":"Notes","action":{"click":{"_0":{"elementIndex":7,"clickCount":1,"mouseButton":0}}}})");
  expectGolden(ComputerUseIPCAppStartRequest{"Notes"}, R"({"app":"Notes"})");
  expectGolden(ComputerUseIPCAppModifyRequest{"Notes", "hide"}, R"({"app":"Notes","modification":"hide"})");
  expectGolden(ComputerUseIPCAppUsageRequest{}, "{}");
  expectGolden(ComputerUseIPCEmptyResponse{}, "{}");
}

TEST(WireRecords, health) {
  expectGolden(ComputerUseIPCHealthRequest{}, "{}");
  expectGolden(ComputerUseIPCHealthRequest{false}, R"({"refreshClientActivity":false})");
  ComputerUseIPCHealthResponse response{.generationID = "G",
                                        .runtimePID = 42,
                                        .bundleIdentifier = "com.tavik.computeruse",
                                        .bundlePath = "/opt/tavik",
                                        .isHealthy = true,
                                        .activeClientCount = {},
                                        .heartbeatTimeoutSeconds = {}};
  expectGolden(response, R"({"generationID":"G","runtimePID":42,"bundleIdentifier":"com.tavik.computeruse",)"
                         R"("bundlePath":"/opt/tavik","isHealthy":true})");
  response.activeClientCount = 2;
  response.heartbeatTimeoutSeconds = 90;
  expectGolden(
      response,
      R"({"generationID":"G","runtimePID":42,"bundleIdentifier":"com.tavik.computeruse",)"
      R"("bundlePath":"/opt/tavik","isHealthy":true,"activeClientCount":2,"heartbeatTimeoutSeconds":90})");
}

TEST(WireRecords, eventStream) {
  expectGolden(ComputerUseIPCEventStreamStatusRequest{}, "{}");
  expectGolden(ComputerUseIPCEventStreamStartRequest{}, "{}");
  expectGolden(
      ComputerUseIPCEventStreamStartRequest{
          .sessionId = "s",
          .approvalAlreadyGranted = true,
          .maxDurationSeconds = 60,
          .screenshotMode = ComputerUseIPCEventStreamScreenshotMode::windowChanges},
      R"({"sessionId":"s","approvalAlreadyGranted":true,"maxDurationSeconds":60,"screenshotMode":"window_changes"})");
  expectGolden(ComputerUseIPCEventStreamSessionStatus{},
               R"({"isRecording":false,"eventCount":0,"suppressedEventCount":0,"maxDurationSeconds":0,)"
               R"("screenshotMode":"off"})");
  expectGolden(
      ComputerUseIPCEventStreamSessionStatus{
          .isRecording = true,
          .recordSessionId = "r",
          .sessionDirectoryPath = "/d",
          .eventsPath = "/d/events.jsonl",
          .metadataPath = "/d/session.json",
          .suppressedEventsPath = "/d/suppressed.jsonl",
          .startedAt = "2026-03-05T09:15:30Z",
          .endedAt = "2026-03-05T09:16:30Z",
          .endReason = "toolStopped",
          .sessionId = "s",
          .eventCount = 3,
          .suppressedEventCount = 1,
          .maxDurationSeconds = 1800,
          .screenshotMode = ComputerUseIPCEventStreamScreenshotMode::interactionSettled},
      R"({"isRecording":true,"recordSessionId":"r","sessionDirectoryPath":"/d","eventsPath":"/d/events.jsonl",)"
      R"("metadataPath":"/d/session.json","suppressedEventsPath":"/d/suppressed.jsonl",)"
      R"("startedAt":"2026-03-05T09:15:30Z","endedAt":"2026-03-05T09:16:30Z","endReason":"toolStopped",)"
      R"("sessionId":"s","eventCount":3,"suppressedEventCount":1,"maxDurationSeconds":1800,)"
      R"("screenshotMode":"interaction_settled"})");
}

TEST(WireRecords, everyReasonToEndARecordingHasItsName) {
  using enum ComputerUseIPCEventStreamEndReason;
  const std::pair<ComputerUseIPCEventStreamEndReason, std::string> reasons[] = {
      {userStoppedSession, "userStoppedSession"},
      {approvalCancelled, "approvalCancelled"},
      {toolStopped, "toolStopped"},
      {debugUIStopped, "debugUIStopped"},
      {recordingControlsStopped, "recordingControlsStopped"},
      {recordingControlsCancelled, "recordingControlsCancelled"},
      {maxDuration, "maxDuration"},
      {error, "error"},
  };
  for (const auto& [reason, name] : reasons) {
    expectGolden(ComputerUseIPCEventStreamStopRequest{reason}, R"({"reason":")" + name + R"("})");
  }
  EXPECT_EQ(std::size(reasons), rawValues<ComputerUseIPCEventStreamEndReason>.size());
}

TEST(WireRecords, appshotRequests) {
  expectGolden(ComputerUseIPCAppStartFrontmostCaptureRequest{"q", {}, {}, {}}, R"({"requestId":"q"})");
  expectGolden(
      ComputerUseIPCAppStartFrontmostCaptureRequest{
          .requestId = "q",
          .bundleIdentifier = "org.example",
          .windowID = 4294967295u,
          .animationTarget =
              ComputerUseIPCAppshotAnimationTarget{
                  .velarDisplay =
                      ComputerUseIPCAppshotDisplay{
                          .id = 1, .scaleFactor = 2, .bounds = rect(0), .workArea = rect(1)},
                  .destinationBackgroundColor = "#fff",
                  .destinationCornerRadius = 8.5,
                  .destinationFrame = rect(9),
                  .destinationPrimaryTextColor = "#000"}},
      R"({"requestId":"q","bundleIdentifier":"org.example","windowID":4294967295,"animationTarget":)"
      R"({"velarDisplay":{"id":1,"scaleFactor":2,"bounds":{"x":0,"y":2,"width":3.5,"height":4},)"
      R"("workArea":{"x":1,"y":2,"width":3.5,"height":4}},"destinationBackgroundColor":"#fff",)"
      R"("destinationCornerRadius":8.5,"destinationFrame":{"x":9,"y":2,"width":3.5,"height":4},)"
      R"("destinationPrimaryTextColor":"#000"}})");
  expectGolden(ComputerUseIPCAppNextCaptureUpdateRequest{"q", {}}, R"({"requestId":"q"})");
  expectGolden(ComputerUseIPCAppNextCaptureUpdateRequest{"q", 250}, R"({"requestId":"q","timeoutMs":250})");
  expectGolden(ComputerUseIPCAppCancelCaptureRequest{"q"}, R"({"requestId":"q"})");
}

TEST(WireRecords, appshotResponses) {
  expectGolden(ComputerUseIPCAppStartFrontmostCaptureResponse{}, "{}");
  expectGolden(
      ComputerUseIPCAppStartFrontmostCaptureResponse{
          .target = ComputerUseIPCAppshotTarget{"org.example", "Example", "data:,", "Window"},
          .transitionSnapshotHeight = 480,
          .error = ComputerUseIPCAppshotError{"noWindow", "There is no window"}},
      R"({"target":{"bundleIdentifier":"org.example","name":"Example","iconSmallDataURL":"data:,",)"
      R"("windowTitle":"Window"},"transitionSnapshotHeight":480,)"
      R"("error":{"code":"noWindow","message":"There is no window"}})");
}

TEST(WireRecords, anAppshotUpdateFillsItsTypeAndOneField) {
  using Update = ComputerUseIPCAppshotCaptureUpdate;
  const auto envelope = [](Update update) {
    return ComputerUseIPCAppshotUpdateEnvelope{"q", std::move(update)};
  };
  const auto json = [](const std::string& update) { return R"({"requestId":"q","update":)" + update + "}"; };

  expectGolden(envelope(Update::metadata({"org.example", "Example", {}, {}})),
               json(R"({"type":"metadata","target":{"bundleIdentifier":"org.example","name":"Example"}})"));
  expectGolden(envelope(Update::axText("tree")), json(R"({"type":"axText","text":"tree"})"));
  expectGolden(envelope(Update::screenshot("data:,a")),
               json(R"({"type":"screenshot","screenshotDataURL":"data:,a"})"));
  expectGolden(envelope(Update::completed("data:,b")),
               json(R"({"type":"completed","transitionSnapshotDataURL":"data:,b"})"));
  expectGolden(envelope(Update::failed("why")), json(R"({"type":"failed","error":"why"})"));
  expectGolden(envelope(Update::heartbeat()), json(R"({"type":"heartbeat"})"));
}

TEST(WireRecords, anAppshotEndsCompletedOrFailed) {
  using Update = ComputerUseIPCAppshotCaptureUpdate;
  EXPECT_TRUE(Update::completed("").isTerminal());
  EXPECT_TRUE(Update::failed("").isTerminal());
  EXPECT_FALSE(Update::metadata({}).isTerminal());
  EXPECT_FALSE(Update::axText("").isTerminal());
  EXPECT_FALSE(Update::screenshot("").isTerminal());
  EXPECT_FALSE(Update::heartbeat().isTerminal());
}

TEST(WireRecords, aRequestSurvivesAnyMutationOfItsBytes) {
  const std::string golden =
      R"({"app":"Notes","action":{"selectText":{"_0":{"elementIndex":4,"text":"word","prefix":"a ","selection":"text"}}}})";
  std::mt19937 random(7);
  int decoded = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string json = golden;
    json[random() % json.size()] = static_cast<char>(random());
    if (random() % 4 == 0) json.erase(random() % json.size(), random() % 10);
    try {
      const auto request = decodeRecord<ComputerUseIPCAppPerformActionRequest>(bytesOf(json));
      EXPECT_EQ(decodeRecord<ComputerUseIPCAppPerformActionRequest>(encodeRecord(request)), request) << json;
      ++decoded;
    } catch (const DecodingError& error) {
      EXPECT_STRNE(error.what(), "");
    }
  }
  EXPECT_GT(decoded, 100) << "the mutations are too coarse to reach the fields";
}

}  // namespace
}  // namespace tavik
