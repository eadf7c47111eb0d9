// The one process-wide run behind the API.
#ifndef QZ_API_RUNSTATE_H
#define QZ_API_RUNSTATE_H

namespace qz {

class Mutex;

// The run's global lock; null when the library has no platform.
Mutex* GlobalLock();
// Load step: makes the lock through the platform if it does not exist yet.
void CreateGlobalLock();
// Unload step.
void DestroyGlobalLock();

}  // namespace qz

#endif  // QZ_API_RUNSTATE_H
