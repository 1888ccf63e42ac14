#include "HostCoordination/Wire/HostCoordinationEndpoint.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

std::string pathWith(std::optional<std::string> home, const std::string& bundleIdentifier = "com.tavik.computeruse") {
  return HostCoordinationEndpoint::defaultSocketPath(
      [&](const std::string& name) { return name == "TAVIK_HOME" ? home : std::nullopt; }, "/home/me", bundleIdentifier);
}

TEST(HostCoordinationEndpoint, theEnvironmentNamesTheDirectory) {
  EXPECT_EQ(pathWith("/opt/host"), "/opt/host/ipc/ipc.sock");
  EXPECT_EQ(pathWith(" /opt/host \n"), "/opt/host/ipc/ipc.sock");
  EXPECT_EQ(pathWith("/opt/host", "com.tavik.cn.computeruse"), "/opt/host/ipc/ipc.sock");
}

TEST(HostCoordinationEndpoint, aBlankEnvironmentFallsThroughToTheHomeDirectory) {
  EXPECT_EQ(pathWith(std::nullopt), "/home/me/.tavik/ipc/ipc.sock");
  EXPECT_EQ(pathWith(" \t\n"), "/home/me/.tavik/ipc/ipc.sock");
}

TEST(HostCoordinationEndpoint, theChineseEditionHasADirectoryOfItsOwn) {
  EXPECT_EQ(pathWith(std::nullopt, "com.tavik.cn.computeruse"), "/home/me/.tavik-cn/ipc/ipc.sock");
  EXPECT_EQ(pathWith(std::nullopt, "com.tavik.cn"), "/home/me/.tavik/ipc/ipc.sock");
}

}  // namespace
}  // namespace tavik
