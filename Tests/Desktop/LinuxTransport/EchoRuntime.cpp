// Stands in for the runtime: echoes requests until one of the type "end" comes.

#include <unistd.h>

#include <cstdlib>

#include "TransportEnd.h"

int main() {
  tavik::test::TransportEnd end;
  bool isServing =
      end.transport.setEventHandler([&](const tavik::IncomingRequest& request, tavik::RequestReply&) {
        if (request.requestType == "end") std::_Exit(0);
        tavik::test::echoLater(end, request);
      });
  // The process that started it is told which one it is.
  if (const char* notes = std::getenv("ECHO_RUNTIME_NOTES")) {
    if (FILE* file = std::fopen(notes, "a")) {
      std::fprintf(file, "%d %d %d\n", getpid(), getppid(), static_cast<int>(getsid(0) != getsid(getppid())));
      std::fclose(file);
    }
  }
  if (isServing) pause();
  return isServing ? 0 : 1;
}
