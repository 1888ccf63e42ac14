#include "AccessibilitySupport/Input/UIElementScrollOperation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "AccessDesk.h"
#include "AccessibilitySupport/Access/AXActions.h"
#include "AccessibilitySupport/Access/AXAttributes.h"

namespace tavik {
namespace {

using enum ScrollDirection;
using testing::ElementsAre;

Rect rect(double x, double y, double width, double height) { return {{x, y}, {width, height}}; }

std::optional<Rect> visibleRect(const Rect& target, const std::vector<Rect>& ancestors,
                                ScrollDirection direction = down) {
  return UIElementScrollOperation::selectedVisibleRect(target, ancestors, direction);
}

// Which surroundings count as visible

TEST(UIElementScrollOperation, choosesTheInnermostAncestorThatHoldsTheTargetsCentre) {
  EXPECT_EQ(visibleRect(rect(10, 10, 20, 20), {rect(0, 0, 100, 100), rect(0, 0, 500, 500)}), rect(0, 0, 100, 100));
}

TEST(UIElementScrollOperation, leavesOutAnAncestorThatSharesTooLittleOfTheCrossAxis) {
  const Rect target = rect(0, 1000, 100, 20);
  EXPECT_EQ(visibleRect(target, {rect(76, 0, 200, 500)}), std::nullopt);
  EXPECT_EQ(visibleRect(target, {rect(75, 0, 200, 500)}), rect(75, 0, 200, 500));
}

TEST(UIElementScrollOperation, measuresTheCrossAxisOfHorizontalScrollingVertically) {
  const Rect target = rect(1000, 0, 20, 100);
  EXPECT_EQ(visibleRect(target, {rect(0, 76, 500, 200)}, right), std::nullopt);
  EXPECT_EQ(visibleRect(target, {rect(0, 75, 500, 200)}, left), rect(0, 75, 500, 200));
}

TEST(UIElementScrollOperation, prefersTheInnerAncestorEvenIfOnlyTheOuterHoldsTheCentre) {
  const Rect target = rect(0, 1000, 100, 20);
  const Rect inner = rect(75, 0, 200, 500);
  EXPECT_EQ(visibleRect(target, {inner, rect(0, 0, 2000, 2000)}), inner);
}

TEST(UIElementScrollOperation, takesAnyOverlapOfAHairlineTargetAsAbsolute) {
  EXPECT_EQ(visibleRect(rect(10, 1000, 0.5, 20), {rect(0, 0, 100, 100)}), rect(0, 0, 100, 100));
  EXPECT_EQ(visibleRect(rect(99.9, 1000, 0.5, 20), {rect(0, 0, 100, 100)}), std::nullopt);
}

TEST(UIElementScrollOperation, ignoresUnusableFrames) {
  EXPECT_EQ(visibleRect(rect(0, 0, 0, 20), {rect(0, 0, 100, 100)}), std::nullopt);
  EXPECT_EQ(visibleRect(rect(0, 0, 10, 10), {rect(0, 0, NAN, 100), Rect::infinite(), Rect::null()}), std::nullopt);
}

// How far a target sticks out

TEST(UIElementScrollOperation, tellsHowFarATargetSticksOutAsAFractionOfTheVisibleSide) {
  const Rect visible = rect(0, 0, 100, 200);
  EXPECT_EQ(UIElementScrollOperation::makeScreenRectVisibleValue(rect(0, 220, 10, 30), visible), 0.25);
  EXPECT_EQ(UIElementScrollOperation::makeScreenRectVisibleValue(rect(0, 5000, 10, 30), visible), 1);
  EXPECT_EQ(UIElementScrollOperation::makeScreenRectVisibleValue(rect(0, 10, 10, 30), visible), 0);
  EXPECT_EQ(UIElementScrollOperation::makeScreenRectVisibleValue(rect(0, 0.25, 0.5, 0.5), rect(0, 0, 0.5, 0.5)), 0.25);
  EXPECT_EQ(UIElementScrollOperation::makeScreenRectVisibleValue(rect(0, NAN, 10, 30), visible), 0);
  EXPECT_EQ(UIElementScrollOperation::makeScreenRectVisibleValue(Rect::infinite(), visible), 0);
}

// Where a scroll bar goes

TEST(UIElementScrollOperation, movesABarOfUnknownLengthsByAThirdOfItForEachPage) {
  EXPECT_DOUBLE_EQ(UIElementScrollOperation::scrollBarValueAfterScroll(0.5, down, 1), 0.85);
  EXPECT_DOUBLE_EQ(UIElementScrollOperation::scrollBarValueAfterScroll(0.5, up, 1), 0.15);
  EXPECT_DOUBLE_EQ(UIElementScrollOperation::scrollBarValueAfterScroll(0.5, right, 10), 1);
  EXPECT_DOUBLE_EQ(UIElementScrollOperation::scrollBarValueAfterScroll(0.5, left, 10), 0);
}

TEST(UIElementScrollOperation, neverMovesABarOfUnknownLengthsByLessThanATwentieth) {
  EXPECT_DOUBLE_EQ(UIElementScrollOperation::scrollBarValueAfterScroll(0.2, down, 0.1), 0.25);
}

TEST(UIElementScrollOperation, movesABarOfKnownLengthsByWholePages) {
  const auto after = [](double pages, double visible, double content) {
    return UIElementScrollOperation::scrollBarValueAfterScroll(0, down, pages, visible, content);
  };
  EXPECT_DOUBLE_EQ(after(1, 200, 1000), 0.25);
  EXPECT_DOUBLE_EQ(after(1, 50, 450), 0.25);
  EXPECT_DOUBLE_EQ(after(9, 200, 1000), 1);
  EXPECT_DOUBLE_EQ(after(1, 200, 200.5), 1);
  EXPECT_DOUBLE_EQ(after(1, 200, 200), 0.35);
  EXPECT_DOUBLE_EQ(after(1, 0, 200), 0.35);
  EXPECT_DOUBLE_EQ(after(1, INFINITY, 200), 0.35);
}

// On elements

/// A view of 100 by 200 with content, and what it is asked to do.
class ScrolledView : public testing::Test {
 protected:
  void SetUp() override {
    view = add("AXScrollArea", rect(0, 0, 100, 200));
    target = add("AXGroup", rect(0, 300, 100, 20));
    set(target, AXAttributes::parent, view);
    desk.port.intercept = [this](const ScriptedAccessibility::Call& call) -> std::optional<AXErrorCode> {
      if (call.operation == "performAction") performed.push_back(call.name);
      if (call.operation == "setAttributeValue") written.push_back(call.name);
      return std::nullopt;
    };
  }

