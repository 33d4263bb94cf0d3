// The PostgreSQL catalog through libpq: a few set-based queries over
// pg_catalog in one read-only repeatable-read transaction, joined here by
// object id.
#include <libpq-fe.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "catalog_reader.h"

namespace pcd::cli {

namespace {

using ObjectId = unsigned int;

// Built-in type ids whose modifiers carry a length or a precision.
constexpr ObjectId kBpchar = 1042;
constexpr ObjectId kVarchar = 1043;
constexpr ObjectId kBit = 1560;
constexpr ObjectId kVarbit = 1562;
constexpr ObjectId kNumeric = 1700;
constexpr int kVarlenaHeader = 4;  // added to character and numeric modifiers

struct ConnectionCloser {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};
struct ResultClearer {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Connection = std::unique_ptr<PGconn, ConnectionCloser>;
using Result = std::unique_ptr<PGresult, ResultClearer>;

// libpq's message on one line: its lines joined by "; ", without the
// indentation of continued lines or the final line break.
std::string oneLine(const char* message) {
  std::string text;
  bool newLine = false;
  for (const char* at = message != nullptr ? message : ""; *at != '\0'; ++at) {
    if (*at == '\n') {
      newLine = true;
    } else if (newLine && (*at == '\t' || *at == ' ')) {
      continue;
    } else {
      if (newLine && !text.empty()) text += "; ";
      newLine = false;
      text += *at;
    }
  }
  return text;
}

void replaceAll(std::string& text, const std::string& what, const std::string& with) {
  if (what.empty()) return;
  for (size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
}

// The password as the URL spells it (user:password@ and password=), and as
// libpq reads it: libpq quotes the URL, or a part of it, in some messages.
std::vector<std::string> secretsOf(const DatabaseUrl& url) {
  std::vector<std::string> secrets;
  const std::string& text = url.text;
  if (const size_t scheme = text.find("://"); scheme != std::string::npos) {
    const size_t start = scheme + 3;
    const size_t end = text.find_first_of("/?", start);
    const size_t at = text.rfind('@', end == std::string::npos ? std::string::npos : end);
    const size_t colon = text.find(':', start);
    if (at != std::string::npos && at >= start && colon != std::string::npos && colon < at) {
      secrets.push_back(text.substr(colon + 1, at - colon - 1));
    }
  }
  for (size_t at = text.find("password="); at != std::string::npos;
       at = text.find("password=", at + 1)) {
    if (at == 0 || (text[at - 1] != '?' && text[at - 1] != '&')) continue;
    const size_t end = text.find('&', at + 9);
    secrets.push_back(text.substr(at + 9, end == std::string::npos ? end : end - at - 9));
  }
  char* ignored = nullptr;
  if (PQconninfoOption* options = PQconninfoParse(text.c_str(), &ignored)) {
    for (const PQconninfoOption* option = options; option->keyword != nullptr; ++option) {
      if (std::string(option->keyword) == "password" && option->val != nullptr) {
        secrets.emplace_back(option->val);
      }
    }
    PQconninfoFree(options);
  }
  PQfreemem(ignored);
  return secrets;
}

// A message of libpq's with the URL shown as url.shown() and no password.
std::string withoutSecrets(std::string message, const DatabaseUrl& url) {
  replaceAll(message, url.text, url.shown());
  for (const std::string& secret : secretsOf(url)) replaceAll(message, secret, "***");
  return message;
}

// Where a connection goes, for messages: "database 'x' on host" or
// "... on socket /dir".
std::string placeOf(PGconn* connection) {
  const char* database = PQdb(connection);
  const char* host = PQhost(connection);
  std::string place = "database '" + std::string(database != nullptr ? database : "") + "' on ";
  if (host == nullptr || *host == '\0') return place + "the default socket";
  return place + (host[0] == '/' ? "socket " : "") + host;
}

class Session {
 public:
  Session(PGconn* connection, const DatabaseUrl& url)
      : connection_(connection), url_(url), place_(placeOf(connection)) {}

  // Runs `sql` with the selected schemas' ids as $1 (when given); `what`
  // names the query in an error.
  Result run(const char* what, const char* sql, const std::string* schemaIds = nullptr) {
    const char* values[1] = {schemaIds != nullptr ? schemaIds->c_str() : nullptr};
    Result result(PQexecParams(connection_, sql, schemaIds != nullptr ? 1 : 0, nullptr, values,
                               nullptr, nullptr, 0));
    const ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
    if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
      const char* reason = result ? PQresultErrorMessage(result.get()) : nullptr;
      if (reason == nullptr || *reason == '\0') reason = PQerrorMessage(connection_);
      throw CatalogReadError("cannot read the catalog (" + std::string(what) + ") of " + place_ +
                             ": " + withoutSecrets(oneLine(reason), url_));
    }
    return result;
  }

 private:
  PGconn* connection_;
  const DatabaseUrl& url_;
  std::string place_;
};

// Field access of a text-format result.
class Rows {
 public:
  explicit Rows(const Result& result) : result_(result.get()) {}
  int count() const { return PQntuples(result_); }
  bool isNull(int row, int field) const { return PQgetisnull(result_, row, field) != 0; }
  std::string text(int row, int field) const {
    return std::string(PQgetvalue(result_, row, field),
                       static_cast<size_t>(PQgetlength(result_, row, field)));
  }
  ObjectId id(int row, int field) const {
    return static_cast<ObjectId>(std::strtoul(PQgetvalue(result_, row, field), nullptr, 10));
  }
  long number(int row, int field) const {
    return std::strtol(PQgetvalue(result_, row, field), nullptr, 10);
  }
  bool flag(int row, int field) const { return PQgetvalue(result_, row, field)[0] == 't'; }
  char letter(int row, int field) const { return PQgetvalue(result_, row, field)[0]; }

