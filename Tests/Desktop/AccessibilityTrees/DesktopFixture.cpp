#include "DesktopFixture.h"

namespace tavik {

using namespace std::chrono_literals;

TestMainQueue::TestMainQueue() : thread_([this] { serve(); }) {}

TestMainQueue::~TestMainQueue() {
  {
    std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void TestMainQueue::post(std::function<void()> work) {
  {
    std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
  }
  changed_.notify_one();
}

void TestMainQueue::serve() {
  while (true) {
    std::function<void()> next;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [&] { return isEnding_ || !work_.empty(); });
      if (isEnding_) return;
      next = std::move(work_.front());
      work_.pop_front();
    }
    next();
  }
}

bool DesktopFixture::becomesTrue(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
  auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(30ms);
  }
  return true;
}

AXElement DesktopFixture::appeared(const ApplicationUnderTest& application) {
  AXElement root = port.createApplication(application.pid());
  bool hasWindow = becomesTrue([&] { return port.getAttributeValueCount(root, "AXWindows").value > 0; }, 40s);
  EXPECT_TRUE(hasWindow) << "no window of process " << application.pid();
  std::size_t before = 0;
  becomesTrue(
      [&] {
        std::size_t now = readTree(port, root).count();
        bool isSettled = now == before && now > 3;
        before = now;
        if (!isSettled) std::this_thread::sleep_for(150ms);
        return isSettled;
      },
      10s);
  return root;
}

TreeNode DesktopFixture::tree(const ApplicationUnderTest& application) {
  return readTree(port, port.createApplication(application.pid()));
}

std::string DesktopFixture::text(const AXElement& element, const std::string& attribute) {
  AXValue value = port.copyAttributeValue(element, attribute).value;
  auto* text = value.get<std::string>();
  return text ? *text : "";
}

double DesktopFixture::number(const AXElement& element, const std::string& attribute) {
  AXValue value = port.copyAttributeValue(element, attribute).value;
  if (auto* integer = value.get<std::int64_t>()) return static_cast<double>(*integer);
  auto* real = value.get<double>();
  return real ? *real : -1;
}

AXElement DesktopFixture::element(const AXElement& element, const std::string& attribute) {
  AXValue value = port.copyAttributeValue(element, attribute).value;
  auto* found = value.get<AXElement>();
  return found ? *found : AXElement();
}

}  // namespace tavik
