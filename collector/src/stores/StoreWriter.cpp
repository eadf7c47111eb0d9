#include "stores/StoreWriter.h"

#include "common/Log.h"

namespace qz {
namespace collector {

namespace {

// Enough to amortise a commit, small enough to keep one transaction short.
constexpr size_t kMaxGroup = 256;

}  // namespace

StoreWriter::StoreWriter(Store& store, size_t maxPending) : store(store), maxPending(maxPending) {
  // Every member is ready before the thread sees this object.
  thread = std::thread(&StoreWriter::Run, this);
}

StoreWriter::~StoreWriter() { Stop(); }

StoreWriter::Result StoreWriter::Submit(Rows rows, std::chrono::milliseconds wait) {
  auto pending = std::make_shared<Pending>();
  pending->rows = std::move(rows);
  std::unique_lock<std::mutex> hold(lock);
  if (stopping || queue.size() >= maxPending) return Result::Busy;
  queue.push_back(pending);
  wake.notify_one();
  if (!finished.wait_for(hold, wait, [&] { return pending->done; })) return Result::TimedOut;
  return pending->stored ? Result::Stored : Result::Failed;
}

void StoreWriter::Stop() {
  {
    std::lock_guard<std::mutex> hold(lock);
    stopping = true;
  }
  wake.notify_one();
  if (thread.joinable()) thread.join();
}

void StoreWriter::Run() {
  for (;;) {
    std::deque<std::shared_ptr<Pending>> group;
    {
      std::unique_lock<std::mutex> hold(lock);
      wake.wait(hold, [&] { return stopping || !queue.empty(); });
      if (queue.empty()) return;  // stopping, and nothing left
      while (!queue.empty() && group.size() < kMaxGroup) {
        group.push_back(std::move(queue.front()));
        queue.pop_front();
      }
    }
    WriteGroup(group);
    {
      std::lock_guard<std::mutex> hold(lock);
      for (auto& p : group) p->done = true;
    }
    finished.notify_all();
  }
}

void StoreWriter::WriteGroup(std::deque<std::shared_ptr<Pending>>& group) {
  std::vector<const Rows*> all;
  for (auto& p : group) all.push_back(&p->rows);
  std::string error;
  if (store.Write(all, error)) {
    for (auto& p : group) p->stored = true;
    return;
  }
  if (group.size() == 1) {
    Log::Error("StoreWriter", "batch not stored: " + error);
    return;
  }
  for (auto& p : group) {
    std::string own;
    p->stored = store.Write({&p->rows}, own);
    if (!p->stored) Log::Error("StoreWriter", "batch not stored: " + own);
  }
}

}  // namespace collector
}  // namespace qz
