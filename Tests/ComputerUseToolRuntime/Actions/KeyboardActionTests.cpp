#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Actions/ActionWorld.h"
#include "Base/Text/Text.h"
#include "ComputerUseToolRuntime/Actions/SaveVerification.h"
#include "ComputerUseToolRuntime/Actions/TypedTextRepair.h"

namespace tavik {
namespace {

using namespace simulated;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class KeyboardActionTest : public ActionTest {
 protected:
  ~KeyboardActionTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  /// The focused element, as an application would have it.
  SimulatedElement focused(const ElementBuilder& plan) {
    auto element = window.add(plan);
    element.focus();
    return element;
  }
  std::size_t keysDown() {
    const auto types = world.posted();
    return static_cast<std::size_t>(std::ranges::count(types, InputEventType::keyDown));
  }
  std::string pathOf(const std::string& name, const std::string& content) {
    std::filesystem::create_directories(folder);
    std::ofstream(folder + "/" + name, std::ios::binary) << content;
    return folder + "/" + name;
  }

  const std::string folder = testing::TempDir() + "tavik-save-" + std::to_string(getpid());
};

// Typing

TEST_F(KeyboardActionTest, typesIntoAnApplicationThatIsMadeBelieveThatItIsActive) {
  world.run([&] {
    focused(textField("Ada"));
    world.look();
    const auto before = world.desktop.eventPosting().posted().size();
    EXPECT_EQ(world.act(TypeTextParams{"ab"}), ActionWorld::success);
    const auto posted = world.desktop.eventPosting().posted();
    EXPECT_EQ(posted[before].event.type, InputEventType::applicationDefined);
    EXPECT_EQ(keysDown(), 2u);
  });
}

TEST_F(KeyboardActionTest, needsNoBeliefInFront) {
  world.run([&] {
    focused(textField("Ada"));
    world.notes.activate();
    world.look();
    const auto before = world.desktop.eventPosting().posted().size();
    world.act(TypeTextParams{"a"});
    EXPECT_EQ(world.desktop.eventPosting().posted()[before].event.type, InputEventType::processNotification);
  });
}

TEST_F(KeyboardActionTest, refusesAPreviewEditorBeforeAnyKey) {
  world.run([&] {
    focused(textArea("Draft").roleDescription("editor").description("notes.txt, Preview, Editor Group 1"));
    world.look();
    EXPECT_EQ(world.act(TypeTextParams{"a"}),
              "Typing into a preview editor is not durable. Double-click the file row or otherwise open the editor "
              "durably, then call get_app_state again before using type_text.\n");
    EXPECT_EQ(keysDown(), 0u);
    EXPECT_FALSE(world.desktop.eventPosting().posted().empty());
  });
}

TEST_F(KeyboardActionTest, typesAShortTextInOneBurstAndALongOneKeyByKey) {
  world.run([&] {
    focused(textArea(""));
    world.look();
    const auto takes = [&](const std::string& text) {
      const auto before = world.scheduler.now();
      EXPECT_EQ(world.act(TypeTextParams{text}), ActionWorld::success);
      return world.scheduler.now() - before;
    };
    EXPECT_LT(takes(std::string(64, 'a')), milliseconds(500));
    EXPECT_GE(takes(std::string(65, 'a')), milliseconds(65 * 40));
    EXPECT_GE(takes("a\nb"), milliseconds(3 * 40));
    EXPECT_GE(takes("a\rb"), milliseconds(3 * 40));
  });
}

TEST_F(KeyboardActionTest, typesASingleCharacterIntoASpreadsheetWithPatience) {
  world.run([&] {
    world.notes.describe([](RunningApplication& record) { record.bundleIdentifier = "COM.Microsoft.Excel"; });
    focused(textField(""));
    world.look();
    const auto before = world.scheduler.now();
    EXPECT_EQ(world.act(TypeTextParams{"7"}), ActionWorld::success);
    EXPECT_GE(world.scheduler.now() - before, milliseconds(50 + 40 + 50));
  });
}

TEST_F(KeyboardActionTest, saysThatThereIsNoLayout) {
  world.run([&] {
    focused(textField(""));
    world.look();
    world.desktop.keyboard().use(nullptr);
    EXPECT_EQ(world.act(TypeTextParams{"a"}), "Cannot type text: keyboard layout lookup failed for input\n");
    EXPECT_EQ(keysDown(), 0u);
  });
}

TEST_F(KeyboardActionTest, leavesOutACharacterThatNoKeyGivesAndDoesNotWriteItEither) {
  world.run([&] {
    auto field = focused(textField("Ada Lovelace"));
    field.set("AXSelectedTextRange", TextRange{0, 3});
    world.look();
    EXPECT_EQ(world.act(TypeTextParams{"Eve 🙂"}), ActionWorld::success);
    EXPECT_EQ(field.text(), "Eve  Lovelace") << "the keys were lost, and the value was put right without the emoji";
  });
}

TEST_F(KeyboardActionTest, leavesOutATextOfWhichNoKeyGivesAnything) {
  world.run([&] {
    auto field = focused(textField("Ada"));
    world.look();
    const auto before = world.desktop.eventPosting().posted().size();
    EXPECT_EQ(world.act(TypeTextParams{"🙂"}), ActionWorld::success);
    EXPECT_EQ(field.text(), "Ada");
    EXPECT_THAT(world.written(), IsEmpty());
    EXPECT_EQ(world.desktop.eventPosting().posted().size(), before + 3) << "activation and the two words of the focus";
  });
}

TEST_F(KeyboardActionTest, saysWhatItCouldNeitherTypeNorPutIn) {
  world.run([&] {
    auto area = focused(textArea(""));
    world.desktop.keyboard().acceptTextWithoutKeys();
    world.look();
    area.on(AXCall::set("AXSelectedText")).answers(AXError::attributeUnsupported);
    EXPECT_EQ(world.act(TypeTextParams{"a🙂b"}),
              "Cannot type '🙂': no key of the keyboard layout gives it and the focused element does not take it "
              "otherwise. The rest was typed. Re-query the latest state with `get_app_state` before sending more "
              "actions.\n");
    EXPECT_EQ(keysDown(), 2u);
  });
}

TEST_F(KeyboardActionTest, countsWhatTheRepairBroughtInAsTyped) {
  world.run([&] {
    auto field = focused(textField(""));
    world.desktop.keyboard().acceptTextWithoutKeys();
    world.look();
    field.on(AXCall::set("AXSelectedText")).answers(AXError::attributeUnsupported);
    EXPECT_EQ(world.act(TypeTextParams{"a🙂b"}), ActionWorld::success);
    EXPECT_EQ(field.text(), "a🙂b");
    EXPECT_EQ(field.selectedRange(), (TextRange{4, 0})) << "the caret stands behind it";
  });
}

TEST_F(KeyboardActionTest, takesTheTextBeforeFromTheLastStateWhenNothingHasTheFocus) {
  world.run([&] {
    auto field = focused(textField(""));
    world.look();
    Fault silence = world.notes.element().on(AXCall::read("AXFocusedUIElement")).answers(AXError::noValue);
    world.desktop.eventPosting().setOnPost([&](const auto&) { silence.remove(); });
    EXPECT_EQ(world.act(TypeTextParams{"Eve"}), ActionWorld::success);
    EXPECT_EQ(field.text(), "Eve") << "it was known what the field held before, so the lost keys were put right";
  });
}

TEST_F(KeyboardActionTest, makesTheApplicationBelieveInItsFocusOnlyWhileItTypes) {
  world.run([&] {
    focused(textArea(""));
    world.look();
    int postedInBelief = 0, postedWithout = 0;
    world.desktop.eventPosting().setOnPost([&](const SimulatedEventPosting::Posted& posted) {
      if (posted.event.type != InputEventType::keyDown) return;
      (world.service.focusStealPreventer().applicationBelievesItHasFocus() ? postedInBelief : postedWithout)++;
    });
    const auto isOver = [&] { return !world.service.focusStealPreventer().applicationBelievesItHasFocus(); };
    world.act(TypeTextParams{"ab"});
    EXPECT_TRUE(isOver()) << "after success";
    Task typing = world.scheduler.start("typing", [&] {
      EXPECT_THROW(world.act(TypeTextParams{std::string(100, 'a')}), CancellationError);
    });
    world.scheduler.sleep(seconds(1));
    EXPECT_FALSE(isOver());
    typing.cancel();
    typing.join();
    EXPECT_TRUE(isOver()) << "after cancellation";
    EXPECT_GT(postedInBelief, 2);
    EXPECT_EQ(postedWithout, 0);
    world.desktop.eventPosting().takeAway(SimulatedEventPosting::Missing::cgEvent);
    world.act(TypeTextParams{"x"});
    EXPECT_TRUE(isOver()) << "after an error";
  });
}

TEST_F(KeyboardActionTest, putsTextWithoutKeysInItsPlaceWhereThePlatformWantsIt) {
  world.run([&] {
    auto field = focused(textField(""));
    world.desktop.keyboard().acceptTextWithoutKeys();
    world.desktop.eventPosting().setOnPost([&](const SimulatedEventPosting::Posted& posted) {
      if (posted.event.type != InputEventType::keyDown) return;
      field.set("AXValue", field.text() + text::utf8(posted.event.unicodeString));
      field.set("AXSelectedTextRange", TextRange{text::utf16Length(field.text()), 0});
    });
    world.look();
    EXPECT_EQ(world.act(TypeTextParams{"a🙂b\x01" "c"}), ActionWorld::success);
    EXPECT_EQ(field.text(), "a🙂bc");
  });
}

TEST_F(KeyboardActionTest, repairsASelectionInAOneLineFieldOnly) {
  world.run([&] {
    auto field = focused(textField("Ada Lovelace"));
    field.set("AXSelectedTextRange", TextRange{4, 8});
    world.look();
    world.act(TypeTextParams{"King"});
    EXPECT_EQ(field.text(), "Ada King");
    EXPECT_EQ(field.selectedRange(), (TextRange{8, 0}));
  });
}

TEST_F(KeyboardActionTest, neverRepairsATextAreaOrWithSeveralLines) {
  world.run([&] {
    auto area = focused(textArea("Ada Lovelace"));
    area.set("AXSelectedTextRange", TextRange{4, 8});
    world.look();
    world.act(TypeTextParams{"King"});
    EXPECT_EQ(area.text(), "Ada Lovelace");
    auto field = focused(textField("Ada Lovelace"));
    field.set("AXSelectedTextRange", TextRange{4, 8});
    world.look();
    world.act(TypeTextParams{"a\nb"});
    EXPECT_EQ(field.text(), "Ada Lovelace");
    EXPECT_THAT(world.written(), IsEmpty());
  });
}

TEST_F(KeyboardActionTest, repairsNothingWhenTheTextIsGoneAfterwards) {
  world.run([&] {
    auto field = focused(textField("Ada"));
    world.look();
    world.desktop.eventPosting().setOnPost([&](const auto& posted) {
      if (posted.event.type == InputEventType::keyDown) field.drop("AXValue");
    });
    EXPECT_EQ(world.act(TypeTextParams{"x"}), ActionWorld::success);
    EXPECT_THAT(world.written(), IsEmpty());
  });
}

TEST_F(KeyboardActionTest, reportsThatAKeyCannotBeMade) {
  world.run([&] {
    focused(textField("Ada"));
    world.look();
    world.desktop.eventPosting().takeAway(SimulatedEventPosting::Missing::cgEvent);
    EXPECT_EQ(world.act(TypeTextParams{"x"}), "Cannot synthesize keyboard event\n");
    EXPECT_EQ(world.act(PressKeyParams{"x"}), "Cannot synthesize keyboard event\n");
  });
}

TEST_F(KeyboardActionTest, typesAHundredThousandCharactersWithoutHarm) {
  world.run([&] {
    focused(textArea(""));
    world.look();
    EXPECT_EQ(world.act(TypeTextParams{std::string(10, 'a') + std::string("\0b", 2)}), ActionWorld::success);
    EXPECT_EQ(world.act(TypeTextParams{std::string(100'000, 'a')}), ActionWorld::success);
    EXPECT_GE(keysDown(), 100'000u);
  });
}

TEST_F(KeyboardActionTest, stopsTypingWhenTheCallerHasGivenUp) {
  world.run([&] {
    focused(textArea(""));
    world.look();
    Task typing = world.scheduler.start("typing", [&] {
      EXPECT_THROW(world.act(TypeTextParams{std::string(100, 'a')}), CancellationError);
    });
    world.scheduler.sleep(seconds(1));
    typing.cancel();
    typing.join();
    const auto typed = keysDown();
    EXPECT_GT(typed, 0u);
    EXPECT_LT(typed, 100u);
    world.scheduler.sleep(seconds(5));
    EXPECT_EQ(keysDown(), typed);
    EXPECT_EQ(world.service.userInteractionMonitor().toolActionDepth(), 0);
  });
}

// The rules of the repair

TEST(TypedTextRepairRules, keepWhatKeysCanProduce) {
  EXPECT_EQ(axRepairText("a\tb\n~", ""), "a\tb\n~");
  EXPECT_EQ(axRepairText("über 🙂", "über "), "über ");
  EXPECT_EQ(axRepairText("🙂", ""), "");
}

TEST(TypedTextRepairRules, replaceOnlyASelectionInsideTheText) {
  FocusedTextState state{.element = {}, .value = "a🙂b", .selectedRange = {1, 2}};
  EXPECT_EQ(selectedTextReplacementValue("x", state), "axb");
  for (const TextRange range : {TextRange{-1, 2}, TextRange{1, 0}, TextRange{3, 2}, TextRange{9, 1}}) {
    state.selectedRange = range;
    EXPECT_EQ(selectedTextReplacementValue("x", state), std::nullopt);
  }
}

TEST(TypedTextRepairRules, leaveATextAloneThatMerelyGrew) {
  const std::string field = "AXTextField";
  EXPECT_TRUE(canRepairWholeTextReplacementMismatch("old", "other", "new", field));
  EXPECT_TRUE(canRepairWholeTextReplacementMismatch("", "other", "new", field));
  EXPECT_FALSE(canRepairWholeTextReplacementMismatch("old", "older", "new", field));
  EXPECT_FALSE(canRepairWholeTextReplacementMismatch("old", "a new one", "new", field));
  EXPECT_FALSE(canRepairWholeTextReplacementMismatch("old", "new", "new", field));
  EXPECT_FALSE(canRepairWholeTextReplacementMismatch("old", "other", "a\nb", field));
  EXPECT_FALSE(canRepairWholeTextReplacementMismatch("old", "other", "new", "AXTextArea"));
  EXPECT_FALSE(canRepairWholeTextReplacementMismatch("old", "other", "new", std::nullopt));
}

// Keys

TEST_F(KeyboardActionTest, pressesAChordWithItsModifiers) {
  world.run([&] {
    world.look();
    EXPECT_EQ(world.act(PressKeyParams{"cmd+shift+["}), ActionWorld::success);
    EXPECT_EQ(keysDown(), 1u);
    EXPECT_FALSE(world.desktop.eventPosting().posted().empty());
  });
}

TEST_F(KeyboardActionTest, namesTheKeyThatItDoesNotKnow) {
  world.run([&] {
    world.look();
    EXPECT_EQ(world.act(PressKeyParams{"hyper+a"}), "Unknown key name: 'hyper'\n");
    EXPECT_EQ(world.act(PressKeyParams{"F99"}), "Unknown key name: 'F99'\n");
    EXPECT_EQ(world.act(PressKeyParams{"+"}), "Unknown key name: '+'\n");
    EXPECT_EQ(world.act(PressKeyParams{" +a"}), "Unknown key name: ' +a'\n");
    EXPECT_EQ(keysDown(), 0u);
  });
}

TEST(SaveShortcut, isOneModifierAndS) {
  for (const char* key : {"cmd+s", "Command + S", "super+s", "meta+S", "cmd+command+s"}) {
    EXPECT_EQ(pressKeyIsSaveShortcut(key, false), std::string(key) != "cmd+command+s") << key;
  }
  for (const char* key : {"cmd+shift+s", "s", "cmd", "", "shift+s", "ctrl+s", "cmd+a"}) {
    EXPECT_FALSE(pressKeyIsSaveShortcut(key, false)) << key;
  }
  EXPECT_TRUE(pressKeyIsSaveShortcut("ctrl+s", true));
  EXPECT_TRUE(pressKeyIsSaveShortcut("Control+S", true));
}

// Saving

class SaveTest : public KeyboardActionTest {
 protected:
  /// An editor that shows a file.
  SimulatedElement editorOf(const std::string& path, const std::string& text) {
    const std::string name = std::filesystem::path(path).filename().string();
    window.add(staticText("File: \"" + path + "\""));
    return focused(textArea(text).title(name + ", Editor Group 1").roleDescription("editor"));
  }
  std::string saved(const std::string& key = "cmd+s") { return world.act(PressKeyParams{key}); }
};

TEST_F(SaveTest, isBelievedWhenTheFileHoldsTheText) {
  world.run([&] {
    editorOf(pathOf("a.txt", "one\r\ntwo\r\n"), "one\ntwo");
    world.look();
    EXPECT_EQ(saved(), ActionWorld::success);
  });
}

TEST_F(SaveTest, isReportedWithThePathWhenItDidNotReachTheFile) {
  world.run([&] {
    const std::string path = pathOf("a.txt", "old");
    editorOf(path, "new");
    world.look();
    const auto before = world.scheduler.now();
    EXPECT_EQ(saved(), "Save did not persist the focused editor contents to disk at " + path +
                           ". The visible editor value may belong to a non-durable editor surface. Reopen the file in a "
                           "durable file editor tab, retry the edit, and save again before treating the task as "
                           "complete.\n");
    EXPECT_GE(world.scheduler.now() - before, milliseconds(1500));
    EXPECT_EQ(saved("cmd+shift+s"), ActionWorld::success) << "no save shortcut";
    EXPECT_EQ(saved("ctrl+s"), ActionWorld::success);
    world.desktop.keyboard().useControlForShortcuts();
    EXPECT_THAT(saved("ctrl+s"), HasSubstr("Save did not persist"));
  });
}

TEST_F(SaveTest, isAwaited) {
  world.run([&] {
    const std::string path = pathOf("a.txt", "old");
    editorOf(path, "new");
    world.look();
    world.desktop.after(milliseconds(800), [&] { std::ofstream(path) << "new"; });
    EXPECT_EQ(saved(), ActionWorld::success);
  });
}

TEST_F(SaveTest, ofALargeFileOrOneThatIsNoTextIsNotVerified) {
  world.run([&] {
    editorOf(pathOf("large.txt", std::string(5'242'881, 'x')), "new");
    world.look();
    EXPECT_EQ(saved(), ActionWorld::success);
    EXPECT_EQ(diskTextForSaveVerification(pathOf("binary.txt", "\xFF\xFE")), std::nullopt);
    EXPECT_EQ(diskTextForSaveVerification(folder), std::nullopt);
    EXPECT_EQ(diskTextForSaveVerification(pathOf("limit.txt", std::string(5'242'880, 'x')))->size(), 5'242'880u);
  });
}

TEST(SavedText, isComparedWithoutLineEndsAndMargins) {
  EXPECT_TRUE(savedEditorTextMatchesDisk("a\nb", "a\r\nb\r\n"));
  EXPECT_TRUE(savedEditorTextMatchesDisk("  a\rb", "a\nb\n\n"));
  EXPECT_FALSE(savedEditorTextMatchesDisk("a b", "a  b"));
}

TEST(EditorFile, isNamedByTheFirstTextThatHoldsAFileName) {
  UIElementTree::Item item;
  item.title = "Editor";
  item.elementDescription = "src/main.cpp, Editor Group 1";
  EXPECT_EQ(focusedEditorFileName(item), "main.cpp");
  item.title = "a\n.b";
  item.elementDescription = {};
  EXPECT_EQ(focusedEditorFileName(item), std::nullopt);
}

}  // namespace
}  // namespace tavik
