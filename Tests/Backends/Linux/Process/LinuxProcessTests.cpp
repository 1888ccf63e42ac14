#include "Backends/Linux/Process/LinuxProcess.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "Backends/Linux/Identity/ProgramIdentity.h"
#include "Backends/Linux/Process/ProcessFiles.h"
#include "Backends/Linux/Process/SyslogSystemLog.h"

namespace tavik {
namespace {

/// A number that belonged to a process which has ended.
pid_t endedProcess() {
  pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);
  return child;
}

TEST(LinuxProcess, KnowsItselfAndItsParent) {
  LinuxProcess process;
  EXPECT_EQ(process.currentPID(), getpid());
  EXPECT_EQ(process.parentPID(), getppid());
  EXPECT_THAT(process.executablePath(getpid()).value(), testing::EndsWith("/BackendLinuxTests"));
  EXPECT_FALSE(process.responsiblePID(getpid()));
  EXPECT_FALSE(process.bundleIdentifier());
  EXPECT_THAT(process.bundlePath(), testing::EndsWith("/bin"));
  EXPECT_THAT(process.operatingSystemVersion(), testing::HasSubstr("Linux"));
}

TEST(LinuxProcess, ProbesLikeSignalZero) {
  LinuxProcess process;
  EXPECT_EQ(process.probe(getpid()), 0);
  EXPECT_EQ(process.probe(endedProcess()), ESRCH);
}

TEST(LinuxProcess, HasNoExecutableWhereThereIsNoProcess) {
  LinuxProcess process;
  EXPECT_FALSE(process.executablePath(endedProcess()));
  EXPECT_FALSE(process.executablePath(0));
  EXPECT_FALSE(process.executablePath(-1));
}

TEST(LinuxProcess, MayAutomateEveryProcessThatExists) {
  LinuxProcess process;
  EXPECT_EQ(process.determinePermissionToAutomate(getpid(), false), 0);
  EXPECT_EQ(process.determinePermissionToAutomate(endedProcess(), true), -600);
  EXPECT_EQ(process.determinePermissionToAutomate(0, false), -600);
}

TEST(LinuxProcess, ReadsTheEnvironmentAnew) {
  LinuxProcess process;
  unsetenv("TAVIK_TEST_VARIABLE");
  EXPECT_FALSE(process.environment("TAVIK_TEST_VARIABLE"));
  setenv("TAVIK_TEST_VARIABLE", "", 1);
  EXPECT_EQ(process.environment("TAVIK_TEST_VARIABLE"), "");
  unsetenv("TAVIK_TEST_VARIABLE");
}

TEST(LinuxProcess, HomeDirectoryIsThatOfTheUserDatabaseWithoutTheVariable) {
  LinuxProcess process;
  std::string home = process.homeDirectory();
  setenv("HOME", "/somewhere", 1);
  EXPECT_EQ(process.homeDirectory(), "/somewhere");
  unsetenv("HOME");
  EXPECT_THAT(process.homeDirectory(), testing::StartsWith("/"));
  setenv("HOME", home.c_str(), 1);
}

TEST(ProgramIdentity, IsThatOfTheSystemsOwnPrograms) {
  EXPECT_EQ(ownProgramIdentifier("/usr/bin/TavikComputerUseRuntime"), "com.tavik.computeruse");
  EXPECT_EQ(ownProgramIdentifier("TavikComputerUseBridge"), "com.tavik.computeruse.bridge");
  EXPECT_FALSE(ownProgramIdentifier("/usr/bin/TavikComputerUseBridge2"));
  EXPECT_FALSE(ownProgramIdentifier(""));
}

TEST(ProcessFiles, GiveTheWordsOfTheCommand) {
  EXPECT_THAT(commandLineOf(getpid()), testing::Contains(testing::HasSubstr("BackendLinuxTests")));
  EXPECT_THAT(commandLineOf(endedProcess()), testing::IsEmpty());
}

TEST(SyslogSystemLog, TakesLinesWithOrWithoutALogService) {
  SyslogSystemLog log;
  bool isEnabled = log.isEnabled("tests", "category", SystemLogPort::Level::debug);
  EXPECT_EQ(isEnabled, access("/dev/log", W_OK) == 0);
  log.log("tests", "category", SystemLogPort::Level::debug, "100% of %s");
}

}  // namespace
}  // namespace tavik
