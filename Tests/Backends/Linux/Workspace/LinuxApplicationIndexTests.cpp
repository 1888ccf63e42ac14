#include "Backends/Linux/Workspace/LinuxApplicationIndex.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <fstream>

#include "Base/Concurrency/ThreadScheduler.h"
#include "Support/TemporaryFolder.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class LinuxApplicationIndexTest : public testing::Test {
 protected:
  ~LinuxApplicationIndexTest() override { index.stop(); }

  void write(const fs::path& file, const std::string& more = "") {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << "[Desktop Entry]\nType=Application\nName=" << file.stem().string()
                        << "\nExec=" << file.stem().string() << "\n"
                        << more;
  }

  ApplicationIndexStart start() {
    return index.start(queue, [this](const std::vector<ApplicationIndexEntry>& results) {
      std::lock_guard lock(mutex);
      latest = results;
      arrived.notify_all();
    });
  }

  /// Whether a list that fits arrives in good time.
  bool eventually(const std::function<bool(const std::vector<ApplicationIndexEntry>&)>& fits) {
    std::unique_lock lock(mutex);
    return arrived.wait_for(lock, std::chrono::seconds(10), [&] { return latest && fits(*latest); });
  }
  bool eventuallyHas(std::vector<std::string> names) {
    return eventually([&](const auto& results) {
      std::vector<std::string> found;
      for (const auto& result : results) found.push_back(result.displayName.value_or(""));
      std::sort(found.begin(), found.end());
      return found == names;
    });
  }

  test::TemporaryFolder temporary;
  const fs::path folder = temporary.path() / "applications";
  const fs::path later = temporary.path() / "data" / "applications";
  const fs::path documents = temporary.path() / "home" / "recently-used.xbel";
  DesktopEntryIndex entries{{folder, later}, {}};
  LinuxApplicationIndex index{entries, {documents, temporary.path() / "shell" / "application_state"}};
  std::mutex mutex;
  std::condition_variable arrived;
  std::optional<std::vector<ApplicationIndexEntry>> latest;
  ThreadScheduler scheduler;
  SerialQueue queue{scheduler, "index"};
};

TEST_F(LinuxApplicationIndexTest, GivesTheEntriesWithTheirRawAttributes) {
  write(folder / "editor.desktop");
  ASSERT_EQ(start(), ApplicationIndexStart::started);
  ASSERT_TRUE(eventuallyHas({"editor"}));
  EXPECT_THAT(*latest, ElementsAre(ApplicationIndexEntry{.bundleIdentifier = "editor",
                                                         .path = (folder / "editor.desktop").string(),
                                                         .displayName = "editor",
                                                         .fileName = "editor.desktop",
                                                         .lastUsedDate = std::nullopt,
                                                         .useCount = std::nullopt}));
}

TEST_F(LinuxApplicationIndexTest, FollowsEntriesThatComeChangeAndGo) {
  fs::create_directories(folder);
  ASSERT_EQ(start(), ApplicationIndexStart::started);
  ASSERT_TRUE(eventuallyHas({}));
  write(folder / "editor.desktop");
  EXPECT_TRUE(eventuallyHas({"editor"}));
  write(folder / "suite" / "writer.desktop");
  EXPECT_TRUE(eventuallyHas({"editor", "writer"}));
  write(folder / "suite" / "painter.desktop");
  EXPECT_TRUE(eventuallyHas({"editor", "painter", "writer"}));
  fs::remove(folder / "editor.desktop");
  EXPECT_TRUE(eventuallyHas({"painter", "writer"}));
  write(folder / "suite" / "painter.desktop", "Hidden=true\n");
  EXPECT_TRUE(eventuallyHas({"writer"}));
  EXPECT_TRUE(entries.entryOfID("suite-writer"));
}

TEST_F(LinuxApplicationIndexTest, FindsFoldersThatAppearLater) {
  fs::create_directories(folder);
  ASSERT_EQ(start(), ApplicationIndexStart::started);
  ASSERT_TRUE(eventuallyHas({}));
  write(later / "viewer.desktop");
  EXPECT_TRUE(eventuallyHas({"viewer"}));
}

TEST_F(LinuxApplicationIndexTest, FollowsTheUseOfApplications) {
  write(folder / "editor.desktop");
  ASSERT_EQ(start(), ApplicationIndexStart::started);
  ASSERT_TRUE(eventuallyHas({"editor"}));
  fs::create_directories(documents.parent_path());
  std::ofstream(documents) << R"(<bookmark:application exec="editor" timestamp="1577836800" count="2"/>)";
  EXPECT_TRUE(
      eventually([](const auto& results) { return results.size() == 1 && results[0].useCount == 2; }));
  // As applications write it: a new file in the place of the old one.
  const fs::path fresh = documents.parent_path() / "fresh";
  std::ofstream(fresh) << R"(<bookmark:application exec="editor" timestamp="1577836800" count="3"/>)";
  fs::rename(fresh, documents);
  EXPECT_TRUE(
      eventually([](const auto& results) { return results.size() == 1 && results[0].useCount == 3; }));
}

TEST_F(LinuxApplicationIndexTest, LeavesOutWhatIsNotInstalled) {
  write(folder / "gone.desktop", "TryExec=no-such-program-anywhere\n");
  write(folder / "there.desktop", "TryExec=sh\n");
  ASSERT_EQ(start(), ApplicationIndexStart::started);
  EXPECT_TRUE(eventuallyHas({"there"}));
}

TEST_F(LinuxApplicationIndexTest, CannotBeMadeWithoutAnyFolderOfApplications) {
  EXPECT_EQ(start(), ApplicationIndexStart::creationFailed);
}

TEST_F(LinuxApplicationIndexTest, SaysNothingMoreAfterItsStopAndMayStartAgain) {
  fs::create_directories(folder);
  ASSERT_EQ(start(), ApplicationIndexStart::started);
  ASSERT_TRUE(eventuallyHas({}));
  index.stop();
  index.stop();
  write(folder / "editor.desktop");
  EXPECT_TRUE(entries.entryOfID("editor")) << "without a watch the folders are looked at";
  queue.sync([] {});
  EXPECT_THAT(*latest, IsEmpty());
  ASSERT_EQ(start(), ApplicationIndexStart::started);
  EXPECT_TRUE(eventuallyHas({"editor"}));
}

}  // namespace
}  // namespace tavik