 private:
  const PGresult* result_;
};

// Numbers of an int2vector's text ("1 0 3").
std::vector<int> numbersOf(const std::string& text) {
  std::vector<int> numbers;
  std::istringstream in(text);
  for (int number; in >> number;) numbers.push_back(number);
  return numbers;
}

// Domains and enums, to resolve a domain to its base type and modifier.
struct UserType {
  char kind = 'd';  // 'd' domain, 'e' enum
  ObjectId base = 0;
  int typmod = -1;
  bool notNull = false;
};
using UserTypes = std::unordered_map<ObjectId, UserType>;

struct ResolvedType {
  LiveType type;
  bool notNull = false;  // a NOT NULL domain
  bool isEnum = false;
};

// `name` as format_type spells it; length, precision and scale from the
// modifier of the type or, for a domain, of the domains it is built on.
ResolvedType resolveType(std::string name, ObjectId type, int typmod, const UserTypes& userTypes) {
  ResolvedType resolved;
  resolved.type.name = std::move(name);
  for (int depth = 0; depth < 32; ++depth) {  // domains over domains; no cycles exist
    const auto found = userTypes.find(type);
    if (found == userTypes.end()) break;
    if (found->second.kind == 'e') {
      resolved.isEnum = true;
      break;
    }
    if (typmod < 0) typmod = found->second.typmod;
    resolved.notNull = resolved.notNull || found->second.notNull;
    type = found->second.base;
  }
  if (typmod < 0) return resolved;
  switch (type) {
    case kBpchar:
    case kVarchar:
      resolved.type.length = typmod - kVarlenaHeader;
      break;
    case kBit:
    case kVarbit:
      resolved.type.length = typmod;
      break;
    case kNumeric: {
      const int packed = typmod - kVarlenaHeader;
      resolved.type.precision = (packed >> 16) & 0xffff;
      resolved.type.scale = ((packed & 0x7ff) ^ 1024) - 1024;  // an 11-bit signed scale
      break;
    }
    default:
      break;
  }
  return resolved;
}

// Where a relation's rows go: its schema and table, and its columns by
// attribute number (-1: dropped).
struct TableSlot {
  size_t schema = 0;
  size_t table = 0;
  std::vector<int> columnOfAttribute;
};

int columnOf(const TableSlot& slot, long attribute) {
  if (attribute <= 0 || attribute >= static_cast<long>(slot.columnOfAttribute.size())) return -1;
  return slot.columnOfAttribute[static_cast<size_t>(attribute)];
}

// System schemas are pg_catalog, information_schema and pg_toast / pg_temp
// ones; the "pg_" prefix is reserved to the system.
bool isSystemSchema(const std::string& name) {
  return name == "information_schema" || name.compare(0, 3, "pg_") == 0;
}

const char kSchemasSql[] = R"(
SELECT n.oid, n.nspname FROM pg_namespace n
WHERE n.nspname <> 'information_schema' AND left(n.nspname, 3) <> 'pg_'
  AND NOT EXISTS (SELECT FROM pg_depend d WHERE d.classid = 'pg_namespace'::regclass
                  AND d.objid = n.oid AND d.deptype = 'e'))";

const char kTypesSql[] = R"(
SELECT t.oid, t.typtype, t.typbasetype, t.typtypmod, t.typnotnull FROM pg_type t
WHERE t.typtype IN ('d', 'e'))";

// Sequences made for identity columns belong to the column.
const char kRelationsSql[] = R"(
SELECT c.oid, c.relnamespace, c.relname, c.relkind,
  c.relkind = 'S' AND EXISTS (SELECT FROM pg_depend d WHERE d.classid = 'pg_class'::regclass
                              AND d.objid = c.oid AND d.refobjsubid > 0 AND d.deptype = 'i')
FROM pg_class c
WHERE c.relnamespace = ANY ($1::oid[]) AND c.relkind IN ('r', 'p', 'f', 'v', 'm', 'S')
  AND NOT EXISTS (SELECT FROM pg_depend d WHERE d.classid = 'pg_class'::regclass
                  AND d.objid = c.oid AND d.deptype = 'e'))";

