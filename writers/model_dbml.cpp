#include "model_dbml.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "catalog_view.h"
#include "diagram_selection.h"
#include "unique_names.h"

namespace pcd::writers {

// DBML has no views: a view is written as a table whose note says it is
// one. Every name is written as a quoted identifier, so any text can be a
// name; empty and repeated names are made unique (see UniqueNames), since
// DBML cannot refer to them otherwise.

namespace {

std::string escaped(std::string_view bytes, char quote) {
  std::string text(1, quote);
  for (const char byte : printableText(bytes)) {
    if (byte == '\\' || byte == quote) text += '\\';
    text += byte;
  }
  text += quote;
  return text;
}

std::string identifier(std::string_view name) {
  return escaped(name, '"');
}
std::string stringLiteral(std::string_view text) {
  return escaped(text, '\'');
}

// A table's names as written, quoted: its own (without the schema) and its
// columns' in the order of its drawn columns.
struct NamedTable {
  size_t schema;      // index into the quoted schema names
  std::string table;  // "TABLE"
  std::vector<std::string> columns;
  // Of a wide table, the positions of its columns sorted by address.
  std::vector<uint32_t> byAddress;
};

// A table with more columns than this finds them by address in a sorted
// array; narrower ones by comparing each.
constexpr size_t kWideTable = 16;

// Writes the document into the stream as it goes: every name is quoted
// once and written from there wherever it is named, so memory holds the
// names once however often the document repeats them.
class DbmlDocument {
 public:
  DbmlDocument(const Diagram& diagram, std::FILE* out) : diagram_(diagram), out_(out) {}

  void write(const ModelSource& source) {
    nameEverything();
    std::string projectName(bytesOf(source.model.getName()));
    if (projectName.empty()) projectName = std::string(source.sourceFile);
    put("Project ", identifier(projectName), " {\n  Note: ",
        stringLiteral("Imported by pcd-import from " + std::string(source.sourceFile)), "\n}\n");
    for (size_t t = 0; t < diagram_.tables.size(); ++t) writeTable(t);
    for (size_t t = 0; t < diagram_.tables.size(); ++t) {
      if (!diagram_.tables[t].view) writeRefs(t);
    }
    writeGroups();
  }

 private:
  using Names = std::vector<const std::string*>;

  template <class... Parts>
  void put(const Parts&... parts) {
    (std::fwrite(std::string_view(parts).data(), 1, std::string_view(parts).size(), out_), ...);
  }

  // "SCHEMA"."TABLE" of table t.
  void putTableName(size_t t) { put(schemaNames_[names_[t].schema], ".", names_[t].table); }

  // ("A", "B")
  void putColumnList(const Names& names) {
    put("(");
    for (size_t n = 0; n < names.size(); ++n) put(n == 0 ? "" : ", ", *names[n]);
    put(")");
  }

  void nameEverything() {
    bool severalCatalogs = false;
    for (const DiagramSchema& schema : diagram_.schemas) {
      severalCatalogs |= schema.catalog != diagram_.schemas.front().catalog;
    }
    names_.resize(diagram_.tables.size());
    UniqueNames schemaNames;
    for (const DiagramSchema& schema : diagram_.schemas) {
      schemaNames_.push_back(identifier(
          schemaNames.take(severalCatalogs ? schema.catalog + "." + schema.path : schema.path)));
      UniqueNames tableNames;
      for (const size_t t : schema.tables) {
        const DiagramTable& table = diagram_.tables[t];
        NamedTable& named = names_[t];
        named.schema = schemaNames_.size() - 1;
        named.table = identifier(tableNames.take(std::string(bytesOf(table.table->getName()))));
        UniqueNames columnNames;
        named.columns.reserve(table.columns.size());
        for (const DiagramColumn& column : table.columns) {
          named.columns.push_back(
              identifier(columnNames.take(std::string(bytesOf(column.column->getName())))));
        }
        if (table.columns.size() > kWideTable) {
          for (uint32_t c = 0; c < table.columns.size(); ++c) named.byAddress.push_back(c);
          std::sort(named.byAddress.begin(), named.byAddress.end(),
                    [&table](uint32_t a, uint32_t b) {
                      return std::less<const ZELAttribute*>()(table.columns[a].column,
                                                              table.columns[b].column);
                    });
        }
        tablesByAddress_.emplace_back(table.table, t);
      }
    }
    std::sort(tablesByAddress_.begin(), tablesByAddress_.end());
  }

