#include "Backends/Linux/Transport/BusRequestTransport.h"

#include <unistd.h>

#include <map>
#include <mutex>

#include "Backends/Linux/Transport/RequestBusAddress.h"

namespace tavik {

namespace {

BusMessage replyMessage(const BusMessage& call, const RequestReply& reply) {
  BusMessage message = BusMessage::returnOf(call);
  BusWriter(message)
      .bytes(reply.directObject.value_or(Bytes{}))
      .int32(reply.errorNumber)
      .string(reply.errorString);
  return message;
}

IncomingRequest requestOf(const BusMessage& call, pid_t sender) {
  BusReader arguments = call.read();
  IncomingRequest request;
  request.requestType = arguments.string();
  request.requestData = arguments.bytes();
  if (std::string requestID = arguments.string(); !requestID.empty())
    request.requestID = std::move(requestID);
  request.senderPID = sender;
  return request;
}

}  // namespace

/// What the work on the main queue needs, which may run after the port has gone.
struct BusRequestTransport::Reception {
  std::mutex mutex;
  /// Null while nothing is received.
  std::shared_ptr<EventHandler> handler;
  std::map<SuspensionID, BusMessage> suspended;
  SuspensionID nextSuspension = 1;

  /// The request that the handler is being called with; main queue only.
  std::optional<BusMessage> current;
  bool isCurrentSuspended = false;
};

BusRequestTransport::BusRequestTransport(BusConnection& bus, MainQueue& mainQueue)
    : bus_(bus), mainQueue_(mainQueue), reception_(std::make_shared<Reception>()) {}

BusRequestTransport::~BusRequestTransport() {
  removeEventHandler();
}

bool BusRequestTransport::setEventHandler(EventHandler handler) {
  {
    std::lock_guard lock(reception_->mutex);
    reception_->handler = std::make_shared<EventHandler>(std::move(handler));
  }
  // The object is there before the name can be seen.
  bus_.exportObject(requestBus::path, requestBus::interfaceDescription,
                    [this](const BusMessage& call) { receive(call); });
  if (bus_.requestName(requestBus::name)) return true;
  removeEventHandler();
  return false;
}

void BusRequestTransport::removeEventHandler() {
  {
    std::lock_guard lock(reception_->mutex);
    if (reception_->handler == nullptr) return;
    reception_->handler = nullptr;
  }
  bus_.releaseName(requestBus::name);
  bus_.removeObject(requestBus::path);
}

/// On the bus's handler thread. Whatever is wrong with a call is answered at once.
void BusRequestTransport::receive(const BusMessage& call) {
  if (call.member() != requestBus::method ||
      (!call.interface().empty() && call.interface() != requestBus::interface)) {
    bus_.send(BusMessage::errorOf(call, DBUS_ERROR_UNKNOWN_METHOD, "There is no such method"));
    return;
  }
  if (call.signature() != requestBus::requestSignature) {
    bus_.send(BusMessage::errorOf(call, DBUS_ERROR_INVALID_ARGS, "SendRequest takes (s, ay, s)"));
    return;
  }
  std::optional<BusCredentials> sender = bus_.credentials(std::string(call.sender()));
  if (!sender || sender->uid != getuid()) {
    bus_.send(
        BusMessage::errorOf(call, DBUS_ERROR_ACCESS_DENIED, "Only programs of the same user are served"));
    return;
  }
  mainQueue_.async([&bus = bus_, reception = reception_, call, request = requestOf(call, sender->pid)] {
    handle(bus, *reception, call, request);
  });
}

void BusRequestTransport::handle(BusConnection& bus, Reception& reception, const BusMessage& call,
                                 const IncomingRequest& request) {
  std::shared_ptr<EventHandler> handler;
  {
    std::lock_guard lock(reception.mutex);
    handler = reception.handler;
  }
  if (handler == nullptr) {
    bus.send(BusMessage::errorOf(call, DBUS_ERROR_UNKNOWN_OBJECT, "The runtime is ending"));
    return;
  }
  reception.current = call;
  reception.isCurrentSuspended = false;
  RequestReply reply;
  (*handler)(request, reply);
  reception.current.reset();
  if (!reception.isCurrentSuspended) bus.send(replyMessage(call, reply));
}

std::optional<SuspensionID> BusRequestTransport::suspendCurrentRequest() {
  if (!reception_->current || reception_->isCurrentSuspended) return std::nullopt;
  reception_->isCurrentSuspended = true;
  std::lock_guard lock(reception_->mutex);
  SuspensionID suspension = reception_->nextSuspension++;
  reception_->suspended.emplace(suspension, *reception_->current);
  return suspension;
}

bool BusRequestTransport::canEncodeResponse(const Bytes& directObject) {
  return directObject.size() <= DBUS_MAXIMUM_ARRAY_LENGTH;
}

void BusRequestTransport::resume(SuspensionID suspension, RequestReply reply) {
  BusMessage call;
  {
    std::lock_guard lock(reception_->mutex);
    auto found = reception_->suspended.find(suspension);
    if (found == reception_->suspended.end()) return;
    call = std::move(found->second);
    reception_->suspended.erase(found);
  }
  bus_.send(replyMessage(call, reply));
}

}  // namespace tavik
