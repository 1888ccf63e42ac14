#include "ComputerUsePlatform/Capture/CaptureCoordinator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "Backends/Simulated/Screen/SimulatedImageCoding.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SeedCount.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using testing::ElementsAre;

using Fields = std::map<std::string, std::string>;

/// A PNG of so many pixels.
Bytes png(int width, int height) {
  const auto side = [](int pixels) { return static_cast<std::size_t>(pixels); };
  return *SimulatedImageCoding().encodePNG({width, height, width * 4, Bytes(side(width) * side(height) * 4, 7)});
}

std::string write(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                              static_cast<std::streamsize>(bytes.size()));
  return path;
}

/// A coordinator in virtual time with a folder of its own.
class CaptureDesk {
 public:
  explicit CaptureDesk(std::optional<std::uint64_t> seed = std::nullopt) : world(seed) {
    std::filesystem::create_directories(folder);
  }
  ~CaptureDesk() { std::filesystem::remove_all(folder); }

  void run(const std::function<void()>& body) {
    world.run([&] {
      coordinator.emplace(world.desktop.windowServer(), world.scheduler, folder.string());
      body();
      coordinator.reset();
    });
  }

  static CaptureKey window(std::uint32_t windowID, CaptureBackend backend = CaptureBackend::cgWindow) {
    return {42, windowID, CapturePolicy::safeWindowImage, backend};
  }

