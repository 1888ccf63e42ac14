#include "TavikComputerUseBridge/Runtime/RuntimeHeartbeat.h"

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

RuntimeHeartbeat::RuntimeHeartbeat(Scheduler& scheduler, RuntimeClient& client)
    : task_(scheduler.start("runtime heartbeat", [&scheduler, &client] {
        while (true) {
          scheduler.sleep(seconds(intervalSeconds));
          if (!client.refreshActivity()) {
            TavikComputerUseLogger::warning(LogCategory::transport, "runtime_health_unanswered");
          }
        }
      })) {}

RuntimeHeartbeat::~RuntimeHeartbeat() {
  task_.cancel();
  task_.join();
}

}  // namespace tavik
