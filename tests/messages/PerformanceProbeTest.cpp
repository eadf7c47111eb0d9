#include <gtest/gtest.h>

#include <string>

#include "messages/PerformanceProbe.h"
#include "qz/BinaryInfo.h"
#include "support/TestText.h"

namespace qz {
namespace {

const QZChar kSession[] = QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450");

// Everything after the session attribute.
std::string AfterSession(PerformanceProbe& probe) {
  StringBuf out;
  const std::string text = test::U8(probe.Write(out).ToString());
  EXPECT_EQ(0u, text.find("<performance-probe generated=\"")) << text;
  const std::string session = "session=\"" + test::U8(kSession) + "\"";
  return text.substr(text.find(session) + session.size());
}

TEST(PerformanceProbeTest, MemoryAlwaysAndTheProcessorLoadOnlyWhenKnown) {
  BinaryInfo info;
  info.SetName(QZ_TEXT("host.exe"));
  MemoryUseInfo memory;
  memory.availableMB = 2048;
  memory.usedMB = 37;
  const struct {
    const QZChar* name;
    const BinaryInfo* info;
    MemoryUseInfo memory;
    uint32_t load;
    const char* expected;
  } cases[] = {
      {QZ_TEXT("Startup"), &info, memory, 37,
       " name=\"Startup\">\n<binary name=\"host.exe\"/>\n"
       "<memory available=\"2048\" used=\"37\"/>\n<cpu utilization=\"37\"/>\n"
       "</performance-probe>\n"},
      // Never self-closing, zeros written; no name and no load leave both out.
      {nullptr, nullptr, MemoryUseInfo(), 0,
       ">\n<memory available=\"0\" used=\"0\"/>\n</performance-probe>\n"},
      {QZ_TEXT(""), nullptr, memory, 0,
       ">\n<memory available=\"2048\" used=\"37\"/>\n</performance-probe>\n"}};
  for (const auto& c : cases) {
    PerformanceProbe probe(c.name, kSession, c.info, nullptr, c.memory, c.load);
    EXPECT_EQ(c.expected, AfterSession(probe));
  }
}

}  // namespace
}  // namespace qz
