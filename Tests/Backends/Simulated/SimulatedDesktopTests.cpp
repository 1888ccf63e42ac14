#include "Backends/Simulated/SimulatedDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using namespace simulated;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SimulatedDesktopTest : public ::testing::Test {
 protected:
  AccessibilityPort& ax() { return world.desktop.platform().accessibility; }
  AXValue read(const SimulatedElement& element, const std::string& attribute) {
    return ax().copyAttributeValue(element.element(), attribute).value;
  }

  SimulatedWorld world;
  SimulatedApplication app = world.desktop.application("Notes", "com.example.notes", 42);
  SimulatedElement window = app.window("Untitled", Rect{{0, 0}, {800, 600}});
};

TEST_F(SimulatedDesktopTest, aPressFlipsACheckBoxAndTellsItsObservers) {
  world.run([&] {
    auto box = window.add(checkBox("Wrap", false));
    std::vector<std::string> told;
    auto observer = ax().createObserver(42, [&](const AXElement& element, const std::string& notification) {
      EXPECT_EQ(element, box.element());
      EXPECT_TRUE(world.mainQueue.isCurrent());
      told.push_back(notification);
    });
    ASSERT_TRUE(observer.ok());
    ax().addObserverSource(observer.value);
    ASSERT_EQ(ax().addNotification(observer.value, box.element(), "AXValueChanged"), AXError::success);

    const AXValue before = read(box, "AXValue");
    EXPECT_EQ(ax().performAction(box.element(), "AXPress"), AXError::success);
    EXPECT_NE(read(box, "AXValue"), before);
    world.scheduler.settle();
    EXPECT_THAT(told, ElementsAre("AXValueChanged"));

    ax().removeObserverSource(observer.value);
    ax().performAction(box.element(), "AXPress");
    world.scheduler.settle();
    EXPECT_THAT(told, SizeIs(1));
  });
}

TEST_F(SimulatedDesktopTest, pressingARadioButtonTakesTheOthersBack) {
  world.run([&] {
    auto group = window.add(radioGroup({radioButton("A", true), radioButton("B")}));
    const AXValue on = read(group.child(0), "AXValue");
    ax().performAction(group.child(1).element(), "AXPress");
    EXPECT_EQ(read(group.child(1), "AXValue"), on);
    EXPECT_NE(read(group.child(0), "AXValue"), on);
  });
}

TEST_F(SimulatedDesktopTest, aButtonRunsItsHandlerAndTheJournalTellsWhatWasDone) {
  world.run([&] {
    int presses = 0;
    auto save = window.add(button("Save").onPress([&] { ++presses; }));
    ax().performAction(save.element(), "AXPress");
    EXPECT_EQ(presses, 1);
    EXPECT_THAT(world.desktop.journal().lines("perform"), ElementsAre("perform AXPress of button 'Save'"));
  });
}

TEST_F(SimulatedDesktopTest, writingTheFocusMovesIt) {
  world.run([&] {
    auto name = window.add(textField("Ada"));
    EXPECT_EQ(ax().setAttributeValue(name.element(), "AXFocused", true), AXError::success);
    EXPECT_TRUE(name.isFocused());
    const auto focused = ax().copyAttributeValue(ax().createApplication(42), "AXFocusedUIElement");
    ASSERT_TRUE(focused.ok());
    EXPECT_EQ(*focused.value.get<AXElement>(), name.element());
  });
}

TEST_F(SimulatedDesktopTest, aTextFieldTakesAValueAndARewriterChangesIt) {
  world.run([&] {
    auto field = window.add(textField("old"));
    EXPECT_EQ(ax().setAttributeValue(field.element(), "AXValue", "new"), AXError::success);
    EXPECT_EQ(field.text(), "new");
    field.rewrites("AXValue", [](const AXValue&) { return AXValue("rewritten"); });
    ax().setAttributeValue(field.element(), "AXValue", "other");
    EXPECT_EQ(field.text(), "rewritten");
  });
}

TEST_F(SimulatedDesktopTest, aSliderStepsWithinItsBounds) {
  world.run([&] {
    auto volume = window.add(slider(1.0, 0, 1));
    const AXValue top = read(volume, "AXValue");
    ax().performAction(volume.element(), "AXIncrement");
    EXPECT_EQ(read(volume, "AXValue"), top);
    ax().performAction(volume.element(), "AXDecrement");
    EXPECT_NE(read(volume, "AXValue"), top);
  });
}

