// Re-entrant lock over a Windows critical section.
#ifndef QZ_DELIVERY_WIN32MUTEX_H
#define QZ_DELIVERY_WIN32MUTEX_H

#include <windows.h>

#include "delivery/Mutex.h"

namespace qz {

class Win32Mutex : public Mutex {
 public:
  Win32Mutex();
  ~Win32Mutex() override;
  Win32Mutex(const Win32Mutex&) = delete;
  Win32Mutex& operator=(const Win32Mutex&) = delete;

  void Lock() override;
  void Unlock() override;

 private:
  // On the heap: a critical section must never move once initialised.
  CRITICAL_SECTION* section;
};

}  // namespace qz

#endif  // QZ_DELIVERY_WIN32MUTEX_H