const char kColumnsSql[] = R"(
SELECT a.attrelid, a.attnum, a.attname, format_type(a.atttypid, NULL), a.atttypid, a.atttypmod,
  a.attnotnull, a.attidentity <> '', a.attgenerated <> '', a.atthasdef
FROM pg_attribute a JOIN pg_class c ON c.oid = a.attrelid
WHERE c.relnamespace = ANY ($1::oid[]) AND c.relkind IN ('r', 'p', 'f', 'v', 'm')
  AND a.attnum > 0 AND NOT a.attisdropped
ORDER BY a.attrelid, a.attnum)";

const char kCommentsSql[] = R"(
SELECT d.objoid, d.objsubid, false, d.description
FROM pg_description d JOIN pg_class c ON c.oid = d.objoid
WHERE d.classoid = 'pg_class'::regclass AND c.relnamespace = ANY ($1::oid[])
UNION ALL
SELECT d.objoid, d.objsubid, true, d.description
FROM pg_description d JOIN pg_proc p ON p.oid = d.objoid
WHERE d.classoid = 'pg_proc'::regclass AND d.objsubid = 0 AND p.pronamespace = ANY ($1::oid[]))";

// One row per key column (one with nulls for a check without columns). A
// foreign key to a partitioned table gets a copy per partition on the same
// table; those copies are left out.
const char kConstraintsSql[] = R"(
SELECT con.oid, con.conrelid, con.conname, con.contype, k.attnum, rn.nspname, rc.relname,
  ra.attname, con.confupdtype, con.confdeltype, con.confmatchtype
FROM pg_constraint con
JOIN pg_class c ON c.oid = con.conrelid
LEFT JOIN pg_constraint parent ON parent.oid = con.conparentid
LEFT JOIN LATERAL unnest(con.conkey, con.confkey) WITH ORDINALITY AS k(attnum, refnum, ord) ON true
LEFT JOIN pg_class rc ON rc.oid = con.confrelid
LEFT JOIN pg_namespace rn ON rn.oid = rc.relnamespace
LEFT JOIN pg_attribute ra ON ra.attrelid = con.confrelid AND ra.attnum = k.refnum
WHERE c.relnamespace = ANY ($1::oid[]) AND con.contype IN ('p', 'u', 'f', 'c', 'x')
  AND (con.contype <> 'f' OR parent.conrelid IS DISTINCT FROM con.conrelid)
ORDER BY con.conrelid, con.oid, k.ord)";

// A foreign key's conindid is the referenced table's index, so only the
// table's own keys and exclusion constraints claim an index.
const char kIndexesSql[] = R"(
SELECT i.indexrelid, i.indrelid, ic.relname, i.indisunique, i.indnkeyatts, i.indkey::text,
  i.indoption::text, i.indpred IS NOT NULL,
  i.indisprimary OR EXISTS (SELECT FROM pg_constraint con WHERE con.conindid = i.indexrelid
                            AND con.conrelid = i.indrelid AND con.contype IN ('p', 'u', 'x'))
FROM pg_index i
JOIN pg_class ic ON ic.oid = i.indexrelid
JOIN pg_class c ON c.oid = i.indrelid
WHERE c.relnamespace = ANY ($1::oid[]))";