  // The quoted name of `column` of table t, or null when it is not one of
  // the table's drawn columns.
  const std::string* columnName(size_t t, const ZELAttribute* column) const {
    const std::vector<DiagramColumn>& columns = diagram_.tables[t].columns;
    const NamedTable& named = names_[t];
    if (named.byAddress.empty()) {
      for (size_t c = 0; c < columns.size(); ++c) {
        if (columns[c].column == column) return &named.columns[c];
      }
      return nullptr;
    }
    const auto found =
        std::lower_bound(named.byAddress.begin(), named.byAddress.end(), column,
                         [&columns](uint32_t c, const ZELAttribute* wanted) {
                           return std::less<const ZELAttribute*>()(columns[c].column, wanted);
                         });
    if (found == named.byAddress.end() || columns[*found].column != column) return nullptr;
    return &named.columns[*found];
  }

  // The position of a written table, or -1.
  long positionOf(const ZELClass* table) const {
    const auto found = std::lower_bound(tablesByAddress_.begin(), tablesByAddress_.end(),
                                        std::make_pair(table, size_t{0}));
    if (found == tablesByAddress_.end() || found->first != table) return -1;
    return static_cast<long>(found->second);
  }

  // The names of `columns` in table t, in `names`; false when a column is
  // not one of table t's or there is none.
  bool columnNames(size_t t, const ZELReferenceList<ZELAttribute>& columns, Names& names) const {
    names.clear();
    for (const ZELAttribute* column : columns) {
      const std::string* name = columnName(t, column);
      if (name == nullptr) return false;
      names.push_back(name);
    }
    return !names.empty();
  }

  void writeTable(size_t t) {
    const DiagramTable& table = diagram_.tables[t];
    const NamedTable& named = names_[t];
    put("\nTable ");
    putTableName(t);
    put(" {\n");
    for (size_t c = 0; c < table.columns.size(); ++c) {
      const DiagramColumn& column = table.columns[c];
      const std::string type = columnTypeText(*column.column);
      put("  ", named.columns[c], " ", identifier(type.empty() ? "undefined" : type));
      std::string settings;
      const auto add = [&settings](const std::string& setting) {
        settings += (settings.empty() ? "" : ", ") + setting;
      };
      const ZELCandidateKey* primary = table.table->getPrimaryKey();
      if (column.primaryKey && primary->attributes().count() == 1) add("pk");
      if (column.notNull) add("not null");
      if (column.unique) add("unique");
      if (column.column->getDescription().length() != 0) {
        add("note: " + stringLiteral(bytesOf(column.column->getDescription())));
      }
      if (settings.empty()) {
        put("\n");
      } else {
        put(" [", settings, "]\n");
      }
    }
    if (!table.view) writeIndexes(*table.table, t);
    const std::string description(bytesOf(table.table->getDescription()));
    if (table.view) {
      put("  Note: ", stringLiteral(description.empty() ? "View" : "View: " + description), "\n");
    } else if (!description.empty()) {
      put("  Note: ", stringLiteral(description), "\n");
    }
    put("}\n");
  }

