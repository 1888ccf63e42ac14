#include "SlimCore/AppSearch/AppSearchEngine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Fields = std::map<std::string, std::string>;
using InfoValue = ApplicationBundle::InfoValue;

constexpr auto day = std::chrono::hours(24);

/// A simulated desktop with the engine on it.
struct SearchDesk : SimulatedWorld {
  using SimulatedWorld::SimulatedWorld;

  AppSearchEngine makeEngine() {
    return AppSearchEngine(desktop.applicationIndex(), desktop.workspace(), scheduler, "com.tavik.test");
  }

  WallTime ago(Duration duration) { return scheduler.wallTime() - duration; }

  ApplicationIndexEntry entry(const std::string& name, std::optional<Duration> used,
                              std::optional<std::int64_t> count = std::nullopt) {
    return {.bundleIdentifier = "com.example." + name,
            .path = "/Applications/" + name + ".app",
            .displayName = name,
            .fileName = name + ".app",
            .lastUsedDate = used ? std::optional(ago(*used)) : std::nullopt,
            .useCount = count};
  }

  void installWithInfo(const std::string& name, const std::string& key, const InfoValue& value) {
    desktop.workspace().install(
        {.path = "/Applications/" + name + ".app",
         .bundle = {.bundleIdentifier = "com.example." + name, .infoDictionary = {{key, value}}}});
  }

  /// What a new engine knows once the index has answered.
  std::vector<AppSearchResult> appsOf(std::vector<ApplicationIndexEntry> entries) {
    desktop.applicationIndex().publish(std::move(entries));
    return makeEngine().discoverApps();
  }

  std::vector<std::string> namesOf(std::vector<ApplicationIndexEntry> entries) {
    std::vector<std::string> names;
    for (const auto& app : appsOf(std::move(entries))) names.push_back(app.displayName);
    return names;
  }

  LogCapture log;
};

void onDesk(const std::function<void(SearchDesk&)>& body) {
  SearchDesk desk;
  desk.run([&] { body(desk); });
}

void expectFallbackWarning(SearchDesk& desk, const std::string& event) {
  const auto record = desk.log.only(event);
  EXPECT_EQ(record.level, LogLevel::warning);
  EXPECT_EQ(record.category, LogCategory::appDiscovery);
  EXPECT_EQ(record.fields, (Fields{{"fallback", "running_apps"}}));
}

TEST(AppSearchEngine, theFirstSnapshotWaitsTwoSecondsForASilentIndexAndTheSecondNotAtAll) {
  onDesk([](SearchDesk& desk) {
    desk.desktop.applicationIndex().keepSilent();
    desk.desktop.application("Notes", "com.example.notes", 42);
    AppSearchEngine engine = desk.makeEngine();
    const MonotonicTime start = desk.scheduler.now();
    EXPECT_EQ(engine.discoverApps().size(), 1u);
    EXPECT_EQ(desk.scheduler.now() - start, seconds(2));
    expectFallbackWarning(desk, "spotlight_cold_start_timeout");
    EXPECT_EQ(engine.discoverApps().size(), 1u);
    EXPECT_EQ(desk.scheduler.now() - start, seconds(2));
    EXPECT_EQ(desk.log.count("spotlight_cold_start_timeout"), 1u);
  });
}

TEST(AppSearchEngine, callersThatWaitForTheSameFirstListGoOnTogetherWithOneWarning) {
  exploreSeeds(200, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      LogCapture log;
      MainQueue mainQueue(scheduler);
      SimulatedDesktop desktop(scheduler, mainQueue);
      desktop.applicationIndex().keepSilent();
      const MonotonicTime start = scheduler.now();
      {
        AppSearchEngine engine(desktop.applicationIndex(), desktop.workspace(), scheduler);
        std::vector<Task> callers;
        for (int i = 0; i < 4; ++i)
          callers.push_back(scheduler.start("caller", [&] { engine.buildSnapshot(); }));
        for (const Task& caller : callers) caller.join();
      }
      EXPECT_EQ(scheduler.now() - start, seconds(2));
      EXPECT_EQ(log.count("spotlight_cold_start_timeout"), 1u);
      EXPECT_FALSE(desktop.applicationIndex().isWatched());
    });
  });
}

