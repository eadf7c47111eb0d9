// What one client may make the server spend: connections, bytes and time.
#ifndef QZ_COLLECTOR_SERVERLIMITS_H
#define QZ_COLLECTOR_SERVERLIMITS_H

#include <cstddef>

namespace qz {
namespace collector {

struct ServerLimits {
  size_t maxBody = 8u << 20;        // bytes of one batch
  size_t maxMemory = 256u << 20;    // bytes of all requests being read, checked or stored at once
  size_t maxConnections = 16384;    // open at once; more are closed as they come
  int handshakeTimeoutMs = 5000;    // a TLS handshake
  int idleTimeoutMs = 5000;         // from a connection being ready until a request's head has arrived
  int requestTimeoutMs = 10000;     // a whole request, head and body, from the same moment
  int readTimeoutMs = 5000;         // any silence while a body arrives
  int writeTimeoutMs = 5000;        // sending an answer
  int workTimeoutMs = 30000;        // checking and storing a request before it is answered 503
  size_t workers = 0;               // threads that check batches; 0: one per processor
  size_t maxQueued = 1024;          // requests waiting for one; more are answered 503
  size_t ioThreads = 0;             // threads for the network and TLS; 0: one per processor
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_SERVERLIMITS_H
