#include "TestBatches.h"

#include <cstdio>

#include "common/TimeText.h"

namespace qz {
namespace collector {
namespace test {

namespace {

// 2026-01-02T10:00:00.000Z
constexpr long long kBase = 1767348000000LL;

std::string Head(const char* element, const std::string& id, const std::string& session, long long ms) {
  return std::string("<") + element + " generated=\"" + Time(ms) + "\" id=\"" + id + "\" session=\"" + session + "\"";
}

}  // namespace

std::string Guid(int number, int tag) {
  char text[40];
  std::snprintf(text, sizeof text, "%08X-0000-4000-8000-%012X", tag, number);
  return text;
}

std::string Time(long long ms) { return TimeText::FromMillis(kBase + ms); }

TestBatch::TestBatch(int number) : id(Guid(number, 0xBA7C)), group(Guid(number, 0x6A0B)) {}

std::string TestBatch::Body() const {
  std::string out =
      "<messages xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      "xsi:noNamespaceSchemaLocation=\"http://localhost:8443/services/messaging\" protocol=\"3\"";
  if (!stored) out += " agent-name=\"Win32\" agent-version=\"1.0\"";
  out += " id=\"" + id + "\" message-group=\"" + group + "\" sent=\"" + Time(60000) + "\">\n";
  out += std::string("<company id=\"") + kCompany + "\" name=\"Example &amp; Sons\"/>\n";
  out += std::string("<application id=\"") + kApplication + "\" name=\"Editor\" version=\"" + version + "\"/>\n";
  for (const std::string& m : messages) out += m;
  return out + "</messages>\n";
}

std::string TestBatch::Request(const std::string& path) const {
  const std::string body = Body();
  return "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" +
         "Content-Type: text/xml;charset=UTF-8\r\n"
         "Cache-control: no-cache, no-store\r\n"
         "Pragma: no-cache\r\n"
         "Date: Fri, 02 Jan 2026 10:01:00 GMT\r\n"
         "X-QZ-CID: " + kCompany + "\r\n" +
         "X-QZ-AID: " + kApplication + "\r\n" +
         "X-QZ-GID: " + group + "\r\n" +
         "X-QZ-API: Win32/1.0" + (stored ? " offline" : "") + "\r\n" +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string AppStart(const std::string& id, const std::string& session, long long ms, const std::string& hostName,
                     const std::string& children) {
  return Head("app-start", id, session, ms) + ">\n" + children + "<host ip=\"192.168.1.20\" locale=\"de_DE\" name=\"" +
         hostName + "\" src-lang=\"MSC\" src-lang-ver=\"160030319\">\n" +
         "<os name=\"Microsoft Windows 7 Professional\" sp-major=\"1\" sp-minor=\"0\" "
         "installed-date=\"2011-03-17T09:30:12+01:00\"/>\n</host>\n<user name=\"5D41402ABC4B2A76B9719D911017C592\"/>\n"
         "</app-start>\n";
}

std::string SessionStart(const std::string& id, const std::string& session, long long ms) {
  return Head("session-start", id, session, ms) + "/>\n";
}

std::string Feature(const std::string& id, const std::string& session, long long ms, const std::string& group,
                    const std::string& name, const std::string& event, const std::string& children) {
  const std::string head = Head("feature", id, session, ms) + " group=\"" + group + "\" name=\"" + name +
                           "\" event=\"" + event + "\"";
  return children.empty() ? head + "/>\n" : head + ">\n" + children + "</feature>\n";
}

std::string Fault(const std::string& id, const std::string& session, long long ms, const std::string& type,
                  const std::string& event) {
  return Head("fault", id, session, ms) + " event=\"" + event + "\" comment=\"it broke &amp; I lost my work\">\n" +
         "<binary name=\"editor.exe\" type=\"Parser\" method=\"Load\"/>\n"
         "<exception seq=\"0\" exceptionType=\"" + type + "\" message=\"cannot read &lt;file&gt;&#xa;line 2\">\n" +
         "<stack seq=\"0\" type=\"Parser\" method=\"Load\"/>\n</exception>\n</fault>\n";
}

std::string Probe(const std::string& id, const std::string& session, long long ms, const std::string& name,
                  int usedMB, int cpu) {
  std::string out = Head("performance-probe", id, session, ms) + (name.empty() ? "" : " name=\"" + name + "\"") +
                    ">\n<memory available=\"2048\" used=\"" + std::to_string(usedMB) + "\"/>\n";
  if (cpu != 0) out += "<cpu utilization=\"" + std::to_string(cpu) + "\"/>\n";
  return out + "</performance-probe>\n";
}

std::string Profile(const std::string& id, const std::string& session, long long ms) {
  return Head("system-profile", id, session, ms) + " manufacturer=\"Contoso\" model=\"Desk 9\">\n" +
         "<property name=\"reason\" value=\"startup\"/>\n"
         "<cpu name=\"CPU0\" manufacturer=\"Intel\" address-width=\"64\" speed=\"2400\" max-speed=\"3600\"/>\n"
         "<cpu name=\"CPU1\" manufacturer=\"Intel\" address-width=\"64\" speed=\"2400\" max-speed=\"3600\"/>\n"
         "<memory total=\"16384\" capacity=\"16384\" speed=\"2666\"/>\n"
         "<disk name=\"C:\" size=\"476837\" free=\"120000\" fstype=\"NTFS\" serial=\"1A2B3C4D\"/>\n"
         "<network conn-id=\"Ethernet\" ip=\"192.168.1.20\" mac=\"00:1A:2B:3C:4D:5E\" speed=\"1000\" dhcp=\"true\"/>\n"
         "<domain member=\"false\" name=\"workgroup\" role=\"0\"/>\n"
         "<time-zone zone=\"60\" dst=\"false\"/>\n"
         "<page-file name=\"C:\\pagefile.sys\" initial=\"4096\" max=\"8192\"/>\n"
         "<screen name=\"\\\\.\\DISPLAY1\" width=\"1920\" height=\"1080\" refresh=\"60\"/>\n"
         "<video name=\"Standard VGA\" driver=\"10.0.1\" colors=\"4294967296\" memory=\"512\"/>\n"
         "<sound manufacturer=\"Realtek\" model=\"HD Audio\"/>\n"
         "<terminal-services connections-allowed=\"true\" mode=\"0\"/>\n"
         "</system-profile>\n";
}

TestBatch LibraryBatch(int number) {
  TestBatch b(number);
  int next = 0;
  const auto id = [&] { return Guid(number, 0x10000 + next++); };
  const std::string binary =
      "<binary id=\"" + Guid(7, 0xB1) + "\" modified=\"" + Time(-86400000) +
      "\" name=\"editor.exe\" version=\"2.1.0.1234\" type=\"Editor.Document\" method=\"Export\"/>\n";
  const std::string properties =
      "<property name=\"format\" value=\"PDF/A-1b &amp; &#xfc;&#x20ac;\"/>\n<property name=\"pages\" value=\"12\" "
      "type=\"decimal\"/>\n";
  b.messages.push_back(SessionStart(id(), b.group, 0));
  for (int i = 0; i < 11; ++i) {
    const std::string tick = id();
    b.messages.push_back(Feature(tick, b.group, 10 + i, tick, "Zoom", "tick", binary + properties));
  }
  for (int i = 0; i < 8; ++i) {
    const std::string start = id();
    b.messages.push_back(Feature(start, b.group, 100 + i, start, "Export", "start", binary + properties));
    b.messages.push_back(Feature(id(), b.group, 900 + i, start, "Export", "stop", binary + properties));
  }
  b.messages.push_back(Probe(id(), b.group, 2000, "Render", 312, 41));
  b.messages.push_back(Fault(id(), b.group, 2001, "IOError", "caught"));
  return b;
}

}  // namespace test
}  // namespace collector
}  // namespace qz
