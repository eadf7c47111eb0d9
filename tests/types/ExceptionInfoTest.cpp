#include <gtest/gtest.h>

#include <stdexcept>

#include "qz/ExceptionInfo.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::QZString;
using test::W;

TEST(ExceptionInfoTest, EventTypeIgnoresUnknownValues) {
  ExceptionInfo info;
  EXPECT_EQ(W("caught"), info.GetEventTypeString());
  info.SetEventType(150);
  EXPECT_EQ(100, info.GetEventType());
  info.SetEventType(300);
  EXPECT_EQ(W("thrown"), info.GetEventTypeString());
}

TEST(ExceptionInfoTest, UserTextsAreTrimmedThenCutAt500) {
  ExceptionInfo info;
  const QZString letters(600, QZ_TEXT('x'));
  info.Contact((W("  ") + letters + QZ_TEXT('\t')).c_str()).Comment(QZ_TEXT("   ")).Type(letters.c_str());
  EXPECT_EQ(letters.substr(0, 500), info.GetUserContact());
  EXPECT_EQ(W(""), info.GetUserComment());
  EXPECT_EQ(letters, info.GetType());  // the type name is never cut
}

TEST(ExceptionInfoTest, StandardExceptionReplacesOnlyMessage) {
  ExceptionInfo info;
  info.Type(QZ_TEXT("OutOfMemory")).Message(QZ_TEXT("earlier"));
  EXPECT_EQ(200, info.Uncaught(std::runtime_error("bad allocation")).GetEventType());
  EXPECT_EQ(W("bad allocation"), info.GetMessage());
  EXPECT_EQ(W("OutOfMemory"), info.GetType());
  info.Thrown(std::logic_error(""));
  EXPECT_EQ(W(""), info.GetMessage());
}

TEST(ExceptionInfoTest, AssignmentCopiesAndNullResets) {
  ExceptionInfo info;
  info.Thrown().Type(QZ_TEXT("T")).Message(QZ_TEXT("M")).Contact(QZ_TEXT("me")).Comment(QZ_TEXT("c"));
  ExceptionInfo copy;
  copy = &info;
  info.SetType(QZ_TEXT("changed"));
  EXPECT_EQ(W("thrown T M me c"), W("") + copy.GetEventTypeString() + QZ_TEXT(' ') + copy.GetType() +
                                      QZ_TEXT(' ') + copy.GetMessage() + QZ_TEXT(' ') +
                                      copy.GetUserContact() + QZ_TEXT(' ') + copy.GetUserComment());
  copy = static_cast<const ExceptionInfo*>(nullptr);
  EXPECT_EQ(100, copy.GetEventType());
  EXPECT_EQ(W(""), W("") + copy.GetType() + copy.GetMessage() + copy.GetUserContact() +
                       copy.GetUserComment());
}

}  // namespace
}  // namespace qz
