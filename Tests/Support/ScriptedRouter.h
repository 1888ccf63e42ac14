#pragma once

#include <optional>
#include <string>

#include "Backends/Simulated/System/SimulatedSockets.h"
#include "Base/JSON/JSON.h"

namespace tavik {

inline constexpr const char* routerPath = "/home/me/.tavik/ipc/ipc.sock";

/// A payload behind its length.
inline Bytes frameOf(const std::string& payload) {
  Bytes frame;
  for (int byte = 0; byte < 4; ++byte) frame.push_back(static_cast<std::uint8_t>(payload.size() >> (8 * byte)));
  frame.insert(frame.end(), payload.begin(), payload.end());
  return frame;
}

/// The Router's end of one connection, one step at a time.
class ScriptedRouter {
 public:
  explicit ScriptedRouter(SimulatedPeer peer) : peer_(std::move(peer)) {}

  /// Waits for the next connection.
  static ScriptedRouter accept(SimulatedSockets& sockets) { return ScriptedRouter(sockets.accept(routerPath)); }
  /// Waits for it and lets the client introduce itself.
  static ScriptedRouter welcome(SimulatedSockets& sockets, const std::string& clientID = "client-1") {
    ScriptedRouter router = accept(sockets);
    router.answerInitialize(clientID);
    return router;
  }

  /// The next frame; absent when the client has closed.
  std::optional<ParsedJSON> receive() {
    const auto header = peer_.read(4);
    if (!header) return std::nullopt;
    std::size_t length = 0;
    for (std::size_t byte = 0; byte < 4; ++byte) length |= std::size_t((*header)[byte]) << (8 * byte);
    const auto payload = peer_.read(length);
    return payload ? std::optional(parsedJSON(textOf(*payload))) : std::nullopt;
  }
  void send(const JSON& frame) { sendBytes(frameOf(jsonText(frame))); }
  void sendBytes(const Bytes& bytes) { peer_.write(bytes); }
  void answer(const ParsedJSON& request, const JSON& result) {
    send({{"type", "response"}, {"requestId", request["requestId"].get<std::string>()}, {"resultType", "success"}, {"result", result}});
  }
  ParsedJSON answerInitialize(const std::string& clientID) {
    ParsedJSON request = receive().value();
    answer(request, {{"clientId", clientID}});
    return request;
  }
  void close() { peer_.close(); }

 private:
  SimulatedPeer peer_;
};

}  // namespace tavik
