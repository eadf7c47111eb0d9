// The bounded hand-over point between host threads (Add) and the transmitter
// thread (TakeAll). Owns the transmitter thread.
#ifndef QZ_DELIVERY_MESSAGEQUEUE_H
#define QZ_DELIVERY_MESSAGEQUEUE_H

#include <vector>

namespace qz {

class Configuration;
class FlowController;
class Message;
class Mutex;
class TransmitterThread;

class MessageQueue {
 public:
  // The transmitter thread is created here but does not run until Start.
  MessageQueue(const Configuration* configuration, FlowController* flowController);
  virtual ~MessageQueue();
  MessageQueue(const MessageQueue&) = delete;
  MessageQueue& operator=(const MessageQueue&) = delete;

  void Start();
  // Takes ownership; drops the oldest message on overflow and wakes the
  // transmitter at the high-water mark. Returns the message that did not stay
  // (the dropped one, or message itself once stopped or when no memory was
  // left to keep it) for the caller to destroy after it has released its
  // locks, or null. Never throws. REQUIRES: the run's global lock.
  Message* Add(Message* message);
  // Moves every queued message, oldest first, into out (left as it was when
  // nothing is queued). Called by the transmitter thread only.
  void TakeAll(std::vector<Message*>& out);
  void SendMessages();
  void SetSendDisabled(bool disabled);
  // Refuses further messages, then stops the transmitter, whose last pass
  // sends or stores what is left.
  void Stop();

 private:
  Mutex* queueLock;
  TransmitterThread* transmitter;
  FlowController* flowController;
  bool stopped;
  std::vector<Message*> messages;
};

}  // namespace qz

#endif  // QZ_DELIVERY_MESSAGEQUEUE_H
