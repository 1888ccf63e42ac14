#include "TavikComputerUseBridge/Protocol/MCPServer.h"

#include <algorithm>
#include <array>

#include "ComputerUseContracts/ToolError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {
namespace {

/// Newest first. The newest is offered to a client that asks for one we do not speak.
constexpr std::array<std::string_view, 3> protocolVersions = {"2025-06-18", "2025-03-26", "2024-11-05"};
/// The one version whose clients may not send several messages as one array.
constexpr std::string_view versionWithoutBatches = "2025-06-18";

constexpr const char* serverName = "tavik-computer-use";
constexpr const char* serverTitle = "Tavik Computer Use";
constexpr const char* serverVersion = "0.1.0";

std::string_view negotiatedVersion(const ParsedJSON& params) {
  const auto asked = params.find("protocolVersion");
  if (asked == params.end() || !asked->is_string()) return protocolVersions.front();
  const auto spoken = std::ranges::find(protocolVersions, asked->get<std::string>());
  return spoken == protocolVersions.end() ? protocolVersions.front() : *spoken;
}

std::unexpected<JSONRPCFailure> invalidParams(std::string message) {
  return std::unexpected(JSONRPCFailure{JSONRPCErrorCode::invalidParams, std::move(message)});
}

/// Collects the answers to the messages that came as one array, and sends them as
/// one when the last is there.
class BatchAnswers {
 public:
  BatchAnswers(std::size_t messageCount, std::function<void(JSON)> send)
      : missing_(messageCount), send_(std::move(send)) {}

  void add(std::optional<JSON> answer) {
    {
      MutexLock lock(mutex_);
      if (answer) answers_.push_back(std::move(*answer));
      if (--missing_ > 0 || answers_.empty()) return;
    }
    send_(std::move(answers_));
  }

 private:
  Mutex mutex_;
  std::size_t missing_;
  JSON answers_ = JSON::array();
  const std::function<void(JSON)> send_;
};

}  // namespace

MCPServer::MCPServer(Scheduler& scheduler, ToolCaller& caller, Send send)
    : caller_(caller), send_(std::move(send)), calls_(scheduler) {}

void MCPServer::receive(const std::optional<std::string>& line) {
  const Reply reply = [this](std::optional<JSON> answer) {
    if (answer) send_(jsonText(*answer));
  };
  if (!line) {
    reply(jsonRPCError({JSONRPCErrorCode::invalidRequest,
                        "The message is longer than " + std::to_string(maximumMessageBytes) + " bytes"}));
    return;
  }
  if (line->find_first_not_of(" \t") == std::string::npos) return;

  auto value = parseJSONRPCLine(*line);
  if (!value) {
    reply(jsonRPCError(value.error()));
  } else if (value->is_array()) {
    receiveBatch(std::move(*value));
  } else {
    handle(std::move(*value), reply);
  }
}

void MCPServer::finish() {
  calls_.joinAll();
}

void MCPServer::receiveBatch(ParsedJSON batch) {
  const auto refuse = [this](std::string why) {
    send_(jsonText(jsonRPCError({JSONRPCErrorCode::invalidRequest, std::move(why)})));
  };
  if (!acceptsBatches_) return refuse("This version of the protocol has no batches");
  if (batch.empty()) return refuse("A batch must hold a message");

  auto answers = std::make_shared<BatchAnswers>(batch.size(), [this](JSON all) { send_(jsonText(all)); });
  for (ParsedJSON& value : batch) {
    handle(std::move(value), [answers](std::optional<JSON> answer) { answers->add(std::move(answer)); });
  }
}

void MCPServer::handle(ParsedJSON value, const Reply& reply) {
  auto message = JSONRPCMessage::read(std::move(value));
  if (!message) {
    reply(jsonRPCError(message.error()));
    return;
  }
  switch (message->kind) {
    case JSONRPCMessage::Kind::request:
      handleRequest(std::move(*message), reply);
      return;
    case JSONRPCMessage::Kind::notification:
      handleNotification(*message);
      reply(std::nullopt);
      return;
    case JSONRPCMessage::Kind::response:
      // This server asks its client nothing, so there is nothing to match it with.
      reply(std::nullopt);
      return;
  }
}

