#include "Backends/Linux/Bus/BusConnection.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <utility>

namespace tavik {

namespace {

using namespace std::chrono_literals;

const std::string busName = "org.freedesktop.DBus";
const std::string busPath = "/org/freedesktop/DBus";
const std::string introspectable = "org.freedesktop.DBus.Introspectable";
const std::string peer = "org.freedesktop.DBus.Peer";
constexpr std::chrono::milliseconds busTimeout = 5s;
constexpr std::chrono::milliseconds firstReconnectDelay = 50ms;
constexpr std::chrono::milliseconds longestReconnectDelay = 1s;

BusMessage busCall(const std::string& member) {
  return BusMessage::methodCall(busName, busPath, busName, member);
}

std::string matchRule(const BusSignalMatch& match) {
  std::string rule = "type='signal'";
  auto add = [&](const char* key, const std::string& value) {
    if (!value.empty()) rule += "," + std::string(key) + "='" + value + "'";
  };
  add("sender", match.sender);
  add("path", match.path);
  add("interface", match.interface);
  add("member", match.member);
  add("arg0", match.firstArgument);
  return rule;
}

bool accepts(const std::string& wanted, std::string_view given) {
  return wanted.empty() || wanted == given;
}

/// The bus has already matched well-known senders, which signals never carry.
bool acceptsSender(const std::string& wanted, std::string_view given) {
  return wanted.empty() || wanted.front() != ':' || wanted == given;
}

bool accepts(const BusSignalMatch& match, const BusMessage& signal) {
  if (!accepts(match.member, signal.member()) || !accepts(match.interface, signal.interface()) ||
      !accepts(match.path, signal.path()) || !acceptsSender(match.sender, signal.sender())) {
    return false;
  }
  return match.firstArgument.empty() || signal.read().string() == match.firstArgument;
}

}  // namespace

void BusMailbox::put(Arrival arrival) {
  {
    std::lock_guard lock(mutex_);
    arrivals_.push_back(std::move(arrival));
  }
  arrived_.notify_one();
}

std::optional<BusMailbox::Arrival> BusMailbox::take(std::chrono::steady_clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  arrived_.wait_until(lock, deadline, [&] { return !arrivals_.empty(); });
  if (arrivals_.empty()) return std::nullopt;
  Arrival arrival = std::move(arrivals_.front());
  arrivals_.pop_front();
  return arrival;
}

BusConnection::AddressProvider BusConnection::sessionBusAddress() {
  return [] {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address && *address) return std::string(address);
    const char* runtimeDirectory = std::getenv("XDG_RUNTIME_DIR");
    if (runtimeDirectory) return "unix:path=" + std::string(runtimeDirectory) + "/bus";
    // A host may start its helpers with next to nothing; this is where sessions have it.
    return "unix:path=/run/user/" + std::to_string(getuid()) + "/bus";
  };
}

BusConnection::BusConnection(AddressProvider address)
    : address_(std::move(address)), wakeDescriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  dbus_threads_init_default();
  connect();
  reader_ = std::thread([this] { runReader(); });
  handlers_ = std::thread([this] { runHandlers(); });
}

BusConnection::~BusConnection() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  stopRequested_.notify_all();
  wake();
  reader_.join();
  disconnect();
  {
    std::lock_guard lock(jobsMutex_);
    jobsClosed_ = true;
  }
  jobsChanged_.notify_all();
  handlers_.join();
  close(wakeDescriptor_);
}

bool BusConnection::isConnected() {
  std::lock_guard lock(mutex_);
  return link_ != nullptr;
}

std::string BusConnection::uniqueName() {
  std::lock_guard lock(mutex_);
  return link_ ? dbus_bus_get_unique_name(link_) : "";
}

void BusConnection::wake() {
  std::uint64_t one = 1;
  [[maybe_unused]] ssize_t written = write(wakeDescriptor_, &one, sizeof one);
}

// Connecting and reading.

bool BusConnection::connect() {
  std::string address = address_();
  if (address.empty()) return false;
  DBusConnection* link = dbus_connection_open_private(address.c_str(), nullptr);
  if (!link) return false;
  dbus_connection_set_exit_on_disconnect(link, FALSE);
  if (!dbus_bus_register(link, nullptr)) {
    dbus_connection_close(link);
    dbus_connection_unref(link);
    return false;
  }
  dbus_connection_set_wakeup_main_function(
      link, [](void* self) { static_cast<BusConnection*>(self)->wake(); }, this, nullptr);

  std::vector<BusSignalMatch> matches;
  std::vector<std::string> names;
  {
    std::lock_guard lock(mutex_);
    link_ = link;
    for (const auto& [id, subscription] : subscriptions_) matches.push_back(subscription.match);
    names = names_;
  }
  for (const BusSignalMatch& match : matches) sendMatch("AddMatch", match);
  for (const std::string& name : names) {
    BusMessage request = busCall("RequestName");
    BusWriter(request).string(name).uint32(DBUS_NAME_FLAG_DO_NOT_QUEUE);
    send(request);
  }
  return true;
}

