// The collector's handling of a request body: the decoding of character
// references, parsing and validation, the header check and the rows a batch
// becomes. Whatever the body, each step refuses with a reason or succeeds;
// every text of an accepted batch is well-formed UTF-8; and what the quick way
// through a batch takes, the full parser takes too, with the same elements.
#include <libxml/parser.h>

#include <string>

#include "FuzzSupport.h"
#include "ingest/BatchParser.h"
#include "ingest/BatchScanner.h"
#include "ingest/BatchRows.h"
#include "ingest/CharacterReferences.h"
#include "ingest/MessagingSchema.h"
#include "ingest/RequestHeaders.h"

namespace {

using qz::collector::Element;

void CheckTexts(const Element& element) {
  QZ_FUZZ_CHECK(qz::fuzz::IsWellFormedUtf8(element.name));
  for (const auto& attribute : element.attributes) {
    QZ_FUZZ_CHECK(qz::fuzz::IsWellFormedUtf8(attribute.first));
    QZ_FUZZ_CHECK(qz::fuzz::IsWellFormedUtf8(attribute.second));
  }
  for (const Element& child : element.children) CheckTexts(child);
}

const qz::collector::MessagingSchema* g_schema = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  xmlInitParser();
  g_schema = new qz::collector::MessagingSchema();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string body(reinterpret_cast<const char*>(bytes), size);

  std::string prepared;
  std::string error;
  if (!qz::collector::CharacterReferences::Prepare(body, prepared, error)) {
    QZ_FUZZ_CHECK(!error.empty());
  }

  qz::collector::BatchParser parser(*g_schema);
  Element quick;
  if (qz::collector::BatchScanner::Scan(body, quick)) {
    Element full;
    QZ_FUZZ_CHECK(parser.ParseFully(body, full, error));
    QZ_FUZZ_CHECK(quick == full);
  }

  qz::collector::Batch batch;
  error.clear();
  if (!parser.Parse(body, batch.root, error)) {
    QZ_FUZZ_CHECK(!error.empty());
    return 0;
  }
  CheckTexts(batch.root);

  // Headers that agree with the envelope, as the library sends them.
  const Element* company = batch.root.Child("company");
  const Element* application = batch.root.Child("application");
  qz::collector::RequestHeaders headers;
  headers.contentType = "text/xml;charset=UTF-8";
  if (company != nullptr) headers.companyId = company->Get("id");
  if (application != nullptr) headers.applicationId = application->Get("id");
  headers.messageGroup = batch.root.Get("message-group");
  headers.agent = batch.root.Has("agent-name")
                      ? batch.root.Get("agent-name") + "/" + batch.root.Get("agent-version")
                      : std::string("Linux/1.0 offline");
  error.clear();
  if (!headers.Check(batch.root, batch, error)) {
    QZ_FUZZ_CHECK(!error.empty());
    return 0;
  }
  qz::collector::BatchRows::Build(batch);
  return 0;
}
