#include "Backends/Linux/Process/PosixSignals.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>
#include <thread>

namespace tavik {

namespace {

/// Where the signal handler writes; a handler can reach nothing but globals.
std::atomic<int> noteDescriptor{-1};

extern "C" void noteSignal(int signal) {
  int savedError = errno;
  auto note = static_cast<unsigned char>(signal);
  // A full pipe already holds notes enough to wake the reader.
  [[maybe_unused]] ssize_t written = write(noteDescriptor.load(std::memory_order_relaxed), &note, 1);
  errno = savedError;
}

/// Ends the reading thread.
constexpr unsigned char endNote = 0;

}  // namespace

struct PosixSignals::Dispatcher {
  struct Handler {
    std::shared_ptr<std::function<void()>> run;
    struct sigaction previous;
  };

  explicit Dispatcher(MainQueue& mainQueue) : mainQueue(mainQueue) {
    if (pipe2(pipe, O_CLOEXEC) != 0) return;
    fcntl(pipe[1], F_SETFL, O_NONBLOCK);
    noteDescriptor = pipe[1];
    reader = std::thread([this] { readNotes(); });
  }

  ~Dispatcher() {
    while (!handlers.empty()) remove(handlers.begin()->first, handlers.begin()->second.run.get());
    noteDescriptor = -1;
    if (!reader.joinable()) return;
    fcntl(pipe[1], F_SETFL, 0);
    [[maybe_unused]] ssize_t written = write(pipe[1], &endNote, 1);
    reader.join();
    close(pipe[0]);
    close(pipe[1]);
  }

  void readNotes() {
    unsigned char note = endNote;
    while (true) {
      ssize_t count = read(pipe[0], &note, 1);
      if (count < 0 && errno == EINTR) continue;
      if (count != 1 || note == endNote) return;
      deliver(note);
    }
  }

  void deliver(int signal) {
    std::weak_ptr<std::function<void()>> handler;
    {
      std::lock_guard lock(mutex);
      auto found = handlers.find(signal);
      if (found == handlers.end()) return;
      handler = found->second.run;
    }
    // A source that is destroyed first takes its handler along.
    mainQueue.async([handler] {
      if (auto run = handler.lock()) (*run)();
    });
  }

  std::shared_ptr<std::function<void()>> add(int signal, std::function<void()> body) {
    auto run = std::make_shared<std::function<void()>>(std::move(body));
    std::lock_guard lock(mutex);
    if (auto existing = handlers.find(signal); existing != handlers.end()) {
      existing->second.run = run;
      return run;
    }
    struct sigaction action {};
    action.sa_handler = noteSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    Handler& handler = handlers[signal];
    handler.run = run;
    sigaction(signal, &action, &handler.previous);
    return run;
  }

  void remove(int signal, const std::function<void()>* run) {
    std::lock_guard lock(mutex);
    auto found = handlers.find(signal);
    if (found == handlers.end() || found->second.run.get() != run) return;
    sigaction(signal, &found->second.previous, nullptr);
    handlers.erase(found);
  }

  MainQueue& mainQueue;
  int pipe[2] = {-1, -1};
  std::mutex mutex;
  std::map<int, Handler> handlers;
  std::thread reader;
};

class PosixSignals::Source : public SignalSource {
 public:
  Source(std::weak_ptr<Dispatcher> dispatcher, int signal, std::shared_ptr<std::function<void()>> run)
      : dispatcher_(std::move(dispatcher)), signal_(signal), run_(std::move(run)) {}
  ~Source() override {
    if (auto dispatcher = dispatcher_.lock()) dispatcher->remove(signal_, run_.get());
  }

 private:
  const std::weak_ptr<Dispatcher> dispatcher_;
  const int signal_;
  const std::shared_ptr<std::function<void()>> run_;
};

PosixSignals::PosixSignals(MainQueue& mainQueue) : dispatcher_(std::make_shared<Dispatcher>(mainQueue)) {}

PosixSignals::~PosixSignals() = default;

void PosixSignals::ignore(int signal) {
  std::lock_guard lock(dispatcher_->mutex);
  if (!dispatcher_->handlers.contains(signal)) ::signal(signal, SIG_IGN);
}

std::unique_ptr<SignalSource> PosixSignals::makeSource(int signal, std::function<void()> handler) {
  return std::make_unique<Source>(dispatcher_, signal, dispatcher_->add(signal, std::move(handler)));
}

}  // namespace tavik
