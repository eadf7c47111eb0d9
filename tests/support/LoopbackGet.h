// The parts of a loopback GET that do not depend on the socket API.
#ifndef QZ_TESTS_SUPPORT_LOOPBACKGET_H
#define QZ_TESTS_SUPPORT_LOOPBACKGET_H

#include <string>

namespace qz {
namespace test {

std::string LoopbackRequest(const std::string& pathAndQuery);
// Splits a whole HTTP answer; true with its body when the status is 200.
bool LoopbackAnswer(const std::string& raw, std::string& body, std::string& error);

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_SUPPORT_LOOPBACKGET_H
