#include "delivery/PosixMutex.h"

namespace qz {

PosixMutex::PosixMutex() {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  // Callers re-enter freely (a locked queue operation calling another one).
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&mutex_, &attr);
  pthread_mutexattr_destroy(&attr);
}

PosixMutex::~PosixMutex() { pthread_mutex_destroy(&mutex_); }

void PosixMutex::Lock() { pthread_mutex_lock(&mutex_); }

void PosixMutex::Unlock() { pthread_mutex_unlock(&mutex_); }

}  // namespace qz