  // Keys that a column setting cannot carry (composite primary keys,
  // composite or non-unique candidate keys), then the catalog's own indexes.
  void writeIndexes(const ZELClass& table, size_t t) {
    bool open = false;
    const auto putIndex = [this, &open](const Names& columns, const std::string& settings) {
      if (!open) put("  indexes {\n");
      open = true;
      put("    ");
      putColumnList(columns);
      if (!settings.empty()) put(" [", settings, "]");
      put("\n");
    };
    Names columns;
    for (const ZELKey* key : table.keys()) {
      if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY) || !key->isInstanceOf(ZEL_ET_CANDIDATE_KEY))
        continue;
      const bool unique = static_cast<const ZELCandidateKey*>(key)->uniqueKey;
      const bool primary = key == table.getPrimaryKey();
      if (key->attributes().count() == 1 && (primary || unique)) continue;  // a column setting
      if (!columnNames(t, key->attributes(), columns)) continue;
      std::string settings = primary ? "pk" : unique ? "unique" : "";
      if (!primary && key->getName().length() != 0) {
        settings +=
            (settings.empty() ? "name: " : ", name: ") + stringLiteral(bytesOf(key->getName()));
      }
      putIndex(columns, settings);
    }
    for (const ZELIndex* index : catalogIndexes(table)) {
      columns.clear();
      for (const ZELIndexMember* member : index->members()) {
        const std::string* name = columnName(t, member->getAttribute());
        if (name != nullptr) columns.push_back(name);  // else a column of another table
      }
      if (columns.empty()) continue;
      std::string settings = index->indexFlag1 ? "unique" : "";
      if (index->getName().length() != 0) {
        settings +=
            (settings.empty() ? "name: " : ", name: ") + stringLiteral(bytesOf(index->getName()));
      }
      putIndex(columns, settings);
    }
    if (open) put("  }\n");
  }

  // One Ref per foreign key that is linked to a key of a written table and
  // has column pairs.
  void writeRefs(size_t t) {
    Names from, to;
    for (const ZELKey* key : diagram_.tables[t].table->keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      const auto& foreign = *static_cast<const ZELForeignKey*>(key);
      const ZELCandidateKey* referenced = foreign.getCandidateKey();
      if (referenced == nullptr) continue;
      const long parent = positionOf(referenced->getAssociatedClass());
      if (parent < 0) continue;
      if (!pairColumns(foreign, t, static_cast<size_t>(parent), from, to)) continue;
      put("\nRef");
      if (foreign.getName().length() != 0) {
        put(" ", identifier(refNames_.take(std::string(bytesOf(foreign.getName())))));
      }
      put(": ");
      putTableName(t);
      put(".");
      putColumnList(from);
      put(" > ");
      putTableName(static_cast<size_t>(parent));
      put(".");
      putColumnList(to);
      put("\n");
    }
  }

  bool pairColumns(const ZELForeignKey& foreign, size_t child, size_t parent, Names& from,
                   Names& to) const {
    from.clear();
    to.clear();
    for (const ColumnPair& pair : columnPairs(foreign)) {
      const std::string* childName = columnName(child, pair.referencing);
      const std::string* parentName = columnName(parent, pair.referenced);
      if (childName == nullptr || parentName == nullptr) return false;
      from.push_back(childName);
      to.push_back(parentName);
    }
    return !from.empty();
  }

  void writeGroups() {
    for (size_t s = 0; s < diagram_.schemas.size(); ++s) {
      if (diagram_.schemas[s].tables.empty()) continue;
      put("\nTableGroup ", schemaNames_[s], " {\n");
      for (const size_t t : diagram_.schemas[s].tables) {
        put("  ");
        putTableName(t);
        put("\n");
      }
      put("}\n");
    }
  }

  const Diagram& diagram_;
  std::FILE* out_;
  std::vector<std::string> schemaNames_;  // by schema index, quoted
  std::vector<NamedTable> names_;         // by table index
  // (address, index) of the written tables, sorted by address.
  std::vector<std::pair<const ZELClass*, size_t>> tablesByAddress_;
  UniqueNames refNames_;
};

class DbmlModelWriter final : public DiagramModelWriter {
 public:
  explicit DbmlModelWriter(WriterOptions options) : DiagramModelWriter(everyColumn(options)) {}

 private:
  // A schema, not a picture: always whole.
  static WriterOptions everyColumn(WriterOptions options) {
    options.columns = DiagramColumns::kAll;
    return options;
  }
  std::string draw(const ModelSource& source, const Diagram& diagram, OutputSink& sink) override {
    std::FILE* out = sink.file("");
    if (out == nullptr) return "out of memory";
    DbmlDocument(diagram, out).write(source);
    return "";
  }
};

}  // namespace

std::unique_ptr<ModelWriter> makeDbmlModelWriter(const WriterOptions& options) {
  return std::make_unique<DbmlModelWriter>(options);
}

}  // namespace pcd::writers
