#include "Actions/ActionWorld.h"
#include "ComputerUseToolRuntime/Actions/ActionNames.h"
#include "ComputerUseToolRuntime/Actions/SecondaryAction.h"
#include "ComputerUseToolRuntime/Actions/SetValueEffect.h"

namespace tavik {
namespace {

using namespace simulated;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class SetValueActionTest : public ActionTest {
 protected:
  std::string set(SimulatedElement element, const std::string& value) {
    return world.act(SetValueParams{world.indexOf(element), value});
  }
};

TEST_F(SetValueActionTest, writesANumberAsWhatTheElementHolds) {
  world.run([&] {
    auto name = window.add(textField("Ada").frame(120, 120, 100, 20));
    auto amount = window.add(slider(3, 0, 100).frame(120, 150, 100, 20));
    auto count = window.add(element("AXLevel", "Count").attribute("AXValue", 7, true).frame(120, 180, 100, 20));
    auto box = window.add(checkBox("Wrap").frame(120, 210, 100, 20));
    box.setSettable("AXValue", true);
    world.look();
    EXPECT_EQ(set(name, "42"), ActionWorld::success);
    EXPECT_EQ(set(amount, "42"), ActionWorld::success);
    EXPECT_EQ(set(count, "42"), ActionWorld::success);
    EXPECT_EQ(set(box, "1"), ActionWorld::success);
    EXPECT_EQ(name.value(), AXValue("42"));
    EXPECT_EQ(amount.value(), AXValue(42.0));
    EXPECT_EQ(count.value(), AXValue(42.0));
    EXPECT_EQ(box.value(), AXValue(1.0));
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(SetValueActionTest, takesATextWithSpaceBeforeItForNoNumber) {
  world.run([&] {
    auto amount = window.add(slider(3, 0, 100).frame(120, 150, 100, 20));
    world.look();
    set(amount, " 42");
    EXPECT_THAT(world.written(), ::testing::Contains(HasSubstr("to ' 42'")));
  });
}

TEST_F(SetValueActionTest, doesNotReadANumberBack) {
  world.run([&] {
    auto amount = window.add(slider(3, 0, 100).frame(120, 150, 100, 20).rewrites("AXValue", [](const AXValue&) {
      return std::nullopt;
    }));
    world.look();
    int readsBefore = 0;
    amount.on(AXCall::set("AXValue")).runs([&] { readsBefore = amount.reads("AXValue"); });
    EXPECT_EQ(set(amount, "42"), ActionWorld::success);
    EXPECT_EQ(amount.reads("AXValue"), readsBefore);
  });
}

TEST_F(SetValueActionTest, refusesWhatCannotBeSetAndReportsARefusal) {
  world.run([&] {
    auto label = window.add(button("Name").frame(120, 120, 100, 20));
    auto field = window.add(textField("Ada").frame(120, 150, 100, 20));
    world.look();
    EXPECT_EQ(set(label, "x"), ToolError::cannotSetValueForNonSettableElement().description());
    field.on(AXCall::of(AXOperation::isAttributeSettable)).answers(AXError::cannotComplete).once();
    EXPECT_EQ(set(field, "x"), ToolError::cannotSetValueForNonSettableElement().description());
    field.on(AXCall::set("AXValue")).answers(-25200);
    EXPECT_EQ(set(field, "x"), ToolError::axSetValueFailed(-25200).description());
  });
}

TEST_F(SetValueActionTest, writesNothingIntoAnEditorThatDrawsItsOwnText) {
  world.run([&] {
    auto editor = window.add(textArea("a").roleDescription("Editor ").frame(120, 120, 100, 20));
    world.look();
    EXPECT_EQ(set(editor, "b"),
              "No value was written. Set value is not reliable for this editor, so do not treat this failed tool call as "
              "completing the edit. Focus the editor and use native editor selection, replace, or indentation commands "
              "instead of whole-buffer AX replacement. If the requested text contains literal tab characters, first run "
              "the editor command to indent using tabs or convert indentation to tabs before saving; otherwise a "
              "Spaces-based editor can save four spaces instead of tab characters.\n");
    EXPECT_THAT(world.written(), IsEmpty());
  });
}

TEST_F(SetValueActionTest, reportsAValueThatWasNotTaken) {
  world.run([&] {
    auto field = window.add(textArea(std::string(100, 'a') + "\n" + std::string(99, 'b'))
                                .frame(120, 120, 100, 20)
                                .rewrites("AXValue", [](const AXValue&) { return std::nullopt; }));
    world.look();
    const auto before = world.scheduler.now();
    EXPECT_EQ(set(field, "new"), "Set value did not take effect. Current value is '" + std::string(100, 'a') + "\\n" +
                                     std::string(58, 'b') + "...'.\n");
    EXPECT_EQ(world.scheduler.now() - before, milliseconds(560));
  });
}

TEST_F(SetValueActionTest, acceptsWhatTheApplicationMakesOfALine) {
  world.run([&] {
    auto field = window.add(textField("1").frame(120, 120, 100, 20).rewrites("AXValue", [](const AXValue&) {
      return std::optional(AXValue("€ 42.00"));
    }));
    world.look();
    EXPECT_EQ(set(field, "42"), ActionWorld::success);
  });
}

TEST_F(SetValueActionTest, comparesTheLinesOfAText) {
  world.run([&] {
    std::string keeps;
    auto field = window.add(textArea("old").frame(120, 120, 100, 20).rewrites("AXValue", [&](const AXValue&) {
      return std::optional(AXValue(keeps));
    }));
    world.look();
    keeps = "> one\n> two";
    EXPECT_EQ(set(field, "one\n\n  two"), ActionWorld::success);
    world.look();
    keeps = "> one only";
    EXPECT_THAT(set(field, "one\ntwo"), StartsWith("Set value did not take effect."));
    world.look();
    keeps = "{ \"a\": 1 }";
    EXPECT_EQ(set(field, "{\"a\":\n1}"), ActionWorld::success) << "a document may be laid out anew";
  });
}

/// An application that shows what it was given only a while later, in steps.
class SlowField {
 public:
  SlowField(ActionWorld& world, ElementBuilder plan, std::vector<std::pair<Duration, std::string>> steps)
      : world_(world), field(world.window.add(plan.rewrites("AXValue", [](const AXValue&) { return std::nullopt; }))) {
    field.on(AXCall::set("AXValue")).runs([this, steps = std::move(steps)] {
      for (const auto& [delay, text] : steps) {
        world_.desktop.after(delay, [this, text] { field.set("AXValue", text); });
      }
    });
  }

 private:
  ActionWorld& world_;

 public:
  SimulatedElement field;
};

TEST_F(SetValueActionTest, goesOnAsSoonAsTheValueHasChangedEnough) {
  world.run([&] {
    SlowField line(world, textField("old").frame(120, 120, 100, 20), {{milliseconds(100), "NEW"}});
    SlowField document(world, textArea("old").frame(120, 150, 100, 20), {{milliseconds(60), "{ \"a\": 1 }"}});
    SlowField lines(world, textArea("old").frame(120, 180, 100, 20),
                    {{milliseconds(60), "one"}, {milliseconds(200), "> one\n> two"}});
    world.look();
    const auto takes = [&](SimulatedElement element, const std::string& value) {
      const auto before = world.scheduler.now();
      EXPECT_EQ(set(element, value), ActionWorld::success);
      return world.scheduler.now() - before;
    };
    EXPECT_EQ(takes(line.field, "new"), milliseconds(80 + 160)) << "looked at after 0, 80 and 240 ms";
    EXPECT_EQ(takes(document.field, "{\"a\":\n1}"), milliseconds(80));
    EXPECT_EQ(takes(lines.field, "one\ntwo"), milliseconds(80 + 160)) << "half of it is not enough";
  });
}

TEST_F(SetValueActionTest, answersWithWhatItReadLastWhenTheCallerGivesUp) {
  world.run([&] {
    auto field = window.add(textField("old").frame(120, 120, 100, 20).rewrites("AXValue", [](const AXValue&) {
      return std::nullopt;
    }));
    world.look();
    Task action = world.scheduler.start("action", [&] {
      EXPECT_EQ(set(field, "new"), "Set value did not take effect. Current value is 'old'.\n");
    });
    world.scheduler.sleep(milliseconds(100));
    const auto before = world.scheduler.now();
    action.cancel();
    action.join();
    EXPECT_EQ(world.scheduler.now(), before);
  });
}

TEST_F(SetValueActionTest, writesALongTextWithoutHarm) {
  world.run([&] {
    auto area = window.add(textArea("old").frame(120, 120, 100, 20));
    world.look();
    const std::string text = std::string(100'000, 'x') + "שלום🙂" + std::string("\0\x01", 2);
    EXPECT_EQ(set(area, text), ActionWorld::success);
    EXPECT_EQ(area.text(), text);
  });
}

TEST_F(SetValueActionTest, acceptsAValueThatCannotBeReadBack) {
  world.run([&] {
    auto field = window.add(textField("old").frame(120, 120, 100, 20));
    world.look();
    field.on(AXCall::set("AXValue")).runs([&] { field.on(AXCall::read("AXValue")).answers(AXError::cannotComplete); });
    EXPECT_EQ(set(field, "new"), ActionWorld::success);
  });
}

TEST(SetValueEffect, knowsDocuments) {
  EXPECT_TRUE(requestedValueLooksLikeStructuredDocument(" [1, 2]\n"));
  EXPECT_TRUE(requestedValueLooksLikeStructuredDocument("{}"));
  EXPECT_FALSE(requestedValueLooksLikeStructuredDocument("{a}"));
  EXPECT_FALSE(requestedValueLooksLikeStructuredDocument("\"a\""));
  EXPECT_TRUE(requestedNonEmptyLinesAppearInCurrentValue("\n  \n", "x"));
  EXPECT_TRUE(requestedNonEmptyLinesAppearInCurrentValue("b\na", "a b")) << "in any order";
}

// Secondary actions

class SecondaryActionTest : public ActionTest {
 protected:
  std::string ask(SimulatedElement element, const std::string& action) {
    return world.act(PerformSecondaryActionParams{world.indexOf(element), action});
  }
  std::string invalid(SimulatedElement element, const std::string& action) {
    return ToolError::invalidSecondaryAction(action, std::to_string(world.indexOf(element))).description();
  }
};

TEST_F(SecondaryActionTest, performsAnActionByItsNameOrByItsDescription) {
  world.run([&] {
    auto area = window.add(scrollArea(Rect{{100, 100}, {400, 200}}, 2000));
    auto cell = window.add(button("Cell").frame(120, 400, 80, 20).action("Name:star", "Mark with a star"));
    world.look();
    EXPECT_EQ(ask(cell, "Press"), ActionWorld::success);
    EXPECT_EQ(ask(cell, "Mark with a star"), ActionWorld::success);
    EXPECT_EQ(ask(area, "Scroll Down By Page"), ActionWorld::success);
    EXPECT_THAT(world.performed(), ElementsAre("perform AXPress of button 'Cell'", "perform Name:star of button 'Cell'",
                                               StartsWith("perform AXScrollDownByPage of")));
    EXPECT_EQ(ask(cell, "AXPress"), invalid(cell, "AXPress"));
    EXPECT_EQ(ask(cell, "Confirm"), invalid(cell, "Confirm"));
  });
}

TEST_F(SecondaryActionTest, needsAName) {
  world.run([&] {
    auto cell = window.add(button("Cell").frame(120, 400, 80, 20));
    world.look();
    const std::string refusal = ToolError::missingRequiredArgument("action").description();
    EXPECT_EQ(ask(cell, ""), refusal);
    EXPECT_EQ(world.act(PerformSecondaryActionParams{world.indexOf(cell), std::nullopt}), refusal);
  });
}

TEST_F(SecondaryActionTest, leavesWindowsWhereTheyAre) {
  world.run([&] {
    auto zoom = window.add(button("Zoom").frame(120, 120, 10, 10).action("AXZoomWindow").action("AXRaise"));
    auto other = window.add(group("Pane").frame(120, 200, 90, 90)).add(button("Zoom").frame(120, 200, 10, 10).action("AXZoomWindow"));
    world.look();
    EXPECT_EQ(ask(zoom, "Raise"), invalid(zoom, "Raise"));
    EXPECT_EQ(ask(zoom, "Zoom Window"), invalid(zoom, "Zoom Window"));
    EXPECT_THAT(world.performed(), IsEmpty());
    EXPECT_EQ(ask(other, "Zoom Window"), ActionWorld::success);
  });
}

TEST(WindowSystemActions, areRefusedByRole) {
  EXPECT_TRUE(shouldRejectWindowSystemSecondaryAction("AXRaise", std::nullopt, std::nullopt));
  EXPECT_TRUE(shouldRejectWindowSystemSecondaryAction("AXZoomWindow", "AXStandardWindow", std::nullopt));
  EXPECT_TRUE(shouldRejectWindowSystemSecondaryAction("AXZoomWindow", "AXButton", "AXWindow"));
  EXPECT_FALSE(shouldRejectWindowSystemSecondaryAction("AXZoomWindow", "AXButton", "AXGroup"));
  EXPECT_FALSE(shouldRejectWindowSystemSecondaryAction("AXZoomWindow", std::nullopt, "AXWindow"));
  EXPECT_FALSE(shouldRejectWindowSystemSecondaryAction("AXPress", "AXWindow", std::nullopt));
}

TEST_F(SecondaryActionTest, triesWhatAnElementOfItsRoleCanSurelyDo) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    auto photo = window.add(image("Photo").frame(120, 160, 80, 20));
    world.look();
    world.desktop.on(AXCall::of(AXOperation::copyActionNames)).answers(AXError::cannotComplete);
    EXPECT_EQ(ask(save, "Press"), ActionWorld::success);
    EXPECT_EQ(ask(save, "Show Menu"), invalid(save, "Show Menu"));
    EXPECT_EQ(ask(photo, "Press"), invalid(photo, "Press"));
  });
}

TEST_F(SecondaryActionTest, takesSomeFailuresForDelivered) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    world.look();
    for (const AXErrorCode code : {AXError::cannotComplete, AXError::attributeUnsupported}) {
      save.on(AXCall::perform()).answers(code).once();
      EXPECT_EQ(ask(save, "Press"), ActionWorld::success);
    }
    save.on(AXCall::perform()).answers(AXError::failure).once();
    EXPECT_EQ(ask(save, "Press"), ToolError::axActionFailed("AXPress", AXError::failure).description());
  });
}