TEST(AppSearchEngine, aListThatComesInTimeEndsTheWaitOfAll) {
  onDesk([](SearchDesk& desk) {
    desk.desktop.applicationIndex().keepSilent();
    AppSearchEngine engine = desk.makeEngine();
    const MonotonicTime start = desk.scheduler.now();
    desk.desktop.after(milliseconds(700),
                       [&] { desk.desktop.applicationIndex().publish({desk.entry("Mail", day)}); });
    Task other = desk.scheduler.start("other", [&] { EXPECT_EQ(engine.discoverApps().size(), 1u); });
    EXPECT_EQ(engine.discoverApps().size(), 1u);
    other.join();
    EXPECT_EQ(desk.scheduler.now() - start, milliseconds(700));
    EXPECT_THAT(desk.log.records(), IsEmpty());
  });
}

TEST(AppSearchEngine, aCancelledCallerStopsWaiting) {
  onDesk([](SearchDesk& desk) {
    desk.desktop.applicationIndex().keepSilent();
    AppSearchEngine engine = desk.makeEngine();
    const MonotonicTime start = desk.scheduler.now();
    Task caller = desk.scheduler.start("caller", [&] { engine.buildSnapshot(); });
    desk.scheduler.sleep(milliseconds(300));
    caller.cancel();
    caller.join();
    EXPECT_EQ(desk.scheduler.now() - start, milliseconds(300));
  });
}

TEST(AppSearchEngine, laterListsReplaceEarlierOnesAlsoAfterATimeOut) {
  onDesk([](SearchDesk& desk) {
    desk.desktop.applicationIndex().keepSilent();
    AppSearchEngine engine = desk.makeEngine();
    EXPECT_THAT(engine.discoverApps(), IsEmpty());
    desk.desktop.applicationIndex().publish({desk.entry("Mail", day), desk.entry("Maps", day)});
    desk.scheduler.settle();
    EXPECT_EQ(engine.discoverApps().size(), 2u);
    desk.desktop.applicationIndex().publish({desk.entry("Maps", day)});
    desk.scheduler.settle();
    EXPECT_EQ(engine.discoverApps().size(), 1u);
  });
}

TEST(AppSearchEngine, withoutAnIndexTheRunningApplicationsAreKnownAtOnce) {
  for (const auto& [outcome, event] :
       {std::pair{ApplicationIndexStart::creationFailed, "spotlight_query_creation_failed"},
        std::pair{ApplicationIndexStart::executionFailed, "spotlight_query_execution_failed"}}) {
    onDesk([&](SearchDesk& desk) {
      desk.desktop.applicationIndex().letStartEndWith(outcome);
      desk.desktop.application("Notes", "com.example.notes", 42);
      AppSearchEngine engine = desk.makeEngine();
      const MonotonicTime start = desk.scheduler.now();
      EXPECT_EQ(engine.discoverApps().size(), 1u);
      EXPECT_EQ(desk.scheduler.now(), start);
      expectFallbackWarning(desk, event);
    });
  }
}

TEST(AppSearchEngine, stopsTheQueryAtItsEnd) {
  onDesk([](SearchDesk& desk) {
    {
      AppSearchEngine engine = desk.makeEngine();
      engine.buildSnapshot();
      EXPECT_TRUE(desk.desktop.applicationIndex().isWatched());
    }
    EXPECT_FALSE(desk.desktop.applicationIndex().isWatched());
    AppSearchEngine again = desk.makeEngine();
    EXPECT_THAT(again.discoverApps(), IsEmpty());
  });
}

TEST(AppSearchEngine, anApplicationThatDoesNotRunIsKnownForFourteenDays) {
  onDesk([](SearchDesk& desk) {
    const std::vector<ApplicationIndexEntry> installed = {
        desk.entry("Recent", 13 * day), desk.entry("Limit", 14 * day), desk.entry("Old", 15 * day, 900),
        desk.entry("Never", std::nullopt, 900)};
    EXPECT_THAT(desk.namesOf(installed), ElementsAre("Recent", "Limit"));
    desk.desktop.application("Old", "com.example.Old", 1);
    desk.desktop.application("Never", "com.example.Never", 2);
    EXPECT_THAT(desk.namesOf(installed), ElementsAre("Never", "Old", "Recent", "Limit"));
  });
}

TEST(AppSearchEngine, ofTwoBundlesWithOneIdentifierTheOneUsedLastCountsThenTheOneUsedMore) {
  onDesk([](SearchDesk& desk) {
    auto copies = [&](ApplicationIndexEntry first, ApplicationIndexEntry second) {
      first.bundleIdentifier = second.bundleIdentifier = "com.example.one";
      return desk.namesOf({first, second});
    };
    EXPECT_THAT(copies(desk.entry("A", 2 * day, 9), desk.entry("B", day, 1)), ElementsAre("B"));
    EXPECT_THAT(copies(desk.entry("A", day, 1), desk.entry("B", 2 * day, 9)), ElementsAre("A"));
    EXPECT_THAT(copies(desk.entry("A", day, 1), desk.entry("B", day, 2)), ElementsAre("B"));
    EXPECT_THAT(copies(desk.entry("A", day, 2), desk.entry("B", day, 2)), ElementsAre("A"));
    EXPECT_THAT(copies(desk.entry("A", day), desk.entry("B", day, 0)), ElementsAre("B"));
    EXPECT_THAT(copies(desk.entry("A", day, 0), desk.entry("B", day)), ElementsAre("A"));
    EXPECT_THAT(copies(desk.entry("A", std::nullopt, 9), desk.entry("B", day)), ElementsAre("B"));
  });
}

