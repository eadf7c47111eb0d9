#include <gtest/gtest.h>

#include <stdexcept>

#include "qz/ExceptionInfo.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::QZString;
using test::W;

TEST(ExceptionInfoTest, EventTypes) {
  ExceptionInfo info;
  EXPECT_EQ(W("caught"), info.GetEventTypeString());
  info.SetEventType(300);
  info.SetEventType(150);  // unknown values are ignored
  EXPECT_EQ(W("thrown"), info.GetEventTypeString());
  // A standard exception brings its message, and nothing else.
  info.Type(QZ_TEXT("OutOfMemory")).Message(QZ_TEXT("earlier"));
  EXPECT_EQ(200, info.Uncaught(std::runtime_error("bad allocation")).GetEventType());
  EXPECT_EQ(W("bad allocation"), info.GetMessage());
  EXPECT_EQ(W("OutOfMemory"), info.GetType());
}

TEST(ExceptionInfoTest, UserTextsAreTrimmedThenCutAt500) {
  ExceptionInfo info;
  const QZString letters(600, QZ_TEXT('x'));
  info.Contact((W("  ") + letters + QZ_TEXT('\t')).c_str()).Comment(QZ_TEXT("   ")).Type(letters.c_str());
  EXPECT_EQ(letters.substr(0, 500), info.GetUserContact());
  EXPECT_EQ(W(""), info.GetUserComment());
  EXPECT_EQ(letters, info.GetType());  // the type name is never cut

  ExceptionInfo copy;
  copy = &info;
  info.SetType(QZ_TEXT("changed"));
  EXPECT_EQ(letters + letters.substr(0, 500), copy.GetType() + QZString(copy.GetUserContact()));
}

}  // namespace
}  // namespace qz
