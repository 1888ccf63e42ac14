#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Backends/Simulated/SimulatedDesktop.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "ComputerUseToolRuntime/Service/ComputerUseRequestRouter.h"
#include "ScriptedServices.h"
#include "TavikComputerUseRuntime/ComputerUseRuntimeApplicationDelegate.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ServedMainQueue.h"

namespace tavik {

/// A whole runtime on a simulated desktop with one trusted client, as `main` puts it
/// together. Used from inside `SimulatedScheduler::run`.
struct RuntimeDesk {
  static constexpr std::int32_t clientPID = 4711;

  explicit RuntimeDesk(SimulatedScheduler& scheduler) : scheduler(scheduler) {
    desktop.codeIdentity().state(clientPID, BundleIdentifiers::defaultTeamIdentifier, "com.tavik.ide");
    desktop.process().state(clientPID, {});
  }

  SimulatedScheduler& scheduler;
  LogCapture log;
  MainQueue mainQueue{scheduler};
  SimulatedDesktop desktop{scheduler, mainQueue};
  Platform& ports = desktop.platform();
  BundleIdentifiers identifiers{ports.preferences};
  AXWrapper access{ports.accessibility, ports.process, scheduler, mainQueue};
  AppSearchEngine appSearchEngine{ports.applicationIndex, ports.workspace, scheduler};
  ComputerUseToolService toolService{ports, access, appSearchEngine, mainQueue, scheduler};
  ComputerUseRequestRouter toolRequestRouter{toolService};
  /// Where a test puts a tool of its own; the real ones at first.
  std::function<std::optional<ToolResult>(const std::string&, const Bytes&)> tools =
      [this](const std::string& type, const Bytes& data) {
        return toolRequestRouter.routeToolRequest(type, data);
      };
  ScriptedEventStream eventStream;
  ScriptedAppshots appshots;
  std::vector<double> terminations;
  /// Whether the application ends as soon as it is asked to.
  bool endsAtOnce = true;
  const MonotonicTime start = scheduler.now();
  ComputerUseRuntimeApplicationDelegate delegate{
      scheduler,
      mainQueue,
      ports,
      access,
      identifiers,
      {.routeToolRequest = [this](const std::string& type, const Bytes& data) { return tools(type, data); },
       .presentation = {.authoritativeCleanup = [this] { toolService.resetForTurnEnded(); },
                        .suspend = [this] { toolService.suspendPresentationForInactivity(); },
                        .resume = [this] { toolService.resumePresentationForActivity(); }},
       .eventStream = &eventStream,
       .appshots = &appshots},
      [this] {
        EXPECT_TRUE(mainQueue.isCurrent());
        terminations.push_back(elapsed());
        if (endsAtOnce) delegate.applicationWillTerminate();
      }};
  ServedMainQueue main{scheduler, mainQueue};

  double elapsed() const { return inSeconds(scheduler.now() - start); }
  std::string routerSocket() { return ports.process.homeDirectory() + "/.tavik/ipc/ipc.sock"; }
  bool launch() {
    return mainQueue.sync([this] { return delegate.applicationDidFinishLaunching(); });
  }
  SimulatedRequest send(const std::string& requestType, const std::string& json = "{}") {
    return desktop.transport().send(requestType, json, clientPID);
  }
  /// From now on every tool works for a while; with `stubborn` it does not care
  /// whether it is cancelled.
  void letToolsWorkFor(double duration, bool stubborn = false) {
    tools = [this, duration, stubborn](const std::string& type, const Bytes&) -> std::optional<ToolResult> {
      if (type == "ComputerUseIPCHealthRequest") return std::nullopt;
      const MonotonicTime end = scheduler.now() + seconds(duration);
      if (!stubborn) scheduler.sleep(seconds(duration));
      while (scheduler.now() < end) scheduler.park("stubborn work", end);
      return ToolResult::text("done");
    };
  }
  /// The signal, once it has been served.
  void raise(int signal) {
    desktop.signals().raise(signal);
    mainQueue.sync([] {});
  }
};

}  // namespace tavik
