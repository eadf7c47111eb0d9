// The Retry-After header of an answer: when the server asks the client to
// come back.
#ifndef QZ_DELIVERY_RETRYAFTER_H
#define QZ_DELIVERY_RETRYAFTER_H

#include <cstddef>
#include <cstdint>

namespace qz {

// Milliseconds from nowMillis (since 1970, UTC) until the time the value
// names: a number of seconds, or an HTTP date in any of its three forms
// (IMF-fixdate, RFC 850, asctime), read as UTC. A date already past gives 0;
// results are capped at INT32_MAX. -1 when the value is neither, so that the
// answer counts as one without the header.
int64_t RetryAfterMillis(const char* value, size_t length, uint64_t nowMillis);

}  // namespace qz

#endif  // QZ_DELIVERY_RETRYAFTER_H
