// The platform of the fuzz targets: the Linux platform without its system log
// (a target logs millions of refusals), with posts that never leave the
// process, with the machine's facts read once at the start and with threads
// that are reused from input to input. Storage goes to a temporary folder
// removed at exit.
#ifndef QZ_FUZZ_FUZZPLATFORM_H
#define QZ_FUZZ_FUZZPLATFORM_H

#include "qz/StringBuf.h"

namespace qz {
namespace fuzz {

// Sees each batch the library would post, on the thread that posts it; the
// post then succeeds.
using PostCheck = void (*)(const StringBuf& platformText, const StringBuf& companyId,
                           const StringBuf& applicationId, const StringBuf& messageGroup,
                           const StringBuf& body);

// Runs the load step with this platform. Call once, before anything else.
void InstallPlatform(PostCheck check = nullptr);

// Removes every stored batch, so that no input sends what an earlier one stored.
void ClearStorage();

}  // namespace fuzz
}  // namespace qz

#endif  // QZ_FUZZ_FUZZPLATFORM_H
