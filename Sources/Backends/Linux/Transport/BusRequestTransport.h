#pragma once

#include <memory>
#include <optional>

#include "Backends/Linux/Bus/BusConnection.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/RequestTransportPort.h"

namespace tavik {

/// Receives requests as method calls on the session bus, from programs of the same
/// user only. The bus and the main queue outlive it, and the queue drops its work
/// before the bus ends.
class BusRequestTransport : public RequestTransportPort {
 public:
  BusRequestTransport(BusConnection& bus, MainQueue& mainQueue);
  ~BusRequestTransport() override;

  bool setEventHandler(EventHandler handler) override;
  void removeEventHandler() override;
  std::optional<SuspensionID> suspendCurrentRequest() override;
  bool canEncodeResponse(const Bytes& directObject) override;
  void resume(SuspensionID suspension, RequestReply reply) override;

 private:
  struct Reception;

  void receive(const BusMessage& call);
  static void handle(BusConnection& bus, Reception& reception, const BusMessage& call,
                     const IncomingRequest& request);

  BusConnection& bus_;
  MainQueue& mainQueue_;
  const std::shared_ptr<Reception> reception_;
};

}  // namespace tavik