const char kTriggersAndRulesSql[] = R"(
SELECT x.relid, x.what, count(*)
FROM (SELECT t.tgrelid AS relid, 't' AS what FROM pg_trigger t WHERE NOT t.tgisinternal
      UNION ALL
      SELECT r.ev_class, 'r' FROM pg_rewrite r WHERE r.rulename <> '_RETURN') x
JOIN pg_class c ON c.oid = x.relid
WHERE c.relnamespace = ANY ($1::oid[])
GROUP BY x.relid, x.what)";

const char kDomainChecksSql[] = R"(
SELECT count(*) FROM pg_constraint con JOIN pg_type t ON t.oid = con.contypid
WHERE con.contype = 'c' AND t.typnamespace = ANY ($1::oid[])
  AND NOT EXISTS (SELECT FROM pg_depend d WHERE d.classid = 'pg_type'::regclass
                  AND d.objid = t.oid AND d.deptype = 'e'))";

// Arguments in declaration order: every argument's type when some are
// OUT, else the input types; mode 't' marks a RETURNS TABLE column.
const char kRoutinesSql[] = R"(
SELECT p.oid, p.pronamespace, p.proname, a.typ, format_type(a.typ, NULL), a.name, a.mode
FROM pg_proc p
LEFT JOIN LATERAL (
  SELECT t.ord, t.typ, coalesce(p.proargnames[t.ord::int], '') AS name,
    coalesce(p.proargmodes[t.ord::int], 'i') AS mode
  FROM unnest(coalesce(p.proallargtypes, p.proargtypes::oid[])) WITH ORDINALITY AS t(typ, ord)
) a ON true
WHERE p.pronamespace = ANY ($1::oid[]) AND p.prokind IN ('f', 'p')
  AND NOT EXISTS (SELECT FROM pg_depend d WHERE d.classid = 'pg_proc'::regclass
                  AND d.objid = p.oid AND d.deptype = 'e')
ORDER BY p.oid, a.ord)";

class CatalogBuilder {
 public:
  CatalogBuilder(Session& session, LiveCatalog& catalog) : session_(session), catalog_(catalog) {}

  void readSchemas(const std::vector<std::string>& chosen) {
    const Result result = session_.run("schemas", kSchemasSql);
    const Rows rows(result);
    std::unordered_map<std::string, ObjectId> byName;
    for (int row = 0; row < rows.count(); ++row) byName.emplace(rows.text(row, 1), rows.id(row, 0));
    std::vector<std::pair<std::string, ObjectId>> selected;
    if (chosen.empty()) {
      selected.assign(byName.begin(), byName.end());
    } else {
      for (const std::string& name : chosen) {
        const auto found = byName.find(name);
        if (found == byName.end()) {
          throw CatalogReadError((isSystemSchema(name)
                                      ? "schema '" + name + "' is a system schema, not read"
                                      : "no schema '" + name + "'") +
                                 " in database '" + catalog_.databaseName + "'");
        }
        selected.emplace_back(*found);
      }
    }
    std::sort(selected.begin(), selected.end());
    selected.erase(std::unique(selected.begin(), selected.end()), selected.end());
    schemaIds_ = "{";
    for (const auto& [name, id] : selected) {
      schemaOf_.emplace(id, catalog_.schemas.size());
      catalog_.schemas.emplace_back();
      catalog_.schemas.back().name = name;
      if (schemaIds_.size() > 1) schemaIds_ += ',';
      schemaIds_ += std::to_string(id);
    }
    schemaIds_ += '}';
  }

  void readTypes() {
    const Result result = session_.run("types", kTypesSql);
    const Rows rows(result);
    for (int row = 0; row < rows.count(); ++row) {
      UserType& type = userTypes_[rows.id(row, 0)];
      type.kind = rows.letter(row, 1);
      type.base = rows.id(row, 2);
      type.typmod = static_cast<int>(rows.number(row, 3));
      type.notNull = rows.flag(row, 4);
    }
  }

