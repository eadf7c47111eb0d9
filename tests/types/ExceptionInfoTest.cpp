#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "qz/ExceptionInfo.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::QZString;
using test::W;

TEST(ExceptionInfoTest, EventTypes) {
  ExceptionInfo info;
  EXPECT_EQ(ExceptionInfo::EVENT_CAUGHT, info.GetEventType());
  EXPECT_EQ(W("caught"), info.GetEventTypeString());
  info.SetEventType(150);
  EXPECT_EQ(100, info.GetEventType());
  info.SetEventType(300);
  EXPECT_EQ(W("thrown"), info.GetEventTypeString());
  EXPECT_EQ(W("uncaught"), info.Uncaught().GetEventTypeString());
  EXPECT_EQ(W("caught"), info.Caught().GetEventTypeString());
}

TEST(ExceptionInfoTest, ContactAndCommentAreTrimmedThenCut) {
  ExceptionInfo info;
  QZString letters(600, QZ_TEXT('x'));
  info.Contact((W("  ") + letters + QZ_TEXT('\t')).c_str()).Comment(QZ_TEXT("   "));
  EXPECT_EQ(letters.substr(0, 500), info.GetUserContact());
  EXPECT_EQ(W(""), info.GetUserComment());
  info.SetUserComment(QZ_TEXT(" fine "));
  EXPECT_EQ(W("fine"), info.GetUserComment());
  // Type and message are kept exactly, however long.
  info.Type(letters.c_str()).Message(QZ_TEXT(" m "));
  EXPECT_EQ(letters, info.GetType());
  EXPECT_EQ(W(" m "), info.GetMessage());
}

TEST(ExceptionInfoTest, StandardExceptionReplacesMessageOnly) {
  ExceptionInfo info;
  info.Type(QZ_TEXT("OutOfMemory")).Message(QZ_TEXT("earlier"));
  info.Uncaught(std::runtime_error("bad allocation"));
  EXPECT_EQ(ExceptionInfo::EVENT_UNCAUGHT, info.GetEventType());
  EXPECT_EQ(W("bad allocation"), info.GetMessage());
  EXPECT_EQ(W("OutOfMemory"), info.GetType());
  info.Thrown(std::logic_error(""));
  EXPECT_EQ(ExceptionInfo::EVENT_THROWN, info.GetEventType());
  EXPECT_EQ(W(""), info.GetMessage());
  info.Caught(std::bad_alloc());
  EXPECT_EQ(ExceptionInfo::EVENT_CAUGHT, info.GetEventType());
  EXPECT_NE(W(""), info.GetMessage());
}

TEST(ExceptionInfoTest, AssignmentCopiesAndNullResets) {
  ExceptionInfo info;
  info.Thrown().Type(QZ_TEXT("T")).Message(QZ_TEXT("M")).Contact(QZ_TEXT("me")).Comment(QZ_TEXT("c"));
  ExceptionInfo copy;
  copy = &info;
  info.SetType(QZ_TEXT("changed"));
  EXPECT_EQ(300, copy.GetEventType());
  EXPECT_EQ(W("T"), copy.GetType());
  EXPECT_EQ(W("M"), copy.GetMessage());
  EXPECT_EQ(W("me"), copy.GetUserContact());
  EXPECT_EQ(W("c"), copy.GetUserComment());
  copy = static_cast<const ExceptionInfo*>(nullptr);
  EXPECT_EQ(100, copy.GetEventType());
  for (const QZChar* text : {copy.GetType(), copy.GetMessage(), copy.GetUserContact(),
                             copy.GetUserComment()}) {
    EXPECT_EQ(W(""), text);
  }
}

}  // namespace
}  // namespace qz
