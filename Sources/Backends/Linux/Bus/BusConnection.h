#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Backends/Linux/Bus/BusReply.h"

namespace tavik {

/// Which signals a subscription wants. Empty fields match everything.
struct BusSignalMatch {
  /// A unique or a well-known name.
  std::string sender = {};
  std::string path = {};
  std::string interface = {};
  std::string member = {};
  /// The first argument, when it is a string.
  std::string firstArgument = {};
};

/// Who is behind a name on the bus.
struct BusCredentials {
  pid_t pid = 0;
  uid_t uid = 0;
};

/// Where the answers of one waiting party arrive, in order.
class BusMailbox {
 public:
  struct Arrival {
    std::uint64_t tag = 0;
    BusReply reply;
  };

  void put(Arrival arrival);
  /// The next arrival; waits for one until the deadline.
  std::optional<Arrival> take(std::chrono::steady_clock::time_point deadline);

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<Arrival> arrivals_;
};

/// A connection to one message bus, that comes back by itself when the bus does.
///
/// Every operation may be called from any thread, from many at once. One thread of
/// its own reads the socket; another runs the handlers of signals, exported objects
/// and asynchronous calls one after another, so a handler may itself make blocking
/// calls. While the bus is away every call answers `disconnected` at once; when it
/// returns, names, matches and exported objects are put back.
class BusConnection {
 public:
  using Clock = std::chrono::steady_clock;
  /// Gives the address to connect to, or nothing when there is no bus. Asked again
  /// before each attempt, on the thread that makes it.
  using AddressProvider = std::function<std::string()>;
  using ReplyHandler = std::function<void(BusReply reply)>;
  using SignalHandler = std::function<void(const BusMessage& signal)>;
  /// Given a call on an exported object. The answer is any message made of `call`
  /// (`BusMessage::returnOf`, `errorOf`) handed to `send`, from any thread, now or
  /// later; exactly one for each call that wants a reply.
  using MethodHandler = std::function<void(const BusMessage& call)>;
  using SubscriptionID = std::uint64_t;

  /// Connects at once when it can, else goes on trying.
  explicit BusConnection(AddressProvider address);
  /// Ends both threads; a handler that is running is waited for. Calls of other
  /// threads must have returned.
  ~BusConnection();
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  /// The bus of the login session, as the environment names it.
  static AddressProvider sessionBusAddress();

  bool isConnected();
  /// The name that the bus gave this connection; empty while it is away.
  std::string uniqueName();

  /// Sends a call and waits for its answer.
  BusReply call(const BusMessage& message, std::chrono::milliseconds timeout);
  /// Sends a call; the handler is run once with the answer, on the handler thread.
  void callLater(const BusMessage& message, std::chrono::milliseconds timeout, ReplyHandler handler);
  /// Sends a message that nobody waits for: a signal, an answer, a call whose reply
  /// does not matter. False when the bus is away.
  bool send(const BusMessage& message);

  /// The answer, tagged, arrives in the mailbox; gives the serial to `forget` it by.
  /// When the bus is away a `disconnected` answer is put at once, and nothing given.
  std::optional<std::uint32_t> callInto(const std::shared_ptr<BusMailbox>& mailbox, std::uint64_t tag,
                                        const BusMessage& message);
  /// The answer to this serial is not wanted any more.
  void forget(const std::vector<std::uint32_t>& serials);

  /// Runs the handler, on the handler thread, for each matching signal.
  SubscriptionID subscribe(BusSignalMatch match, SignalHandler handler);
  /// No run of the handler begins after this has returned.
  void unsubscribe(SubscriptionID subscription);

  /// Answers calls on the object at `path`. The XML describes its interfaces for
  /// `Introspect` (the inside of the `<node>` element); `Introspect` and `Ping` are
  /// answered here. Replaces an earlier export of the path.
  void exportObject(const std::string& path, const std::string& interfacesXML, MethodHandler handler);
  void removeObject(const std::string& path);

  /// Owns a well-known name from now on, also after a reconnection. False, and
  /// nothing kept, when another process has it.
  bool requestName(const std::string& name);
  void releaseName(const std::string& name);
  /// Whether anyone owns the name now.
  bool hasOwner(const std::string& name);
  /// The process behind a name, as the bus knows it; absent when the name has gone.
  std::optional<BusCredentials> credentials(const std::string& name);

  /// The handler runs on the handler thread after each reconnection.
  void onReconnected(std::function<void()> handler);

 private:
  struct Pending {
    std::shared_ptr<BusMailbox> mailbox = {};
    std::uint64_t tag = 0;
    ReplyHandler handler = {};
    Clock::time_point deadline = Clock::time_point::max();
  };
  struct Subscription {
    BusSignalMatch match;
    std::shared_ptr<SignalHandler> handler;
  };
  struct ExportedObject {
    std::string interfacesXML;
    std::shared_ptr<MethodHandler> handler;
  };

  void runReader();
  void runHandlers();
  bool connect();
  void disconnect();
  void readUntilDisconnected();
  void waitBeforeReconnecting(std::chrono::milliseconds delay);
  void wake();
  void receive(BusMessage message);
  void deliver(Pending pending, BusReply reply);
  void expireCalls();
  Clock::time_point nextExpiry();
  void enqueue(std::function<void()> job);
  void dispatchSignal(const BusMessage& signal);
  void dispatchCall(const BusMessage& call);
  std::optional<std::string> introspection(const std::string& path);
  void sendMatch(const char* member, const BusSignalMatch& match);
  std::optional<std::uint32_t> sendPending(const BusMessage& message, Pending pending);

  const AddressProvider address_;
  const int wakeDescriptor_;

  /// Guards the fields down to the next mutex; taken around sending too, so that no
  /// answer can come before its call has been entered in `pending_`.
  std::mutex mutex_;
  std::condition_variable stopRequested_;
  bool stopping_ = false;
  DBusConnection* link_ = nullptr;
  std::unordered_map<std::uint32_t, Pending> pending_;
  std::multimap<Clock::time_point, std::uint32_t> expiries_;
  std::map<SubscriptionID, Subscription> subscriptions_;
  SubscriptionID nextSubscription_ = 1;
  std::map<std::string, ExportedObject> objects_;
  std::vector<std::string> names_;
  std::vector<std::function<void()>> reconnectionHandlers_;

  std::mutex jobsMutex_;
  std::condition_variable jobsChanged_;
  std::deque<std::function<void()>> jobs_;
  bool jobsClosed_ = false;

  /// Held while a signal handler runs, so that `unsubscribe` can wait for it.
  std::mutex signalRunMutex_;
  std::thread reader_;
  std::thread handlers_;
};

}  // namespace tavik
