// Completion of the collection endpoint, shared by every platform.
#ifndef QZ_PLATFORM_DEFAULTENDPOINT_H
#define QZ_PLATFORM_DEFAULTENDPOINT_H

namespace qz {

class Configuration;

// An empty location becomes the default endpoint; a bare service address
// (ending ".svc") gets its "/Publish" operation. Null is ignored.
void ApplyDefaultEndpointTo(Configuration* configuration);

}  // namespace qz

#endif  // QZ_PLATFORM_DEFAULTENDPOINT_H