void BusConnection::disconnect() {
  DBusConnection* link = nullptr;
  std::unordered_map<std::uint32_t, Pending> lost;
  {
    std::lock_guard lock(mutex_);
    link = std::exchange(link_, nullptr);
    lost = std::exchange(pending_, {});
    expiries_.clear();
  }
  if (link) {
    dbus_connection_close(link);
    dbus_connection_unref(link);
  }
  for (auto& [serial, pending] : lost) deliver(std::move(pending), {BusReply::Status::disconnected, {}});
}

void BusConnection::runReader() {
  auto stopping = [this] {
    std::lock_guard lock(mutex_);
    return stopping_;
  };
  std::chrono::milliseconds delay = firstReconnectDelay;
  bool wasConnected = isConnected();
  if (wasConnected) readUntilDisconnected();
  while (!stopping()) {
    disconnect();
    waitBeforeReconnecting(delay);
    delay = std::min(delay * 2, longestReconnectDelay);
    if (stopping() || !connect()) continue;
    delay = firstReconnectDelay;
    std::vector<std::function<void()>> handlers;
    {
      std::lock_guard lock(mutex_);
      handlers = reconnectionHandlers_;
    }
    for (auto& handler : handlers) enqueue(std::move(handler));
    readUntilDisconnected();
  }
}

void BusConnection::waitBeforeReconnecting(std::chrono::milliseconds delay) {
  std::unique_lock lock(mutex_);
  stopRequested_.wait_for(lock, delay, [&] { return stopping_; });
}

