#include "sql_names.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <unordered_set>
#include <vector>

#include "catalog_view.h"
#include "schema_walk.h"
#include "sql_text.h"
#include "unique_names.h"

namespace pcd::writers {

namespace {

// FNV-1a, 32 bits, as 8 hex digits: short and the same on every machine.
std::string shortHash(std::string_view text) {
  uint32_t hash = 2166136261u;
  for (const char c : text) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 16777619u;
  }
  char digits[9];
  std::snprintf(digits, sizeof digits, "%08x", hash);
  return digits;
}

bool isContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// Length of `text` in the limit's unit.
size_t units(std::string_view text, const IdentifierLimit& limit) {
  if (limit.countsBytes) return text.size();
  size_t count = 0;
  for (const char c : text) count += isContinuation(c) ? 0 : 1;
  return count;
}

// The longest head of `text` of at most `max` units, cut between characters.
std::string_view head(std::string_view text, size_t max, const IdentifierLimit& limit) {
  size_t taken = 0, end = 0;
  while (end < text.size()) {
    size_t next = end + 1;
    while (next < text.size() && isContinuation(text[next])) ++next;
    const size_t cost = limit.countsBytes ? next - end : 1;
    if (taken + cost > max) break;
    taken += cost;
    end = next;
  }
  return text.substr(0, end);
}

// Names already given in one scope, compared as the dialect compares them.
class NameScope {
 public:
  explicit NameScope(const SqlDialect& dialect)
      : ignoresCase_(dialect.namesIgnoreCase()), serial_(++lastSerial) {}
  NameScope(NameScope&&) = default;
  bool taken(std::string_view name) const {
    if (!large_) {
      for (const std::string& given : few_) {
        if (same(given, name)) return true;
      }
      return false;
    }
    return many_.count(folded(name)) != 0;
  }
  void take(std::string_view name) {
    if (!large_) {
      if (few_.empty()) few_.reserve(8);
      few_.emplace_back(name);
      if (few_.size() <= kFew) return;
      large_ = true;
      for (const std::string& given : few_) keep(given);
      std::vector<std::string>().swap(few_);
      return;
    }
    keep(name);
  }
  // Distinct for every scope of a run, also one made where another was.
  uint64_t serial() const { return serial_; }
  // The suffixes this scope alone is known to hold, per stem.
  SuffixCounters& suffixes() { return suffixes_; }

 private:
  // A scope of up to this many names (a table's columns, mostly) compares
  // each; a larger one hashes them.
  static constexpr size_t kFew = 16;

  static char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
  bool same(std::string_view a, std::string_view b) const {
    if (a.size() != b.size()) return false;
    if (!ignoresCase_) return a == b;
    for (size_t i = 0; i < a.size(); ++i) {
      if (lower(a[i]) != lower(b[i])) return false;
    }
    return true;
  }
  // The name as compared, in a buffer reused by every look-up.
  std::string_view folded(std::string_view name) const {
    if (!ignoresCase_) return name;
    scratch_.assign(name);
    for (char& c : scratch_) c = lower(c);
    return scratch_;
  }
  void keep(std::string_view name) {
    const std::string_view key = folded(name);
    if (many_.count(key) != 0) return;
    kept_.emplace_back(key);
    many_.insert(kept_.back());
  }

  static inline uint64_t lastSerial = 0;
  bool ignoresCase_;
  bool large_ = false;
  uint64_t serial_;
  std::vector<std::string> few_;  // as given
  // Folded, in kept_, whose strings never move.
  std::unordered_set<std::string_view, zel_hash::TextHash> many_;
  std::deque<std::string> kept_;
  mutable std::string scratch_;
  SuffixCounters suffixes_;
};

// Some of the scopes of one name, in a fixed order.
class ScopeList {
 public:
  ScopeList(NameScope* const* first, size_t count) : first_(first), count_(count) {}
  NameScope* const* begin() const { return first_; }
  NameScope* const* end() const { return first_ + count_; }

 private:
  NameScope* const* first_;
  size_t count_;
};

class Namer {
 public:
  explicit Namer(const SqlDialect& dialect)
      : dialect_(dialect), limit_(dialect.identifierLimit()) {}

  // The text a raw name becomes, before uniqueness: valid UTF-8, what the
  // dialect refuses replaced, `fallback()` when empty. Sets `error` (naming
  // the object, `what()`) when no quoting can carry the name. The fallback
  // and the message are made only when needed: a model names millions of
  // objects.
  template <class Fallback, class What>
  std::string clean(const ZELString& raw, const Fallback& fallback, const What& what,
                    std::string& error) const {
    const std::string_view bytes = bytesOf(raw);
    if (bytes.find('\0') != std::string_view::npos) {
      if (error.empty()) {
        error = what() + " has a NUL byte in its name, which no " + std::string(dialect_.name()) +
                " identifier can hold";
      }
      return fallback();
    }
    std::string text = dialect_.identifierText(validUtf8(bytes));
    return text.empty() ? fallback() : text;
  }

