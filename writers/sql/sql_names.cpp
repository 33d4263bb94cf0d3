#include "sql_names.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "catalog_view.h"
#include "name_set.h"
#include "schema_walk.h"
#include "sql_text.h"
#include "string_bytes.h"
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
  NameScope(const SqlDialect& dialect, NameArena& arena)
      : names_(arena, dialect.namesIgnoreCase()), serial_(++lastSerial) {}
  bool taken(std::string_view name) const { return names_.holds(name); }
  void take(std::string_view name) { names_.add(name); }
  // Takes a name known not to be taken.
  void takeFree(std::string_view name) { names_.addNew(name); }
  // Distinct for every scope of a run, also one made where another was.
  uint64_t serial() const { return serial_; }
  // The suffixes this scope alone is known to hold, per stem.
  SuffixCounters& suffixes() { return suffixes_; }

 private:
  static inline uint64_t lastSerial = 0;
  NameSet names_;
  uint64_t serial_;
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
  // dialect refuses replaced, `fallback()` when empty. Sets `error` when no
  // quoting can carry the name, saying `what()` it names. Both are made
  // only when needed: most names are neither empty nor refused.
  template <class Fallback, class What>
  std::string clean(const ZELString& raw, Fallback fallback, What what, std::string& error) const {
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
  std::string unique(std::string text, std::initializer_list<NameScope*> scopes) {
    return unique(std::move(text), ScopeList(scopes.begin(), scopes.size()));
  }
  std::string unique(std::string text, ScopeList scopes) {
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
    if (!tooLong && isFree(text)) {  // most names
      for (NameScope* scope : scopes) scope->takeFree(text);
      return text;
    }
    std::string name = tooLong ? stem(0) : text;
    // A name that fits was found taken just above.
    if (!tooLong || !isFree(name)) {
      // Counters of one digit count share one stem. Each scope remembers
      // the suffixes it holds, and the namer those found taken in this set
      // of scopes: a scope made per table next to one kept per schema
      // starts where the schema's scope is.
      std::string key;
      for (const NameScope* scope : scopes) key += std::to_string(scope->serial()) + ",";
      // The counters of a count of digits, once all taken, stay taken: the
      // search starts at the count it ended at last time. The stems of all
      // counts follow from the first one's, keyed as its counters are (the
      // serials end in ",", the count in ":", so no two keys read alike).
      size_t& reached = digitsReached_.try_emplace(key + "1:" + stem(2), 1).first->second;
      size_t digits = 1;
      uint64_t first = 2, last = 10;
      for (; digits < reached; ++digits)
        first = last, last = digits + 1 < 19 ? last * 10 : UINT64_MAX;
      for (;; ++digits, first = last, last = digits < 19 ? last * 10 : UINT64_MAX) {
        const std::string base = stem(1 + digits);
        const std::string stemKey = std::to_string(digits) + ":" + base;
        // The candidate for counter n, in one buffer.
        std::string candidate;
        const auto candidateFor = [&](uint64_t n) -> const std::string& {
          char digitsText[24];
          const auto end = std::to_chars(digitsText, digitsText + sizeof digitsText, n).ptr;
          candidate.assign(base).append(1, '_').append(digitsText, end);
          return candidate;
        };
        uint64_t from = first;
        for (NameScope* scope : scopes) {
          from =
              std::max(from, scope->suffixes().firstNotTaken(stemKey, first, last, [&](uint64_t n) {
                return scope->taken(candidateFor(n));
              }));
        }
        const uint64_t counter = suffixes_.firstFree(
            key + stemKey, first, last,
            [&](uint64_t n) {
              name = candidateFor(n);
              return isFree(name);
            },
            from);
        if (counter < last) break;
      }
      reached = digits;
    }
    for (NameScope* scope : scopes) scope->take(name);
    return name;
  }

 private:
  const SqlDialect& dialect_;
  IdentifierLimit limit_;
  SuffixCounters suffixes_;
  std::unordered_map<std::string, size_t, zel_hash::TextHash> digitsReached_;
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
  const auto& all = static_cast<const ZELDataPackage&>(schema).modelObjects();
  objects.reserve(static_cast<size_t>(all.count()));
  for (const ZELModelObject* object : all) {
    if (object->getElementType() == type) objects.push_back(object);
  }
  return objects;
}

