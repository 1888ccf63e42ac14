#include "Backends/Linux/Transport/SessionEnvironment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>

#include "Support/PrivateBus.h"

namespace tavik {
namespace {

using ::testing::Contains;
using ::testing::Not;

class SessionEnvironmentTests : public testing::Test {
 protected:
  SessionEnvironmentTests() {
    setenv("TAVIK_TEST_OWN", "mine", 1);
    unsetenv("TAVIK_TEST_MISSING");
  }
  ~SessionEnvironmentTests() override { unsetenv("TAVIK_TEST_OWN"); }

  BusConnection::AddressProvider address() {
    return [this] { return bus.address(); };
  }
  /// A service manager that knows these variables.
  void startManager(std::vector<std::string> variables) {
    manager.exportObject("/org/freedesktop/systemd1", "", [this, variables](const BusMessage& call) {
      BusMessage reply = BusMessage::returnOf(call);
      BusWriter(reply).variant("as", [&](BusWriter& value) { value.strings(variables); });
      manager.send(reply);
    });
    ASSERT_TRUE(manager.requestName("org.freedesktop.systemd1"));
  }

  PrivateBus bus;
  BusConnection manager{address()};
  BusConnection client{address()};
};

TEST_F(SessionEnvironmentTests, AddsWhatThisProcessLacksAndKeepsWhatItHas) {
  startManager({"TAVIK_TEST_OWN=theirs", "TAVIK_TEST_MISSING=:7=x"});
  const auto variables = sessionEnvironment(client);
  EXPECT_THAT(variables, Contains("TAVIK_TEST_OWN=mine"));
  EXPECT_THAT(variables, Not(Contains("TAVIK_TEST_OWN=theirs")));
  EXPECT_THAT(variables, Contains("TAVIK_TEST_MISSING=:7=x"));
}

TEST_F(SessionEnvironmentTests, IsThatOfThisProcessWhereThereIsNoManager) {
  std::vector<std::string> own;
  for (char** variable = environ; *variable; ++variable) own.emplace_back(*variable);
  EXPECT_EQ(sessionEnvironment(client), own);
}

}  // namespace
}  // namespace tavik
