#pragma once

#include <string>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "ComputerUseToolRuntime/Actions/CursorPresenter.h"

namespace tavik {

/// A cursor that writes down what it is asked for, and arrives when a test says so.
class ScriptedCursor : public CursorPresenter {
 public:
  /// Whether a move arrives at once, or only by `arrive`.
  bool arrivesAtOnce = true;
  std::vector<std::string> log;

  bool hasPosition() const override { return hasPosition_; }
  void place(Point at, std::optional<std::uint32_t> aboveWindowID) override {
    hasPosition_ = true;
    log.push_back("place " + said(at, aboveWindowID));
  }
  void move(Point to, std::optional<std::uint32_t> aboveWindowID) override {
    hasPosition_ = true;
    log.push_back("move " + said(to, aboveWindowID));
    if (arrivesAtOnce) arrive();
  }
  void setNextInteractionTimingHandler(NextInteractionTimingHandler handler) override {
    handler_ = std::move(handler);
  }
  void pulseClick(int count) override { log.push_back("pulse " + std::to_string(count)); }
  void beginDrag() override { log.push_back("drag"); }
  void hide() override {
    hasPosition_ = false;
    log.push_back("hide");
  }

  void arrive() {
    const auto handler = handler_;
    if (handler) handler(CursorNextInteractionTiming::immediate);
  }
  bool hasHandler() const { return static_cast<bool>(handler_); }

 private:
  static std::string said(Point at, std::optional<std::uint32_t> window) {
    return std::to_string(static_cast<int>(at.x)) + "," + std::to_string(static_cast<int>(at.y)) +
           (window ? " above " + std::to_string(*window) : "");
  }

  bool hasPosition_ = false;
  NextInteractionTimingHandler handler_;
};

}  // namespace tavik
