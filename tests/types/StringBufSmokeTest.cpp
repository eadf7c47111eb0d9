#include <gtest/gtest.h>

#include "qz/StringBuf.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::W;

TEST(StringBufSmoke, AppendsText) {
  StringBuf s;
  s.Append(QZ_TEXT("ab"));
  EXPECT_EQ(W("ab"), s.ToString());
}
}  // namespace
}  // namespace qz
