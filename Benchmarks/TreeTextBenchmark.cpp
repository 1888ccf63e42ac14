#include <benchmark/benchmark.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"
#include "Tests/Support/EmptyWorkspace.h"

// From a tree in memory to the text that the model reads: a mail window, half of it
// table rows of cells, half of it web content, with as many items as the argument says.

namespace tavik {
namespace {

using Item = UIElementTreeItem;

/// Adds items below others and counts them.
class Planter {
 public:
  std::shared_ptr<Item> add(const std::shared_ptr<Item>& parent, UIElementTreeItemValues values) {
    auto item = std::make_shared<Item>(std::move(values));
    item->frame = Rect{{10, 20}, {300, 40}};
    item->parent = parent;
    parent->childItems.push_back(item);
    ++count_;
    return item;
  }

  int count() const { return count_; }

 private:
  int count_ = 0;
};

/// A row of cells, some of which hold a button and keep the row from being folded.
void plantRow(Planter& planter, const std::shared_ptr<Item>& table, int number) {
  const auto row = planter.add(table, {.role = "AXRow",
                                       .roleDescription = "table row",
                                       .isSelectable = true,
                                       .isSelected = number % 50 == 0,
                                       .actions = {"AXShowMenu", "AXShowAlternateUI"}});
  for (const char* text : {"Ada Lovelace", "Notes on the engine", "Friday", "12 KB"}) {
    const auto cell = planter.add(row, {.role = "AXCell", .roleDescription = "cell", .isSelectable = true});
    planter.add(cell, {.role = "AXStaticText", .roleDescription = "text", .value = text});
  }
  if (number % 4 == 0) {
    planter.add(row,
                {.role = "AXButton", .roleDescription = "button", .title = "Open", .actions = {"AXPress"}});
  }
}

/// A paragraph as web engines give it: groups in groups around words and a link.
void plantParagraph(Planter& planter, const std::shared_ptr<Item>& page) {
  const auto outer =
      planter.add(page, {.role = "AXGroup", .roleDescription = "container", .isSelectable = true});
  const auto group =
      planter.add(outer, {.role = "AXGroup", .roleDescription = "group", .isSelectable = true});
  for (const char* word : {"The ", "engine ", "weaves ", "patterns."}) {
    planter.add(group,
                {.role = "AXStaticText", .roleDescription = "text", .value = word, .isSelectable = true});
  }
  const auto link = planter.add(group, {.role = "AXLink",
                                        .roleDescription = "link",
                                        .isSelectable = true,
                                        .url = AXURL{"https://example.org/engine"},
                                        .actions = {"AXPress", "AXShowMenu"}});
  planter.add(link, {.role = "AXStaticText", .roleDescription = "text", .value = "Läs mer"});
  planter.add(outer, {.role = "AXTextField",
                      .roleDescription = "text field",
                      .title = "",
                      .value = "answer",
                      .placeholderValue = "Write an answer",
                      .isValueSettable = true,
                      .valueType = "string",
                      .actions = {"AXConfirm", "AXShowMenu"}});
  planter.add(outer, {.role = "AXGroup", .roleDescription = "group"});
}

std::shared_ptr<Item> mailWindow(int count) {
  auto window = std::make_shared<Item>(
      UIElementTreeItemValues{.role = "AXWindow", .roleDescription = "standard window", .title = "Mail"});
  Planter planter;
  const auto table =
      planter.add(window, {.role = "AXTable", .roleDescription = "table", .elementDescription = "Messages"});
  for (int row = 0; planter.count() < count / 2; ++row) plantRow(planter, table, row);
  const auto page =
      planter.add(window, {.role = "AXWebArea", .roleDescription = "HTML content", .title = "Letter"});
  while (planter.count() < count) plantParagraph(planter, page);
  return window;
}

void passesAndText(benchmark::State& state) {
  const auto window = mailWindow(static_cast<int>(state.range(0)));
  EmptyWorkspace workspace;
  const UIElementTreeTransformationRunner runner(workspace);
  std::string text;
  for (auto _ : state) {
    state.PauseTiming();
    auto tree = std::make_unique<UIElementTree>(window->deepCopy(), 100);
    state.ResumeTiming();
    runner.transform(*tree);
    text = tree->serializeForAppState();
    benchmark::DoNotOptimize(text.data());
    state.PauseTiming();
    tree.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["bytes"] = static_cast<double>(text.size());
}

void rawText(benchmark::State& state) {
  UIElementTree tree(mailWindow(static_cast<int>(state.range(0))), 100);
  tree.assignIndices();
  for (auto _ : state) benchmark::DoNotOptimize(tree.serializeForAppState());
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void indices(benchmark::State& state) {
  UIElementTree tree(mailWindow(static_cast<int>(state.range(0))), 100);
  for (auto _ : state) tree.assignIndices();
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(passesAndText)->Arg(100)->Arg(1000)->Arg(5000)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(rawText)->Arg(100)->Arg(1000)->Arg(5000)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(indices)->Arg(100)->Arg(1000)->Arg(5000)->Arg(20000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavik

BENCHMARK_MAIN();
