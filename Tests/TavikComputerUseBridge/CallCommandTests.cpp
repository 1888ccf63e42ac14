#include "TavikComputerUseBridge/Shell/CallCommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Encoding/UUID.h"
#include "ScriptedSender.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* stateWithImage =
    R"({"content":[{"type":"text","text":"App=a"},{"type":"image","data":"AQID","mimeType":"image/png"}],)"
    R"("isError":false})";

class CallCommandTest : public ::testing::Test {
 protected:
  ~CallCommandTest() override { std::filesystem::remove_all(folder); }

  SimulatedScheduler scheduler;
  ScriptedSender sender;
  RuntimeClient runtime{sender};
  ToolCatalogue catalogue{"ctrl"};
  ToolCaller caller{catalogue, scheduler, runtime};
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("tavik-" + UUID::make().string());
  std::ostringstream output;
  std::vector<std::string> complaints;

  int call(const std::string& tool, const std::string& arguments) {
    int status = -1;
    scheduler.run([&] {
      const auto complain = [this](std::string line) { complaints.push_back(std::move(line)); };
      status = CallCommand(caller, folder / "images", output, complain).run(tool, arguments);
    });
    return status;
  }
};

TEST_F(CallCommandTest, printsTheTextOfTheResult) {
  EXPECT_EQ(call("list_apps", ""), 0);
  EXPECT_EQ(output.str(), "done\n");
  EXPECT_THAT(complaints, IsEmpty());
}

TEST_F(CallCommandTest, writesEachImageIntoAFileOfItsOwnAndSaysWhere) {
  sender.script = [](const auto&) { return ScriptedSender::answer(stateWithImage); };
  EXPECT_EQ(call("get_app_state", R"({"app":"a"})"), 0);
  EXPECT_EQ(call("get_app_state", R"({"app":"a"})"), 0);
  const auto images = folder / "images";
  EXPECT_EQ(output.str(), "App=a\nImage: " + (images / "get_app_state-1.png").string() +
                              "\nApp=a\nImage: " + (images / "get_app_state-2.png").string() + "\n");
  std::ifstream file(images / "get_app_state-2.png", std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "\x01\x02\x03");
}

TEST_F(CallCommandTest, endsWith1WhenTheToolAnswersWithAnError) {
  EXPECT_EQ(call("get_app_state", "{}"), 1);
  EXPECT_EQ(output.str(), "Missing required argument: app\n");
}

TEST_F(CallCommandTest, endsWith1WhenAnImageCannotBeWritten) {
  sender.script = [](const auto&) { return ScriptedSender::answer(stateWithImage); };
  std::ofstream(folder) << "a file where the folder should be";
  EXPECT_EQ(call("get_app_state", R"({"app":"a"})"), 1);
  EXPECT_THAT(complaints, ElementsAre(HasSubstr("could not be written")));
}

TEST_F(CallCommandTest, endsWith2ForAToolThatIsNotThereOrArgumentsThatAreNoObject) {
  EXPECT_EQ(call("make_coffee", "{}"), 2);
  EXPECT_EQ(call("list_apps", "[1]"), 2);
  EXPECT_EQ(call("list_apps", "{app: kcalc}"), 2);
  EXPECT_THAT(output.str(), IsEmpty());
  EXPECT_THAT(sender.sent(), IsEmpty());
}

}  // namespace
}  // namespace tavik
