// A background thread's work loop.
#ifndef QZ_DELIVERY_IRUNNABLE_H
#define QZ_DELIVERY_IRUNNABLE_H

namespace qz {

class IRunnable {
 public:
  // The thread's whole work: called once on the new thread; the thread ends when it returns.
  virtual void Run() = 0;
  virtual ~IRunnable() = default;
};

}  // namespace qz

#endif  // QZ_DELIVERY_IRUNNABLE_H
