#include "delivery/ServerPins.h"

#include <gtest/gtest.h>

#include <string>

#include "support/TestText.h"

namespace qz {
namespace {

using test::QZString;
using test::W;

// The digest of 32 bytes 0, 1, ..., 31 and its base64.
const char kPin[] = "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=";
const char kOther[] = "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=";

ServerPins::Digest Counting() {
  ServerPins::Digest digest;
  for (size_t i = 0; i < digest.size(); ++i) digest[i] = static_cast<uint8_t>(i);
  return digest;
}

TEST(ServerPinsTest, ReadsTheFormsHpkpAndCurlWrite) {
  ServerPins pins;
  for (const std::string& text :
       {std::string(kPin), "sha256//" + std::string(kPin), std::string(kPin).substr(0, 43),
        std::string(" ") + kOther + " ; sha256//" + kPin + " ;"}) {
    ASSERT_TRUE(pins.Parse(W(text.c_str()).c_str())) << text;
    EXPECT_TRUE(pins.Matches(Counting())) << text;
  }
  EXPECT_EQ("sha256//" + std::string(kOther) + ";sha256//" + kPin, pins.CurlList());

  ServerPins::Digest other = Counting();
  other[31] ^= 1;
  EXPECT_FALSE(pins.Matches(other));

  EXPECT_TRUE(pins.Parse(nullptr));
  EXPECT_TRUE(pins.IsEmpty());
  EXPECT_EQ("", pins.CurlList());
  EXPECT_TRUE(pins.Parse(QZ_TEXT("")));
  EXPECT_TRUE(pins.IsEmpty());
}

TEST(ServerPinsTest, RefusesWhatIsNotADigestAndKeepsTheList) {
  ServerPins pins;
  ASSERT_TRUE(pins.Parse(W(kPin).c_str()));
  const std::string pin(kPin);
  for (const std::string& text :
       {std::string(";"), std::string("  "), pin.substr(0, 42), pin + "=", pin + "A",
        "sha1//" + pin, "SHA256//" + pin, pin.substr(0, 42) + "!=",
        // The last character carries bits that no digest has.
        pin.substr(0, 42) + "9=", pin + ";nonsense", "-_" + pin.substr(2)}) {
    EXPECT_FALSE(pins.Parse(W(text.c_str()).c_str())) << text;
    EXPECT_TRUE(pins.Matches(Counting())) << text;
  }
  // A character beyond Latin-1 in the middle of a pin.
  QZString wide = W(kPin);
  wide[10] = 0x4E2D;
  EXPECT_FALSE(pins.Parse(wide.c_str()));
  // One long text without separators is read once, not reread per character.
  EXPECT_FALSE(pins.Parse(QZString(1 << 20, 'A').c_str()));
}

}  // namespace
}  // namespace qz