  void readRelations() {
    const Result result = session_.run("relations", kRelationsSql, &schemaIds_);
    const Rows rows(result);
    for (int row = 0; row < rows.count(); ++row) {
      const char kind = rows.letter(row, 3);
      if (kind == 'S') {
        if (!rows.flag(row, 4)) catalog_.countNotCarried(not_carried::kSequences);
        continue;
      }
      const size_t schema = schemaOf_.at(rows.id(row, 1));
      std::vector<LiveTable>& tables = catalog_.schemas[schema].tables;
      TableSlot& slot = tables_[rows.id(row, 0)];
      slot.schema = schema;
      slot.table = tables.size();
      tables.emplace_back();
      tables.back().name = rows.text(row, 2);
      tables.back().view = kind == 'v' || kind == 'm';
      if (tables.back().view) catalog_.countNotCarried(not_carried::kViewBodies);
    }
  }

  void readColumns() {
    const Result result = session_.run("columns", kColumnsSql, &schemaIds_);
    const Rows rows(result);
    long defaults = 0, identities = 0, generated = 0, enums = 0;
    for (int row = 0; row < rows.count(); ++row) {
      TableSlot* slot = slotOf(rows.id(row, 0));
      if (slot == nullptr) continue;
      LiveTable& table = tableOf(*slot);
      const long attribute = rows.number(row, 1);
      if (attribute >= static_cast<long>(slot->columnOfAttribute.size())) {
        slot->columnOfAttribute.resize(static_cast<size_t>(attribute) + 1, -1);
      }
      slot->columnOfAttribute[static_cast<size_t>(attribute)] =
          static_cast<int>(table.columns.size());
      ResolvedType type = resolveType(rows.text(row, 3), rows.id(row, 4),
                                      static_cast<int>(rows.number(row, 5)), userTypes_);
      LiveColumn& column = table.columns.emplace_back();
      column.name = rows.text(row, 2);
      column.type = std::move(type.type);
      column.nullable = !rows.flag(row, 6) && !type.notNull;
      const bool identity = rows.flag(row, 7);
      const bool isGenerated = rows.flag(row, 8);
      identities += identity;
      generated += isGenerated;
      defaults += rows.flag(row, 9) && !identity && !isGenerated;
      enums += type.isEnum;
    }
    catalog_.countNotCarried(not_carried::kColumnDefaults, defaults);
    catalog_.countNotCarried(not_carried::kIdentityColumns, identities);
    catalog_.countNotCarried(not_carried::kGeneratedColumns, generated);
    catalog_.countNotCarried(not_carried::kEnumOrSetValues, enums);
  }

  void readComments() {
    const Result result = session_.run("comments", kCommentsSql, &schemaIds_);
    const Rows rows(result);
    for (int row = 0; row < rows.count(); ++row) {
      const ObjectId id = rows.id(row, 0);
      if (rows.flag(row, 2)) {
        routineComments_[id] = rows.text(row, 3);
        continue;
      }
      const TableSlot* slot = slotOf(id);
      if (slot == nullptr) continue;
      const long subId = rows.number(row, 1);
      LiveTable& table = tableOf(*slot);
      if (subId == 0) {
        table.comment = rows.text(row, 3);
      } else if (const int column = columnOf(*slot, subId); column >= 0) {
        table.columns[static_cast<size_t>(column)].comment = rows.text(row, 3);
      }
    }
  }

  void readConstraints() {
    const Result result = session_.run("constraints", kConstraintsSql, &schemaIds_);
    const Rows rows(result);
    long checks = 0, exclusions = 0, actions = 0;
    for (int row = 0; row < rows.count();) {
      const ObjectId constraint = rows.id(row, 0);
      const int first = row;
      while (row < rows.count() && rows.id(row, 0) == constraint) ++row;
      const TableSlot* slot = slotOf(rows.id(first, 1));
      if (slot == nullptr) continue;
      LiveTable& table = tableOf(*slot);
      const char kind = rows.letter(first, 3);
      if (kind == 'c' || kind == 'x') {
        (kind == 'c' ? checks : exclusions) += 1;
        continue;
      }
      std::vector<int> columns;
      for (int member = first; member < row; ++member) {
        columns.push_back(columnOf(*slot, rows.number(member, 4)));
      }
      if (std::find(columns.begin(), columns.end(), -1) != columns.end()) {
        throw CatalogReadError("constraint '" + rows.text(first, 2) + "' of table '" + table.name +
                               "' names a column the table does not have");
      }
      if (kind == 'p') {
        table.hasPrimaryKey = true;
        table.primaryKey = LiveKey{rows.text(first, 2), std::move(columns), {}};
      } else if (kind == 'u') {
        table.uniqueKeys.push_back(LiveKey{rows.text(first, 2), std::move(columns), {}});
      } else {
        LiveForeignKey& key = table.foreignKeys.emplace_back();
        key.name = rows.text(first, 2);
        key.columns = std::move(columns);
        key.referencedSchema = rows.text(first, 5);
        key.referencedTable = rows.text(first, 6);
        for (int member = first; member < row; ++member) {
          key.referencedColumns.push_back(rows.text(member, 7));
        }
        // NO ACTION both ways and MATCH SIMPLE are what the format implies.
        actions += rows.letter(first, 8) != 'a' || rows.letter(first, 9) != 'a' ||
                   rows.letter(first, 10) != 's';
      }
    }
    catalog_.countNotCarried(not_carried::kCheckConstraints, checks);
    catalog_.countNotCarried(not_carried::kExclusionConstraints, exclusions);
    catalog_.countNotCarried(not_carried::kReferentialActions, actions);
  }

