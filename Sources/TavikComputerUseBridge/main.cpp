// The bridge on Linux: a server for a host, and three commands for a person.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>

#include "Backends/Linux/Platform/LinuxDesktopDiagnosis.h"
#include "Backends/Linux/Process/ApplicationSupportDirectory.h"
#include "Backends/Linux/Process/LinuxProcess.h"
#include "Backends/Linux/Process/SyslogSystemLog.h"
#include "Backends/Linux/Transport/BusRequestSender.h"
#include "Base/Concurrency/ThreadScheduler.h"
#include "SlimCore/Logging/TavikComputerUseLogFile.h"
#include "TavikComputerUseBridge/Protocol/MCPServer.h"
#include "TavikComputerUseBridge/Protocol/StandardStreams.h"
#include "TavikComputerUseBridge/Runtime/RuntimeHeartbeat.h"
#include "TavikComputerUseBridge/Shell/CallCommand.h"
#include "TavikComputerUseBridge/Shell/DoctorCommand.h"

namespace tavik {
namespace {

/// Everything between a tool call and the runtime.
struct Bridge {
  ThreadScheduler scheduler;
  LinuxProcess process;
  SyslogSystemLog systemLog;
  SerialQueue logFileQueue{scheduler, "log file"};
  BusConnection bus{BusConnection::sessionBusAddress()};
  BusRequestSender sender{bus};
  RuntimeClient runtime{sender};
  ToolCatalogue catalogue{"ctrl"};
  ToolCaller caller{catalogue, scheduler, runtime};

  Bridge() {
    LogEnvironment log = LogEnvironment::ofThisProcess();
    log.systemLog = &systemLog;
    TavikComputerUseLogger::install(std::move(log));
    TavikComputerUseLogFile::installStderrRedirection(
        60.0,
        {.variable = [this](const std::string& name) { return process.environment(name); },
         .bundleIdentifier = process.bundleIdentifier().value_or(""),
         .homeDirectory = process.homeDirectory(),
         .applicationSupportDirectory = applicationSupportDirectory()},
        logFileQueue);
  }
  ~Bridge() { TavikComputerUseLogger::install(LogEnvironment::ofThisProcess()); }
};

/// Serves the host at the other end of the standard streams until it closes them.
int serve() {
  Bridge bridge;
  LineWriter output(bridge.scheduler, STDOUT_FILENO);
  {
    RuntimeHeartbeat heartbeat(bridge.scheduler, bridge.runtime);
    MCPServer server(bridge.scheduler, bridge.caller,
                     [&](std::string line) { output.write(std::move(line)); });
    readLines(STDIN_FILENO, MCPServer::maximumMessageBytes, [&](const auto& line) { server.receive(line); });
    server.finish();
  }
  output.flush();
  return 0;
}

int call(const std::string& tool, const std::string& arguments, const std::string& imageDirectory) {
  // The log takes standard error over; what a person has to read goes to the old one.
  const int standardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  Bridge bridge;
  LineWriter errors(bridge.scheduler, standardError);
  CallCommand command(bridge.caller, imageDirectory, std::cout,
                      [&](std::string line) { errors.write(line); });
  const int status = command.run(tool, arguments);
  errors.flush();
  return status;
}

int examine() {
  std::vector<DesktopFinding> findings;
  for (DesktopProbe& probe : diagnoseLinuxDesktop()) {
    findings.push_back({std::move(probe.name), probe.ok, std::move(probe.detail), std::move(probe.remedy)});
  }
  Bridge bridge;
  return DoctorCommand(bridge.runtime, std::cout).run(std::move(findings));
}

int listTools() {
  const ToolCatalogue catalogue("ctrl");
  for (const ToolDescription& tool : catalogue.tools()) {
    std::cout << tool.name << "\n  " << tool.description << "\n  " << jsonText(tool.inputSchema) << "\n\n";
  }
  return 0;
}

}  // namespace
}  // namespace tavik

int main(int argumentCount, char** arguments) {
  // A host that goes away is seen as the end of the input.
  std::signal(SIGPIPE, SIG_IGN);

  CLI::App program(
      "Lets an AI agent read and operate the applications of this desktop.\n"
      "Without a command: an MCP server on the standard streams, for a host to start.");
  program.require_subcommand(0, 1);

  std::string tool;
  std::string toolArguments;
  std::string imageDirectory = std::filesystem::temp_directory_path() / "tavik-computer-use";
  CLI::App* call =
      program.add_subcommand("call", "Does one tool call: prints its text and writes its images");
  call->add_option("tool", tool, "Name of the tool, as \"tools\" lists them")->required();
  call->add_option("arguments", toolArguments, "Its arguments as a JSON object");
  call->add_option("--images", imageDirectory, "Folder for the images")->capture_default_str();
  CLI::App* doctor =
      program.add_subcommand("doctor", "Tells what works on this desktop, and what to do about the rest");
  CLI::App* tools = program.add_subcommand("tools", "Lists the tools with their descriptions and schemas");

  CLI11_PARSE(program, argumentCount, arguments);
  if (*call) return tavik::call(tool, toolArguments, imageDirectory);
  if (*doctor) return tavik::examine();
  if (*tools) return tavik::listTools();
  return tavik::serve();
}
