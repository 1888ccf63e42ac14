#include "Base/Concurrency/SimulatedScheduler.h"

#include <algorithm>
#include <cstdio>
#include <list>
#include <thread>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/PreemptionPoint.h"
#include "Base/Concurrency/TaskBody.h"

namespace tavik {

namespace {

/// Unwinds the stack of a task whose simulation has ended.
struct SimulationEnded {};

/// How often a task may wait while it unwinds before the simulation gives it up.
constexpr int maximumWaitsWhileUnwinding = 100000;

}  // namespace

/// A task and the thread that carries it. The thread runs only while it holds the
/// baton, that is, while its state is `running`.
struct SimulatedScheduler::SimulatedTask : TaskRecord {
  enum class State { ready, running, parked, finished };

  SimulatedTask(std::string name, Engine& engine, long number)
      : TaskRecord(std::move(name)), engine(engine), number(number) {}

  void unpark() override;
  static void becomeCurrent(std::shared_ptr<TaskRecord> task) { setCurrent(std::move(task)); }

  Engine& engine;
  const long number;
  std::condition_variable baton;
  State state = State::ready;
  bool permit = false;
  const char* waitsFor = "its first step";
  std::optional<MonotonicTime> deadline;
  std::vector<std::shared_ptr<SimulatedTask>> joiners;
  std::thread thread;
  int waitsWhileUnwinding = 0;
};

struct SimulatedScheduler::Engine : PreemptionPoint {
  using State = SimulatedTask::State;
  using TaskPointer = std::shared_ptr<SimulatedTask>;

  std::mutex mutex;
  std::condition_variable controllerBaton;
  bool controllerRuns = true;
  bool ending = false;
  std::optional<std::string> deadlock;
  MonotonicTime now;
  long nextNumber = 1;
  std::list<TaskPointer> tasks;
  std::vector<TaskPointer> ready;
  bool seeded = false;
  std::mt19937_64 random;
  SimulatedTask* body = nullptr;

  SimulatedTask* self() {
    auto* task = dynamic_cast<SimulatedTask*>(TaskRecord::currentOrNull());
    if (!task || &task->engine != this) failContract("a wait in virtual time outside a simulated task");
    return task;
  }

  void makeReady(SimulatedTask& task) {
    task.state = State::ready;
    ready.push_back(std::static_pointer_cast<SimulatedTask>(task.shared_from_this()));
  }

  /// Lets time pass until a parked task's deadline. False when there is none.
  bool advanceTime() {
    std::optional<MonotonicTime> next;
    for (const TaskPointer& task : tasks) {
      if (task->state == State::parked && task->deadline && (!next || *task->deadline < *next)) {
        next = task->deadline;
      }
    }
    if (!next) return false;
    now = std::max(now, *next);
    for (const TaskPointer& task : tasks) {
      if (task->state == State::parked && task->deadline && *task->deadline <= now) makeReady(*task);
    }
    return true;
  }

  TaskPointer takeNext() {
    if (ready.empty() && !advanceTime()) return nullptr;
    std::size_t index = seeded && ready.size() > 1 ? random() % ready.size() : 0;
    TaskPointer next = ready[index];
    ready.erase(ready.begin() + static_cast<std::ptrdiff_t>(index));
    return next;
  }

  std::string deadlockReport() const {
    std::string report = "deadlock: no task can run and no deadline is left";
    for (const TaskPointer& task : tasks) {
      if (task->state == State::parked) {
        report += "\n  '" + task->name() + "' (task " + std::to_string(task->number) + ") waits for " +
                  task->waitsFor;
      }
    }
    return report;
  }

  void handToController() {
    controllerRuns = true;
    controllerBaton.notify_all();
  }

  void handTo(SimulatedTask& task) {
    task.state = State::running;
    task.baton.notify_all();
  }

  void handOn() {
    if (TaskPointer next = takeNext()) {
      handTo(*next);
    } else {
      deadlock = deadlockReport();
      handToController();
    }
  }

  /// Gives the baton away and waits for its return.
  void giveWay(std::unique_lock<std::mutex>& lock, SimulatedTask& task) {
    handOn();
    awaitBaton(lock, task);
  }

