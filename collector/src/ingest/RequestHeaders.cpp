#include "ingest/RequestHeaders.h"

#include <strings.h>

namespace qz {
namespace collector {

namespace {

constexpr char kOfflineSuffix[] = " offline";

// GUIDs compare without regard to case; other texts exactly.
bool SameGuid(const std::string& a, const std::string& b) {
  return a.size() == b.size() && strncasecmp(a.c_str(), b.c_str(), a.size()) == 0;
}

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

bool ContentTypeIsXml(const std::string& value) {
  std::string v = Lower(value);
  v.erase(0, v.find_first_not_of(' '));
  if (v.compare(0, 8, "text/xml") != 0 || (v.size() > 8 && v[8] != ';' && v[8] != ' ')) return false;
  const size_t charset = v.find("charset=");
  return charset == std::string::npos || v.compare(charset + 8, 5, "utf-8") == 0 ||
         v.compare(charset + 8, 7, "\"utf-8\"") == 0;
}

}  // namespace

bool RequestHeaders::Check(const Element& root, Batch& batch, std::string& error) const {
  if (!contentType || !ContentTypeIsXml(*contentType)) {
    error = "Content-Type must be text/xml in UTF-8";
    return false;
  }
  const Element* company = root.Child("company");
  const Element* application = root.Child("application");
  if (!companyId || company == nullptr || !SameGuid(*companyId, company->Get("id"))) {
    error = "X-QZ-CID does not match the company id of the batch";
    return false;
  }
  if (!applicationId || application == nullptr || !SameGuid(*applicationId, application->Get("id"))) {
    error = "X-QZ-AID does not match the application id of the batch";
    return false;
  }
  // An empty message group may come as an empty header or none at all.
  const std::string group = messageGroup.value_or(std::string());
  if (!SameGuid(group, root.Get("message-group"))) {
    error = "X-QZ-GID does not match the message group of the batch";
    return false;
  }
  if (!agent || agent->empty()) {
    error = "X-QZ-API is missing";
    return false;
  }
  const size_t suffix = sizeof kOfflineSuffix - 1;
  const bool stored =
      agent->size() >= suffix && agent->compare(agent->size() - suffix, suffix, kOfflineSuffix) == 0;
  const std::string* name = root.Find("agent-name");
  const std::string* version = root.Find("agent-version");
  if (stored) {
    if (name != nullptr || version != nullptr) {
      error = "a stored batch (X-QZ-API ... offline) carries no agent-name or agent-version";
      return false;
    }
  } else if (name == nullptr || version == nullptr || *agent != *name + "/" + *version) {
    error = "X-QZ-API does not match agent-name/agent-version of the batch";
    return false;
  }
  batch.agent = *agent;
  batch.stored = stored;
  return true;
}

}  // namespace collector
}  // namespace qz
