// What the looking at an application costs beside the application itself: the phases
// of one state, from the reading of elements that answer at once to the encoding of
// the picture, for windows of 100 to 20,000 elements.

#include <benchmark/benchmark.h>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"
#include "Backends/Simulated/SimulatedDesktop.h"
#include "ComputerUseToolRuntime/Service/ComputerUseToolService.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

constexpr std::int32_t pid = 42;

/// A window of rows with a text and a button each, in groups.
SimulatedElement windowOf(SimulatedWorld& world, std::int64_t elements) {
  auto notes = world.desktop.application("Notes", "com.example.notes", pid);
  auto window = notes.window("Entries", Rect{{0, 0}, {1000, 700}});
  SimulatedElement group;
  for (std::int64_t i = 0; i < elements / 3; ++i) {
    if (i % 100 == 0) group = window.add(simulated::group("Section " + std::to_string(i)));
    auto row = group.add(simulated::row());
    row.add(simulated::staticText("Entry " + std::to_string(i)));
    row.add(simulated::button("Open " + std::to_string(i)));
  }
  notes.activate();
  return window;
}

struct StateWorld : SimulatedWorld {
  AXWrapper access{desktop.platform().accessibility, desktop.platform().process, scheduler, mainQueue};
  UIElementTreeTransformationRunner transformations{desktop.platform().workspace};
};

void build(benchmark::State& state) {
  StateWorld world;
  const auto window = windowOf(world, state.range(0));
  world.run([&] {
    for (auto _ : state) {
      benchmark::DoNotOptimize(
          UIElementTree::build(world.access, world.scheduler, pid, window.element(), 50, seconds(60)));
    }
  });
  state.SetComplexityN(state.range(0));
}

void passesAndText(benchmark::State& state) {
  StateWorld world;
  const auto window = windowOf(world, state.range(0));
  world.run([&] {
    const auto raw = UIElementTree::build(world.access, world.scheduler, pid, window.element(), 50, seconds(60));
    for (auto _ : state) {
      state.PauseTiming();
      UIElementTree tree(raw->rootItem->deepCopy(), pid);
      state.ResumeTiming();
      world.transformations.transform(tree);
      benchmark::DoNotOptimize(tree.serializeForAppState());
    }
  });
  state.SetComplexityN(state.range(0));
}

/// The fixed waits take no time here: the clock of the simulated desktop jumps.
void wholeState(benchmark::State& state) {
  StateWorld world;
  windowOf(world, state.range(0));
  // Pictures are measured by themselves.
  world.desktop.windowServer().setScreens({});
  LogEnvironment quiet = TavikComputerUseLogger::environment();
  quiet.variable = [](const std::string&) { return std::optional<std::string>("fault"); };
  const auto previous = TavikComputerUseLogger::install(quiet);
  AppSearchEngine search(world.desktop.platform().applicationIndex, world.desktop.platform().workspace,
                         world.scheduler, std::nullopt);
  ComputerUseToolService service(world.desktop.platform(), world.access, search, world.mainQueue, world.scheduler);
  world.run([&] {
    for (auto _ : state) benchmark::DoNotOptimize(service.getAppState("Notes", {.allowAppLaunch = true}));
  });
  TavikComputerUseLogger::install(previous);
  state.SetComplexityN(state.range(0));
}

#define SIZES ->Arg(100)->Arg(1500)->Arg(5000)->Arg(20000)->Unit(benchmark::kMillisecond)->UseRealTime()->Complexity()
BENCHMARK(build) SIZES;
BENCHMARK(passesAndText) SIZES;
BENCHMARK(wholeState) SIZES;

}  // namespace
}  // namespace tavik

BENCHMARK_MAIN();
