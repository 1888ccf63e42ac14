#include "Backends/Linux/Process/DetachedProgram.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "Support/TemporaryFolder.h"

namespace tavik {
namespace {

class DetachedProgram : public testing::Test {
 protected:
  /// What a shell script writes into its standard output, once it is done.
  std::string outputOf(const std::string& script, std::vector<std::string> environment = {},
                       const std::string& folder = "") {
    environment.push_back("PATH=/usr/bin:/bin");
    const std::string lines =
        "{ " + script + "; } >" + output() + ".part 2>&1; mv " + output() + ".part " + output();
    EXPECT_EQ(startDetached({"/bin/sh", "-c", lines}, std::move(environment), folder), 0);
    for (int i = 0; i < 500 && !std::ifstream(output()); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::ifstream stream(output());
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  std::string output() const { return (temporary.path() / "output").string(); }

  test::TemporaryFolder temporary;
};

TEST_F(DetachedProgram, HasItsEnvironmentAndFolder) {
  EXPECT_EQ(outputOf("echo $GREETING $HOME; pwd", {"GREETING=hello"}, "/usr"), "hello\n/usr\n");
}

TEST_F(DetachedProgram, IsNotOurChildAndHasASessionOfItsOwn) {
  const std::string text = outputOf("echo $PPID; ps -o sid= -p $$");
  int parent = 0, session = 0;
  ASSERT_EQ(sscanf(text.c_str(), "%d %d", &parent, &session), 2) << text;
  EXPECT_NE(parent, getpid());
  EXPECT_NE(session, getsid(0));
}

TEST_F(DetachedProgram, InheritsNeitherOpenFilesNorIgnoredSignals) {
  const auto before = signal(SIGPIPE, SIG_IGN);
  const int inherited = dup(STDOUT_FILENO);
  const std::string text = outputOf("ls /proc/self/fd; grep SigIgn /proc/$$/status");
  close(inherited);
  signal(SIGPIPE, before);
  // The last is the folder that "ls" reads.
  EXPECT_EQ(text, "0\n1\n2\n3\nSigIgn:\t0000000000000000\n");
}

TEST_F(DetachedProgram, ThatCannotStartGivesTheReason) {
  EXPECT_EQ(startDetached({"/no/such/program"}, {}), ENOENT);
  EXPECT_EQ(startDetached({"/etc/passwd"}, {}), EACCES);
  EXPECT_EQ(startDetached({"/bin/true"}, {}, "/no/such/folder"), ENOENT);
}

TEST(FindProgram, LooksIntoTheFoldersOfThePathAndTakesPathsAsTheyAre) {
  EXPECT_EQ(findProgram("sh", "/no/such/folder:/bin:/usr/bin"), "/bin/sh");
  EXPECT_EQ(findProgram("/bin/sh", ""), "/bin/sh");
  EXPECT_EQ(findProgram("sh", ""), "");
  EXPECT_EQ(findProgram("", "/bin"), "");
  EXPECT_EQ(findProgram("/no/such", "/bin"), "");
}

}  // namespace
}  // namespace tavik
