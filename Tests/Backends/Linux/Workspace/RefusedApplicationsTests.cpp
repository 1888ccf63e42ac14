#include "Backends/Linux/Workspace/RefusedApplications.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

using enum RefusedApplicationClass;

TEST(RefusedApplications, areKnownByTheIdOfTheirEntry) {
  EXPECT_EQ(refusedApplicationClass("org.keepassxc.KeePassXC", {}, "", ""), passwordManager);
  EXPECT_EQ(refusedApplicationClass("org.gnome.Terminal", {}, "", ""), terminal);
  EXPECT_EQ(refusedApplicationClass("polkit-gnome-authentication-agent-1", {}, "", ""), systemApp);
}

TEST(RefusedApplications, areKnownByTheirCategory) {
  EXPECT_EQ(refusedApplicationClass("brand-new", {"System", "TerminalEmulator"}, "brand-new", ""), terminal);
  EXPECT_EQ(refusedApplicationClass("notes", {"Utility"}, "notes", ""), std::nullopt);
}

TEST(RefusedApplications, areKnownByTheirProgramOrWindowWhenNoEntryIsInstalled) {
  EXPECT_EQ(refusedApplicationClass("", {}, "xterm", "XTerm"), terminal);
  EXPECT_EQ(refusedApplicationClass("", {}, "python3", "Terminator"), terminal);
  EXPECT_EQ(refusedApplicationClass("", {}, "gcr-prompter", ""), systemApp);
  EXPECT_EQ(refusedApplicationClass("", {}, "", ""), std::nullopt);
}

}  // namespace
}  // namespace tavik
