// The identity of an operating-system thread, comparable from any thread.
#ifndef QZ_DELIVERY_THREADID_H
#define QZ_DELIVERY_THREADID_H

namespace qz {

class ThreadID {
 public:
  virtual ~ThreadID() = default;
  // True when other is not null and names the same operating-system thread.
  virtual bool Equals(const ThreadID* other) const = 0;
};

}  // namespace qz

#endif  // QZ_DELIVERY_THREADID_H