TEST_F(SecondaryActionTest, seesToItThatAPickedItemIsPicked) {
  world.run([&] {
    auto item = window.add(element("AXMenuItem", "Copy").frame(120, 120, 80, 20).action("AXPick").action("AXPress").focusable().inert());
    world.look();
    item.focus();
    world.desktop.eventPosting().setOnPost([&](const auto&) { window.focus(); });
    EXPECT_EQ(ask(item, "Pick"), ActionWorld::success);
    EXPECT_THAT(world.performed(),
                ElementsAre("perform AXPick of menu item 'Copy'", "perform AXPress of menu item 'Copy'"));
    EXPECT_THAT(world.posted(), ElementsAre(InputEventType::mouseMoved, InputEventType::leftMouseDown,
                                            InputEventType::leftMouseUp));
  });
}

TEST_F(SecondaryActionTest, bringsAPickToItsEndAlsoForACallerThatGaveUp) {
  world.run([&] {
    auto item = window.add(element("AXMenuItem", "Copy").frame(120, 120, 80, 20).action("AXPick").action("AXPress").focusable().inert());
    world.look();
    item.focus();
    world.desktop.eventPosting().setOnPost([&](const auto&) { window.focus(); });
    Task action = world.scheduler.start("action", [&] { EXPECT_EQ(ask(item, "Pick"), ActionWorld::success); });
    world.scheduler.sleep(milliseconds(60));
    action.cancel();
    action.join();
    EXPECT_THAT(world.performed(),
                ElementsAre("perform AXPick of menu item 'Copy'", "perform AXPress of menu item 'Copy'"));
    EXPECT_THAT(world.posted(), ::testing::SizeIs(3));
  });
}

