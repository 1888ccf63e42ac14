#include "ComputerUseToolRuntime/Service/ToolSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ToolSessionTest : public ::testing::Test {
 protected:
  ToolSessionTest() {
    session.setActiveSessionsDidChange([this](const auto& sessions) { announced.push_back(sessions); });
  }

  void install(const std::string& identifier, std::int32_t pid, const std::string& name) {
    AppStateSnapshotContext context;
    context.bundleIdentifier = identifier;
    context.pid = pid;
    context.appName = name;
    session.install(nullptr, std::make_shared<UIElementTree>(std::make_shared<UIElementTree::Item>(), pid), context);
  }

  ToolSession session;
  std::vector<ToolSession::ActiveSessions> announced;
};

const ComputerUseActiveSessionSummary notes{"com.example.notes", 10, "Notes"};
const ComputerUseActiveSessionSummary mail{"com.example.mail", 11, "Mail"};

TEST_F(ToolSessionTest, aSecondStateOfTheSameApplicationIsNotAnnounced) {
  install("com.example.notes", 10, "Notes");
  install("com.example.notes", 10, "Notes");
  EXPECT_THAT(announced, ElementsAre(ElementsAre(notes)));
}

TEST_F(ToolSessionTest, aRelaunchedApplicationReplacesItsSummaryInPlace) {
  install("com.example.notes", 10, "Notes");
  install("com.example.mail", 11, "Mail");
  install("com.example.notes", 99, "Notes");
  const ComputerUseActiveSessionSummary relaunched{"com.example.notes", 99, "Notes"};
  EXPECT_THAT(session.activeSessions(), ElementsAre(relaunched, mail));
  EXPECT_THAT(announced.back(), ElementsAre(relaunched, mail));
}

TEST_F(ToolSessionTest, whileSuspendedANewSessionIsRecordedAndAnnouncedOnResume) {
  session.suspendPresentation();
  announced.clear();
  install("com.example.notes", 10, "Notes");
  EXPECT_THAT(announced, IsEmpty());
  session.resumePresentation();
  EXPECT_THAT(announced, ElementsAre(ElementsAre(notes)));
}

TEST_F(ToolSessionTest, suspendingAnnouncesNothingShownAndKeepsTheList) {
  install("com.example.notes", 10, "Notes");
  session.suspendPresentation();
  session.suspendPresentation();
  EXPECT_THAT(announced, ElementsAre(ElementsAre(notes), IsEmpty()));
  EXPECT_THAT(session.activeSessions(), ElementsAre(notes));
}

TEST_F(ToolSessionTest, clearingAnnouncesTheEmptyListAlsoWhenItWasEmptyAndEndsSuspension) {
  session.suspendPresentation();
  announced.clear();
  session.clearActiveSessions();
  EXPECT_THAT(announced, ElementsAre(IsEmpty()));
  EXPECT_FALSE(session.presentationIsSuspended());
}

TEST_F(ToolSessionTest, clearingTheStateKeepsTheActiveSessions) {
  install("com.example.notes", 10, "Notes");
  session.clearState();
  EXPECT_EQ(session.currentTree(), nullptr);
  EXPECT_FALSE(session.currentSession().has_value());
  EXPECT_THAT(session.activeSessions(), ElementsAre(notes));
}

}  // namespace
}  // namespace tavik