  // A unique name in `scopes` for `text`, taken in all of them: the text
  // itself when it fits and is free, else with "_2", "_3", ... and, when
  // too long, a hash of the whole text in place of its tail.
  std::string unique(const std::string& text, std::initializer_list<NameScope*> scopes) {
    return unique(text, ScopeList(scopes.begin(), scopes.size()));
  }
  std::string unique(const std::string& text, ScopeList scopes) {
    const bool tooLong = limit_.max != 0 && units(text, limit_) > limit_.max;
    const std::string hashed = tooLong ? "_" + shortHash(text) : "";
    // The text cut to leave room for a suffix of `suffixBytes`, with the hash.
    const auto stem = [&](size_t suffixBytes) {
      if (limit_.max == 0) return text + hashed;
      return std::string(head(text, limit_.max - hashed.size() - suffixBytes, limit_)) + hashed;
    };
    const auto isFree = [&](const std::string& name) {
      for (const NameScope* scope : scopes) {
        if (scope->taken(name)) return false;
      }
      return true;
    };
    std::string name = tooLong ? stem(0) : text;
    if (!isFree(name)) {
      // Counters of one digit count share one stem. Each scope remembers
      // the suffixes it holds, and the namer those found taken in this set
      // of scopes: a scope made per table next to one kept per schema
      // starts where the schema's scope is.
      std::string key;
      for (const NameScope* scope : scopes) key += std::to_string(scope->serial()) + ",";
      uint64_t first = 2, last = 10;
      for (size_t digits = 1;;
           ++digits, first = last, last = digits < 19 ? last * 10 : UINT64_MAX) {
        const std::string base = stem(1 + digits);
        const std::string stemKey = std::to_string(digits) + ":" + base;
        uint64_t from = first;
        for (NameScope* scope : scopes) {
          from =
              std::max(from, scope->suffixes().firstNotTaken(stemKey, first, last, [&](uint64_t n) {
                return scope->taken(base + "_" + std::to_string(n));
              }));
        }
        const uint64_t counter = suffixes_.firstFree(
            key + stemKey, first, last,
            [&](uint64_t n) {
              name = base + "_" + std::to_string(n);
              return isFree(name);
            },
            from);
        if (counter < last) break;
      }
    }
    for (NameScope* scope : scopes) scope->take(name);
    return name;
  }

 private:
  const SqlDialect& dialect_;
  IdentifierLimit limit_;
  SuffixCounters suffixes_;
};

std::string quotedForMessage(const ZELString& name) {
  return "\"" + commentText(bytesOf(name)) + "\"";
}

}  // namespace

std::vector<SchemaOfCatalog> catalogSchemas(const ZELModel& model) {
  std::vector<SchemaOfCatalog> schemas;
  forEachSchema(model, [&schemas](const SchemaPath& path, const ZELPackage& schema) {
    schemas.push_back({static_cast<const ZELDatabaseCatalog*>(&path.catalog()), &schema});
  });
  return schemas;
}

std::vector<const ZELModelObject*> objectsOfType(const ZELPackage& schema, ZELElementType type) {
  std::vector<const ZELModelObject*> objects;
  if (!schema.isInstanceOf(ZEL_ET_DATA_PACKAGE)) return objects;
  for (const ZELModelObject* object : static_cast<const ZELDataPackage&>(schema).modelObjects()) {
    if (object->getElementType() == type) objects.push_back(object);
  }
  return objects;
}

namespace {

// A table with more columns than this finds them by address in a sorted
// array; narrower ones by comparing each.
constexpr size_t kWideTable = 16;

const SqlName kNoName{nullptr, {}, false};

}  // namespace

const SqlName& SqlNames::find(const ZELObject* object, size_t first, size_t count) const {
  for (size_t i = first; i < first + count; ++i) {
    if (members_[i].object == object) return members_[i];
  }
  return kNoName;
}

long SqlNames::positionOf(const ZELClass* table) const {
  const auto found = std::lower_bound(tablesByAddress_.begin(), tablesByAddress_.end(),
                                      std::make_pair(table, size_t{0}));
  if (found == tablesByAddress_.end() || found->first != table) return -1;
  return static_cast<long>(found->second);
}