std::string_view SqlNames::add(const ZELObject* object, std::string_view name) {
  Name& added = names_.emplace_back();
  added.name = texts_.keep(name);
  byObject_.add(object, &added);
  return added.name;
}

std::string SqlNames::assign(const ZELModel& model, const SqlDialect& dialect) {
  names_.clear();
  byObject_.clear();
  texts_ = NameArena();
  engineSchema_ = nullptr;
  Namer namer(dialect);
  NameArena arena;  // outlives every scope below
  std::string error;
  const std::vector<SchemaOfCatalog> schemas = catalogSchemas(model);
  std::vector<std::vector<const ZELModelObject*>> tablesOf(schemas.size());
  // The map sized for the names of schemas, tables, columns and keys: an
  // index is mostly a key's, named with it. (A bound with every index
  // would often take twice the memory.)
  size_t objects = schemas.size();
  for (size_t s = 0; s < schemas.size(); ++s) {
    tablesOf[s] = objectsOfType(*schemas[s].schema, ZEL_ET_CLASS);
    for (const ZELModelObject* object : tablesOf[s]) {
      const auto& table = static_cast<const ZELClass&>(*object);
      objects += 1 + static_cast<size_t>(table.features().count() + table.keys().count());
    }
  }
  byObject_.reserve(objects);

  // A name the engine keeps for itself gets an "x" in front: the names of
  // its own schemas (MySQL databases) and those with its prefix.
  const ReservedNames& reserved = dialect.reservedNames();
  const auto unreserved = [&](std::string name) {
    if (reserved.hasPrefix(name)) name.insert(0, 1, 'x');
    return name;
  };
  const auto unreservedSchema = [&](std::string name) {
    const std::string compared = dialect.namesIgnoreCase() ? lowerAscii(name) : name;
    for (const std::string_view system : reserved.systemSchemas) {
      if (compared == system) return "x" + name;
    }
    return unreserved(std::move(name));
  };

  // Schemas (PostgreSQL schemas, MySQL databases) share one scope; the
  // first schema named like the users' schema every database has is that
  // schema.
  NameScope schemaNames(dialect, arena);
  for (size_t i = 0; i < schemas.size(); ++i) {
    const ZELPackage* schema = schemas[i].schema;
    const std::string_view name =
        add(schema,
            namer.unique(
                unreservedSchema(namer.clean(
                    schema->getName(), [i] { return "schema_" + std::to_string(i + 1); },
                    [schema] { return "schema " + quotedForMessage(schema->getName()); }, error)),
                {&schemaNames}));
    if (engineSchema_ == nullptr && !reserved.usersSchema.empty() && name == reserved.usersSchema) {
      engineSchema_ = schema;
    }
  }

  // Tables first, so that a table keeps its own name before an index or a
  // constraint of the same name. The relations' scope is the schema's, or
  // the database's where the dialect has no schemas. A message is that of
  // the first name refused: schemas, then tables, then their members.
  std::string tableError, memberError;
  const auto nameTables = [&](size_t s, NameScope& relations) {
    const SchemaOfCatalog& entry = schemas[s];
    const std::vector<const ZELModelObject*>& tables = tablesOf[s];
    for (size_t i = 0; i < tables.size(); ++i) {
      const auto what = [&] {
        return "table " + quotedForMessage(tables[i]->getName()) + " of schema " +
               quotedForMessage(entry.schema->getName());
      };
      add(tables[i],
          namer.unique(unreserved(namer.clean(
                           tables[i]->getName(), [i] { return "table_" + std::to_string(i + 1); },
                           what, tableError)),
                       {&relations}));
    }
  };

  // Columns, key constraints and indexes, each unique in the scopes the
  // dialect names.
  const NameScopes scopes = dialect.nameScopes();
  const auto nameMembers = [&](size_t s, NameScope& relations, NameScope& foreignKeys) {
    for (const ZELModelObject* object : tablesOf[s]) {
      const auto& table = static_cast<const ZELClass&>(*object);
      const std::string tableName(of(&table));
      const auto where = [&table] { return " of table " + quotedForMessage(table.getName()); };

      NameScope columns(dialect, arena);
      for (const ZELFeature* feature : table.features()) {
        if (!feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) continue;
        const auto* column = static_cast<const ZELAttribute*>(feature);
        add(column,
            namer.unique(
                namer.clean(
                    column->getName(),
                    [column] { return "column_" + std::to_string(column->getPosition()); },
                    [&] { return "column " + quotedForMessage(column->getName()) + where(); },
                    memberError),
                {&columns}));
      }

      NameScope constraints(dialect, arena);
      NameScope tableIndexes(dialect, arena);
      if (!dialect.primaryKeyName().empty()) tableIndexes.take(dialect.primaryKeyName());
      const auto uniqueIn = [&](std::string text, unsigned which) {
        NameScope* chosen[4];
        size_t count = 0;
        if (which & kForeignKeyNames) chosen[count++] = &foreignKeys;
        if (which & kConstraintNames) chosen[count++] = &constraints;
        if (which & kIndexNames) chosen[count++] = &tableIndexes;
        if (which & kRelationNames) chosen[count++] = &relations;
        return namer.unique(std::move(text), ScopeList(chosen, count));
      };
      int ordinal = 0;
      for (const ZELKey* key : table.keys()) {
        ++ordinal;
        const bool foreign = key->isInstanceOf(ZEL_ET_FOREIGN_KEY);
        const bool primary = table.getPrimaryKey() == key;
        const auto fallback = [&] {
          return primary   ? "pk_" + tableName
                 : foreign ? "fk_" + tableName + "_" + std::to_string(ordinal)
                           : "uk_" + tableName + "_" + std::to_string(ordinal);
        };
        std::string text = namer.clean(
            key->getName(), fallback,
            [&] { return "key " + quotedForMessage(key->getName()) + where(); }, memberError);
        add(key, uniqueIn(std::move(text), foreign ? scopes.foreignKeys : scopes.keys));
      }
      ordinal = 0;
      for (const ZELIndex* index : table.indexes()) {
        ++ordinal;
        if (isKeyIndex(table, *index)) continue;  // written with its key, if at all
        std::string text = namer.clean(
            index->getName(), [&] { return "ix_" + tableName + "_" + std::to_string(ordinal); },
            [&] { return "index " + quotedForMessage(index->getName()) + where(); }, memberError);
        add(index, uniqueIn(std::move(text), scopes.indexes));
      }
    }
  };

  // A schema's scopes live while its objects are named, one schema at a
  // time; where all relations share the database's scope, every table is
  // named before any member, as in a dialect with schemas within each.
  if (!dialect.schemaKind().empty()) {
    for (size_t s = 0; s < schemas.size(); ++s) {
      NameScope relations(dialect, arena);
      NameScope foreignKeys(dialect, arena);
      nameTables(s, relations);
      nameMembers(s, relations, foreignKeys);
    }
  } else {
    NameScope relations(dialect, arena);
    for (size_t s = 0; s < schemas.size(); ++s) nameTables(s, relations);
    for (size_t s = 0; s < schemas.size(); ++s) {
      NameScope foreignKeys(dialect, arena);
      nameMembers(s, relations, foreignKeys);
    }
  }
  if (error.empty()) error = tableError.empty() ? memberError : tableError;
  // Quoted once here rather than at each of the script's uses.
  std::string quoted;
  for (Name& name : names_) {
    quoted.clear();
    dialect.appendIdentifier(quoted, name.name);
    name.quoted = quoted == name.name ? name.name : texts_.keep(quoted);
  }
  unnamed_.quoted = texts_.keep(dialect.quoteIdentifier(""));
  return error;
}

}  // namespace pcd::writers