  void readDomainChecks() {
    const Result result = session_.run("domain checks", kDomainChecksSql, &schemaIds_);
    catalog_.countNotCarried(not_carried::kCheckConstraints, Rows(result).number(0, 0));
  }

  void readIndexes() {
    const Result result = session_.run("indexes", kIndexesSql, &schemaIds_);
    const Rows rows(result);
    long expressionIndexes = 0, expressionMembers = 0, partial = 0, included = 0;
    for (int row = 0; row < rows.count(); ++row) {
      const TableSlot* slot = slotOf(rows.id(row, 1));
      if (slot == nullptr) continue;
      const std::vector<int> members = numbersOf(rows.text(row, 5));
      const std::vector<int> options = numbersOf(rows.text(row, 6));
      const size_t keyCount = std::min(members.size(), static_cast<size_t>(rows.number(row, 4)));
      included += static_cast<long>(members.size() - keyCount);
      if (rows.flag(row, 8)) continue;  // the constraint stands for it
      LiveIndex index;
      index.name = rows.text(row, 2);
      index.unique = rows.flag(row, 3);
      long expressions = 0;
      for (size_t member = 0; member < keyCount; ++member) {
        const int column = columnOf(*slot, members[member]);
        if (column < 0) {
          ++expressions;
          continue;
        }
        index.columns.push_back(column);
        index.descending.push_back(member < options.size() && (options[member] & 1) != 0);
      }
      if (index.columns.empty()) {
        ++expressionIndexes;
        continue;
      }
      expressionMembers += expressions;
      partial += rows.flag(row, 7);
      tableOf(*slot).indexes.push_back(std::move(index));
    }
    catalog_.countNotCarried(not_carried::kExpressionIndexes, expressionIndexes);
    catalog_.countNotCarried(not_carried::kExpressionIndexMembers, expressionMembers);
    catalog_.countNotCarried(not_carried::kPartialIndexes, partial);
    catalog_.countNotCarried(not_carried::kIncludedIndexColumns, included);
  }

  void readTriggersAndRules() {
    const Result result = session_.run("triggers and rules", kTriggersAndRulesSql, &schemaIds_);
    const Rows rows(result);
    for (int row = 0; row < rows.count(); ++row) {
      if (slotOf(rows.id(row, 0)) != nullptr) {
        catalog_.countNotCarried(
            rows.text(row, 1) == "t" ? not_carried::kTriggers : not_carried::kRules,
            rows.number(row, 2));
      }
    }
  }

  void readRoutines() {
    const Result result = session_.run("routines", kRoutinesSql, &schemaIds_);
    const Rows rows(result);
    for (int row = 0; row < rows.count();) {
      const ObjectId routine = rows.id(row, 0);
      LiveProcedure& procedure =
          catalog_.schemas[schemaOf_.at(rows.id(row, 1))].procedures.emplace_back();
      procedure.name = rows.text(row, 2);
      if (const auto comment = routineComments_.find(routine); comment != routineComments_.end()) {
        procedure.comment = comment->second;
      }
      for (; row < rows.count() && rows.id(row, 0) == routine; ++row) {
        if (rows.isNull(row, 3) || rows.letter(row, 6) == 't') continue;
        LiveArgument& argument = procedure.arguments.emplace_back();
        argument.name = rows.text(row, 5);
        argument.type = resolveType(rows.text(row, 4), rows.id(row, 3), -1, userTypes_).type;
      }
    }
  }