  void awaitBaton(std::unique_lock<std::mutex>& lock, SimulatedTask& task) {
    task.baton.wait(lock, [&] { return task.state == State::running; });
    if (ending) throwWhenPossible(task);
  }

  void throwWhenPossible(SimulatedTask& task) {
    if (std::uncaught_exceptions() == 0) throw SimulationEnded();
    if (++task.waitsWhileUnwinding > maximumWaitsWhileUnwinding) {
      failContract(("task '" + task.name() + "' waits for ever while it unwinds, for " + task.waitsFor).c_str());
    }
  }

  void beforeLock() override {
    std::unique_lock lock(mutex);
    if (ending || ready.empty() || random() % 4 != 0) return;
    SimulatedTask* task = self();
    makeReady(*task);
    giveWay(lock, *task);
  }

  void finish(SimulatedTask& task) {
    std::lock_guard lock(mutex);
    task.state = State::finished;
    for (const TaskPointer& joiner : task.joiners) {
      if (joiner->state == State::parked) makeReady(*joiner);
    }
    task.joiners.clear();
    if (&task == body) {
      handToController();
    } else {
      handOn();
    }
  }

  void runThread(const TaskPointer& task, std::function<void()> work, std::string requestID) {
    SimulatedTask::becomeCurrent(task);
    try {
      {
        std::unique_lock lock(mutex);
        awaitBaton(lock, *task);
      }
      if (seeded) PreemptionPoint::setForThisThread(this);
      RequestIDScope inherited(std::move(requestID));
      runTaskBody(task->name(), work);
      work = nullptr;
    } catch (const SimulationEnded&) {
    }
    PreemptionPoint::setForThisThread(nullptr);
    finish(*task);
    SimulatedTask::becomeCurrent(nullptr);
  }

  TaskPointer startTask(std::string name, std::function<void()> work) {
    std::lock_guard lock(mutex);
    joinFinishedThreads();
    auto task = std::make_shared<SimulatedTask>(std::move(name), *this, nextNumber++);
    tasks.push_back(task);
    makeReady(*task);
    task->thread = std::thread([this, task, work = std::move(work), requestID = TaskRecord::requestID()]() mutable {
      runThread(task, std::move(work), std::move(requestID));
    });
    return task;
  }

  /// A finished thread needs the mutex no more, so that joining under it is safe.
  void joinFinishedThreads() {
    tasks.remove_if([](const TaskPointer& task) {
      if (task->state != State::finished || task->thread.get_id() == std::this_thread::get_id()) return false;
      task->thread.join();
      return true;
    });
  }

  /// From the controller: lets tasks run until the body returns or nothing can go on.
  void control() {
    std::unique_lock lock(mutex);
    controllerRuns = false;
    handOn();
    controllerBaton.wait(lock, [this] { return controllerRuns; });
  }

