// Puts a runtime under load: what one request costs on its way, and what sixteen
// clients with mixed requests get, for as long as it is told to.
//
// usage: RuntimeLoad SECONDS      inside a desktop, for instance by scripts/with-desktop
//
// Fails when a request was lost or answered by anything but its result, a full queue or
// the words of a tool, or when the runtime's memory or descriptors grew. Times are told,
// not judged.

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include "Backends/Linux/Transport/BusRequestSender.h"
#include "Backends/Linux/Transport/RequestBusAddress.h"
#include "Base/JSON/Record.h"
#include "ChildProcess.h"
#include "ComputerUseContracts/ComputerUseIPCToolResultResponse.h"
#include "RuntimeProcess.h"

namespace tavik::test {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int clientCount = 16;
constexpr int roadRequests = 2000;

double quantile(std::vector<double>& values, double share) {
  if (values.empty()) return 0;
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

/// What a process holds.
struct Holdings {
  long descriptors = 0;
  long threads = 0;
  long residentKilobytes = 0;

  static Holdings of(pid_t pid) {
    const std::string folder = fmt::format("/proc/{}", pid);
    const auto entries = [&](const char* name) {
      return static_cast<long>(std::distance(std::filesystem::directory_iterator(folder + "/" + name), {}));
    };
    Holdings holdings{.descriptors = entries("fd"), .threads = entries("task")};
    std::ifstream status(folder + "/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("VmRSS:")) holdings.residentKilobytes = std::stol(line.substr(6));
    }
    return holdings;
  }
};

void print(const char* when, const Holdings& holdings) {
  fmt::print("{:<24}{:>6} descriptors {:>5} threads {:>8} kB\n", when, holdings.descriptors, holdings.threads,
             holdings.residentKilobytes);
}

/// What became of one kind of request.
struct Tally {
  std::vector<double> answered;
  std::vector<double> refused;
  int toolErrors = 0;
  int broken = 0;
};

class Load {
 public:
  bool run(std::chrono::seconds duration) {
    if (!eventually([&] { return sender_.isRuntimeRunning(); })) return false;
    if (!eventually([&] { return readButton(); })) return false;
    const bool roadIsSound = measureRoad();
    print("before the load", Holdings::of(runtime_.pid()));
    putUnderLoad(duration / 2);
    // The first half also fills the allocator's pools, one for each thread.
    const Holdings before = Holdings::of(runtime_.pid());
    print("in the middle", before);
    putUnderLoad(duration / 2);
    const Holdings after = Holdings::of(runtime_.pid());
    print("after the load", after);
    return report() && roadIsSound && isFlat(before, after) && stillServes();
  }

 private:
  /// Finds the element that the clients click on.
  bool readButton() {
    const auto outcome = send(sender_, "ComputerUseIPCAppGetStateRequest", R"({"app":"galculator"})");
    const std::string text(textOf(outcome.reply.directObject.value_or(Bytes{})));
    const std::size_t button = text.find("button 7");
    if (button == std::string::npos) return false;
    button_ = std::atoi(text.c_str() + text.rfind("\\t", button) + 2);
    return true;
  }

  static RequestSenderPort::Outcome send(BusRequestSender& sender, const std::string& type, const std::string& json) {
    return sender.send(type, bytesOf(json), "load", 60);
  }

  /// One client, one request after another that costs nothing but its way: over the bus,
  /// through admission and routing, into two lines of the log and back.
  bool measureRoad() {
    std::vector<double> road, floor;
    for (int i = 0; i < roadRequests; ++i) {
      const auto start = Clock::now();
      const auto outcome = send(sender_, "ComputerUseIPCAppUsageRequest", "{}");
      road.push_back(Milliseconds(Clock::now() - start).count());
      if (outcome.failure != RequestSenderPort::Failure::none || outcome.reply.errorNumber != 0) return false;
    }
    for (int i = 0; i < roadRequests; ++i) {
      const auto start = Clock::now();
      bus_.call(BusMessage::methodCall(requestBus::name, requestBus::path, DBUS_INTERFACE_PEER, "Ping"),
                std::chrono::seconds(5));
      floor.push_back(Milliseconds(Clock::now() - start).count());
    }
    fmt::print("the way of one request: median {:.3f} ms, 99% {:.3f}; a bare ping of the bus: {:.3f}, {:.3f}\n",
               quantile(road, 0.5), quantile(road, 0.99), quantile(floor, 0.5), quantile(floor, 0.99));
    return true;
  }

  void putUnderLoad(std::chrono::seconds duration) {
    const Clock::time_point end = Clock::now() + duration;
    std::vector<std::thread> clients;
    for (int number = 0; number < clientCount; ++number) {
      clients.emplace_back([this, number, end] { beClient(number, end); });
    }
    for (std::thread& client : clients) client.join();
  }

  void beClient(int number, Clock::time_point end) {
    BusConnection bus(BusConnection::sessionBusAddress());
    BusRequestSender sender(bus);
    std::mt19937 random(static_cast<unsigned>(number));
    while (Clock::now() < end) {
      switch (random() % 8) {
        case 0:
          ask(sender, "state", "ComputerUseIPCAppGetStateRequest", R"({"app":"galculator"})");
          break;
        case 1:
          ask(sender, "action", "ComputerUseIPCAppPerformActionRequest",
              fmt::format(R"({{"app":"galculator","action":{{"click":{{"_0":{{"elementIndex":{},"clickCount":1,"mouseButton":0}}}}}}}})",
                          button_));
          break;
        case 2:
        case 3:
          ask(sender, "list", "ComputerUseIPCListAppsRequest", "{}");
          break;
        default:
          ask(sender, "health", "ComputerUseIPCHealthRequest", "{}");
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 200));
    }
  }

  void ask(BusRequestSender& sender, const std::string& kind, const std::string& type, const std::string& json) {
    const auto start = Clock::now();
    const auto outcome = send(sender, type, json);
    const double duration = Milliseconds(Clock::now() - start).count();
    std::lock_guard lock(mutex_);
    Tally& tally = tallies_[kind];
    if (outcome.failure != RequestSenderPort::Failure::none) {
      ++tally.broken;
      fmt::print("{}: {}\n", kind, outcome.detail);
    } else if (outcome.reply.errorNumber == -10016) {
      tally.refused.push_back(duration);
    } else if (outcome.reply.errorNumber != 0) {
      ++tally.broken;
      fmt::print("{}: {} {}\n", kind, outcome.reply.errorNumber, outcome.reply.errorString);
    } else {
      tally.answered.push_back(duration);
      if (textOf(*outcome.reply.directObject).find(R"("isError":true)") != std::string::npos) ++tally.toolErrors;
    }
  }

  bool report() {
    bool isSound = true;
    std::size_t answered = 0;
    std::vector<double> refused;
    for (auto& [kind, tally] : tallies_) {
      fmt::print("{:<8}{:>7} answered, median {:>8.2f} ms, 99% {:>8.2f}, longest {:>8.2f}; {:>5} refused; {:>4} tool errors; {} broken\n",
                 kind, tally.answered.size(), quantile(tally.answered, 0.5), quantile(tally.answered, 0.99),
                 quantile(tally.answered, 1), tally.refused.size(), tally.toolErrors, tally.broken);
      isSound = isSound && tally.broken == 0;
      answered += tally.answered.size();
      refused.insert(refused.end(), tally.refused.begin(), tally.refused.end());
    }
    fmt::print("a refusal of the full queue: median {:.2f} ms, 99% {:.2f}\n", quantile(refused, 0.5), quantile(refused, 0.99));
    return isSound && answered > 0;
  }

  /// A few threads come and go, and the allocator's pools take up to this much in the end.
  static bool isFlat(const Holdings& before, const Holdings& after) {
    constexpr long poolKilobytes = 96 * 1024;
    return after.descriptors <= before.descriptors + 3 && after.threads <= before.threads + 3 &&
           after.residentKilobytes <= std::max(before.residentKilobytes * 5 / 4, poolKilobytes);
  }

  bool stillServes() { return eventually([&] { return readButton(); }); }

  ChildProcess application_{{"galculator"}};
  RuntimeProcess runtime_{trustingRuntime()};
  BusConnection bus_{BusConnection::sessionBusAddress()};
  BusRequestSender sender_{bus_};
  std::atomic<int> button_ = 0;
  std::mutex mutex_;
  std::map<std::string, Tally> tallies_;
};

}  // namespace
}  // namespace tavik::test

int main(int argumentCount, char** arguments) {
  const int duration = argumentCount > 1 ? std::atoi(arguments[1]) : 60;
  const bool isSound = tavik::test::Load().run(std::chrono::seconds(duration));
  fmt::print("{}\n", isSound ? "sound" : "NOT SOUND");
  return isSound ? 0 : 1;
}
