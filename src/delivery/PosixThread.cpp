#include "delivery/PosixThread.h"

#include <errno.h>
#include <signal.h>
#include <time.h>

#include <new>

#include "delivery/IRunnable.h"
#include "platform/CaughtException.h"
#include "platform/ModuleReference.h"
#include "platform/Platform.h"
#include "platform/PosixLoadSampler.h"

namespace qz {
namespace {

constexpr const QZChar* kStartSource = QZ_TEXT("PosixThread::Start");
constexpr const QZChar* kStopSource = QZ_TEXT("PosixThread::Stop");

timespec DeadlineAfter(uint32_t milliseconds) {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  t.tv_sec += static_cast<time_t>(milliseconds / 1000);
  t.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
  if (t.tv_nsec >= 1000000000L) {
    t.tv_sec += 1;
    t.tv_nsec -= 1000000000L;
  }
  return t;
}

// The earlier of a deadline and a moment of the monotonic clock in milliseconds.
timespec EarlierOf(const timespec& deadline, uint64_t millis) {
  timespec t;
  t.tv_sec = static_cast<time_t>(millis / 1000);
  t.tv_nsec = static_cast<long>(millis % 1000) * 1000000L;
  const bool earlier =
      t.tv_sec < deadline.tv_sec || (t.tv_sec == deadline.tv_sec && t.tv_nsec < deadline.tv_nsec);
  return earlier ? t : deadline;
}

}  // namespace

struct PosixThread::Control {
  explicit Control(IRunnable* r) : runnable(r) {
    pthread_mutex_init(&lock, nullptr);
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    // Monotonic, so a clock change neither stretches nor cuts a sleep.
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_init(&wakeCond, &attr);
    pthread_cond_init(&doneCond, &attr);
    pthread_condattr_destroy(&attr);
  }
  ~Control() {
    pthread_cond_destroy(&doneCond);
    pthread_cond_destroy(&wakeCond);
    pthread_mutex_destroy(&lock);
  }
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  IRunnable* const runnable;
  pthread_mutex_t lock;
  pthread_cond_t wakeCond;
  pthread_cond_t doneCond;
  bool woken = false;     // guarded by lock
  bool finished = false;  // guarded by lock
  // Set by Wake, cleared when Sleep returns: while set, a wake is pending or
  // the thread is on its way to work, so Wake need not take the lock.
  std::atomic<bool> wakePending{false};
  // The thread's hold on the library's module, set before the thread exists.
  void* module = nullptr;
};

PosixThread::PosixThread(IRunnable* runnable)
    : control_(std::make_shared<Control>(runnable)),
      stopTimeout_(kDefaultStopTimeoutMs),
      ended_(true),
      state_(State::kCreated),
      thread_() {}

PosixThread::~PosixThread() { Stop(); }

void* PosixThread::ThreadProc(void* argument) {
  // The thread owns a reference of its own: a hung thread that outlives its
  // PosixThread still finds its signal and flags in place.
  std::shared_ptr<Control> control(std::move(*static_cast<std::shared_ptr<Control>*>(argument)));
  delete static_cast<std::shared_ptr<Control>*>(argument);
  pthread_setname_np(pthread_self(), "qz-worker");

  try {
    control->runnable->Run();
  } catch (...) {
    // An exception must not end the host's process with this thread.
    LogCaughtException(QZ_TEXT("PosixThread::Run"));
  }
  PosixLoadSampler::Instance().Release(control.get());

  pthread_mutex_lock(&control->lock);
  control->finished = true;
  pthread_cond_broadcast(&control->doneCond);
  pthread_mutex_unlock(&control->lock);
  // Dropped once this procedure has returned: a host may have unloaded the
  // library during the run.
  ModuleReference::ReleaseAtThreadEnd(control->module);
  return nullptr;
}

void PosixThread::Start() {
  std::lock_guard<std::mutex> guard(stateLock_);
  if (state_ != State::kCreated) {
    Platform::LogInfo(kStartSource, QZ_TEXT("Thread already stopped"));
    return;
  }
  state_ = State::kStopped;
  auto* argument = new (std::nothrow) std::shared_ptr<Control>(control_);
  if (argument == nullptr) {
    Platform::LogError(kStartSource, QZ_TEXT("Out of memory"));
    return;
  }

  // Asynchronous signals belong to the host's threads; the new thread inherits
  // this mask. Faults stay unblocked so that crash handlers still see them.
  sigset_t all;
  sigset_t previous;
  sigfillset(&all);
  for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
    sigdelset(&all, fault);
  }
  pthread_sigmask(SIG_SETMASK, &all, &previous);
  // The library stays loaded while the thread runs its code.
  control_->module = ModuleReference::Acquire();
  int error = pthread_create(&thread_, nullptr, &PosixThread::ThreadProc, argument);
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);

  if (error != 0) {
    ModuleReference::Release(control_->module);
    control_->module = nullptr;
    delete argument;
    StringBuf message(QZ_TEXT("pthread_create() = "));
    message.Append(static_cast<int32_t>(error), 10);
    Platform::LogError(kStartSource, message);
    return;
  }
  state_ = State::kRunning;
}

