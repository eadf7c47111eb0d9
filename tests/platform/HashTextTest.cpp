#include <gtest/gtest.h>

#include "platform/FactRules.h"
#include "platform/MachineFacts.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

std::string Hash(const QZChar* text) {
  StringBuf out(QZ_TEXT("stale"));
  HashText(text, out);
  return U8(out.ToString());
}

// Both platforms digest the same UTF-16LE bytes; the expected values were
// computed apart (Python's hashlib over the UTF-16LE encoding).
TEST(HashTextTest, IsMd5OfTheUtf16LeTextInUpperCaseHex) {
  EXPECT_EQ("D41D8CD98F00B204E9800998ECF8427E", Hash(QZ_TEXT("")));
  EXPECT_EQ("D41D8CD98F00B204E9800998ECF8427E", Hash(nullptr));
  EXPECT_EQ("A4ED14370A8ABE3C5CAB4421586090EB", Hash(QZ_TEXT("corp\\jdoe")));
  // A character beyond ASCII, two CJK characters and a surrogate pair.
  EXPECT_EQ("6BBF9CA68F8CF9F149EF61E2E6A4E8FA",
            Hash(QZ_TEXT("Zo\u00EB \u65E5\u672C \U0001F600")));
}

TEST(HashTextTest, UserInDomainCorpIsTheDigestOfCorpBackslashName) {
  StringBuf identity;
  UserIdentityText(QZ_TEXT("CORP"), QZ_TEXT("jdoe"), identity);
  EXPECT_EQ("corp\\jdoe", U8(identity.ToString()));
  EXPECT_EQ("A4ED14370A8ABE3C5CAB4421586090EB", Hash(identity));
}

}  // namespace
}  // namespace qz
