#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "messages/Fault.h"
#include "qz/BinaryInfo.h"
#include "qz/ExceptionInfo.h"
#include "qz/ExtendedKeys.h"
#include "support/TestText.h"

namespace qz {
namespace {

const QZChar kSession[] = QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450");

// The opening line's attributes after the session, and every line after it.
struct Parts {
  std::string ownAttributes;
  std::string children;
};

Parts Split(Fault& fault) {
  StringBuf out;
  const std::string text = test::U8(fault.Write(out).ToString());
  const std::string session = "session=\"" + test::U8(kSession) + "\"";
  const size_t own = text.find(session) + session.size();
  const size_t eol = text.find('\n');
  EXPECT_EQ(0u, text.find("<fault generated=\"")) << text;
  return {text.substr(own, eol - own), text.substr(eol + 1)};
}

TEST(FaultTest, WritesTheExceptionWithTheReportingFrame) {
  auto info = std::make_unique<BinaryInfo>();
  info->SetClassName(QZ_TEXT("Parser"));
  info->SetMethodName(QZ_TEXT("Load"));
  auto exception = std::make_unique<ExceptionInfo>();
  exception->Thrown().Type(QZ_TEXT("IOError")).Message(QZ_TEXT("bad <x>\nline"));
  exception->SetUserComment(QZ_TEXT("it \"broke\""));
  Fault fault(exception.get(), kSession, info.get(), nullptr);
  // Copies: the host's objects may change or go.
  exception->Type(QZ_TEXT("Other")).Comment(QZ_TEXT("changed"));
  exception.reset();
  info.reset();
  const Parts parts = Split(fault);
  EXPECT_EQ(" event=\"thrown\" comment=\"it &quot;broke&quot;\">", parts.ownAttributes);
  EXPECT_EQ(
      "<binary type=\"Parser\" method=\"Load\"/>\n"
      "<exception seq=\"0\" exceptionType=\"IOError\" message=\"bad &lt;x&gt;&#xa;line\">\n"
      "<stack seq=\"0\" type=\"Parser\" method=\"Load\"/>\n"
      "</exception>\n"
      "</fault>\n",
      parts.children);
}

TEST(FaultTest, EmptyTextsAreUnknownOrLeftOut) {
  ExceptionInfo uncaught;
  uncaught.Uncaught().Contact(QZ_TEXT("me"));
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("n"), int32_t(1));
  const struct {
    const ExtendedKeys* keys;
    const char* children;
  } cases[] = {
      // Without binary or properties the exception still makes it a parent.
      {nullptr, ""},
      {&keys, "<property name=\"n\" value=\"1\" type=\"decimal\"/>\n"}};
  for (const auto& c : cases) {
    Fault fault(&uncaught, kSession, nullptr, c.keys);
    const Parts parts = Split(fault);
    EXPECT_EQ(" event=\"uncaught\" contact=\"me\">", parts.ownAttributes);
    EXPECT_EQ(std::string(c.children) +
                  "<exception seq=\"0\" exceptionType=\"Unknown\">\n"
                  "<stack seq=\"0\" type=\"Unknown\" method=\"Unknown\"/>\n"
                  "</exception>\n"
                  "</fault>\n",
              parts.children);
  }
}

}  // namespace
}  // namespace qz
