#pragma once

#include <thread>

#include "Backends/Linux/Transport/BusRequestTransport.h"
#include "Base/Concurrency/ThreadScheduler.h"

namespace tavik::test {

/// The receiving end with a main queue of its own, as the runtime has it.
class TransportEnd {
 public:
  TransportEnd();
  ~TransportEnd();

  ThreadScheduler scheduler;
  MainQueue mainQueue{scheduler};
  BusConnection bus{BusConnection::sessionBusAddress()};
  BusRequestTransport transport{bus, mainQueue};

 private:
  std::thread main_;
};

/// Answers each request with its own type, data and identifier, later, from another
/// thread than the one it came on.
void echoLater(TransportEnd& end, const IncomingRequest& request);

}  // namespace tavik::test
