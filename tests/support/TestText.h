// Text helpers for tests: QZChar strings that gtest can compare and print.
#ifndef QZ_TESTS_SUPPORT_TESTTEXT_H
#define QZ_TESTS_SUPPORT_TESTTEXT_H

#include <ostream>
#include <string>

#include "qz/export.h"

namespace qz {
namespace test {

using QZString = std::basic_string<QZChar>;

// ASCII (and any narrow text) widened code unit by code unit.
QZString W(const char* text);
// UTF-16 to UTF-8, for messages and comparisons; null gives "(null)".
std::string U8(const QZChar* text);
inline std::string U8(const QZString& text) { return U8(text.c_str()); }

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_SUPPORT_TESTTEXT_H