  // Schemas were made in name order; tables and procedures are sorted here.
  void sort() {
    for (LiveSchema& schema : catalog_.schemas) {
      std::sort(schema.tables.begin(), schema.tables.end(),
                [](const LiveTable& a, const LiveTable& b) { return a.name < b.name; });
      std::vector<std::pair<std::vector<std::string>, LiveProcedure>> keyed;
      for (LiveProcedure& procedure : schema.procedures) {
        std::vector<std::string> types;
        for (const LiveArgument& argument : procedure.arguments)
          types.push_back(argument.type.name);
        keyed.emplace_back(std::move(types), std::move(procedure));
      }
      std::stable_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) {
        if (a.second.name != b.second.name) return a.second.name < b.second.name;
        return a.first < b.first;
      });
      for (size_t i = 0; i < keyed.size(); ++i) schema.procedures[i] = std::move(keyed[i].second);
    }
  }

 private:
  TableSlot* slotOf(ObjectId relation) {
    const auto found = tables_.find(relation);
    return found == tables_.end() ? nullptr : &found->second;
  }
  LiveTable& tableOf(const TableSlot& slot) {
    return catalog_.schemas[slot.schema].tables[slot.table];
  }

  Session& session_;
  LiveCatalog& catalog_;
  std::string schemaIds_;  // the selected schemas' ids as an oid[] literal
  std::unordered_map<ObjectId, size_t> schemaOf_;
  std::unordered_map<ObjectId, TableSlot> tables_;
  UserTypes userTypes_;
  std::unordered_map<ObjectId, std::string> routineComments_;
};

}  // namespace

LiveCatalog readPostgresqlCatalog(const DatabaseUrl& url, const CatalogReadOptions& options) {
  char* parseError = nullptr;
  if (PQconninfoOption* parsed = PQconninfoParse(url.text.c_str(), &parseError)) {
    PQconninfoFree(parsed);
  } else {
    const std::string reason = oneLine(parseError != nullptr ? parseError : "out of memory");
    PQfreemem(parseError);
    throw CatalogReadError("bad PostgreSQL URL " + url.shown() + ": " +
                           withoutSecrets(reason, url));
  }
  Connection connection(PQconnectdb(url.text.c_str()));
  if (!connection) throw CatalogReadError("cannot connect to " + url.shown() + ": out of memory");
  if (PQstatus(connection.get()) != CONNECTION_OK) {
    throw CatalogReadError("cannot connect to " + placeOf(connection.get()) + ": " +
                           withoutSecrets(oneLine(PQerrorMessage(connection.get())), url));
  }
  const int version = PQserverVersion(connection.get());
  if (version < 120000) {
    throw CatalogReadError(placeOf(connection.get()) + ": PostgreSQL " +
                           std::to_string(version / 10000) +
                           " is not supported; version 12 or later is needed");
  }
  if (PQsetClientEncoding(connection.get(), "UTF8") != 0) {
    throw CatalogReadError(placeOf(connection.get()) + ": cannot receive names in UTF-8: " +
                           oneLine(PQerrorMessage(connection.get())));
  }

  LiveCatalog catalog;
  catalog.engine = "POSTGRESQL";
  catalog.majorVersion = version / 10000;
  const char* database = PQdb(connection.get());
  catalog.databaseName = database != nullptr ? database : "";
  const char* host = PQhost(connection.get());
  catalog.systemName = host == nullptr || *host == '\0' || *host == '/' ? "localhost" : host;

  Session session(connection.get(), url);
  // Names of types outside pg_catalog come out schema-qualified.
  session.run("setup", "SET search_path = pg_catalog");
  session.run("setup", "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
  {
    const Result result = session.run("version", "SELECT current_setting('server_version')");
    const std::string reported = Rows(result).text(0, 0);
    catalog.serverVersion = reported.substr(0, reported.find(' '));
  }
  CatalogBuilder builder(session, catalog);
  builder.readSchemas(options.schemas);
  builder.readTypes();
  builder.readRelations();
  builder.readColumns();
  builder.readComments();
  builder.readConstraints();
  builder.readDomainChecks();
  builder.readIndexes();
  builder.readTriggersAndRules();
  builder.readRoutines();
  session.run("commit", "COMMIT");
  builder.sort();
  return catalog;
}

}  // namespace pcd::cli
