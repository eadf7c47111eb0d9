// Re-entrant lock over a pthread mutex.
#ifndef QZ_DELIVERY_POSIXMUTEX_H
#define QZ_DELIVERY_POSIXMUTEX_H

#include <pthread.h>

#include "delivery/Mutex.h"

namespace qz {

class PosixMutex : public Mutex {
 public:
  PosixMutex();
  ~PosixMutex() override;
  PosixMutex(const PosixMutex&) = delete;
  PosixMutex& operator=(const PosixMutex&) = delete;

  void Lock() override;
  void Unlock() override;

 private:
  pthread_mutex_t mutex_;
};

}  // namespace qz

#endif  // QZ_DELIVERY_POSIXMUTEX_H
