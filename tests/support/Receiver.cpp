#include "support/Receiver.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "support/LoopbackGet.h"

namespace qz {
namespace test {
namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string QueryValue(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_') {
      out += static_cast<char>(c);
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof(escaped), "%%%02X", c);
      out += escaped;
    }
  }
  return out;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

}  // namespace

std::vector<std::string> RecordedRequest::Values(const std::string& name) const {
  std::vector<std::string> values;
  for (const std::string& line : headerLines) {
    size_t colon = line.find(':');
    if (colon == std::string::npos || Lower(line.substr(0, colon)) != Lower(name)) continue;
    size_t start = line.find_first_not_of(' ', colon + 1);
    values.push_back(start == std::string::npos ? std::string() : line.substr(start));
  }
  return values;
}

bool Receiver::Connect(std::string* why) {
  const char* dir = std::getenv("QZ_RECEIVER_DIR");
  if (dir == nullptr || *dir == 0) {
    *why = "QZ_RECEIVER_DIR is not set: run this test through ctest, which starts the receiver";
    return false;
  }
  std::string path = std::string(dir) + "/ports";
  std::ifstream in(path);
  authorityFile = std::string(dir) + "/ca.pem";
  // Under Wine a Linux path is reached through drive Z:.
  if (!in && path[0] == '/') {
    in.open("Z:" + path);
    authorityFile = "Z:" + authorityFile;
  }
  std::string host;
  if (!(in >> host >> httpPort >> httpsPort >> closedPort >> signedPort >> proxyPort >>
        misnamedPort)) {
    *why = "cannot read " + path;
    return false;
  }
  if (!Control("/__control/ping")) {
    *why = "receiver does not answer on port " + std::to_string(httpPort);
    return false;
  }
  return true;
}

std::string Receiver::Location(bool https, const std::string& path) const {
  return "127.0.0.1:" + std::to_string(https ? httpsPort : httpPort) + path;
}

bool Receiver::Control(const std::string& pathAndQuery, std::string* body) {
  std::string answer, error;
  bool ok = LoopbackGet(httpPort, pathAndQuery, answer, error);
  if (body != nullptr) *body = ok ? answer : error;
  return ok;
}

bool Receiver::SetStatus(int status) {
  return Control("/__control/mode?status=" + std::to_string(status));
}

bool Receiver::SetStatus(int status, const std::string& retryAfter, int times) {
  return Control("/__control/mode?status=" + std::to_string(status) +
                 "&retry_after=" + QueryValue(retryAfter) +
                 (times > 0 ? "&times=" + std::to_string(times) : std::string()));
}

bool Receiver::SetStatusFor(const std::string& text, int status) {
  return Control("/__control/mode?status=" + std::to_string(status) + "&match=" + QueryValue(text));
}

bool Receiver::Hold() { return Control("/__control/mode?status=hold"); }
bool Receiver::Release() { return Control("/__control/release"); }
bool Receiver::Reset() { return Control("/__control/reset"); }

int Receiver::Count() {
  std::string body;
  return Control("/__control/count", &body) ? std::atoi(body.c_str()) : -1;
}

std::vector<double> Receiver::Times() {
  std::string body;
  std::vector<double> times;
  if (!Control("/__control/times", &body)) return times;
  for (const std::string& line : Lines(body)) times.push_back(std::atof(line.c_str()));
  return times;
}

bool Receiver::Pins(std::string& selfSigned, std::string& signedByAuthority) {
  std::string body;
  if (!Control("/__control/pins", &body)) return false;
  std::istringstream in(body);
  return static_cast<bool>(in >> selfSigned >> signedByAuthority);
}

std::vector<std::string> Receiver::Tunnels() {
  std::string body;
  return Control("/__control/tunnels", &body) ? Lines(body) : std::vector<std::string>();
}

bool Receiver::Request(int index, RecordedRequest& out) {
  std::string raw;
  if (!Control("/__control/request?index=" + std::to_string(index), &raw)) return false;
  size_t end = raw.find("\r\n\r\n");
  if (end == std::string::npos) return false;
  out = RecordedRequest();
  out.body = raw.substr(end + 4);
  std::string head = raw.substr(0, end);
  size_t start = 0;
  bool first = true;
  while (start <= head.size()) {
    size_t next = head.find("\r\n", start);
    if (next == std::string::npos) next = head.size();
    std::string line = head.substr(start, next - start);
    if (first) {
      out.requestLine = line;
      first = false;
    } else {
      out.headerLines.push_back(line);
    }
    start = next + 2;
  }
  return true;
}

}  // namespace test
}  // namespace qz

namespace qz {
namespace test {

std::string LoopbackRequest(const std::string& pathAndQuery) {
  return "GET " + pathAndQuery + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n";
}

bool LoopbackAnswer(const std::string& raw, std::string& body, std::string& error) {
  size_t end = raw.find("\r\n\r\n");
  if (end == std::string::npos || raw.compare(0, 9, "HTTP/1.1 ") != 0) {
    error = "malformed answer from the receiver";
    return false;
  }
  body = raw.substr(end + 4);
  if (raw.compare(9, 3, "200") != 0) {
    error = raw.substr(0, raw.find("\r\n")) + ": " + body;
    return false;
  }
  return true;
}

}  // namespace test
}  // namespace qz
