#include "TransportEnd.h"

namespace tavik::test {

TransportEnd::TransportEnd() : main_([this] { mainQueue.run(); }) {}

TransportEnd::~TransportEnd() {
  transport.removeEventHandler();
  mainQueue.quit();
  main_.join();
}

void echoLater(TransportEnd& end, const IncomingRequest& request) {
  SuspensionID suspension = end.transport.suspendCurrentRequest().value();
  std::string text = request.requestType.value() + "|" + std::string(textOf(*request.requestData)) + "|" +
                     request.requestID.value_or("none") + "|" + std::to_string(request.senderPID);
  std::thread([&end, suspension, text] {
    end.transport.resume(suspension, {.directObject = bytesOf(text), .errorNumber = 0, .errorString = {}});
  }).detach();
}

}  // namespace tavik::test
