#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "Backends/Linux/Windows/X11Session.h"

namespace tavik {

/// Hands on what the X server sends to one connection, on a thread of its own, until
/// it is destroyed or the server goes away. Must not be destroyed by its receiver.
class X11EventListener {
 public:
  using Receiver = std::function<void(X11Session& session, const xcb_generic_event_t& event)>;

  /// `onEnd`, which may be empty, is called on the thread when the server has gone away.
  X11EventListener(std::unique_ptr<X11Session> session, std::string threadName, Receiver receiver,
                   std::function<void()> onEnd = {});
  ~X11EventListener();
  X11EventListener(const X11EventListener&) = delete;
  X11EventListener& operator=(const X11EventListener&) = delete;

  /// Whether the server has gone away: nothing comes any more.
  bool hasEnded() const { return session_->isBroken(); }

 private:
  void listen();

  const std::unique_ptr<X11Session> session_;
  const std::string threadName_;
  const Receiver receiver_;
  const std::function<void()> onEnd_;
  const int stop_;
  std::thread thread_;
};

}  // namespace tavik