  /// Lets an operation fail, after some times.
  void refuse(const std::string& operation, std::size_t after = 0) {
    const auto note = desk.port.intercept;
    desk.port.intercept = [this, note, operation, after](const ScriptedAccessibility::Call& call) {
      note(call);
      const bool fails = call.operation == operation && performed.size() > after;
      return fails ? std::optional(AXError::failure) : std::nullopt;
    };
  }

  AXElement add(const std::string& role, Rect frame) {
    return desk.port.add(AccessDesk::appPID, {.attributes = {{AXAttributes::role, role},
                                                             {AXAttributes::position, frame.origin},
                                                             {AXAttributes::size, frame.size}}});
  }

  AXElement addBar(const std::string& orientation, AXValue value, Rect frame) {
    const AXElement bar = add("AXScrollBar", frame);
    set(bar, "AXOrientation", orientation);
    set(bar, AXAttributes::value, std::move(value));
    desk.port.at(bar).settable.insert(AXAttributes::value);
    return bar;
  }

  void set(const AXElement& element, const std::string& attribute, AXValue value) {
    desk.port.at(element).attributes[attribute] = std::move(value);
  }

  AXValue valueOf(const AXElement& element, const std::string& attribute = AXAttributes::value) {
    return desk.port.at(element).attributes[attribute];
  }

  template <class Body>
  void with(const AXElement& element, ScrollDirection direction, double pages, Body body) {
    desk.run([&] {
      UIElementScrollOperation operation(desk.access, scheduler, element, direction, pages);
      body(operation);
    });
  }