TEST_F(SecondaryActionTest, doesNoMoreThanThePickWhereThatClosedTheMenu) {
  world.run([&] {
    auto item = window.add(element("AXMenuItem", "Copy").frame(120, 120, 80, 20).action("AXPick").inert());
    world.look();
    EXPECT_EQ(ask(item, "Pick"), ActionWorld::success);
    EXPECT_THAT(world.performed(), ElementsAre("perform AXPick of menu item 'Copy'"));
  });
}

TEST_F(SecondaryActionTest, reportsAPickThatFailedAndCouldNotBeConfirmed) {
  world.run([&] {
    auto item = window.add(element("AXMenuItem", "Copy").frame(120, 120, 80, 20).action("AXPick").action("AXPress").focusable().inert());
    world.look();
    item.focus();
    item.on(AXCall::perform()).answers(AXError::failure);
    EXPECT_EQ(ask(item, "Pick"), ToolError::axActionFailed("AXPick", AXError::failure).description());
    EXPECT_THAT(world.posted(), ::testing::SizeIs(3));
  });
}

TEST_F(SecondaryActionTest, givesTheFrontBackToWhoHadIt) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 120, 80, 20).menu({menuItem("Options")}));
    save.onAction("AXPress", [&] { world.notes.activate(); });
    save.onAction("AXShowMenu", [&] { world.notes.activate(); });
    world.look();
    EXPECT_EQ(ask(save, "Press"), ActionWorld::success);
    EXPECT_EQ(world.desktop.workspace().frontmostApplication()->pid, 50);
    EXPECT_EQ(ask(save, "Show Menu"), ActionWorld::success);
    EXPECT_EQ(world.desktop.workspace().frontmostApplication()->pid, 42) << "a menu that was opened stays";
    EXPECT_THAT(world.desktop.journal().lines("hold"), ElementsAre("hold front against 42")) << "but for the menu";
  });
}