TEST_F(SimulatedDesktopTest, aBatchMarksWhatAnElementDoesNotHave) {
  world.run([&] {
    auto save = window.add(button("Save"));
    const auto batch = ax().copyMultipleAttributeValues(save.element(), {"AXTitle", "AXNoSuchAttribute", "AXRole"});
    ASSERT_TRUE(batch.ok());
    ASSERT_THAT(batch.value, SizeIs(3));
    EXPECT_EQ(batch.value[0], AXValue("Save"));
    ASSERT_TRUE(batch.value[1].get<AXErrorMark>());
    EXPECT_EQ(batch.value[1].get<AXErrorMark>()->code, AXError::attributeUnsupported);
    EXPECT_EQ(batch.value[2], AXValue("AXButton"));
  });
}

TEST_F(SimulatedDesktopTest, anApplicationThatHangsCostsTheMessagingTimeout) {
  world.run([&] {
    ax().setMessagingTimeout(ax().createApplication(42), 1.0f);
    Fault hang = app.on(AXCall::any()).hangs();
    const MonotonicTime before = world.scheduler.now();
    EXPECT_EQ(ax().copyAttributeValue(window.element(), "AXTitle").code, AXError::cannotComplete);
    EXPECT_EQ(world.scheduler.now() - before, seconds(1));
    hang.release();
    EXPECT_TRUE(ax().copyAttributeValue(window.element(), "AXTitle").ok());
  });
}

TEST_F(SimulatedDesktopTest, aSlowAnswerComesLateAndTooSlowAOneIsGivenUp) {
  world.run([&] {
    ax().setMessagingTimeout(ax().createApplication(42), 1.0f);
    auto save = window.add(button("Save"));
    save.on(AXCall::read("AXTitle")).delays(milliseconds(300)).once();
    const MonotonicTime before = world.scheduler.now();
    EXPECT_TRUE(ax().copyAttributeValue(save.element(), "AXTitle").ok());
    EXPECT_EQ(world.scheduler.now() - before, milliseconds(300));

    int presses = 0;
    save.onAction("AXPress", [&] { ++presses; });
    save.on(AXCall::perform("AXPress")).delays(seconds(5));
    EXPECT_EQ(ax().performAction(save.element(), "AXPress"), AXError::cannotComplete);
    EXPECT_EQ(presses, 1) << "the application does what it was asked, only late";
  });
}

TEST_F(SimulatedDesktopTest, aScriptedCodeIsAnsweredAsOftenAsSaid) {
  world.run([&] {
    auto save = window.add(button("Save"));
    save.on(AXCall::read("AXTitle")).answers(AXError::failure).times(2);
    EXPECT_EQ(ax().copyAttributeValue(save.element(), "AXTitle").code, AXError::failure);
    EXPECT_EQ(ax().copyAttributeValue(save.element(), "AXTitle").code, AXError::failure);
    EXPECT_TRUE(ax().copyAttributeValue(save.element(), "AXTitle").ok());
    EXPECT_EQ(save.reads("AXTitle"), 3);
  });
}

TEST_F(SimulatedDesktopTest, elementsThatAreGoneAnswerThatTheyAreInvalid) {
  world.run([&] {
    auto save = window.add(button("Save"));
    auto cancel = window.add(button("Cancel"));
    save.remove();
    cancel.die();
    EXPECT_EQ(ax().copyAttributeValue(save.element(), "AXTitle").code, AXError::invalidUIElement);
    EXPECT_EQ(ax().performAction(cancel.element(), "AXPress"), AXError::invalidUIElement);
    EXPECT_THAT(window.children(), Contains(cancel)) << "its parent still lists it";
    app.exit();
    EXPECT_EQ(ax().copyAttributeValue(window.element(), "AXTitle").code, AXError::invalidUIElement);
    EXPECT_THAT(world.desktop.platform().workspace.runningApplications(), IsEmpty());
  });
}

