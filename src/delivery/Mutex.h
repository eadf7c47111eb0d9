// The library's one locking primitive (re-entrant).
#ifndef QZ_DELIVERY_MUTEX_H
#define QZ_DELIVERY_MUTEX_H

namespace qz {

class Mutex {
 public:
  // Blocks until the calling thread holds the lock; a holder may take it again
  // and must release it as many times.
  virtual void Lock() = 0;
  // REQUIRES: the calling thread holds the lock.
  virtual void Unlock() = 0;
  virtual ~Mutex() = default;
};

// Holds a Mutex for one scope. A null mutex (no platform) locks nothing.
class MutexLock {
 public:
  explicit MutexLock(Mutex* mutex) : mutex_(mutex) {
    if (mutex_ != nullptr) mutex_->Lock();
  }
  ~MutexLock() {
    if (mutex_ != nullptr) mutex_->Unlock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex* mutex_;
};

}  // namespace qz

#endif  // QZ_DELIVERY_MUTEX_H