TEST(ActionNames, showTheModelItsOwnWords) {
  EXPECT_EQ(readableToRawAction().size(), 16u);
  EXPECT_EQ(readableToRawAction().at("Zoom Window"), "AXZoomWindow");
  EXPECT_EQ(readableActionName("AXZoomWindow"), "ZoomWindow");
  EXPECT_EQ(readableActionName("AXScrollToVisible"), "ScrollToVisible");
  EXPECT_EQ(readableActionName("AXShowMenu"), "Show Menu");
  EXPECT_EQ(readableActionName("Name:star"), "Name:star");
  for (const char* hidden : {"AXCancel", "AXRaise", "AXShowAlternateUI"}) {
    EXPECT_EQ(readableActionName(hidden), std::nullopt);
  }
}

TEST(ActionNames, mayBeTriedUnseenByRole) {
  EXPECT_TRUE(actionsCanBeAttemptedWithoutActionNames("AXConfirm", "AXComboBox"));
  EXPECT_TRUE(actionsCanBeAttemptedWithoutActionNames("AXIncrement", "AXStepper"));
  EXPECT_FALSE(actionsCanBeAttemptedWithoutActionNames("AXPress", "AXLink"));
  EXPECT_FALSE(actionsCanBeAttemptedWithoutActionNames("AXPress", std::nullopt));
  EXPECT_FALSE(actionsCanBeAttemptedWithoutActionNames("AXRaise", "AXButton"));
}

}  // namespace
}  // namespace tavik
