#include "ingest/BatchRows.h"

#include <cstring>

#include "common/TimeText.h"

namespace qz {
namespace collector {

namespace {

std::string Upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

Value Attr(const Element& e, const char* name) {
  const std::string* v = e.Find(name);
  return v != nullptr ? Value(*v) : Value();
}

Value Guid(const Element& e, const char* name) {
  const std::string* v = e.Find(name);
  return v != nullptr ? Value(Upper(*v)) : Value();
}

Value Number(int64_t n) { return Value(std::to_string(n)); }

Value Flag(bool on) { return Value(on ? "1" : "0"); }

bool IsTrue(const Element* e, const char* name) {
  const std::string* v = e != nullptr ? e->Find(name) : nullptr;
  return v != nullptr && *v == "true";
}

// A row of the table with room for all its columns, the first one given.
Row Start(TableId table, Value first) {
  Row row{table, {}};
  row.values.reserve(Tables::Get(table).columns.size());
  row.values.push_back(std::move(first));
  return row;
}

// Columns [from, to) of the table from the element's attributes (all NULL, or
// 0 for flags, when the element is absent).
void Fill(Row& row, size_t from, size_t to, const Element* e) {
  const Table& table = Tables::Get(row.table);
  for (size_t i = from; i < to; ++i) {
    const Column& c = table.columns[i];
    if (c.type == ColumnType::Flag || c.type == ColumnType::Boolean) {
      row.values.push_back(Flag(IsTrue(e, c.attribute)));
    } else {
      row.values.push_back(e != nullptr ? Attr(*e, c.attribute) : Value());
    }
  }
}

Row FromElement(TableId table, const std::string& messageId, const Element& e) {
  Row row = Start(table, messageId);
  Fill(row, 1, Tables::Get(table).columns.size(), &e);
  return row;
}

void AddMessage(Rows& rows, const std::string& batchId, int64_t position, const Element& m) {
  const std::string id = Upper(m.Get("id"));
  const std::string* generated = m.Find("generated");
  int64_t millis = 0;
  const bool timed = generated != nullptr && TimeText::ToMillis(*generated, millis);

  Row message = Start(TableId::Messages, id);
  message.values.push_back(batchId);
  message.values.push_back(Number(position));
  message.values.push_back(m.name);
  message.values.push_back(generated != nullptr ? Value(*generated) : Value());
  message.values.push_back(timed ? Number(millis) : Value());
  message.values.push_back(Guid(m, "session"));
  const Element* binary = m.Child("binary");
  Fill(message, message.values.size(), Tables::Get(TableId::Messages).columns.size(), binary);
  if (message.values[7]) message.values[7] = Upper(*message.values[7]);  // binary_id
  rows.push_back(std::move(message));

  int64_t property = 0;
  for (const Element& c : m.children) {
    if (c.name != "property") continue;
    Row row = Start(TableId::Properties, id);
    row.values.push_back(Number(property++));
    row.values.push_back(Attr(c, "name"));
    row.values.push_back(Attr(c, "value"));
    const std::string* type = c.Find("type");
    row.values.push_back(Flag(type != nullptr && *type == "decimal"));
    rows.push_back(std::move(row));
  }

  if (m.name == "app-start" || m.name == "app-stop") {
    if (const Element* host = m.Child("host")) {
      Row row = Start(TableId::Hosts, id);
      Fill(row, 1, 7, host);
      Fill(row, 7, Tables::Get(TableId::Hosts).columns.size(), host->Child("os"));
      rows.push_back(std::move(row));
    }
    if (const Element* user = m.Child("user")) rows.push_back(FromElement(TableId::Users, id, *user));
  } else if (m.name == "feature") {
    Row row = FromElement(TableId::Features, id, m);
    row.values[3] = Guid(m, "group");
    rows.push_back(std::move(row));
  } else if (m.name == "fault") {
    rows.push_back(FromElement(TableId::Faults, id, m));
    int64_t exception = 0;
    for (const Element& x : m.children) {
      if (x.name != "exception") continue;
      Row row = Start(TableId::Exceptions, id);
      row.values.push_back(Number(exception));
      Fill(row, 2, Tables::Get(TableId::Exceptions).columns.size(), &x);
      rows.push_back(std::move(row));
      int64_t frame = 0;
      for (const Element& s : x.children) {
        Row stack = Start(TableId::StackFrames, id);
        stack.values.push_back(Number(exception));
        stack.values.push_back(Number(frame++));
        Fill(stack, 3, Tables::Get(TableId::StackFrames).columns.size(), &s);
        rows.push_back(std::move(stack));
      }
      ++exception;
    }
  } else if (m.name == "performance-probe") {
    Row row = Start(TableId::Probes, id);
    row.values.push_back(Attr(m, "name"));
    Fill(row, 2, 4, m.Child("memory"));
    Fill(row, 4, 5, m.Child("cpu"));
    rows.push_back(std::move(row));
  } else if (m.name == "system-profile") {
    rows.push_back(FromElement(TableId::Profiles, id, m));
    // Each repeating element counts its own positions.
    std::vector<int64_t> positions(Tables::All().size(), 0);
    for (const Element& c : m.children) {
      const Table* table = Tables::ForProfileElement(c.name);
      if (table == nullptr) continue;  // binary, property
      const auto tableId = static_cast<TableId>(table - Tables::All().data());
      Row row = Start(tableId, id);
      if (table->positioned) row.values.push_back(Number(positions[static_cast<size_t>(tableId)]++));
      Fill(row, row.values.size(), table->columns.size(), &c);
      rows.push_back(std::move(row));
    }
  }
}

}  // namespace

Rows BatchRows::Build(const Batch& batch) {
  const Element& root = batch.root;
  const Element* company = root.Child("company");
  const Element* application = root.Child("application");
  const std::string batchId = Upper(root.Get("id"));
  Rows rows;
  // A message makes four rows on average (properties, features).
  rows.reserve(root.children.size() * 4);

  Row head = Start(TableId::Batches, batchId);
  head.values.push_back(batch.received);
  head.values.push_back(Attr(root, "sent"));
  head.values.push_back(Attr(root, "protocol"));
  head.values.push_back(Flag(batch.stored));
  head.values.push_back(batch.agent);
  head.values.push_back(Attr(root, "agent-name"));
  head.values.push_back(Attr(root, "agent-version"));
  head.values.push_back(Guid(root, "message-group"));
  head.values.push_back(company != nullptr ? Guid(*company, "id") : Value());
  head.values.push_back(company != nullptr ? Attr(*company, "name") : Value());
  head.values.push_back(application != nullptr ? Guid(*application, "id") : Value());
  for (const char* a : {"name", "version", "type", "instance"}) {
    head.values.push_back(application != nullptr ? Attr(*application, a) : Value());
  }
  rows.push_back(std::move(head));

  int64_t position = 0;
  for (const Element& m : root.children) {
    if (m.name == "company" || m.name == "application") continue;
    AddMessage(rows, batchId, position++, m);
  }
  rows[0].values.push_back(Number(position));  // message_count
  return rows;
}

}  // namespace collector
}  // namespace qz
