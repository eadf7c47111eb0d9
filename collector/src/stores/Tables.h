// The database schema, one definition for SQLite and PostgreSQL alike: every
// table, its columns and its key. Each store writes its own SQL from it.
// Every table is keyed by batch or message id (and a position within the
// message), so storing a batch again changes nothing.
#ifndef QZ_COLLECTOR_TABLES_H
#define QZ_COLLECTOR_TABLES_H

#include <cstddef>
#include <string>
#include <vector>

namespace qz {
namespace collector {

enum class ColumnType {
  Text,
  Integer,
  Count64,  // unsigned 64-bit: past BIGINT, so kept as text (SQLite) or NUMERIC(20) (PostgreSQL)
  Flag,     // 1 for an attribute written only when "true", 0 when absent
  Boolean,  // 1 or 0 for an attribute always written as "true" or "false"
};

struct Column {
  const char* name;
  ColumnType type;
  // The attribute that fills it, for tables built straight from one element.
  const char* attribute;
};

struct Table {
  const char* name;
  std::vector<Column> columns;
  size_t keyColumns;      // the first ones form the primary key
  const char* element;    // system-profile child that fills it, or null
  bool positioned;        // keyed by message id and position (an element that repeats)
};

enum class TableId {
  Batches,
  Messages,
  Properties,
  Hosts,
  Users,
  Features,
  Faults,
  Exceptions,
  StackFrames,
  Probes,
  Profiles,
  ProfileCpus,
  ProfileMemory,
  ProfileDisks,
  ProfileNetworks,
  ProfileDomains,
  ProfileTimeZones,
  ProfilePageFiles,
  ProfileScreens,
  ProfileVideos,
  ProfileSounds,
  ProfileModems,
  ProfileTerminalServices,
};

class Tables {
 public:
  static const std::vector<Table>& All();
  static const Table& Get(TableId id) { return All()[static_cast<size_t>(id)]; }
  // The system-profile table filled from that child element, or null.
  static const Table* ForProfileElement(const std::string& element);
  // CREATE TABLE / CREATE INDEX statements for SQLite or PostgreSQL.
  static std::vector<std::string> CreateStatements(bool postgres);
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_TABLES_H