TEST_F(SimulatedDesktopTest, aHundredThousandElementsAreMadeAndLetGoOf) {
  world.run([&] {
    auto list = window.add(simulated::list());
    for (int i = 0; i < 50'000; ++i) list.add(staticText("x"));
    SimulatedElement deepest = window;
    for (int i = 0; i < 50'000; ++i) deepest = deepest.add(group());
    EXPECT_EQ(ax().getAttributeValueCount(list.element(), "AXChildren").value, 50'000);
    EXPECT_TRUE(ax().copyAttributeValue(deepest.element(), "AXRole").ok());
  });
}

TEST_F(SimulatedDesktopTest, aCycleCanBeMade) {
  world.run([&] {
    auto outer = window.add(group());
    auto inner = outer.add(group());
    inner.addReference(outer);
    const auto children = ax().copyAttributeValue(inner.element(), "AXChildren");
    ASSERT_TRUE(children.value.get<AXArray>());
    EXPECT_EQ(children.value.get<AXArray>()->at(0), AXValue(outer.element()));
  });
}

TEST_F(SimulatedDesktopTest, theWindowServerListsFromFrontToBackAndPicturesCoveredWindows) {
  world.run([&] {
    auto mail = world.desktop.application("Mail", "com.example.mail", 43);
    mail.window("Inbox", Rect{{10, 10}, {400, 300}});
    mail.activate();
    auto windows = world.desktop.platform().windowServer.copyWindowInfo(17, 0);
    ASSERT_TRUE(windows);
    ASSERT_THAT(*windows, SizeIs(2));
    EXPECT_EQ(windows->at(0).name, "Inbox");
    EXPECT_EQ(windows->at(1).name, "Untitled");
    const auto picture = world.desktop.platform().windowServer.createWindowImage(*windows->at(1).windowID);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 800);
    window.set("AXMinimized", true);
    EXPECT_FALSE(world.desktop.platform().windowServer.createWindowImage(*windows->at(1).windowID));
    EXPECT_THAT(*world.desktop.platform().windowServer.copyWindowInfo(17, 0), SizeIs(1));
    EXPECT_EQ(world.desktop.platform().workspace.frontmostApplication()->pid, 43);
  });
}

TEST_F(SimulatedDesktopTest, picturesAreScaledAndWrittenAsPNG) {
  Image two{2, 1, 8, {1, 2, 3, 255, 4, 5, 6, 255}};
  auto& coding = world.desktop.platform().imageCoding;
  const Image four = coding.scaled(two, 4, 2);
  EXPECT_EQ(four.width, 4);
  EXPECT_EQ(four.pixels.size(), 32u);
  EXPECT_EQ(four.pixels[8], 4);
  const auto png = coding.encodePNG(four);
  ASSERT_TRUE(png);
  EXPECT_EQ(textOf(*png).substr(1, 3), "PNG");
  EXPECT_FALSE(coding.encodePNG(Image{}));
}

TEST_F(SimulatedDesktopTest, workAfterADelayChangesTheDesktopWhileOthersWait) {
  world.run([&] {
    world.desktop.after(milliseconds(700), [&] { window.add(button("Late")); });
    world.scheduler.sleep(milliseconds(699));
    EXPECT_THAT(window.children(), IsEmpty());
    world.scheduler.sleep(milliseconds(2));
    EXPECT_THAT(window.children(), SizeIs(1));
  });
}

TEST_F(SimulatedDesktopTest, hitTestingFindsTheDeepestElementUnderAPoint) {
  world.run([&] {
    auto panel = window.add(group().frame(0, 0, 400, 400));
    auto save = panel.add(button("Save").frame(10, 10, 80, 20));
    const auto hit = ax().copyElementAtPosition(ax().createSystemWide(), {15, 15});
    ASSERT_TRUE(hit.ok());
    EXPECT_EQ(hit.value, save.element());
    EXPECT_EQ(ax().copyElementAtPosition(ax().createApplication(42), {700, 500}).value, window.element());
  });
}

TEST_F(SimulatedDesktopTest, aRequestIsAnsweredOnceAndSignalsRunOnTheMainQueue) {
  world.run([&] {
    auto& transport = world.desktop.transport();
    std::optional<SuspensionID> suspension;
    transport.setEventHandler([&](const IncomingRequest&, RequestReply&) {
      suspension = transport.suspendCurrentRequest();
    });
    auto request = transport.send("Type", "{}", 7);
    world.scheduler.settle();
    ASSERT_TRUE(suspension);
    EXPECT_FALSE(request.isAnswered());
    transport.resume(*suspension, {bytesOf("ok"), 0, ""});
    EXPECT_EQ(textOf(*request.reply().directObject), "ok");

    int raised = 0;
    auto source = world.desktop.signals().makeSource(15, [&] { ++raised; });
    world.desktop.signals().raise(15);
    world.scheduler.settle();
    source.reset();
    world.desktop.signals().raise(15);
    world.scheduler.settle();
    EXPECT_EQ(raised, 1);
  });
}

}  // namespace
}  // namespace tavik