TEST(AppSearchEngine, agentsAndBackgroundApplicationsAreHiddenHoweverTheirInfoSaysIt) {
  const std::pair<InfoValue, bool> values[] = {{std::string(" YES "), true},
                                               {std::string("true"), true},
                                               {std::string("1"), true},
                                               {true, true},
                                               {1.0, true},
                                               {std::string("no"), false},
                                               {std::string("2"), false},
                                               {false, false},
                                               {0.0, false},
                                               {std::monostate(), false}};
  for (const char* key : {"LSUIElement", "LSBackgroundOnly", "CFBundleName"}) {
    for (const auto& [value, means] : values) {
      onDesk([&, &value = value, &means = means](SearchDesk& desk) {
        desk.installWithInfo("Agent", key, value);
        const bool isHidden = means && std::string(key) != "CFBundleName";
        EXPECT_EQ(desk.appsOf({desk.entry("Agent", day)}).empty(), isHidden) << key << " " << value.index();
      });
    }
  }
}

TEST(AppSearchEngine, itemsWithoutAnIdentifierAreSkipped) {
  onDesk([](SearchDesk& desk) {
    ApplicationIndexEntry missing = desk.entry("Missing", day), empty = desk.entry("Empty", day);
    missing.bundleIdentifier = std::nullopt;
    empty.bundleIdentifier = "";
    EXPECT_THAT(desk.namesOf({missing, empty, desk.entry("Kept", day)}), ElementsAre("Kept"));
  });
}

TEST(AppSearchEngine, aNameIsTheDisplayNameElseTheFileNameElseTheIdentifierWithoutTheSuffix) {
  onDesk([](SearchDesk& desk) {
    ApplicationIndexEntry shown = desk.entry("a", day), file = desk.entry("b", 2 * day),
                          bare = desk.entry("c", 3 * day);
    shown.displayName = "Shown.app";
    file.displayName = std::nullopt;
    bare.displayName = bare.fileName = std::nullopt;
    EXPECT_THAT(desk.namesOf({shown, file, bare}), ElementsAre("Shown", "b", "com.example.c"));
  });
}

TEST(AppSearchEngine, aRunningApplicationKeepsItsNameAndTakesPathAndUseFromTheIndex) {
  onDesk([](SearchDesk& desk) {
    auto notes = desk.desktop.application("Notizen", "com.example.Notes", 42);
    notes.window("Untitled", Rect{{0, 0}, {300, 200}});
    notes.activate();
    const auto indexed = desk.entry("Notes", 20 * day, 7);
    ApplicationIndexEntry recent = indexed;
    recent.lastUsedDate = desk.ago(day);
    EXPECT_THAT(desk.appsOf({recent}),
                ElementsAre(AppSearchResult{"Notizen", "com.example.Notes", "/Applications/Notes.app",
                                            recent.lastUsedDate, 7, true, true}));
    notes.describe([](RunningApplication& app) { app.localizedName = std::nullopt; });
    EXPECT_EQ(desk.appsOf({recent})[0].displayName, "Notes");
    // Of an entry outside of the days that count nothing is taken.
    EXPECT_EQ(desk.appsOf({indexed})[0].useCount, std::nullopt);
  });
}

TEST(AppSearchEngine, anApplicationOfWhichTheIndexKnowsNoPathKeepsTheRunningOnes) {
  onDesk([](SearchDesk& desk) {
    desk.desktop.application("Notes", "com.example.Notes", 42);
    ApplicationIndexEntry indexed = desk.entry("Notes", day);
    indexed.path = std::nullopt;
    EXPECT_EQ(desk.appsOf({indexed})[0].path, "/Applications/Notes.app");
  });
}

TEST(AppSearchEngine, onlyRegularApplicationsWithAnIdentifierCountAsRunning) {
  onDesk([](SearchDesk& desk) {
    desk.desktop.application("Agent", "com.example.agent", 1).describe([](RunningApplication& app) {
      app.activationPolicy = ActivationPolicy::accessory;
    });
    desk.desktop.application("Nameless", "", 2).describe([](RunningApplication& app) {
      app.bundleIdentifier = std::nullopt;
    });
    EXPECT_THAT(desk.appsOf({}), IsEmpty());
  });
}