void PosixThread::Stop() {
  pthread_t thread;
  {
    std::lock_guard<std::mutex> guard(stateLock_);
    bool running = state_ == State::kRunning;
    state_ = State::kStopped;
    if (!running) return;
    thread = thread_;
  }

  if (pthread_equal(thread, pthread_self())) {
    // Waiting for ourselves would never end; the thread finishes on its own.
    Platform::LogInfo(kStopSource, QZ_TEXT("Thread still alive"));
    pthread_detach(thread);
    ended_.store(false);
    return;
  }

  Control& c = *control_;
  pthread_mutex_lock(&c.lock);
  bool finished = c.finished;
  if (finished) {
    Platform::LogInfo(kStopSource, QZ_TEXT("Thread already dead"));
  } else {
    Platform::LogInfo(kStopSource, QZ_TEXT("Thread still alive"));
    c.woken = true;
    pthread_cond_signal(&c.wakeCond);
    timespec deadline = DeadlineAfter(stopTimeout_.load());
    while (!c.finished) {
      if (pthread_cond_timedwait(&c.doneCond, &c.lock, &deadline) == ETIMEDOUT) break;
    }
    finished = c.finished;
  }
  pthread_mutex_unlock(&c.lock);

  if (finished) {
    // Only the return from the thread procedure is left: a short join.
    pthread_join(thread, nullptr);
    return;
  }
  Platform::LogInfo(kStopSource, QZ_TEXT("Thread hung"));
  pthread_detach(thread);
  ended_.store(false);
}

void PosixThread::Wake() {
  Control& c = *control_;
  if (c.wakePending.exchange(true)) return;
  pthread_mutex_lock(&c.lock);
  c.woken = true;
  pthread_cond_signal(&c.wakeCond);
  pthread_mutex_unlock(&c.lock);
}

void PosixThread::Sleep(uint32_t milliseconds) {
  Control& c = *control_;
  PosixLoadSampler& sampler = PosixLoadSampler::Instance();
  pthread_mutex_lock(&c.lock);
  if (!c.woken && milliseconds > 0) {
    const timespec deadline = DeadlineAfter(milliseconds);
    while (!c.woken) {
      // One waiting thread samples the machine's load about once a second, so
      // that a probe finds the load of the last second (PosixLoadSampler).
      const uint64_t due = sampler.NextSampleFor(&c, PosixLoadSampler::NowMillis());
      if (due <= PosixLoadSampler::NowMillis()) {
        pthread_mutex_unlock(&c.lock);
        sampler.Sample();
        pthread_mutex_lock(&c.lock);
        continue;
      }
      const timespec until = EarlierOf(deadline, due);
      if (pthread_cond_timedwait(&c.wakeCond, &c.lock, &until) == ETIMEDOUT &&
          until.tv_sec == deadline.tv_sec && until.tv_nsec == deadline.tv_nsec) {
        break;
      }
    }
  }
  // Auto-reset: one wake releases one sleep. A Wake that came since this
  // thread woke found wakePending set and did nothing: its work was queued
  // before it, so the pass this thread is about to make takes it.
  c.woken = false;
  c.wakePending.store(false);
  pthread_mutex_unlock(&c.lock);
}

void PosixThread::SetStopTimeout(int32_t milliseconds) {
  stopTimeout_.store(milliseconds < 1 ? kDefaultStopTimeoutMs : static_cast<uint32_t>(milliseconds));
}

uint32_t PosixThread::GetStopTimeout() const { return stopTimeout_.load(); }

bool PosixThread::HasEnded() const { return ended_.load(); }

}  // namespace qz
