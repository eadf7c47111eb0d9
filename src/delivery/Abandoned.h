// Work whose thread could not be ended (a Linux thread cannot be killed) must
// outlive its owner, since the thread still uses it.
#ifndef QZ_DELIVERY_ABANDONED_H
#define QZ_DELIVERY_ABANDONED_H

namespace qz {

class IRunnable;

// Keeps the runnable allocated for the life of the process. Listing it says
// that the memory is held on purpose; when even the list cannot grow, the
// runnable stays allocated all the same.
void KeepAbandoned(IRunnable* runnable) noexcept;

}  // namespace qz

#endif  // QZ_DELIVERY_ABANDONED_H