  /// From the controller: unwinds every task that is left, one at a time.
  void endAll() {
    std::unique_lock lock(mutex);
    ending = true;
    body = nullptr;
    while (true) {
      TaskPointer left;
      for (const TaskPointer& task : tasks) {
        if (task->state != State::finished) left = task;
      }
      if (!left) break;
      // Every wait returns now, so all tasks that are left are able to run.
      for (const TaskPointer& task : tasks) {
        if (task->state == State::parked) makeReady(*task);
      }
      controllerRuns = false;
      handOn();
      controllerBaton.wait(lock, [this] { return controllerRuns; });
    }
    joinFinishedThreads();
    ending = false;
    deadlock.reset();
  }
};

void SimulatedScheduler::SimulatedTask::unpark() {
  std::lock_guard lock(engine.mutex);
  permit = true;
  if (state == State::parked) engine.makeReady(*this);
}

SimulatedScheduler::SimulatedScheduler(std::optional<std::uint64_t> seed) : engine_(std::make_shared<Engine>()) {
  engine_->seeded = seed.has_value();
  engine_->random.seed(seed.value_or(0));
}

SimulatedScheduler::~SimulatedScheduler() { engine_->endAll(); }

void SimulatedScheduler::run(std::function<void()> body) {
  std::exception_ptr failure;
  auto task = engine_->startTask("test body", [&] {
    try {
      body();
    } catch (const std::exception&) {
      failure = std::current_exception();
    }
  });
  engine_->body = task.get();
  engine_->control();
  engine_->body = nullptr;
  if (engine_->deadlock) {
    std::string report = *engine_->deadlock;
    engine_->endAll();
    throw DeadlockError(report);
  }
  if (failure) std::rethrow_exception(failure);
}

void SimulatedScheduler::settle() {
  std::unique_lock lock(engine_->mutex);
  SimulatedTask* task = engine_->self();
  while (!engine_->ready.empty()) {
    // Behind all others, also when a seed picks at random.
    auto next = engine_->takeNext();
    task->state = SimulatedTask::State::ready;
    engine_->ready.push_back(std::static_pointer_cast<SimulatedTask>(task->shared_from_this()));
    engine_->handTo(*next);
    engine_->awaitBaton(lock, *task);
  }
}

MonotonicTime SimulatedScheduler::now() const {
  std::lock_guard lock(engine_->mutex);
  return engine_->now;
}

WallTime SimulatedScheduler::wallTime() const {
  using namespace std::chrono;
  constexpr WallTime start = sys_days(2026y / January / 1d);
  return start + now().sinceStart;
}

Task SimulatedScheduler::start(std::string name, std::function<void()> body) {
  return Task(*this, engine_->startTask(std::move(name), std::move(body)));
}

void SimulatedScheduler::park(const char* what, std::optional<MonotonicTime> deadline) {
  requireNoLockHeld("a wait");
  std::unique_lock lock(engine_->mutex);
  SimulatedTask* task = engine_->self();
  task->waitsFor = what;
  if (engine_->ending) {
    engine_->throwWhenPossible(*task);
    engine_->makeReady(*task);
    engine_->giveWay(lock, *task);
    return;
  }
  if (!task->permit) {
    task->state = SimulatedTask::State::parked;
    task->deadline = deadline;
    engine_->giveWay(lock, *task);
    task->deadline.reset();
  }
  task->permit = false;
}

void SimulatedScheduler::yield() {
  std::unique_lock lock(engine_->mutex);
  SimulatedTask* task = engine_->self();
  engine_->makeReady(*task);
  engine_->giveWay(lock, *task);
}

std::uint64_t SimulatedScheduler::random(std::uint64_t bound) {
  std::lock_guard lock(engine_->mutex);
  return bound == 0 ? 0 : engine_->random() % bound;
}

std::size_t SimulatedScheduler::unfinishedTaskCount() const {
  std::lock_guard lock(engine_->mutex);
  return static_cast<std::size_t>(std::count_if(engine_->tasks.begin(), engine_->tasks.end(), [](const auto& task) {
    return task->state != SimulatedTask::State::finished;
  }));
}

bool SimulatedScheduler::isFinished(const TaskRecord& record) const {
  std::lock_guard lock(engine_->mutex);
  return dynamic_cast<const SimulatedTask&>(record).state == SimulatedTask::State::finished;
}

void SimulatedScheduler::join(const std::shared_ptr<TaskRecord>& record) {
  auto target = std::dynamic_pointer_cast<SimulatedTask>(record);
  if (!dynamic_cast<SimulatedTask*>(TaskRecord::currentOrNull())) {
    // An owner that outlived `run` takes its tasks down from outside.
    if (!isFinished(*record)) run([&] { join(record); });
    return;
  }
  while (!isFinished(*record)) {
    {
      std::lock_guard lock(engine_->mutex);
      SimulatedTask* task = engine_->self();
      target->joiners.push_back(std::static_pointer_cast<SimulatedTask>(task->shared_from_this()));
    }
    park("the end of a task", std::nullopt);
  }
}

void exploreSeeds(std::uint64_t count, const std::function<void(SimulatedScheduler&)>& body) {
  for (std::uint64_t seed = 0; seed < count; ++seed) {
    try {
      SimulatedScheduler scheduler(seed);
      body(scheduler);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "seed %llu failed: %s\n", static_cast<unsigned long long>(seed), error.what());
      throw;
    }
  }
}

}  // namespace tavik
