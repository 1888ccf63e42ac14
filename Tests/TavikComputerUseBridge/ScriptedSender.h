#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/RequestTransportPort.h"

namespace tavik {

/// A runtime that answers as a test tells it, and remembers what it was asked.
class ScriptedSender : public RequestSenderPort {
 public:
  struct Sent {
    std::string requestType;
    std::string json;
    std::string requestID;
    double timeoutSeconds = 0;
  };
  using Script = std::function<Outcome(const Sent& sent)>;

  /// Called for each request, on the task that sends it; may wait.
  Script script = [](const Sent&) { return textAnswer("done"); };
  bool isRunning = true;

  static Outcome answer(std::string_view json) {
    Outcome outcome;
    outcome.reply.directObject = bytesOf(json);
    return outcome;
  }
  static Outcome textAnswer(const std::string& text) {
    return answer(R"({"content":[{"type":"text","text":")" + text + R"("}],"isError":false})");
  }
  static Outcome errorNumber(std::int32_t number, std::string words) {
    Outcome outcome;
    outcome.reply.errorNumber = number;
    outcome.reply.errorString = std::move(words);
    return outcome;
  }
  static Outcome failure(Failure failure, std::string detail) {
    Outcome outcome;
    outcome.failure = failure;
    outcome.detail = std::move(detail);
    return outcome;
  }

  Outcome send(const std::string& requestType, const Bytes& requestData, const std::string& requestID,
               double timeoutSeconds) override {
    requireNoLockHeld("send");
    const Sent sent{requestType, std::string(textOf(requestData)), requestID, timeoutSeconds};
    {
      MutexLock lock(mutex_);
      sent_.push_back(sent);
    }
    return script(sent);
  }
  bool isRuntimeRunning() override { return isRunning; }

  std::vector<Sent> sent() {
    MutexLock lock(mutex_);
    return sent_;
  }

 private:
  Mutex mutex_;
  std::vector<Sent> sent_;
};

}  // namespace tavik
