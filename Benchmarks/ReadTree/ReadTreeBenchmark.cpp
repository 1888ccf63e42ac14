// Reads the whole tree of a running application in several ways, one after another
// in each round, and prints for each "way nodes medianMilliseconds".
//
// usage: ReadTreeBenchmark PID ROUNDS

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "Backends/Linux/Accessibility/ATSPIAccessibilityPort.h"
#include "Backends/Linux/Windows/X11WindowPlacement.h"
#include "RawTreeReader.h"

namespace {

using namespace tavik;
using benchmark::RawTreeReader;

const std::vector<std::string> batch = {"AXRole",        "AXRoleDescription",
                                        "AXTitle",       "AXValue",
                                        "AXDescription", "AXPlaceholderValue",
                                        "AXIdentifier",  "AXSubrole",
                                        "AXFrame",       "AXEnabled",
                                        "AXSelected",    "AXFocused",
                                        "AXHelp",        "AXURL"};

/// What the tree build asks of every node, in its order.
int readNode(AccessibilityPort& port, const AXElement& element) {
  port.copyMultipleAttributeValues(element, batch);
  port.copyActionNames(element);
  port.isAttributeSettable(element, "AXValue");
  port.copyAttributeValue(element, "AXVisibleChildren");
  AXResult<long> count = port.getAttributeValueCount(element, "AXChildren");
  AXResult<AXValue> children = port.copyAttributeValues(element, "AXChildren", 0, count.value);
  for (const char* name : {"AXSelectedChildren", "AXSelectedRows", "AXSelectedCells", "AXTitleUIElement"}) {
    port.copyAttributeValue(element, name);
  }
  int nodes = 1;
  if (const AXArray* array = children.value.get<AXArray>()) {
    for (const AXValue& child : *array) nodes += readNode(port, *child.get<AXElement>());
  }
  return nodes;
}

struct Way {
  std::string name;
  std::function<int()> read;
  std::vector<double> milliseconds;
  int nodes = 0;
};

void run(Way& way) {
  auto start = std::chrono::steady_clock::now();
  way.nodes = way.read();
  std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
  way.milliseconds.push_back(spent.count());
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: ReadTreeBenchmark PID ROUNDS\n");
    return 64;
  }
  int pid = std::atoi(argv[1]);
  int rounds = std::max(1, std::atoi(argv[2]));

  BusConnection sessionBus(BusConnection::sessionBusAddress());
  X11Desktop desktop;
  X11WindowPlacement placement(desktop);
  ATSPIAccessibilityPort port(sessionBus, placement, [](const std::function<void()>& work) { work(); });
  AXElement application = port.createApplication(pid);
  RawTreeReader raw(pid);
  if (!raw.isFound()) {
    std::fprintf(stderr, "process %d is not on the accessibility bus\n", pid);
    return 1;
  }

  std::vector<Way> ways;
  ways.push_back({"backend",
                  [&] {
                    auto scope = port.beginReadScope(application);
                    return readNode(port, application);
                  },
                  {}});
  ways.push_back({"oneByOne", [&] { return raw.read(RawTreeReader::Way::oneByOne); }, {}});
  ways.push_back({"streamed", [&] { return raw.read(RawTreeReader::Way::streamed); }, {}});
  ways.push_back({"hybrid", [&] { return raw.read(RawTreeReader::Way::hybrid); }, {}});
  for (int round = 0; round < rounds; ++round) {
    for (Way& way : ways) run(way);
  }
  for (const Way& way : ways)
    std::printf("%s %d %.2f\n", way.name.c_str(), way.nodes, median(way.milliseconds));
  return 0;
}
