#pragma once

#include <compare>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/TaskGroup.h"
#include "ComputerUsePlatform/Capture/CaptureArtifact.h"
#include "ComputerUsePlatform/Capture/CaptureCoordinatorError.h"
#include "ComputerUsePlatform/Capture/CapturePolicy.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// What a picture is taken of. Equal requests share one picture.
struct CaptureKey {
  std::optional<std::int32_t> pid = {};
  std::optional<std::uint32_t> windowID = {};
  CapturePolicy policy = CapturePolicy::axOnly;
  CaptureBackend backend = CaptureBackend::axOnly;

  auto operator<=>(const CaptureKey&) const = default;
};

/// The single gate in front of every screenshot: one is taken at a time, equal
/// requests share it, three callers may wait, and a backend that hangs or fails is
/// left alone for a while. After a time-out a backend is refused until the late
/// call has come back, at most for thirty seconds.
///
/// One for the process; any thread. Breakers run on no timers: they end when the
/// next caller finds their time over.
class CaptureCoordinator {
 public:
  /// Writes a PNG to the file that it is given and answers where the PNG is. Runs on
  /// a thread of its own and may outlive the call of `capture`.
  using Operation = std::function<std::string(const std::string& temporaryFile)>;

  /// `temporaryDirectory` must exist.
  CaptureCoordinator(WindowServerPort& windowServer, Scheduler& scheduler, std::string temporaryDirectory);
  CaptureCoordinator(const CaptureCoordinator&) = delete;
  CaptureCoordinator& operator=(const CaptureCoordinator&) = delete;

  /// Blocks for its turn and for the picture. Throws `CaptureCoordinatorError`, what
  /// the operation threw, and `CancellationError` when the caller is cancelled; the
  /// capture then goes on for those who share it.
  CaptureArtifact capture(const CaptureKey& key, const std::optional<std::string>& toolName, double timeoutSeconds,
                          Operation operation);

 private:
  struct InFlightKey {
    CaptureKey captureKey;
    std::int64_t timeoutMilliseconds = 0;
    auto operator<=>(const InFlightKey&) const = default;
  };
  struct CooldownState {
    MonotonicTime until;
    int failures = 0;
    std::string reason;
  };
  struct DrainState {
    MonotonicTime until;
    std::string requestID;
    std::string reason;
  };
  using SharedArtifact = std::shared_ptr<const CaptureArtifact>;
  using Awaiter = Completion<SharedArtifact>;
  /// One capture on its way.
  struct Request {
    InFlightKey key;
    std::optional<std::string> toolName;
    double timeoutSeconds = 0;
    std::string requestID;
    MonotonicTime startedAt;
  };
  class Turn;

  Awaiter awaitTurn(const InFlightKey& key, const std::optional<std::string>& toolName, double timeoutSeconds,
                    const Operation& operation);
  void checkMayCapture(Turn& turn, const CaptureKey& key, bool displayIsReady);
  void checkGlobalBreaker(Turn& turn);
  void checkBreaker(Turn& turn, CaptureBackend backend);
  Completion<Unit> joinWaiters(Turn& turn);
  void waitForActiveCaptureToFinish(const Completion<Unit>& myTurn);
  Awaiter startCapture(Turn& turn, const InFlightKey& key, const std::optional<std::string>& toolName,
                       double timeoutSeconds, const Operation& operation);

  void runCapture(const Request& request, const Operation& operation);
  CaptureArtifact takePicture(const Request& request, const Operation& operation);
  void succeed(const Request& request, CaptureArtifact artifact);
  void fail(const Request& request, std::exception_ptr error);
  std::vector<Awaiter> finishCapture(const InFlightKey& key);
  void passOnTheGate();

  void recordFailure(Turn& turn, bool isTimeout, CaptureBackend backend);
  void openBreaker(Turn& turn, CaptureBackend backend, const std::string& reason, double cooldown, int failures);
  void openGlobalBreaker(Turn& turn, const std::string& reason, double cooldown);

  void startTimeoutDrain(Turn& turn, CaptureBackend backend, const std::string& requestID);
  void finishTimeoutDrain(CaptureBackend backend, const std::string& requestID, const std::string& reason);
  void pruneCompletedTimeoutDrainRequests(MonotonicTime now);

  WindowServerPort& windowServer_;
  Scheduler& scheduler_;
  const std::string temporaryDirectory_;

  Mutex mutex_;
  std::map<InFlightKey, std::vector<Awaiter>> inFlight_;
  std::optional<InFlightKey> activeCaptureKey_;
  /// The gate belongs to a waiter that was woken and has not come in yet.
  bool isReserved_ = false;
  std::optional<CooldownState> globalCooldown_;
  std::deque<Completion<Unit>> globalWaiters_;
  std::map<CaptureBackend, CooldownState> backendCooldowns_;
  std::map<CaptureBackend, int> backendFailureCounts_;
  std::map<CaptureBackend, DrainState> backendDrains_;
  std::map<std::string, MonotonicTime> completedTimeoutDrainRequests_;

  /// Last, so that it ends first: its tasks use all of the above.
  TaskGroup tasks_;
};

}  // namespace tavik