void BusConnection::readUntilDisconnected() {
  DBusConnection* link = nullptr;
  {
    std::lock_guard lock(mutex_);
    link = link_;
  }
  int socket = -1;
  dbus_connection_get_unix_fd(link, &socket);
  while (true) {
    {
      std::lock_guard lock(mutex_);
      if (stopping_) return;
    }
    bool isOpen = dbus_connection_read_write(link, 0);
    while (DBusMessage* message = dbus_connection_pop_message(link)) receive(BusMessage::adopting(message));
    if (!isOpen) return;
    expireCalls();

    short events = dbus_connection_has_messages_to_send(link) ? POLLIN | POLLOUT : POLLIN;
    pollfd descriptors[] = {{socket, events, 0}, {wakeDescriptor_, POLLIN, 0}};
    Clock::time_point expiry = nextExpiry();
    int wait = -1;
    if (expiry != Clock::time_point::max()) {
      auto left = std::chrono::ceil<std::chrono::milliseconds>(expiry - Clock::now());
      wait = static_cast<int>(std::clamp<long>(left.count(), 0, 60'000));
    }
    poll(descriptors, 2, wait);
    std::uint64_t wakes = 0;
    if (descriptors[1].revents) {
      [[maybe_unused]] ssize_t count = ::read(wakeDescriptor_, &wakes, sizeof wakes);
    }
  }
}

void BusConnection::receive(BusMessage message) {
  switch (dbus_message_get_type(message.raw())) {
    case DBUS_MESSAGE_TYPE_METHOD_RETURN:
    case DBUS_MESSAGE_TYPE_ERROR: {
      Pending pending;
      {
        std::lock_guard lock(mutex_);
        auto entry = pending_.find(dbus_message_get_reply_serial(message.raw()));
        if (entry == pending_.end()) return;
        pending = std::move(entry->second);
        pending_.erase(entry);
      }
      BusReply::Status status = message.isError() ? BusReply::Status::failed : BusReply::Status::returned;
      deliver(std::move(pending), {status, std::move(message)});
      return;
    }
    case DBUS_MESSAGE_TYPE_SIGNAL:
      enqueue([this, message = std::move(message)] { dispatchSignal(message); });
      return;
    case DBUS_MESSAGE_TYPE_METHOD_CALL:
      enqueue([this, message = std::move(message)] { dispatchCall(message); });
      return;
    default:
      return;
  }
}

void BusConnection::deliver(Pending pending, BusReply reply) {
  if (pending.mailbox) {
    pending.mailbox->put({pending.tag, std::move(reply)});
  } else {
    enqueue([handler = std::move(pending.handler), reply = std::move(reply)] { handler(reply); });
  }
}

BusConnection::Clock::time_point BusConnection::nextExpiry() {
  std::lock_guard lock(mutex_);
  while (!expiries_.empty() && !pending_.contains(expiries_.begin()->second))
    expiries_.erase(expiries_.begin());
  return expiries_.empty() ? Clock::time_point::max() : expiries_.begin()->first;
}

void BusConnection::expireCalls() {
  std::vector<Pending> expired;
  {
    std::lock_guard lock(mutex_);
    Clock::time_point now = Clock::now();
    while (!expiries_.empty() && expiries_.begin()->first <= now) {
      auto entry = pending_.find(expiries_.begin()->second);
      if (entry != pending_.end()) {
        expired.push_back(std::move(entry->second));
        pending_.erase(entry);
      }
      expiries_.erase(expiries_.begin());
    }
  }
  for (Pending& pending : expired) deliver(std::move(pending), {BusReply::Status::timedOut, {}});
}

// Sending.

std::optional<std::uint32_t> BusConnection::sendPending(const BusMessage& message, Pending pending) {
  std::unique_lock lock(mutex_);
  dbus_uint32_t serial = 0;
  if (!link_ || !dbus_connection_send(link_, message.raw(), &serial)) {
    lock.unlock();
    deliver(std::move(pending), {BusReply::Status::disconnected, {}});
    return std::nullopt;
  }
  if (pending.deadline != Clock::time_point::max()) expiries_.emplace(pending.deadline, serial);
  pending_[serial] = std::move(pending);
  return serial;
}

std::optional<std::uint32_t> BusConnection::callInto(const std::shared_ptr<BusMailbox>& mailbox,
                                                     std::uint64_t tag, const BusMessage& message) {
  return sendPending(message, {.mailbox = mailbox, .tag = tag, .handler = nullptr});
}

void BusConnection::forget(const std::vector<std::uint32_t>& serials) {
  std::lock_guard lock(mutex_);
  for (std::uint32_t serial : serials) pending_.erase(serial);
}

BusReply BusConnection::call(const BusMessage& message, std::chrono::milliseconds timeout) {
  auto mailbox = std::make_shared<BusMailbox>();
  std::optional<std::uint32_t> serial = callInto(mailbox, 0, message);
  std::optional<BusMailbox::Arrival> arrival = mailbox->take(Clock::now() + timeout);
  if (arrival) return std::move(arrival->reply);
  if (serial) forget({*serial});
  return {BusReply::Status::timedOut, {}};
}

void BusConnection::callLater(const BusMessage& message, std::chrono::milliseconds timeout,
                              ReplyHandler handler) {
  sendPending(message,
              {.mailbox = nullptr, .handler = std::move(handler), .deadline = Clock::now() + timeout});
  wake();
}

bool BusConnection::send(const BusMessage& message) {
  std::lock_guard lock(mutex_);
  return link_ && dbus_connection_send(link_, message.raw(), nullptr);
}

// Handlers.

void BusConnection::enqueue(std::function<void()> job) {
  {
    std::lock_guard lock(jobsMutex_);
    if (jobsClosed_) return;
    jobs_.push_back(std::move(job));
  }
  jobsChanged_.notify_one();
}

void BusConnection::runHandlers() {
  while (true) {
    std::function<void()> job;
    {
      std::unique_lock lock(jobsMutex_);
      jobsChanged_.wait(lock, [&] { return jobsClosed_ || !jobs_.empty(); });
      if (jobsClosed_) return;
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    job();
  }
}

BusConnection::SubscriptionID BusConnection::subscribe(BusSignalMatch match, SignalHandler handler) {
  SubscriptionID id = 0;
  {
    std::lock_guard lock(mutex_);
    id = nextSubscription_++;
    subscriptions_[id] = {match, std::make_shared<SignalHandler>(std::move(handler))};
  }
  sendMatch("AddMatch", match);
  return id;
}

void BusConnection::unsubscribe(SubscriptionID subscription) {
  BusSignalMatch match;
  {
    std::lock_guard lock(mutex_);
    auto entry = subscriptions_.find(subscription);
    if (entry == subscriptions_.end()) return;
    match = entry->second.match;
    subscriptions_.erase(entry);
  }
  sendMatch("RemoveMatch", match);
  // A handler that unsubscribes itself is on the handler thread and must not wait for itself.
  if (std::this_thread::get_id() != handlers_.get_id()) std::lock_guard waitForRun(signalRunMutex_);
}

void BusConnection::sendMatch(const char* member, const BusSignalMatch& match) {
  BusMessage message = busCall(member);
  BusWriter(message).string(matchRule(match));
  dbus_message_set_no_reply(message.raw(), TRUE);
  send(message);
}

void BusConnection::dispatchSignal(const BusMessage& signal) {
  std::vector<SubscriptionID> matching;
  {
    std::lock_guard lock(mutex_);
    for (const auto& [id, subscription] : subscriptions_) {
      if (accepts(subscription.match, signal)) matching.push_back(id);
    }
  }
  for (SubscriptionID id : matching) {
    std::lock_guard running(signalRunMutex_);
    std::shared_ptr<SignalHandler> handler;
    {
      std::lock_guard lock(mutex_);
      auto entry = subscriptions_.find(id);
      if (entry != subscriptions_.end()) handler = entry->second.handler;
    }
    if (handler) (*handler)(signal);
  }
}

void BusConnection::onReconnected(std::function<void()> handler) {
  std::lock_guard lock(mutex_);
  reconnectionHandlers_.push_back(std::move(handler));
}

// Exported objects.

void BusConnection::exportObject(const std::string& path, const std::string& interfacesXML,
                                 MethodHandler handler) {
  std::lock_guard lock(mutex_);
  objects_[path] = {interfacesXML, std::make_shared<MethodHandler>(std::move(handler))};
}

void BusConnection::removeObject(const std::string& path) {
  std::lock_guard lock(mutex_);
  objects_.erase(path);
}

std::optional<std::string> BusConnection::introspection(const std::string& path) {
  std::lock_guard lock(mutex_);
  std::string interfaces;
  if (auto object = objects_.find(path); object != objects_.end()) interfaces = object->second.interfacesXML;
  const std::string prefix = path == "/" ? path : path + "/";
  std::set<std::string> children;
  for (const auto& [other, object] : objects_) {
    if (other.size() > prefix.size() && other.starts_with(prefix)) {
      children.insert(other.substr(prefix.size(), other.find('/', prefix.size()) - prefix.size()));
    }
  }
  if (interfaces.empty() && children.empty()) return std::nullopt;
  std::string xml = DBUS_INTROSPECT_1_0_XML_DOCTYPE_DECL_NODE "<node>\n" + interfaces;
  for (const std::string& child : children) xml += "<node name=\"" + child + "\"/>\n";
  return xml + "</node>\n";
}

void BusConnection::dispatchCall(const BusMessage& call) {
  const std::string path(call.path());
  if (call.interface() == peer && call.member() == "Ping") {
    send(BusMessage::returnOf(call));
    return;
  }
  if (call.interface() == introspectable && call.member() == "Introspect") {
    if (std::optional<std::string> xml = introspection(path)) {
      BusMessage reply = BusMessage::returnOf(call);
      BusWriter(reply).string(*xml);
      send(reply);
      return;
    }
  }
  std::shared_ptr<MethodHandler> handler;
  {
    std::lock_guard lock(mutex_);
    if (auto object = objects_.find(path); object != objects_.end()) handler = object->second.handler;
  }
  if (handler) {
    (*handler)(call);
  } else {
    send(BusMessage::errorOf(call, DBUS_ERROR_UNKNOWN_OBJECT, "There is no object at " + path));
  }
}

// Names.

bool BusConnection::requestName(const std::string& name) {
  BusMessage request = busCall("RequestName");
  BusWriter(request).string(name).uint32(DBUS_NAME_FLAG_DO_NOT_QUEUE);
  BusReply reply = call(request, busTimeout);
  std::int64_t result = reply.read().integer();
  if (result != DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER && result != DBUS_REQUEST_NAME_REPLY_ALREADY_OWNER) {
    return false;
  }
  std::lock_guard lock(mutex_);
  if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
  return true;
}

void BusConnection::releaseName(const std::string& name) {
  {
    std::lock_guard lock(mutex_);
    std::erase(names_, name);
  }
  BusMessage request = busCall("ReleaseName");
  BusWriter(request).string(name);
  call(request, busTimeout);
}

bool BusConnection::hasOwner(const std::string& name) {
  BusMessage request = busCall("NameHasOwner");
  BusWriter(request).string(name);
  return call(request, busTimeout).read().boolean();
}

std::optional<BusCredentials> BusConnection::credentials(const std::string& name) {
  BusMessage request = busCall("GetConnectionCredentials");
  BusWriter(request).string(name);
  BusReply reply = call(request, busTimeout);
  if (!reply.ok()) return std::nullopt;
  BusCredentials result;
  BusReader entries = reply.read().inside();
  while (!entries.atEnd()) {
    BusReader entry = entries.inside();
    std::string key = entry.string();
    BusReader value = entry.inside();
    if (key == "ProcessID") result.pid = static_cast<pid_t>(value.integer());
    if (key == "UnixUserID") result.uid = static_cast<uid_t>(value.integer());
  }
  return result.pid != 0 ? std::optional(result) : std::nullopt;
}

}  // namespace tavik
