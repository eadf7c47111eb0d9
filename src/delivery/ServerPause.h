// The pause a collector asks for with Retry-After on a 503 or 429 answer. The
// sending thread holds off until then instead of counting a failure; the
// pause never runs past the flow controller's pause after failures (60 s when
// that is 0, which would mean "until a success").
#ifndef QZ_DELIVERY_SERVERPAUSE_H
#define QZ_DELIVERY_SERVERPAUSE_H

#include <cstdint>

namespace qz {

class FlowController;
class XMLTransmitter;

class ServerPause {
 public:
  // After a post that failed: true when its answer asked for a pause, which
  // then starts; the caller records no failure.
  bool Begin(const XMLTransmitter& transmitter, const FlowController& flow);
  // While true, the thread stores or keeps its batches instead of posting.
  bool IsActive() const;

 private:
  uint64_t until = 0;  // milliseconds since 1970
};

}  // namespace qz

#endif  // QZ_DELIVERY_SERVERPAUSE_H
