// <windows.h> renames GetMessage and GetClassName; hosts that include it first
// must still reach the getters.
#include <windows.h>

#include <gtest/gtest.h>

#include "qz/qz.h"
#include "support/TestText.h"

TEST(WindowsHeaderTest, RenamedGettersStillWork) {
  qz::ExceptionInfo info;
  info.SetMessage(QZ_TEXT("m"));
  qz::BinaryInfo binary;
  binary.SetClassName(QZ_TEXT("C"));
  EXPECT_EQ(qz::test::W("m"), info.GetMessage());
  EXPECT_EQ(qz::test::W("C"), binary.GetClassName());
}
