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

  X11EventListener(std::unique_ptr<X11Session> session, std::string threadName, Receiver receiver);
  ~X11EventListener();
  X11EventListener(const X11EventListener&) = delete;
  X11EventListener& operator=(const X11EventListener&) = delete;

 private:
  void listen();

  const std::unique_ptr<X11Session> session_;
  const std::string threadName_;
  const Receiver receiver_;
  const int stop_;
  std::thread thread_;
};

}  // namespace tavik
