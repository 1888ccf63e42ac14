#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/TaskGroup.h"
#include "TavikComputerUseBridge/Protocol/JSONRPCMessage.h"
#include "TavikComputerUseBridge/Tools/ToolCaller.h"

namespace tavik {

/// A server of the Model Context Protocol for one client. Each message comes in as
/// a line and each answer goes out as one. A tool call runs as a task of its own,
/// so that a ping, a cancellation or a further call passes it.
class MCPServer {
 public:
  /// Sends one line out. Called from any task, several at once; must not throw.
  using Send = std::function<void(std::string line)>;

  static constexpr std::size_t maximumMessageBytes = 4 * 1024 * 1024;
  /// The runtime has places for 10 requests; what is beyond this has no prospect.
  static constexpr std::size_t maximumRunningCalls = 32;

  MCPServer(Scheduler& scheduler, ToolCaller& caller, Send send);

  /// Takes the next line of the client, or nothing for one over
  /// `maximumMessageBytes`. Returns at once; call it from one thread.
  void receive(const std::optional<std::string>& line);

  /// The client will say no more: waits until every running call is answered.
  void finish();

 private:
  /// Called exactly once for each message, with nothing when it has no answer.
  using Reply = std::function<void(std::optional<JSON> answer)>;
  using Answer = std::expected<JSON, JSONRPCFailure>;

  void receiveBatch(ParsedJSON batch);
  void handle(ParsedJSON value, const Reply& reply);
  void handleRequest(JSONRPCMessage request, const Reply& reply);
  void handleNotification(const JSONRPCMessage& notification);
  Answer initialize(const ParsedJSON& params);
  Answer listTools(const ParsedJSON& params) const;
  void startToolCall(JSONRPCMessage request, const Reply& reply);
  void forgetCall(const ParsedJSON& requestID);

  struct RunningCall {
    JSON id;
    Reply reply;
  };
  bool enter(const std::shared_ptr<RunningCall>& call);
  bool leave(const std::shared_ptr<RunningCall>& call);

  ToolCaller& caller_;
  const Send send_;
  bool acceptsBatches_ = true;

  Mutex mutex_;
  /// By the identifier's JSON. Whoever takes an entry out answers it.
  std::map<std::string, std::shared_ptr<RunningCall>> runningCalls_;

  TaskGroup calls_;
};

}  // namespace tavik
