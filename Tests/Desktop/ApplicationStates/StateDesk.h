#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Backends/Linux/Platform/MakePlatform.h"
#include "Base/Concurrency/ThreadScheduler.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Service/ComputerUseToolService.h"
#include "SlimCore/Identity/BundleIdentifiers.h"
#include "Tests/Desktop/AccessibilityTrees/ApplicationUnderTest.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ServedMainQueue.h"

namespace tavik {

/// The tools on the desktop that the test runs in, with applications that it starts.
class StateDesk : public testing::Test {
 protected:
  StateDesk() { std::filesystem::create_directories(folder); }
  ~StateDesk() override {
    applications.clear();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  pid_t open(const std::vector<std::string>& command) {
    applications.push_back(std::make_unique<ApplicationUnderTest>(command));
    return applications.back()->pid();
  }

  ToolResult look(const std::string& app, bool allowAppLaunch = false) {
    return service.withSerializedSessionState(
        [&] { return service.getAppState(app, {.allowAppLaunch = allowAppLaunch}); });
  }

  static std::string textOf(const ToolResult& result) {
    std::string text;
    for (const auto& block : result.content) {
      if (block.isText()) text += block.text() + "\n";
    }
    return text;
  }
  static bool hasPicture(const ToolResult& result) {
    for (const auto& block : result.content) {
      if (!block.isText()) return true;
    }
    return false;
  }

  /// The state once it holds the text; the last one when it never does.
  std::string stateWith(const std::string& app, const std::string& wanted,
                        std::chrono::seconds patience = std::chrono::seconds(30)) {
    std::string text;
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < deadline) {
      text = saidOf([&] { return textOf(look(app)); });
      if (text.find(wanted) != std::string::npos) return text;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return text;
  }

  /// What the body gives, or the words of the `ToolError` that it throws.
  static std::string saidOf(const std::function<std::string()>& body) {
    try {
      return body();
    } catch (const ToolError& error) {
      return error.description();
    }
  }

  ToolResult click(const std::string& app, std::int64_t index) {
    ClickParams params;
    params.elementIndex = index;
    return service.withSerializedAction([&] { return service.performAction(app, params); });
  }

  /// The index of the first line that holds the text; -1 when there is none.
  static std::int64_t indexOf(const std::string& state, const std::string& text) {
    const auto at = state.find(text);
    if (at == std::string::npos) return -1;
    const auto lineStart = state.rfind('\n', at) + 1;
    const auto number = state.find_first_not_of('\t', lineStart);
    return std::atoll(state.c_str() + number);
  }

  static std::string makeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tavik-states-XXXXXX").string();
    return mkdtemp(pattern.data());
  }

  LogCapture log;
  const std::string folder = makeFolder();
  ThreadScheduler scheduler;
  MainQueue mainQueue{scheduler};
  ServedMainQueue served{scheduler, mainQueue};
  std::unique_ptr<LinuxPlatform> platform = makePlatform(mainQueue, BundleIdentifiers::defaultTeamIdentifier);
  Platform& ports = platform->ports();
  AXWrapper access{ports.accessibility, ports.process, scheduler, mainQueue};
  AppSearchEngine search{ports.applicationIndex, ports.workspace, scheduler, ports.process.bundleIdentifier()};
  ComputerUseToolService service{ports, access, search, mainQueue, scheduler};
  std::vector<std::unique_ptr<ApplicationUnderTest>> applications;
};

}  // namespace tavik