void MCPServer::handleRequest(JSONRPCMessage request, const Reply& reply) {
  if (request.method == "tools/call") {
    startToolCall(std::move(request), reply);
    return;
  }
  Answer answer = JSON::object();
  if (request.method == "initialize") {
    answer = initialize(request.params);
  } else if (request.method == "tools/list") {
    answer = listTools(request.params);
  } else if (request.method != "ping") {
    answer = std::unexpected(
        JSONRPCFailure{JSONRPCErrorCode::methodNotFound, "Unknown method: " + request.method});
  }
  if (answer) {
    reply(jsonRPCResult(request.id, std::move(*answer)));
  } else {
    answer.error().id = request.id;
    reply(jsonRPCError(answer.error()));
  }
}

void MCPServer::handleNotification(const JSONRPCMessage& notification) {
  if (notification.method != "notifications/cancelled") return;
  if (auto requestID = notification.params.find("requestId"); requestID != notification.params.end()) {
    forgetCall(*requestID);
  }
}

MCPServer::Answer MCPServer::initialize(const ParsedJSON& params) {
  const std::string_view version = negotiatedVersion(params);
  acceptsBatches_ = version != versionWithoutBatches;
  TavikComputerUseLogger::info(LogCategory::lifecycle, "mcp_client_connected",
                               {{"protocolVersion", version}});
  return JSON{
      {"protocolVersion", version},
      {"capabilities", {{"tools", {{"listChanged", false}}}}},
      {"serverInfo", {{"name", serverName}, {"title", serverTitle}, {"version", serverVersion}}},
      {"instructions", caller_.catalogue().instructions()},
  };
}

MCPServer::Answer MCPServer::listTools(const ParsedJSON& params) const {
  // All tools go out on one page, so no cursor was ever given out.
  if (params.contains("cursor")) return invalidParams("Unknown cursor");
  JSON tools = JSON::array();
  for (const ToolDescription& tool : caller_.catalogue().tools()) tools.push_back(tool.toJSON());
  return JSON{{"tools", std::move(tools)}};
}

void MCPServer::startToolCall(JSONRPCMessage request, const Reply& reply) {
  const auto refuse = [&](JSONRPCErrorCode code, std::string why) {
    reply(jsonRPCError({code, std::move(why), request.id}));
  };
  const ParsedJSON name = request.params.value("name", ParsedJSON());
  if (!name.is_string())
    return refuse(JSONRPCErrorCode::invalidParams, "\"name\" must be the name of a tool");
  const auto tool = name.get<std::string>();
  if (!caller_.catalogue().contains(tool)) {
    return refuse(JSONRPCErrorCode::invalidParams, "Unknown tool: " + tool);
  }
  ParsedJSON arguments = request.params.value("arguments", ParsedJSON());
  if (arguments.is_null()) arguments = ParsedJSON::object();
  if (!arguments.is_object()) {
    return refuse(JSONRPCErrorCode::invalidParams, "\"arguments\" must be an object");
  }
  if (calls_.unfinishedCount() >= maximumRunningCalls) {
    const auto error =
        ToolError::ipcError("too many calls are running. Wait for one to finish, then call again.");
    return reply(jsonRPCResult(request.id, ToolResult::error(error.description()).toJSON()));
  }
  auto call = std::make_shared<RunningCall>(request.id, reply);
  if (!enter(call))
    return refuse(JSONRPCErrorCode::invalidRequest, "A request with this id is still running");
  calls_.start("tools/call", [this, call, tool, arguments = std::move(arguments)] {
    JSON result = caller_.call(tool, arguments).toJSON();
    if (leave(call)) call->reply(jsonRPCResult(call->id, std::move(result)));
  });
}

/// The call itself goes on in the runtime, which knows no way back from half an
/// action; the client just gets no answer to it.
void MCPServer::forgetCall(const ParsedJSON& requestID) {
  std::shared_ptr<RunningCall> call;
  {
    MutexLock lock(mutex_);
    if (auto entry = runningCalls_.extract(requestID.dump())) call = std::move(entry.mapped());
  }
  if (call) call->reply(std::nullopt);
}

bool MCPServer::enter(const std::shared_ptr<RunningCall>& call) {
  MutexLock lock(mutex_);
  return runningCalls_.emplace(call->id.dump(), call).second;
}

bool MCPServer::leave(const std::shared_ptr<RunningCall>& call) {
  MutexLock lock(mutex_);
  const auto entry = runningCalls_.find(call->id.dump());
  // A cancelled call is not there any more, and its identifier may be in use again.
  if (entry == runningCalls_.end() || entry->second != call) return false;
  runningCalls_.erase(entry);
  return true;
}

}  // namespace tavik