const SqlName& SqlNames::column(size_t t, const ZELAttribute* column) const {
  const Table& table = tables_[t];
  if (table.columns <= kWideTable) return find(column, table.firstColumn, table.columns);
  const auto begin = columnsByAddress_.begin() + static_cast<long>(table.firstByAddress);
  const auto end = begin + static_cast<long>(table.columns);
  const auto found =
      std::lower_bound(begin, end, column, [this](uint32_t at, const ZELAttribute* c) {
        return std::less<const ZELObject*>()(members_[at].object, c);
      });
  return found != end && members_[*found].object == column ? members_[*found] : kNoName;
}

const SqlName& SqlNames::key(size_t t, const ZELKey* key) const {
  return find(key, tables_[t].firstKey, tables_[t].keys);
}

const SqlName& SqlNames::index(size_t t, const ZELIndex* index) const {
  return find(index, tables_[t].firstIndex, tables_[t].indexes);
}

std::string SqlNames::assign(const ZELModel& model, const SqlDialect& dialect) {
  schemas_.clear();
  tables_.clear();
  members_.clear();
  columnsByAddress_.clear();
  tablesByAddress_.clear();
  engineSchema_ = SIZE_MAX;
  Namer namer(dialect);
  std::string error;
  const std::vector<SchemaOfCatalog> schemas = catalogSchemas(model);
  std::vector<std::vector<const ZELModelObject*>> tablesOf;
  size_t tableCount = 0, memberCount = 0;
  for (const SchemaOfCatalog& entry : schemas) {
    tablesOf.push_back(objectsOfType(*entry.schema, ZEL_ET_CLASS));
    for (const ZELModelObject* object : tablesOf.back()) {
      const auto& table = static_cast<const ZELClass&>(*object);
      ++tableCount;
      memberCount += static_cast<size_t>(table.features().count() + table.keys().count() +
                                         table.indexes().count());
    }
  }
  schemas_.reserve(schemas.size());
  tables_.reserve(tableCount);
  members_.reserve(memberCount);  // one allocation for a model of any size
  // The name as the dialect quotes it, and whether it is the extract's.
  const auto named = [&dialect](const ZELObject* object, const std::string& text) {
    return SqlName{object, dialect.quoteIdentifier(text),
                   text != std::string_view(bytesOf(object->getName())) &&
                       text != validUtf8(bytesOf(object->getName()))};
  };

  // A name the engine keeps for itself gets an "x" in front: the names of
  // its own schemas (MySQL databases) and those with its prefix.
  const ReservedNames& reserved = dialect.reservedNames();
  const auto lowered = [](std::string_view name) {
    std::string text(name);
    for (char& c : text) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
  };
  const auto unreserved = [&](std::string name) {
    if (!reserved.prefix.empty() && lowered(name).rfind(reserved.prefix, 0) == 0) name = "x" + name;
    return name;
  };
  const auto unreservedSchema = [&](std::string name) {
    const std::string compared = dialect.namesIgnoreCase() ? lowered(name) : name;
    for (const std::string_view system : reserved.systemSchemas) {
      if (compared == system) return "x" + name;
    }
    return unreserved(std::move(name));
  };

  // Schemas (PostgreSQL schemas, MySQL databases) share one scope; the
  // first schema named like the users' schema every database has is that
  // schema.
  NameScope schemaNames(dialect);
  for (size_t i = 0; i < schemas.size(); ++i) {
    const ZELPackage* schema = schemas[i].schema;
    const auto fallback = [i] { return "schema_" + std::to_string(i + 1); };
    const auto what = [schema] { return "schema " + quotedForMessage(schema->getName()); };
    const std::string name = namer.unique(
        unreservedSchema(namer.clean(schema->getName(), fallback, what, error)), {&schemaNames});
    if (engineSchema_ == SIZE_MAX && !reserved.usersSchema.empty() &&
        name == reserved.usersSchema) {
      engineSchema_ = i;
    }
    schemas_.push_back(named(schema, name));
  }

  // Tables first, so that a table keeps its own name before an index or a
  // constraint of the same name. The relations' scope is the schema's, or
  // the database's where the dialect has no schemas.
  const bool hasSchemas = !dialect.schemaKind().empty();
  NameScope databaseRelations(dialect);
  std::vector<NameScope> relationScopes;
  relationScopes.reserve(hasSchemas ? schemas.size() : 0);
  const auto relationScope = [&](size_t s) -> NameScope& {
    return hasSchemas ? relationScopes[s] : databaseRelations;
  };
  std::vector<std::string> tableNames;  // unquoted, for the names made from them
  tableNames.reserve(tableCount);
  for (size_t s = 0; s < schemas.size(); ++s) {
    if (hasSchemas) relationScopes.emplace_back(dialect);
    const std::vector<const ZELModelObject*>& tables = tablesOf[s];
    for (size_t i = 0; i < tables.size(); ++i) {
      const auto fallback = [i] { return "table_" + std::to_string(i + 1); };
      const auto what = [&] {
        return "table " + quotedForMessage(tables[i]->getName()) + " of schema " +
               quotedForMessage(schemas[s].schema->getName());
      };
      tableNames.push_back(
          namer.unique(unreserved(namer.clean(tables[i]->getName(), fallback, what, error)),
                       {&relationScope(s)}));
      tablesByAddress_.emplace_back(static_cast<const ZELClass*>(tables[i]), tables_.size());
      tables_.push_back({named(tables[i], tableNames.back()), s, 0, 0, 0, 0, 0, 0, 0});
    }
  }
  std::sort(tablesByAddress_.begin(), tablesByAddress_.end());

  // Columns, key constraints and indexes, each unique in the scopes the
  // dialect names.
  const NameScopes scopes = dialect.nameScopes();
  std::vector<NameScope> foreignKeyScopes;
  foreignKeyScopes.reserve(schemas.size());
  size_t t = 0;
  for (size_t s = 0; s < schemas.size(); ++s) {
    NameScope& relations = relationScope(s);
    NameScope& foreignKeys = foreignKeyScopes.emplace_back(dialect);
    for (const ZELModelObject* object : tablesOf[s]) {
      const auto& table = static_cast<const ZELClass&>(*object);
      Table& names = tables_[t];
      const std::string& tableName = tableNames[t++];
      const auto where = [&table] { return " of table " + quotedForMessage(table.getName()); };

      NameScope columns(dialect);
      names.firstColumn = members_.size();
      for (const ZELFeature* feature : table.features()) {
        if (!feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) continue;
        const auto* column = static_cast<const ZELAttribute*>(feature);
        const auto fallback = [column] {
          return "column_" + std::to_string(column->getPosition());
        };
        const auto what = [&] { return "column " + quotedForMessage(column->getName()) + where(); };
        members_.push_back(
            named(column,
                  namer.unique(namer.clean(column->getName(), fallback, what, error), {&columns})));
      }
      names.columns = members_.size() - names.firstColumn;
      if (names.columns > kWideTable) {
        names.firstByAddress = columnsByAddress_.size();
        for (size_t at = names.firstColumn; at < members_.size(); ++at)
          columnsByAddress_.push_back(static_cast<uint32_t>(at));
        std::sort(columnsByAddress_.begin() + static_cast<long>(names.firstByAddress),
                  columnsByAddress_.end(), [this](uint32_t a, uint32_t b) {
                    return std::less<const ZELObject*>()(members_[a].object, members_[b].object);
                  });
      }

      NameScope constraints(dialect);
      NameScope tableIndexes(dialect);
      if (!dialect.primaryKeyName().empty()) tableIndexes.take(dialect.primaryKeyName());
      const auto uniqueIn = [&](const std::string& text, unsigned which) {
        NameScope* chosen[4];
        size_t count = 0;
        if (which & kForeignKeyNames) chosen[count++] = &foreignKeys;
        if (which & kConstraintNames) chosen[count++] = &constraints;
        if (which & kIndexNames) chosen[count++] = &tableIndexes;
        if (which & kRelationNames) chosen[count++] = &relations;
        return namer.unique(text, ScopeList(chosen, count));
      };
      int ordinal = 0;
      names.firstKey = members_.size();
      for (const ZELKey* key : table.keys()) {
        ++ordinal;
        const bool foreign = key->isInstanceOf(ZEL_ET_FOREIGN_KEY);
        const bool primary = table.getPrimaryKey() == key;
        const auto fallback = [&] {
          return primary   ? "pk_" + tableName
                 : foreign ? "fk_" + tableName + "_" + std::to_string(ordinal)
                           : "uk_" + tableName + "_" + std::to_string(ordinal);
        };
        const auto what = [&] { return "key " + quotedForMessage(key->getName()) + where(); };
        const std::string text = namer.clean(key->getName(), fallback, what, error);
        members_.push_back(named(key, uniqueIn(text, foreign ? scopes.foreignKeys : scopes.keys)));
      }
      names.keys = members_.size() - names.firstKey;
      ordinal = 0;
      names.firstIndex = members_.size();
      for (const ZELIndex* index : table.indexes()) {
        ++ordinal;
        if (isKeyIndex(table, *index)) continue;  // written with its key, if at all
        const auto fallback = [&] { return "ix_" + tableName + "_" + std::to_string(ordinal); };
        const auto what = [&] { return "index " + quotedForMessage(index->getName()) + where(); };
        const std::string text = namer.clean(index->getName(), fallback, what, error);
        members_.push_back(named(index, uniqueIn(text, scopes.indexes)));
      }
      names.indexes = members_.size() - names.firstIndex;
    }
  }
  return error;
}

}  // namespace pcd::writers
