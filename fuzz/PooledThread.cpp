#include "PooledThread.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <thread>
#include <vector>

#include "delivery/IRunnable.h"
#include "platform/CaughtException.h"
#include "platform/Platform.h"

namespace qz {
namespace fuzz {
namespace {

// The control block of the job the current pooled thread runs, if any.
thread_local const void* t_running = nullptr;

// OS threads that wait for jobs; one is added whenever none is idle. They
// are never ended: the pool lives as long as the process.
class Pool {
 public:
  static Pool& Instance() {
    static Pool* pool = new Pool();  // never destroyed: parked threads use it at exit
    return *pool;
  }

  // False when no OS thread could be made for the job.
  bool Run(std::function<void()> job) {
    std::unique_lock<std::mutex> guard(lock_);
    if (idle_ == 0) {
      try {
        std::thread(&Pool::Work, this).detach();
      } catch (...) {
        return false;
      }
      ++idle_;
    }
    --idle_;
    jobs_.push_back(std::move(job));
    ready_.notify_one();
    return true;
  }

 private:
  void Work() {
    std::unique_lock<std::mutex> guard(lock_);
    for (;;) {
      ready_.wait(guard, [this] { return !jobs_.empty(); });
      std::function<void()> job = std::move(jobs_.back());
      jobs_.pop_back();
      guard.unlock();
      job();
      job = nullptr;  // releases what the job held before the thread parks
      guard.lock();
      ++idle_;
    }
  }

  std::mutex lock_;
  std::condition_variable ready_;
  std::vector<std::function<void()>> jobs_;
  size_t idle_ = 0;  // threads waiting or about to, less the jobs given out
};

}  // namespace

struct PooledThread::Control {
  explicit Control(IRunnable* r) : runnable(r) {}

  IRunnable* const runnable;
  std::mutex lock;
  std::condition_variable wakeCond;
  std::condition_variable doneCond;
  bool woken = false;     // guarded by lock
  bool finished = false;  // guarded by lock
};

PooledThread::PooledThread(IRunnable* runnable)
    : control_(std::make_shared<Control>(runnable)),
      stopTimeout_(kDefaultStopTimeoutMs),
      ended_(true),
      state_(State::kCreated) {}

PooledThread::~PooledThread() { Stop(); }

void PooledThread::Start() {
  std::lock_guard<std::mutex> guard(stateLock_);
  if (state_ != State::kCreated) {
    Platform::LogInfo(QZ_TEXT("PooledThread::Start"), QZ_TEXT("Thread already stopped"));
    return;
  }
  state_ = State::kStopped;
  std::shared_ptr<Control> control = control_;
  const bool started = Pool::Instance().Run([control] {
    t_running = control.get();
    try {
      control->runnable->Run();
    } catch (...) {
      LogCaughtException(QZ_TEXT("PooledThread::Run"));
    }
    t_running = nullptr;
    std::lock_guard<std::mutex> done(control->lock);
    control->finished = true;
    control->doneCond.notify_all();
  });
  if (started) state_ = State::kRunning;
}

void PooledThread::Stop() {
  {
    std::lock_guard<std::mutex> guard(stateLock_);
    const bool running = state_ == State::kRunning;
    state_ = State::kStopped;
    if (!running) return;
  }
  if (t_running == control_.get()) {
    // Its own runnable stopping it: waiting would never end.
    ended_.store(false);
    return;
  }
  Control& c = *control_;
  std::unique_lock<std::mutex> guard(c.lock);
  c.woken = true;
  c.wakeCond.notify_one();
  if (!c.doneCond.wait_for(guard, std::chrono::milliseconds(stopTimeout_.load()), [&c] { return c.finished; })) {
    Platform::LogInfo(QZ_TEXT("PooledThread::Stop"), QZ_TEXT("Thread hung"));
    ended_.store(false);
  }
}

void PooledThread::Wake() {
  Control& c = *control_;
  std::lock_guard<std::mutex> guard(c.lock);
  c.woken = true;
  c.wakeCond.notify_one();
}

void PooledThread::Sleep(uint32_t milliseconds) {
  Control& c = *control_;
  std::unique_lock<std::mutex> guard(c.lock);
  if (milliseconds > 0) {
    c.wakeCond.wait_for(guard, std::chrono::milliseconds(milliseconds), [&c] { return c.woken; });
  }
  c.woken = false;  // one wake releases one sleep
}

void PooledThread::SetStopTimeout(int32_t milliseconds) {
  stopTimeout_.store(milliseconds < 1 ? kDefaultStopTimeoutMs : static_cast<uint32_t>(milliseconds));
}

uint32_t PooledThread::GetStopTimeout() const { return stopTimeout_.load(); }

bool PooledThread::HasEnded() const { return ended_.load(); }

}  // namespace fuzz
}  // namespace qz