  SimulatedScheduler scheduler;
  AccessDesk desk{scheduler};
  AXElement view;
  AXElement target;
  std::vector<std::string> performed;
  std::vector<std::string> written;
};

TEST_F(ScrolledView, bringsATargetIntoViewByItsOwnActionFirst) {
  desk.port.at(target).actions = {AXActions::scrollToVisible};
  desk.port.at(target).settable = {AXAttributes::makeScreenRectVisible};
  with(target, down, 1, [](auto& operation) { EXPECT_TRUE(operation.makeTargetVisibleIfNeeded()); });
  EXPECT_THAT(performed, ElementsAre(AXActions::scrollToVisible));
  EXPECT_TRUE(written.empty());
}

TEST_F(ScrolledView, bringsATargetIntoViewByTheNearestAncestorThatCan) {
  desk.port.at(view).settable = {AXAttributes::makeScreenRectVisible};
  with(target, down, 1, [](auto& operation) { EXPECT_TRUE(operation.prepareForEventScroll()); });
  EXPECT_EQ(valueOf(view, AXAttributes::makeScreenRectVisible), AXValue(0.6));
}

TEST_F(ScrolledView, bringsATargetIntoViewByItsOwnAttributeWhenItsActionIsRefused) {
  desk.port.at(target).actions = {AXActions::scrollToVisible};
  desk.port.at(target).settable = {AXAttributes::makeScreenRectVisible};
  desk.port.at(view).settable = {AXAttributes::makeScreenRectVisible};
  refuse("performAction");
  with(target, down, 1, [](auto& operation) { EXPECT_TRUE(operation.makeTargetVisibleIfNeeded()); });
  EXPECT_THAT(performed, ElementsAre(AXActions::scrollToVisible));
  EXPECT_EQ(valueOf(target, AXAttributes::makeScreenRectVisible), AXValue(0.6));
  EXPECT_THAT(written, ElementsAre(AXAttributes::makeScreenRectVisible)) << "and by no ancestor";
}

TEST_F(ScrolledView, leavesATargetThatIsInViewAlone) {
  set(target, AXAttributes::position, Point{0, 50});
  desk.port.at(target).actions = {AXActions::scrollToVisible};
  with(target, down, 1, [](auto& operation) { EXPECT_FALSE(operation.makeTargetVisibleIfNeeded()); });
  EXPECT_TRUE(performed.empty());
}

TEST_F(ScrolledView, endsWithAncestorsThatNameEachOtherInACircle) {
  set(view, AXAttributes::parent, target);
  with(target, down, 1, [](auto& operation) { EXPECT_FALSE(operation.makeTargetVisibleIfNeeded()); });
}

TEST_F(ScrolledView, plansEventsAtTheMiddleOfTheElementOrTheNearestPlaceInView) {
  with(view, down, 1, [](auto& operation) {
    EXPECT_EQ(operation.eventPlan({7, 7}), (UIElementScrollOperation::EventPlan{{50, 100}, 200}));
  });
}

TEST_F(ScrolledView, plansEventsInsideTheSurroundingsOfAnElementOutOfView) {
  with(target, right, 1, [](auto& operation) {
    EXPECT_EQ(operation.eventPlan({7, 7}), (UIElementScrollOperation::EventPlan{{50, 310}, 100}));
  });
}

TEST_F(ScrolledView, clampsThePointIntoTheVisiblePart) {
  set(target, AXAttributes::size, Size{100, 400});
  set(target, AXAttributes::position, Point{0, 150});
  with(target, down, 1, [](auto& operation) {
    EXPECT_EQ(operation.eventPlan({7, 7}), (UIElementScrollOperation::EventPlan{{50, 199}, 200}));
  });
}

TEST_F(ScrolledView, plansEventsAtTheDefaultPointForAnElementWithoutAFrame) {
  const AXElement frameless = desk.port.add(AccessDesk::appPID, {});
  with(frameless, down, 1, [](auto& operation) {
    EXPECT_EQ(operation.eventPlan({7, 9}), (UIElementScrollOperation::EventPlan{{7, 9}, 800}));
  });
}

TEST_F(ScrolledView, scrollsWholePagesByActions) {
  desk.port.at(view).actions = {AXActions::scrollDownByPage};
  with(view, down, 2, [](auto& operation) { EXPECT_TRUE(operation.performAccessibilityFallbackIfPossible()); });
  EXPECT_THAT(performed, ElementsAre(AXActions::scrollDownByPage, AXActions::scrollDownByPage));
}

TEST_F(ScrolledView, goesOnWithTheBarWhenAPageActionFailsAndKeepsThePagesBefore) {
  const AXElement bar = addBar("AXVerticalOrientation", 0.0, rect(90, 0, 10, 200));
  const AXElement content = add("AXGroup", rect(0, 0, 90, 1000));
  set(view, AXAttributes::children, AXArray{bar, content});
  desk.port.at(view).actions = {AXActions::scrollDownByPage};
  refuse("performAction", 1);
  with(view, down, 3, [](auto& operation) { EXPECT_FALSE(operation.performWholePageActionIfPossible()); });
  EXPECT_EQ(performed.size(), 2u) << "one page, and one that failed";
  performed.clear();
  with(view, down, 3, [](auto& operation) { EXPECT_TRUE(operation.performAccessibilityFallbackIfPossible()); });
  EXPECT_THAT(written, ElementsAre(AXAttributes::value));
}

TEST_F(ScrolledView, neverUsesPageActionsForPartsOfAPage) {
  desk.port.at(view).actions = {AXActions::scrollDownByPage};
  with(view, down, 1.5, [](auto& operation) { EXPECT_FALSE(operation.performAccessibilityFallbackIfPossible()); });
  EXPECT_TRUE(performed.empty());
}

TEST_F(ScrolledView, usesThePageActionOfTheDirectionOnly) {
  desk.port.at(view).actions = {AXActions::scrollDownByPage};
  with(view, left, 1, [](auto& operation) { EXPECT_FALSE(operation.performWholePageActionIfPossible()); });
  EXPECT_TRUE(performed.empty());
}

TEST_F(ScrolledView, movesTheBarOfTheDirectionByWhatIsShownOfTheContent) {
  const AXElement horizontal = addBar("AXHorizontalOrientation", 0.0, rect(0, 190, 100, 10));
  const AXElement vertical = addBar("AXVerticalOrientation", 0.0, rect(90, 0, 10, 200));
  const AXElement content = add("AXGroup", rect(0, 0, 90, 1000));
  set(view, AXAttributes::children, AXArray{horizontal, vertical, content});
  with(view, down, 1, [](auto& operation) { EXPECT_TRUE(operation.adjustScrollBarValueIfPossible()); });
  EXPECT_EQ(valueOf(vertical), AXValue(0.25));
  EXPECT_EQ(valueOf(horizontal), AXValue(0.0));
}

TEST_F(ScrolledView, triesTheNextBarWhenOneDoesNotComply) {
  const AXElement stiff = addBar("AXVerticalOrientation", "no number", rect(80, 0, 10, 200));
  const AXElement vertical = addBar("AXVerticalOrientation", 1, rect(90, 0, 10, 200));
  set(view, AXAttributes::children, AXArray{stiff, vertical});
  with(view, up, 1, [](auto& operation) {
    EXPECT_EQ(operation.currentScrollBarValue(), 1);
    EXPECT_TRUE(operation.performScrollBarValueScrollIfPossible());
  });
  EXPECT_EQ(valueOf(vertical), AXValue(0.65));
}

TEST_F(ScrolledView, looksForScrollBarsNoDeeperThanFourLevels) {
  const auto nest = [&](int levels) {
    AXElement inner = addBar("AXVerticalOrientation", 0.5, rect(90, 0, 10, 200));
    for (int level = 1; level < levels; ++level) {
      const AXElement outer = add("AXGroup", rect(0, 0, 100, 200));
      set(outer, AXAttributes::children, AXArray{inner});
      inner = outer;
    }
    set(view, AXAttributes::children, AXArray{inner});
  };
  desk.run([&] {
    UIElementScrollOperation operation(desk.access, scheduler, view, down, 1);
    nest(4);
    EXPECT_EQ(operation.currentScrollBarValue(), 0.5);
    nest(5);
    EXPECT_EQ(operation.currentScrollBarValue(), std::nullopt);
  });
}

TEST_F(ScrolledView, stopsMeasuringTheContentBelowFiveLevels) {
  const AXElement bar = addBar("AXVerticalOrientation", 0.0, rect(90, 0, 10, 200));
  const auto nest = [&](int levels) {
    AXElement inner = add("AXGroup", rect(0, 0, 90, 1000));
    for (int level = 1; level < levels; ++level) {
      const AXElement outer = add("AXButton", rect(0, 0, 5000, 5000));
      set(outer, AXAttributes::children, AXArray{inner});
      inner = outer;
    }
    set(view, AXAttributes::children, AXArray{bar, inner});
  };
  desk.run([&] {
    UIElementScrollOperation operation(desk.access, scheduler, view, down, 1);
    nest(5);
    EXPECT_TRUE(operation.adjustScrollBarValueIfPossible());
    EXPECT_EQ(valueOf(bar), AXValue(0.25));
    set(bar, AXAttributes::value, 0.0);
    nest(6);
    EXPECT_TRUE(operation.adjustScrollBarValueIfPossible());
    EXPECT_EQ(valueOf(bar), AXValue(0.35));
  });
}

TEST_F(ScrolledView, givesUpAnEndlessScrollOnceItsCallerIsGone) {
  desk.port.at(view).actions = {AXActions::scrollDownByPage};
  bool wasCancelled = false;
  desk.run([&] {
    Task scrolling = scheduler.start("scrolling", [&] {
      UIElementScrollOperation operation(desk.access, scheduler, view, down, 1e12);
      try {
        operation.performWholePageActionIfPossible();
      } catch (const CancellationError&) {
        wasCancelled = true;
      }
    });
    const auto intercept = desk.port.intercept;
    desk.port.intercept = [&](const ScriptedAccessibility::Call& call) {
      if (performed.size() == 20) scrolling.cancel();
      return intercept(call);
    };
    scrolling.join();
  });
  EXPECT_TRUE(wasCancelled);
  EXPECT_LE(performed.size(), 22u);
}

}  // namespace
}  // namespace tavik
