#include "Backends/Linux/Identity/LinuxCodeIdentity.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "Backends/Linux/Process/ProcessFiles.h"
#include "Support/TemporaryFolder.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;

/// A process that runs a copy of "sleep" under another name.
class Sleeper {
 public:
  explicit Sleeper(const fs::path& file) {
    fs::create_directories(file.parent_path());
    fs::copy_file("/bin/sleep", file, fs::copy_options::overwrite_existing);
    pid_ = fork();
    if (pid_ == 0) {
      execl(file.c_str(), file.c_str(), "60", nullptr);
      _exit(127);
    }
    while (executablePathOf(pid_) != file.string()) usleep(1000);
  }
  ~Sleeper() { end(); }
  Sleeper(const Sleeper&) = delete;
  Sleeper& operator=(const Sleeper&) = delete;

  void end() {
    if (pid_ == 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = 0;
};

class CodeIdentity : public testing::Test {
 protected:
  /// What the three questions give, one after another.
  StatusResult<SigningInformation> examine(pid_t pid) {
    auto guest = identity.copyGuest(pid);
    if (!guest.value) return {guest.status, std::nullopt};
    auto code = identity.copyStaticCode(*guest.value);
    if (!code.value) return {code.status, std::nullopt};
    return identity.copySigningInformation(*code.value);
  }

  test::TemporaryFolder temporary;
  const fs::path installed = fs::canonical(temporary.path()) / "bin";
  LinuxCodeIdentity identity{"TEAM000001", installed / "TavikComputerUseRuntime"};
};

TEST_F(CodeIdentity, BridgeBesideTheRuntimeIsOfTheTeam) {
  Sleeper bridge(installed / "TavikComputerUseBridge");
  auto found = examine(bridge.pid());
  EXPECT_EQ(found.status, 0);
  EXPECT_EQ(found.value->teamIdentifier, "TEAM000001");
  EXPECT_EQ(found.value->identifier, "com.tavik.computeruse.bridge");
}

TEST_F(CodeIdentity, OtherProgramBesideTheRuntimeIsKnownByItsFileName) {
  Sleeper tool(installed / "tool");
  auto found = examine(tool.pid());
  EXPECT_EQ(found.value->teamIdentifier, "TEAM000001");
  EXPECT_EQ(found.value->identifier, "tool");
}

TEST_F(CodeIdentity, ProgramElsewhereThatBearsTheBridgesNameHasNoTeam) {
  Sleeper impostor(fs::canonical(temporary.path()) / "downloads" / "TavikComputerUseBridge");
  auto found = examine(impostor.pid());
  EXPECT_EQ(found.status, 0);
  EXPECT_FALSE(found.value->teamIdentifier);
  EXPECT_EQ(found.value->identifier, "com.tavik.computeruse.bridge");
}

TEST_F(CodeIdentity, ProgramOfTheSystemHasNoTeamUnlessItBearsTheMakersName) {
  pid_t shell = fork();
  if (shell == 0) {
    execl("/bin/sleep", "sleep", "60", nullptr);
    _exit(127);
  }
  while (executablePathOf(shell) == ownExecutablePath()) usleep(1000);
  auto found = examine(shell);
  kill(shell, SIGKILL);
  waitpid(shell, nullptr, 0);
  EXPECT_EQ(found.status, 0);
  EXPECT_FALSE(found.value->teamIdentifier);
}

TEST_F(CodeIdentity, FolderThatAnybodyCanWriteToVouchesForNothing) {
  Sleeper bridge(installed / "TavikComputerUseBridge");
  fs::permissions(installed, fs::perms::others_write, fs::perm_options::add);
  EXPECT_FALSE(examine(bridge.pid()).value->teamIdentifier);
}

TEST_F(CodeIdentity, FileThatAnybodyCanWriteToIsNotVouchedFor) {
  Sleeper bridge(installed / "TavikComputerUseBridge");
  fs::permissions(installed / "TavikComputerUseBridge", fs::perms::others_write, fs::perm_options::add);
  EXPECT_FALSE(examine(bridge.pid()).value->teamIdentifier);
}

TEST_F(CodeIdentity, ReplacedFileIsNotTheCodeThatRuns) {
  Sleeper bridge(installed / "TavikComputerUseBridge");
  fs::remove(installed / "TavikComputerUseBridge");
  EXPECT_NE(examine(bridge.pid()).status, 0);
  std::ofstream(installed / "TavikComputerUseBridge") << "another";
  EXPECT_NE(examine(bridge.pid()).status, 0);
}

TEST_F(CodeIdentity, FileReplacedByAnotherBetweenTheQuestionsIsNoticed) {
  Sleeper bridge(installed / "TavikComputerUseBridge");
  auto guest = identity.copyGuest(bridge.pid());
  fs::rename(installed / "TavikComputerUseBridge", installed / "away");
  fs::copy_file("/bin/sleep", installed / "TavikComputerUseBridge");
  EXPECT_NE(identity.copyStaticCode(*guest.value).status, 0);
}

TEST_F(CodeIdentity, ProcessThatDoesNotExistHasNoCode) {
  Sleeper bridge(installed / "TavikComputerUseBridge");
  pid_t pid = bridge.pid();
  bridge.end();
  for (pid_t nobody : {pid, 0, -1}) {
    auto guest = identity.copyGuest(nobody);
    EXPECT_NE(guest.status, 0) << nobody;
    EXPECT_FALSE(guest.value);
  }
}

TEST_F(CodeIdentity, GarbageIsNoReference) {
  for (const char* reference : {"", "x", "1", "1:", "1:2", ":::", "/bin/sleep"}) {
    EXPECT_NE(identity.copyStaticCode(reference).status, 0) << reference;
    EXPECT_NE(identity.copySigningInformation(reference).status, 0) << reference;
  }
}

}  // namespace
}  // namespace tavik
