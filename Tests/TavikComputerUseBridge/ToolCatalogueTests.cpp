#include "TavikComputerUseBridge/Tools/ToolCatalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class ToolCatalogueTest : public ::testing::Test {
 protected:
  const ToolCatalogue catalogue{"ctrl"};

  const ToolDescription& tool(const std::string& name) const {
    for (const ToolDescription& tool : catalogue.tools()) {
      if (tool.name == name) return tool;
    }
    throw std::out_of_range(name);
  }
  /// The arguments of a tool, those that are required marked with "!".
  std::vector<std::string> argumentsOf(const std::string& name) const {
    const JSON& schema = tool(name).inputSchema;
    std::set<std::string> required = schema["required"];
    std::vector<std::string> all;
    for (const auto& [argument, _] : schema["properties"].items()) {
      all.push_back(argument + (required.contains(argument) ? "!" : ""));
    }
    return all;
  }
};

TEST_F(ToolCatalogueTest, holdsEachToolWithItsArguments) {
  const std::map<std::string, std::vector<std::string>> expected = {
      {"list_apps", {}},
      {"get_app_state", {"app!"}},
      {"click", {"app!", "element_index", "x", "y", "click_count", "mouse_button"}},
      {"scroll", {"app!", "element_index!", "direction!", "pages"}},
      {"drag", {"app!", "from_x!", "from_y!", "to_x!", "to_y!"}},
      {"type_text", {"app!", "text!"}},
      {"press_key", {"app!", "key!"}},
      {"set_value", {"app!", "element_index!", "value!"}},
      {"select_text", {"app!", "element_index!", "text!", "prefix", "suffix", "selection"}},
      {"perform_secondary_action", {"app!", "element_index!", "action!"}},
      {"event_stream_start", {"max_duration_seconds", "screenshot_mode", "session_id"}},
      {"event_stream_status", {}},
      {"event_stream_stop", {"reason"}},
  };
  EXPECT_EQ(catalogue.tools().size(), expected.size());
  for (const auto& [name, arguments] : expected) EXPECT_EQ(argumentsOf(name), arguments) << name;
}

TEST_F(ToolCatalogueTest, namesTheDefaultsThatHoldWhenAnArgumentIsLeftOut) {
  const JSON& click = tool("click").inputSchema["properties"];
  EXPECT_EQ(click["click_count"]["default"], 1);
  EXPECT_EQ(click["mouse_button"]["default"], "left");
  EXPECT_EQ(tool("scroll").inputSchema["properties"]["pages"]["default"], 1);
  EXPECT_EQ(tool("select_text").inputSchema["properties"]["selection"]["default"], "text");
}

TEST_F(ToolCatalogueTest, listsTheWordsOfEachVocabulary) {
  const auto words = [this](const std::string& name, const std::string& argument) {
    return tool(name).inputSchema["properties"][argument]["enum"].get<std::vector<std::string>>();
  };
  EXPECT_THAT(words("click", "mouse_button"), ElementsAre("left", "right", "middle"));
  EXPECT_THAT(words("scroll", "direction"), ElementsAre("up", "down", "left", "right"));
  EXPECT_THAT(words("select_text", "selection"), ElementsAre("text", "cursor_before", "cursor_after"));
  EXPECT_THAT(words("event_stream_start", "screenshot_mode"),
              ElementsAre("off", "window_changes", "interaction_settled"));
}

TEST_F(ToolCatalogueTest, everySchemaIsAClosedObjectWhosePropertiesAreDescribed) {
  for (const ToolDescription& tool : catalogue.tools()) {
    EXPECT_EQ(tool.inputSchema["type"], "object") << tool.name;
    EXPECT_EQ(tool.inputSchema["additionalProperties"], false) << tool.name;
    for (const auto& [argument, schema] : tool.inputSchema["properties"].items()) {
      EXPECT_FALSE(schema["description"].get<std::string>().empty()) << tool.name << "." << argument;
    }
  }
}

TEST_F(ToolCatalogueTest, onlyReadingToolsAreMarkedSo) {
  std::vector<std::string> reading;
  for (const ToolDescription& tool : catalogue.tools()) {
    if (tool.toJSON()["annotations"]["readOnlyHint"] == true) reading.push_back(tool.name);
  }
  EXPECT_THAT(reading, ElementsAre("list_apps", "get_app_state", "event_stream_status"));
}

TEST_F(ToolCatalogueTest, teachesTheModifierOfTheDesktop) {
  EXPECT_THAT(catalogue.instructions(), HasSubstr("ctrl+c"));
  EXPECT_THAT(tool("press_key").description, HasSubstr("ctrl+a"));
  const ToolCatalogue onAMac("cmd");
  EXPECT_THAT(onAMac.instructions(), HasSubstr("cmd+c"));
  EXPECT_THAT(onAMac.instructions(), Not(HasSubstr("ctrl+c")));
}

TEST_F(ToolCatalogueTest, knowsItsToolsByName) {
  EXPECT_TRUE(catalogue.contains("press_key"));
  EXPECT_FALSE(catalogue.contains("press"));
}

}  // namespace
}  // namespace tavik
