// The runtime on Linux: started by the bridge or by the session bus, ends by itself.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "Backends/Linux/Platform/MakePlatform.h"
#include "Backends/Linux/Process/ApplicationSupportDirectory.h"
#include "Backends/Linux/Transport/BusRequestSender.h"
#include "Base/Concurrency/ThreadScheduler.h"
#include "ComputerUseToolRuntime/Service/ComputerUseRequestRouter.h"
#include "SlimCore/Logging/TavikComputerUseLogFile.h"
#include "TavikComputerUseRuntime/ComputerUseRuntimeApplicationDelegate.h"

namespace tavik {
namespace {

/// What the process ends with, for whoever started it.
enum ExitCode {
  endedWell = 0,
  /// Another runtime of this user serves the requests already.
  alreadyRunning = 3,
  /// There is no session bus, so that nobody could send a request.
  notReachable = 4,
};

/// Leads standard error into the shared log while it lives. What a person at a
/// terminal has to read goes to `standardError`, which it was before.
struct RuntimeLog {
  SyslogSystemLog systemLog;
  LinuxProcess process;
  const int standardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  /// Last, so that its work ends while the rest lives.
  SerialQueue fileQueue;

  explicit RuntimeLog(Scheduler& scheduler) : fileQueue(scheduler, "log file") {
    LogEnvironment environment = LogEnvironment::ofThisProcess();
    environment.systemLog = &systemLog;
    TavikComputerUseLogger::install(std::move(environment));
    TavikComputerUseLogFile::installStderrRedirection(
        60.0,
        {.variable = [this](const std::string& name) { return process.environment(name); },
         .bundleIdentifier = process.bundleIdentifier().value_or(""),
         .homeDirectory = process.homeDirectory(),
         .applicationSupportDirectory = applicationSupportDirectory()},
        fileQueue);
  }
  ~RuntimeLog() {
    TavikComputerUseLogger::install(LogEnvironment::ofThisProcess());
    close(standardError);
  }

  void tellPerson(const std::string& sentence) const { dprintf(standardError, "%s\n", sentence.c_str()); }
};

/// All services of the process, each above those that it uses.
struct Runtime {
  ThreadScheduler scheduler;
  RuntimeLog log{scheduler};
  MainQueue mainQueue{scheduler};
  std::unique_ptr<LinuxPlatform> platform = makePlatform(mainQueue, BundleIdentifiers::defaultTeamIdentifier);
  Platform& ports = platform->ports();
  BundleIdentifiers identifiers{ports.preferences};
  AXWrapper access{ports.accessibility, ports.process, scheduler, mainQueue};
  AppSearchEngine appSearchEngine{ports.applicationIndex, ports.workspace, scheduler,
                                  ports.process.bundleIdentifier()};
  ComputerUseToolService toolService{ports, access, appSearchEngine, mainQueue, scheduler};
  ComputerUseRequestRouter toolRequestRouter{toolService};
  ComputerUseRuntimeApplicationDelegate delegate{scheduler,
                                                 mainQueue,
                                                 ports,
                                                 access,
                                                 identifiers,
                                                 services(),
                                                 [this] { terminate(); }};

  int run() {
    // Stays so when a signal ends the process before it begins.
    bool isRefused = false;
    mainQueue.async([&] {
      isRefused = !delegate.applicationDidFinishLaunching();
      if (isRefused) mainQueue.quit();
    });
    mainQueue.run();
    return isRefused ? whyNotServing() : endedWell;
  }

 private:
  RuntimeServices services() {
    return {.routeToolRequest =
                [this](const std::string& type, const Bytes& data) {
                  return toolRequestRouter.routeToolRequest(type, data);
                },
            .presentation = {.authoritativeCleanup = [this] { toolService.resetForTurnEnded(); },
                             .suspend = [this] { toolService.suspendPresentationForInactivity(); },
                             .resume = [this] { toolService.resumePresentationForActivity(); }}};
  }

  void terminate() {
    delegate.applicationWillTerminate();
    mainQueue.quit();
  }

  ExitCode whyNotServing() {
    if (BusConnection(BusConnection::sessionBusAddress()).isConnected()) {
      log.tellPerson("Tavik Computer Use is already running in this session.");
      return alreadyRunning;
    }
    log.tellPerson("Tavik Computer Use needs a session bus, and none answers.");
    return notReachable;
  }
};

}  // namespace
}  // namespace tavik

int main() {
  return tavik::Runtime().run();
}
