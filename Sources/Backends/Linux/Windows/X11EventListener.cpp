#include "Backends/Linux/Windows/X11EventListener.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace tavik {

namespace {

constexpr std::size_t longestThreadName = 15;

}  // namespace

X11EventListener::X11EventListener(std::unique_ptr<X11Session> session, std::string threadName, Receiver receiver,
                                   std::function<void()> onEnd)
    : session_(std::move(session)),
      threadName_(threadName.substr(0, longestThreadName)),
      receiver_(std::move(receiver)),
      onEnd_(std::move(onEnd)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      thread_([this] { listen(); }) {}

X11EventListener::~X11EventListener() {
  const std::uint64_t one = 1;
  while (write(stop_, &one, sizeof one) < 0 && errno == EINTR) {
  }
  thread_.join();
  close(stop_);
}

void X11EventListener::listen() {
  pthread_setname_np(pthread_self(), threadName_.c_str());
  std::array<pollfd, 2> awaited = {{{stop_, POLLIN, 0},
                                    {xcb_get_file_descriptor(session_->connection()), POLLIN, 0}}};
  while (!session_->isBroken()) {
    while (XCBReply<xcb_generic_event_t> event{xcb_poll_for_event(session_->connection())}) {
      receiver_(*session_, *event);
    }
    const int ready = poll(awaited.data(), awaited.size(), -1);
    if (ready < 0 && errno != EINTR) return;
    if (awaited[0].revents != 0) return;
  }
  if (onEnd_) onEnd_();
}

}  // namespace tavik