  /// What the caller is told: the picture's width, or the reason why there is none.
  std::string take(const CaptureKey& key, CaptureCoordinator::Operation operation, double timeoutSeconds = 1.5) {
    try {
      const auto artifact = coordinator->capture(key, "get_app_state", timeoutSeconds, std::move(operation));
      return std::to_string(static_cast<int>(artifact.pixelSize.width)) + " wide";
    } catch (const CaptureCoordinatorError& error) {
      return error.description();
    } catch (const CancellationError&) {
      return "cancelled";
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  CaptureCoordinator::Operation picture(int width, Duration after = Duration(0)) {
    return [this, width, after](const std::string& file) {
      // A platform call goes on whatever its caller wishes.
      const MonotonicTime end = world.scheduler.now() + after;
      while (world.scheduler.now() < end) world.scheduler.park("the platform", end);
      return write(file, png(width, 1));
    };
  }

  static CaptureCoordinator::Operation failure() {
    return [](const std::string&) -> std::string { throw std::runtime_error("no picture"); };
  }

  void sleep(double time) { world.scheduler.sleep(seconds(time)); }
  std::size_t filesLeft() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
  }

  SimulatedWorld world;
  LogCapture log;
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("capture-tests-" + std::to_string(std::random_device()()));
  std::optional<CaptureCoordinator> coordinator;
};

class CaptureCoordinatorTest : public testing::Test, public CaptureDesk {
 protected:
  Task takeBeside(std::string& answer, const CaptureKey& key, CaptureCoordinator::Operation operation,
                  double timeoutSeconds = 1.5) {
    return world.scheduler.start("capture", [&answer, key, operation = std::move(operation), timeoutSeconds, this] {
      answer = take(key, operation, timeoutSeconds);
    });
  }
};

TEST_F(CaptureCoordinatorTest, takesAPictureAndLeavesNoFile) {
  run([&] {
    EXPECT_EQ(take(window(7), picture(20)), "20 wide");
    EXPECT_EQ(filesLeft(), 0u);
  });
  const auto started = log.only("capture_started");
  EXPECT_EQ(started.level, LogLevel::info);
  EXPECT_EQ(started.category, LogCategory::capture);
  const std::string id = started.fields.at("captureId");
  EXPECT_EQ(started.fields, (Fields{{"captureId", id},
                                    {"timeoutMs", "1500"},
                                    {"tool", "get_app_state"},
                                    {"backend", "cgwindow"},
                                    {"policy", "SAFE_WINDOW_IMAGE"},
                                    {"targetPid", "42"},
                                    {"windowId", "7"}}));
  const auto finished = log.only("capture_finished");
  EXPECT_EQ(finished.level, LogLevel::info);
  EXPECT_EQ(finished.fields, (Fields{{"captureId", id},
                                     {"durationMs", "0"},
                                     {"outcome", "success"},
                                     {"tool", "get_app_state"},
                                     {"backend", "cgwindow"},
                                     {"policy", "SAFE_WINDOW_IMAGE"},
                                     {"targetPid", "42"},
                                     {"windowId", "7"}}));
}

TEST_F(CaptureCoordinatorTest, neverReachesABackendWithoutAPicturePolicy) {
  run([&] {
    const auto forbidden = [](const std::string&) -> std::string { throw std::logic_error("reached"); };
    const std::string skipped = "Screenshot skipped: capture policy AX_ONLY; AX state returned.";
    EXPECT_EQ(take({42, 7, CapturePolicy::axOnly, CaptureBackend::cgWindow}, forbidden), skipped);
    EXPECT_EQ(take({42, 7, CapturePolicy::safeWindowImage, CaptureBackend::axOnly}, forbidden), skipped);
    EXPECT_EQ(take(window(7), picture(3)), "3 wide");
  });
}

TEST_F(CaptureCoordinatorTest, sharesOnePictureBetweenEqualRequests) {
  run([&] {
    std::string first, second;
    Task one = takeBeside(first, window(7), picture(20, seconds(1)));
    Task two = takeBeside(second, window(7), failure());
    one.join();
    two.join();
    EXPECT_EQ(first, "20 wide");
    EXPECT_EQ(second, "20 wide");
  });
  EXPECT_EQ(log.count("capture_started"), 1u);
  EXPECT_EQ(log.only("capture_coalesced").level, LogLevel::info);
}

TEST_F(CaptureCoordinatorTest, sharesAFailureAsWell) {
  run([&] {
    std::string first, second;
    Task one = takeBeside(first, window(7), [&](const std::string&) -> std::string {
      sleep(1);
      throw std::runtime_error("no picture");
    });
    Task two = takeBeside(second, window(7), picture(1));
    one.join();
    two.join();
    EXPECT_EQ(first, "no picture");
    EXPECT_EQ(second, "no picture");
  });
}

TEST_F(CaptureCoordinatorTest, letsRequestsWithDifferentTimeoutsWaitForEachOther) {
  run([&] {
    std::string first, second;
    Task one = takeBeside(first, window(7), picture(20, seconds(1)), 1.5);
    Task two = takeBeside(second, window(7), picture(30), 2);
    one.join();
    two.join();
    EXPECT_EQ(first, "20 wide");
    EXPECT_EQ(second, "30 wide");
  });
  EXPECT_EQ(log.only("capture_waiting").level, LogLevel::info);
  EXPECT_EQ(log.count("capture_started"), 2u);
}

TEST_F(CaptureCoordinatorTest, letsThreeWaitAndRefusesTheFourth) {
  run([&] {
    std::vector<std::string> answers(5);
    std::vector<std::string> order;
    std::vector<Task> tasks;
    for (std::uint32_t id = 0; id < 5; ++id) {
      tasks.push_back(takeBeside(answers[id], window(id), [&, id](const std::string& file) {
        order.push_back(std::to_string(id));
        sleep(0.5);
        return write(file, png(static_cast<int>(id) + 1, 1));
      }));
      sleep(0.01);
    }
    for (auto& task : tasks) task.join();
    EXPECT_THAT(answers, ElementsAre("1 wide", "2 wide", "3 wide", "4 wide",
                                     "Screenshot skipped: too many pending screenshot captures; AX state returned."));
    EXPECT_THAT(order, ElementsAre("0", "1", "2", "3"));
  });
  const auto rejected = log.only("capture_queue_rejected");
  EXPECT_EQ(rejected.level, LogLevel::error);
  EXPECT_EQ(rejected.fields, (Fields{{"queued", "3"}, {"reason", "queue_full"}}));
}

TEST_F(CaptureCoordinatorTest, opensBothBreakersAndDrainsAfterATimeout) {
  run([&] {
    EXPECT_EQ(take(window(7), picture(1, seconds(1000))),
              "Screenshot skipped: cgwindow screenshot timed out after 1.5s; AX state returned.");
    const auto refused = "Screenshot skipped: capture breaker is open after timeout; AX state returned.";
    EXPECT_EQ(take(window(7), picture(1)), refused);
    EXPECT_EQ(take(window(7, CaptureBackend::screenCaptureKit), picture(1)), refused);
    sleep(29.9);
    EXPECT_EQ(take(window(7), picture(1)), refused);
    sleep(0.2);
    EXPECT_EQ(take(window(7), picture(5)), "5 wide");
  });
  const auto backendOpened = log.only("capture_backend_breaker_opened");
  EXPECT_EQ(backendOpened.level, LogLevel::fault);
  EXPECT_EQ(backendOpened.fields,
            (Fields{{"backend", "cgwindow"}, {"reason", "timeout"}, {"failures", "1"}, {"cooldownMs", "30000"}}));
  const auto globalOpened = log.only("capture_global_breaker_opened");
  EXPECT_EQ(globalOpened.level, LogLevel::fault);
  EXPECT_EQ(globalOpened.fields, (Fields{{"reason", "timeout"}, {"cooldownMs", "30000"}}));
  const std::string id = log.records("capture_started").front().fields.at("captureId");
  EXPECT_EQ(log.only("capture_timeout_drain_started").fields, (Fields{{"captureId", id}, {"backend", "cgwindow"}}));
  EXPECT_EQ(log.only("capture_timeout_drain_finished").fields,
            (Fields{{"captureId", id}, {"backend", "cgwindow"}, {"reason", "safety expiry"}}));
  const auto failed = log.only("capture_failed");
  EXPECT_EQ(failed.level, LogLevel::error);
  EXPECT_EQ(failed.fields.at("captureId"), id);
  EXPECT_EQ(failed.fields.at("durationMs"), "1500");
  EXPECT_EQ(failed.fields.at("outcome"), "failure");
  EXPECT_TRUE(failed.fields.contains("error"));
}

TEST_F(CaptureCoordinatorTest, restsLongerAfterEachTimeoutInARow) {
  run([&] {
    for (const double pause : {30.1, 30.1, 120.1, 120.1, 300.1}) {
      EXPECT_EQ(take(window(7), picture(1, seconds(1.6))),
                "Screenshot skipped: cgwindow screenshot timed out after 1.5s; AX state returned.");
      sleep(pause - 0.2);
      EXPECT_EQ(take(window(7), picture(1)),
                "Screenshot skipped: capture breaker is open after timeout; AX state returned.");
      sleep(0.2);
    }
    EXPECT_EQ(take(window(7), picture(6)), "6 wide");
    EXPECT_EQ(take(window(7), picture(1, seconds(1.6))),
              "Screenshot skipped: cgwindow screenshot timed out after 1.5s; AX state returned.");
  });
  std::vector<std::string> rests;
  for (const auto& record : log.records("capture_backend_breaker_opened")) rests.push_back(record.fields.at("cooldownMs"));
  EXPECT_THAT(rests, ElementsAre("30000", "30000", "120000", "120000", "300000", "30000"));
}

TEST_F(CaptureCoordinatorTest, opensOneBackendAtTheSecondOrdinaryFailure) {
  run([&] {
    EXPECT_EQ(take(window(7), failure()), "no picture");
    EXPECT_EQ(log.count("capture_backend_breaker_opened"), 0u);
    EXPECT_EQ(take(window(7), failure()), "no picture");
    EXPECT_EQ(take(window(7), picture(1)),
              "Screenshot skipped: cgwindow capture breaker is open after consecutive failures; AX state returned.");
    EXPECT_EQ(take(window(7, CaptureBackend::screenCaptureKit), picture(4)), "4 wide");
    sleep(30.1);
    EXPECT_EQ(take(window(7), failure()), "no picture");
  });
  std::vector<std::string> rests;
  for (const auto& record : log.records("capture_backend_breaker_opened")) rests.push_back(record.fields.at("cooldownMs"));
  EXPECT_THAT(rests, ElementsAre("30000", "120000"));
  EXPECT_EQ(log.count("capture_global_breaker_opened"), 0u);
}

TEST_F(CaptureCoordinatorTest, healsABackendByASuccess) {
  run([&] {
    EXPECT_EQ(take(window(7), failure()), "no picture");
    EXPECT_EQ(take(window(7), picture(4)), "4 wide");
    EXPECT_EQ(take(window(7), failure()), "no picture");
    EXPECT_EQ(take(window(7), picture(4)), "4 wide");
  });
}

TEST_F(CaptureCoordinatorTest, endsADrainWhenTheLateAnswerComesButNotTheBreaker) {
  run([&] {
    EXPECT_EQ(take(window(7), picture(1, seconds(6.5))),
              "Screenshot skipped: cgwindow screenshot timed out after 1.5s; AX state returned.");
    sleep(5.1);
    EXPECT_EQ(log.only("capture_timeout_drain_finished").fields.at("reason"), "late completion");
    EXPECT_EQ(filesLeft(), 0u);
    EXPECT_EQ(take(window(7), picture(1)),
              "Screenshot skipped: capture breaker is open after timeout; AX state returned.");
  });
}

TEST_F(CaptureCoordinatorTest, drainsForTheWholeSafetyTimeAfterAnInnerTimeout) {
  run([&] {
    EXPECT_EQ(take(window(7),
                   [](const std::string&) -> std::string {
                     throw CaptureCoordinatorError::timedOut("SCShareableContent.current", 2);
                   }),
              "Screenshot skipped: SCShareableContent.current timed out after 2.0s; AX state returned.");
    sleep(29.9);
    EXPECT_EQ(log.count("capture_timeout_drain_finished"), 0u);
    sleep(0.2);
    EXPECT_EQ(log.only("capture_timeout_drain_finished").fields.at("reason"), "safety expiry");
  });
}

TEST_F(CaptureCoordinatorTest, refusesWhileNoDisplayIsReady) {
  run([&] {
    world.desktop.windowServer().setScreens({{{{0, 0}, {0, 1200}}, {}, 1}});
    EXPECT_EQ(take(window(7), picture(1)), "Screenshot skipped: display is not ready; AX state returned.");
    world.desktop.windowServer().setScreens({{{{0, 0}, {1920, 1200}}, {}, 1}});
    EXPECT_EQ(take(window(7), picture(1)),
              "Screenshot skipped: capture breaker is open after display is not ready; AX state returned.");
    sleep(30.1);
    EXPECT_EQ(take(window(7), picture(9)), "9 wide");
  });
  EXPECT_EQ(log.only("capture_backend_breaker_opened").fields,
            (Fields{{"backend", "cgwindow"}, {"reason", "display is not ready"}, {"failures", "1"}, {"cooldownMs", "30000"}}));
}

TEST_F(CaptureCoordinatorTest, saysWhatIsWrongWithTheFile) {
  run([&] {
    EXPECT_EQ(take(window(1), [](const std::string& file) { return file + ".missing"; }),
              "Screenshot skipped: screenshot file could not be read; AX state returned.");
    EXPECT_EQ(take(window(2, CaptureBackend::screenCaptureKit),
                   [](const std::string& file) { return write(file, bytesOf("no picture at all, only text")); }),
              "Screenshot skipped: screenshot file is not a readable PNG; AX state returned.");
    EXPECT_EQ(filesLeft(), 0u);
  });
}

TEST_F(CaptureCoordinatorTest, wakesTheNextWaiterWhenOneIsRefused) {
  run([&] {
    std::string first, second, third;
    Task one = takeBeside(first, window(1), picture(1, seconds(1000)));
    sleep(0.1);
    Task two = takeBeside(second, window(2), picture(2));
    Task three = takeBeside(third, window(3), picture(3));
    for (auto* task : {&one, &two, &three}) task->join();
    const auto refused = "Screenshot skipped: capture breaker is open after timeout; AX state returned.";
    EXPECT_EQ(second, refused);
    EXPECT_EQ(third, refused);
  });
}

TEST_F(CaptureCoordinatorTest, goesOnForOthersWhenTheFirstCallerGivesUp) {
  run([&] {
    std::string first, second;
    Task one = takeBeside(first, window(1), picture(8, seconds(1)));
    sleep(0.1);
    Task two = takeBeside(second, window(1), failure());
    sleep(0.1);
    one.cancel();
    one.join();
    two.join();
    EXPECT_EQ(first, "cancelled");
    EXPECT_EQ(second, "8 wide");
  });
}

TEST_F(CaptureCoordinatorTest, letsAWaiterGiveUpItsPlace) {
  run([&] {
    std::string first, second, third;
    Task one = takeBeside(first, window(1), picture(1, seconds(1)));
    sleep(0.1);
    Task two = takeBeside(second, window(2), picture(2));
    sleep(0.1);
    Task three = takeBeside(third, window(3), picture(3));
    sleep(0.1);
    two.cancel();
    for (auto* task : {&one, &two, &three}) task->join();
    EXPECT_EQ(second, "cancelled");
    EXPECT_EQ(third, "3 wide");
  });
}

/// Many callers at random times, with operations that succeed, fail, hang or come
/// late, and callers that give up. Whatever happens, each gets exactly one answer,
/// never are two operations on time at once, and the gate is free at the end.
void checkRandomLoad(std::uint64_t seed) {
  CaptureDesk desk(seed);
  std::mt19937_64 random(seed);
  const auto pick = [&](int below) { return static_cast<int>(random() % static_cast<std::uint64_t>(below)); };
  desk.run([&] {
    int answered = 0;
    std::vector<Task> callers;
    const int count = 4 + pick(5);
    for (int i = 0; i < count; ++i) {
      const auto key = CaptureDesk::window(static_cast<std::uint32_t>(pick(3)),
                                           pick(2) ? CaptureBackend::cgWindow : CaptureBackend::screenCaptureKit);
      const int kind = pick(5);
      const Duration start = milliseconds(pick(40));
      const Duration length = milliseconds(kind == 0 ? 90 + pick(30) : pick(60));
      const bool givesUp = pick(6) == 0;
      callers.push_back(desk.world.scheduler.start("caller", [&, key, kind, start, length] {
        try {
          desk.world.scheduler.sleep(start);
        } catch (const CancellationError&) {
          // Goes on; the capture notices by itself.
        }
        const auto answer = desk.take(
            key,
            [&desk, kind, length](const std::string& file) {
              if (kind == 1) throw std::runtime_error("no picture");
              return desk.picture(1, length)(file);
            },
            0.1);
        EXPECT_FALSE(answer.empty());
        ++answered;
      }));
      if (givesUp) callers.back().cancel();
    }
    for (auto& caller : callers) caller.join();
    EXPECT_EQ(answered, count);
    desk.sleep(400);
    EXPECT_EQ(desk.take(CaptureDesk::window(77), desk.picture(2)), "2 wide");
    EXPECT_EQ(desk.filesLeft(), 0u);
  });
  EXPECT_EQ(desk.log.count("capture_started"), desk.log.count("capture_finished") + desk.log.count("capture_failed"));
  EXPECT_EQ(desk.log.count("capture_timeout_drain_started") , desk.log.count("capture_timeout_drain_finished"));
}

TEST(CaptureCoordinator, givesEachCallerOneAnswerAndNeverLosesItsGateUnderAnyInterleaving) {
  for (std::uint64_t seed = 1; seed <= seedCount(10'000) && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    checkRandomLoad(seed);
  }
}

TEST(CaptureCoordinator, forgetsADrainWhoseAnswerOvertookIt) {
  // The interleaving decides which comes first; both orders must end without a drain.
  int skipped = 0;
  for (std::uint64_t seed = 1; seed <= seedCount(400); ++seed) {
    CaptureDesk desk(seed);
    desk.run([&] {
      desk.take(CaptureDesk::window(1), desk.picture(1, seconds(1.5)));
      desk.sleep(31);
      EXPECT_EQ(desk.take(CaptureDesk::window(1), desk.picture(3)), "3 wide");
    });
    for (const auto& record : desk.log.records("capture_timeout_drain_skipped")) {
      EXPECT_EQ(record.fields.at("reason"), "operation_completed");
      EXPECT_EQ(record.fields.at("backend"), "cgwindow");
      ++skipped;
    }
  }
  EXPECT_GT(skipped, 0);
}

}  // namespace
}  // namespace tavik
