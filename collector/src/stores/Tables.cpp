#include "stores/Tables.h"

#include "summary/SummaryTables.h"

namespace qz {
namespace collector {

namespace {

constexpr ColumnType T = ColumnType::Text;
constexpr ColumnType I = ColumnType::Integer;
constexpr ColumnType U = ColumnType::Count64;
constexpr ColumnType F = ColumnType::Flag;
constexpr ColumnType B = ColumnType::Boolean;

std::vector<Table> MakeTables() {
  // Order matches TableId.
  return {
      {"batches",
       {{"id", T, nullptr},
        {"received", T, nullptr},
        {"sent", T, nullptr},
        {"protocol", I, nullptr},
        {"stored", F, nullptr},
        {"agent", T, nullptr},
        {"agent_name", T, nullptr},
        {"agent_version", T, nullptr},
        {"message_group", T, nullptr},
        {"company_id", T, nullptr},
        {"company_name", T, nullptr},
        {"application_id", T, nullptr},
        {"application_name", T, nullptr},
        {"application_version", T, nullptr},
        {"application_type", T, nullptr},
        {"application_instance", T, nullptr},
        {"message_count", I, nullptr}},
       1, nullptr, false},
      {"messages",
       {{"id", T, nullptr},
        {"batch_id", T, nullptr},
        {"position", I, nullptr},
        {"kind", T, nullptr},
        {"generated", T, nullptr},
        {"generated_ms", I, nullptr},
        {"session", T, nullptr},
        {"binary_id", T, "id"},
        {"binary_modified", T, "modified"},
        {"binary_name", T, "name"},
        {"binary_version", T, "version"},
        {"binary_type", T, "type"},
        {"binary_method", T, "method"}},
       1, nullptr, false},
      {"properties",
       {{"message_id", T, nullptr},
        {"position", I, nullptr},
        {"name", T, nullptr},
        {"value", T, nullptr},
        {"is_decimal", F, nullptr}},
       2, nullptr, false},
      {"hosts",
       {{"message_id", T, nullptr},
        {"name", T, "name"},
        {"ip", T, "ip"},
        {"locale", T, "locale"},
        {"virtualized", F, "virtualized"},
        {"src_lang", T, "src-lang"},
        {"src_lang_ver", T, "src-lang-ver"},
        {"os_name", T, "name"},
        {"os_sp_major", I, "sp-major"},
        {"os_sp_minor", I, "sp-minor"},
        {"os_product_code", T, "product-code"},
        {"os_installed_date", T, "installed-date"},
        {"os_language", T, "language"}},
       1, nullptr, false},
      {"users", {{"message_id", T, nullptr}, {"name", T, "name"}, {"admin", F, "admin"}}, 1, nullptr, false},
      {"features",
       {{"message_id", T, nullptr}, {"name", T, "name"}, {"event", T, "event"}, {"group_id", T, "group"}},
       1, nullptr, false},
      {"faults",
       {{"message_id", T, nullptr}, {"event", T, "event"}, {"comment", T, "comment"}, {"contact", T, "contact"}},
       1, nullptr, false},
      {"exceptions",
       {{"message_id", T, nullptr},
        {"position", I, nullptr},
        {"seq", I, "seq"},
        {"exception_type", T, "exceptionType"},
        {"message", T, "message"}},
       2, nullptr, false},
      {"stack_frames",
       {{"message_id", T, nullptr},
        {"exception_position", I, nullptr},
        {"position", I, nullptr},
        {"seq", I, "seq"},
        {"type", T, "type"},
        {"method", T, "method"},
        {"file", T, "file"},
        {"line", I, "line"}},
       3, nullptr, false},
      {"probes",
       {{"message_id", T, nullptr},
        {"name", T, "name"},
        {"memory_available", I, "available"},
        {"memory_used", I, "used"},
        {"cpu_utilization", I, "utilization"}},
       1, nullptr, false},
      {"profiles",
       {{"message_id", T, nullptr},
        {"manufacturer", T, "manufacturer"},
        {"model", T, "model"},
        {"power_state", T, "power-state"}},
       1, nullptr, false},
      {"profile_cpus",
       {{"message_id", T, nullptr},
        {"position", I, nullptr},
        {"name", T, "name"},
        {"manufacturer", T, "manufacturer"},
        {"model", T, "model"},
        {"address_width", I, "address-width"},
        {"speed", I, "speed"},
        {"max_speed", I, "max-speed"}},
       2, "cpu", true},
      {"profile_memory",
       {{"message_id", T, nullptr}, {"total", U, "total"}, {"capacity", U, "capacity"}, {"speed", I, "speed"}},
       1, "memory", false},
      {"profile_disks",
       {{"message_id", T, nullptr},
        {"position", I, nullptr},
        {"name", T, "name"},
        {"size", U, "size"},
        {"free", U, "free"},
        {"fstype", T, "fstype"},
        {"serial", T, "serial"}},
       2, "disk", true},
      {"profile_networks",
       {{"message_id", T, nullptr},
        {"position", I, nullptr},
        {"conn_id", T, "conn-id"},
        {"ip", T, "ip"},
        {"mac", T, "mac"},
        {"speed", I, "speed"},
        {"max_speed", I, "max-speed"},
        {"dhcp", F, "dhcp"}},
       2, "network", true},
      {"profile_domains",
       {{"message_id", T, nullptr}, {"member", B, "member"}, {"name", T, "name"}, {"role", I, "role"}},
       1, "domain", false},
      {"profile_time_zones", {{"message_id", T, nullptr}, {"zone", I, "zone"}, {"dst", B, "dst"}}, 1,
       "time-zone", false},
      {"profile_page_files",
       {{"message_id", T, nullptr},
        {"position", I, nullptr},
        {"name", T, "name"},
        {"initial_size", I, "initial"},
        {"max_size", I, "max"}},
       2, "page-file", true},
      {"profile_screens",
       {{"message_id", T, nullptr},
        {"name", T, "name"},
        {"width", I, "width"},
        {"height", I, "height"},
        {"refresh", I, "refresh"}},
       1, "screen", false},
      {"profile_videos",
       {{"message_id", T, nullptr},
        {"name", T, "name"},
        {"driver", T, "driver"},
        {"colors", U, "colors"},
        {"memory", I, "memory"}},
       1, "video", false},
      {"profile_sounds",
       {{"message_id", T, nullptr}, {"manufacturer", T, "manufacturer"}, {"model", T, "model"}}, 1, "sound",
       false},
      {"profile_modems", {{"message_id", T, nullptr}, {"model", T, "model"}, {"type", T, "type"}}, 1, "modem",
       false},
      {"profile_terminal_services",
       {{"message_id", T, nullptr},
        {"connections_allowed", F, "connections-allowed"},
        {"licensing_name", T, "licensing-name"},
        {"mode", I, "mode"}},
       1, "terminal-services", false},
  };
}

}  // namespace

const std::vector<Table>& Tables::All() {
  static const std::vector<Table> tables = MakeTables();
  return tables;
}

const Table* Tables::ForProfileElement(const std::string& element) {
  for (const Table& t : All()) {
    if (t.element != nullptr && element == t.element) return &t;
  }
  return nullptr;
}

std::vector<std::string> Tables::CreateStatements(bool postgres) {
  std::vector<std::string> out;
  for (const Table& t : All()) {
    std::string sql = std::string("CREATE TABLE IF NOT EXISTS ") + t.name + " (";
    for (size_t i = 0; i < t.columns.size(); ++i) {
      const Column& c = t.columns[i];
      sql += c.name;
      if (c.type == ColumnType::Count64) {
        sql += postgres ? " NUMERIC(20)" : " TEXT";
      } else {
        sql += c.type == ColumnType::Text ? " TEXT" : " BIGINT";
      }
      if (i < t.keyColumns || c.type == ColumnType::Flag || c.type == ColumnType::Boolean) sql += " NOT NULL";
      sql += ", ";
    }
    sql += "PRIMARY KEY (";
    for (size_t i = 0; i < t.keyColumns; ++i) {
      if (i > 0) sql += ", ";
      sql += t.columns[i].name;
    }
    sql += "))";
    out.push_back(sql);
  }
  // What the report looks up by.
  out.push_back("CREATE INDEX IF NOT EXISTS messages_kind ON messages (kind, generated)");
  out.push_back("CREATE INDEX IF NOT EXISTS batches_group ON batches (message_group)");
  // What expiry deletes by.
  out.push_back("CREATE INDEX IF NOT EXISTS messages_generated ON messages (generated_ms)");
  out.push_back("CREATE INDEX IF NOT EXISTS batches_received ON batches (received)");
  for (std::string& sql : SummaryTables::CreateStatements()) out.push_back(std::move(sql));
  return out;
}

}  // namespace collector
}  // namespace qz