TEST(AppSearchEngine, whatRunsAndWasUsedLastStandsFirst) {
  const WallTime now{std::chrono::hours(24 * 365 * 50)};
  const AppSearchResult plain{"Beta", "com.b", "/b", std::nullopt, std::nullopt, false, false};
  auto with = [&](auto change) {
    AppSearchResult app = plain;
    change(app);
    return app;
  };
  const std::vector<std::pair<AppSearchResult, AppSearchResult>> ordered = {
      {with([](auto& app) { app.isFrontmost = true; }), with([](auto& app) { app.isRunning = true; })},
      {with([](auto& app) { app.isRunning = true; }), with([&](auto& app) { app.lastUsedDate = now; })},
      {with([&](auto& app) { app.lastUsedDate = now; }), with([](auto& app) { app.useCount = 100; })},
      {with([&](auto& app) { app.lastUsedDate = now; }),
       with([&](auto& app) { app.lastUsedDate = now - day; })},
      {with([](auto& app) { app.useCount = 1; }), with([](auto& app) { app.displayName = "Alpha"; })},
      {with([](auto& app) { app.displayName = "alpha"; }), plain},
      {with([](auto& app) { app.displayName = "Äther"; }), plain},
      {with([](auto& app) {
         app.displayName = "beta";
         app.bundleIdentifier = "com.a";
       }),
       plain},
      {plain, with([](auto& app) { app.path = std::nullopt; })},
      {with([](auto& app) { app.path = "/a"; }), plain},
  };
  for (const auto& [first, second] : ordered) {
    EXPECT_TRUE(compareAppSearchResults(first, second)) << &first - &ordered[0].first;
    EXPECT_FALSE(compareAppSearchResults(second, first));
  }
  EXPECT_FALSE(compareAppSearchResults(plain, with([](auto& app) { app.useCount = 0; })));
  EXPECT_FALSE(compareAppSearchResults(plain, plain));
}

TEST(AppSearchEngine, aSnapshotSaysWhenItWasMade) {
  onDesk([](SearchDesk& desk) {
    AppSearchEngine engine = desk.makeEngine();
    desk.scheduler.sleep(seconds(5));
    EXPECT_EQ(engine.buildSnapshot().timestamp, desk.scheduler.wallTime());
  });
}

TEST(AppSearchEngine, eachTestOfAQueryGoesThroughTheWholeListBeforeTheNext) {
  onDesk([](SearchDesk& desk) {
    desk.desktop.applicationIndex().publish({desk.entry("Notes Plus", day), desk.entry("Notes", 2 * day),
                                             desk.entry("Big Notes", std::chrono::hours(1)),
                                             desk.entry("Old Notes", 20 * day)});
    AppSearchEngine engine = desk.makeEngine();
    auto found = [&](const std::string& query) {
      const auto app = engine.resolveApp(query);
      return app ? app->displayName : "none";
    };
    EXPECT_EQ(found("nOTES"), "Notes");
    EXPECT_EQ(found("COM.example.Notes"), "Notes");
    EXPECT_EQ(found("note"), "Notes Plus");
    EXPECT_EQ(found("otes"), "Big Notes");
    EXPECT_EQ(found("old notes"), "none");
  });
}

TEST(AppSearchEngine, providersStandInForTheIndexAndTheRunningApplications) {
  onDesk([](SearchDesk& desk) {
    desk.desktop.applicationIndex().keepSilent();
    desk.desktop.application("Notes", "com.example.notes", 42);
    const WallTime used = desk.ago(day);
    AppSearchEngine engine(
        desk.desktop.applicationIndex(), desk.desktop.workspace(), desk.scheduler, std::nullopt,
        [&] {
          return std::vector<SpotlightAppEntry>{{"Mail", "com.example.mail", "", used, 3}};
        },
        [] {
          return std::vector<AppSearchResult>{{.displayName = "Maps",
                                               .bundleIdentifier = "com.example.maps",
                                               .path = {},
                                               .lastUsedDate = {},
                                               .useCount = {},
                                               .isRunning = true}};
        });
    const MonotonicTime start = desk.scheduler.now();
    const auto apps = engine.discoverApps();
    EXPECT_EQ(desk.scheduler.now(), start);
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_EQ(apps[0].displayName, "Maps");
    EXPECT_EQ(apps[1], (AppSearchResult{"Mail", "com.example.mail", std::nullopt, used, 3, false, false}));
  });
}

}  // namespace
}  // namespace tavik
