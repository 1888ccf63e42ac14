#include "ComputerUseToolRuntime/Safety/AppApprovalStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <random>
#include <thread>

#include "ComputerUseToolRuntime/Safety/AppApprovalError.h"
#include "Tests/Support/LogCapture.h"

namespace tavik {
namespace {

using testing::ElementsAre;

class AppApprovalStoreTest : public testing::Test {
 protected:
  ~AppApprovalStoreTest() override { std::filesystem::remove_all(folder); }

  std::string contents() const {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  /// As another process writes it, some time later.
  void write(const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
    const auto later = std::filesystem::last_write_time(path) + std::chrono::seconds(++writes);
    std::filesystem::last_write_time(path, later);
  }

  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("approvals-" + std::to_string(std::random_device()()));
  const std::filesystem::path path = folder / "Software" / "ComputerUseAppApprovals.json";
  int writes = 0;
  LogCapture log;
};

TEST_F(AppApprovalStoreTest, forgetsSessionApprovalsWithTheSession) {
  {
    AppApprovalStore store(folder);
    EXPECT_FALSE(store.isApproved("com.example.notes"));
    store.approve("com.example.notes", false);
    EXPECT_TRUE(store.isApproved("com.example.notes"));
    EXPECT_FALSE(std::filesystem::exists(path));
  }
  EXPECT_FALSE(AppApprovalStore(folder).isApproved("com.example.notes"));
}

TEST_F(AppApprovalStoreTest, keepsPersistentApprovalsSortedInTheFile) {
  AppApprovalStore store(folder);
  EXPECT_EQ(store.storagePath(), path);
  store.approve("com.example.b", true);
  store.approvePersistently("com.example.a");
  EXPECT_EQ(contents(), R"({"approvedBundleIdentifiers":["com.example.a","com.example.b"]})");
  EXPECT_TRUE(AppApprovalStore(folder).isApproved("com.example.a"));
}

TEST_F(AppApprovalStoreTest, losesPersistentApprovalsWithTheFileAndKeepsThoseOfTheSession) {
  write(R"({"approvedBundleIdentifiers":["com.example.old"]})");
  AppApprovalStore store(folder);
  store.approve("com.example.session", false);
  store.approvePersistently("com.example.both");
  EXPECT_TRUE(store.isApproved("com.example.old"));
  std::filesystem::remove(path);
  EXPECT_FALSE(store.isApproved("com.example.old"));
  EXPECT_TRUE(store.isApproved("com.example.session"));
  EXPECT_TRUE(store.isApproved("com.example.both"));
}

TEST_F(AppApprovalStoreTest, seesWhatAnotherProcessWrote) {
  AppApprovalStore store(folder);
  write(R"({"approvedBundleIdentifiers":["com.example.theirs"]})");
  EXPECT_TRUE(store.isApproved("com.example.theirs"));
  store.approvePersistently("com.example.ours");
  EXPECT_THAT(store.allApprovedBundleIdentifiers(), ElementsAre("com.example.ours", "com.example.theirs"));
  EXPECT_THAT(contents(), testing::HasSubstr("com.example.theirs"));
}

TEST_F(AppApprovalStoreTest, readsTheFileOnlyWhenItsDateChanged) {
  write(R"({"approvedBundleIdentifiers":["com.example.a"]})");
  AppApprovalStore store(folder);
  const auto date = std::filesystem::last_write_time(path);
  std::ofstream(path) << R"({"approvedBundleIdentifiers":["com.example.b"]})";
  std::filesystem::last_write_time(path, date);
  EXPECT_FALSE(store.isApproved("com.example.b"));
  std::filesystem::last_write_time(path, date + std::chrono::seconds(5));
  EXPECT_TRUE(store.isApproved("com.example.b"));
}

TEST_F(AppApprovalStoreTest, keepsWhatItHoldsWhenTheFileIsBroken) {
  write(R"({"approvedBundleIdentifiers":["com.example.a"]})");
  AppApprovalStore store(folder);
  write("no JSON");
  EXPECT_TRUE(store.isApproved("com.example.a"));
  EXPECT_EQ(log.only("approval_load_failed").level, LogLevel::error);
  EXPECT_TRUE(log.only("approval_load_failed").fields.contains("error"));
}

TEST_F(AppApprovalStoreTest, approvesForTheSessionWhenTheFileCannotBeWritten) {
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "Software") << "a file where the folder should be";
  AppApprovalStore store(folder);
  store.approvePersistently("com.example.a");
  EXPECT_TRUE(store.isApproved("com.example.a"));
  EXPECT_EQ(log.only("approval_save_failed").level, LogLevel::error);
}

TEST_F(AppApprovalStoreTest, losesNoApprovalOfManyAtOnce) {
  AppApprovalStore store(folder);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&store, i] { store.approvePersistently("com.example." + std::to_string(i)); });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(AppApprovalStore(folder).allApprovedBundleIdentifiers().size(), 8u);
}

TEST_F(AppApprovalStoreTest, neverOpensASecurityProcess) {
  EXPECT_NO_THROW(AppApprovalStore::checkSystemProcessDenylist("com.example.notes"));
  try {
    AppApprovalStore::checkSystemProcessDenylist("com.apple.SecurityAgent");
    FAIL() << "it passed";
  } catch (const AppApprovalError& error) {
    EXPECT_STREQ(error.what(), "Cannot interact with system security process: com.apple.SecurityAgent");
  }
  EXPECT_STREQ(AppApprovalError::approvalRequired("com.example.notes").what(),
               "User approval required for app: com.example.notes");
}

}  // namespace
}  // namespace tavik
