#include "model_dbml.h"

#include <algorithm>
#include <cstdint>
#include <functional>
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

// A table's names as written, quoted: its columns' in the order of its
// drawn columns.
struct NamedTable {
  std::string qualified;  // SCHEMA.TABLE
  std::vector<std::string> columns;
  // Of a wide table, the positions of its columns sorted by address.
  std::vector<uint32_t> byAddress;
};

// A table with more columns than this finds them by address in a sorted
// array; narrower ones by comparing each.
constexpr size_t kWideTable = 16;

class DbmlDocument {
 public:
  explicit DbmlDocument(const Diagram& diagram) : diagram_(diagram) {}

  std::string write(const ModelSource& source) {
    nameEverything();
    std::string projectName(bytesOf(source.model.getName()));
    if (projectName.empty()) projectName = std::string(source.sourceFile);
    text_ += "Project " + identifier(projectName) + " {\n  Note: " +
             stringLiteral("Imported by pcd-import from " + std::string(source.sourceFile)) +
             "\n}\n";
    for (size_t t = 0; t < diagram_.tables.size(); ++t) {
      writeTable(diagram_.tables[t], names_[t]);
    }
    for (size_t t = 0; t < diagram_.tables.size(); ++t) {
      if (!diagram_.tables[t].view) writeRefs(t);
    }
    writeGroups();
    return std::move(text_);
  }

 private:
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
        named.qualified = schemaNames_.back() + "." +
                          identifier(tableNames.take(std::string(bytesOf(table.table->getName()))));
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

  // "(\"A\", \"B\")", or "" when a column is not one of table t's.
  std::string columnList(size_t t, const ZELReferenceList<ZELAttribute>& columns) const {
    std::string list = "(";
    for (const ZELAttribute* column : columns) {
      const std::string* name = columnName(t, column);
      if (name == nullptr) return "";
      list += (list.size() > 1 ? ", " : "") + *name;
    }
    return list.size() > 1 ? list + ")" : "";
  }

  void writeTable(const DiagramTable& table, const NamedTable& named) {
    text_ += "\nTable " + named.qualified + " {\n";
    for (size_t c = 0; c < table.columns.size(); ++c) {
      const DiagramColumn& column = table.columns[c];
      std::string type = columnTypeText(*column.column);
      text_ += "  " + named.columns[c] + " " + identifier(type.empty() ? "undefined" : type);
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
      text_ += settings.empty() ? "\n" : " [" + settings + "]\n";
    }
    if (!table.view)
      writeIndexes(*table.table, static_cast<size_t>(&table - diagram_.tables.data()));
    const std::string description(bytesOf(table.table->getDescription()));
    if (table.view) {
      text_ +=
          "  Note: " + stringLiteral(description.empty() ? "View" : "View: " + description) + "\n";
    } else if (!description.empty()) {
      text_ += "  Note: " + stringLiteral(description) + "\n";
    }
    text_ += "}\n";
  }

  // Keys that a column setting cannot carry (composite primary keys,
  // composite or non-unique candidate keys), then the catalog's own indexes.
  void writeIndexes(const ZELClass& table, size_t t) {
    std::string lines;
    for (const ZELKey* key : table.keys()) {
      if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY) || !key->isInstanceOf(ZEL_ET_CANDIDATE_KEY))
        continue;
      const bool unique = static_cast<const ZELCandidateKey*>(key)->uniqueKey;
      const bool primary = key == table.getPrimaryKey();
      if (key->attributes().count() == 1 && (primary || unique)) continue;  // a column setting
      const std::string columns = columnList(t, key->attributes());
      if (columns.empty()) continue;
      std::string settings = primary ? "pk" : unique ? "unique" : "";
      if (!primary && key->getName().length() != 0) {
        settings +=
            (settings.empty() ? "name: " : ", name: ") + stringLiteral(bytesOf(key->getName()));
      }
      lines += "    " + columns + (settings.empty() ? "" : " [" + settings + "]") + "\n";
    }
    for (const ZELIndex* index : catalogIndexes(table)) {
      std::string columns = "(";
      for (const ZELIndexMember* member : index->members()) {
        const std::string* name = columnName(t, member->getAttribute());
        if (name == nullptr) continue;  // a column of another table
        columns += (columns.size() > 1 ? ", " : "") + *name;
      }
      if (columns.size() == 1) continue;
      std::string settings = index->indexFlag1 ? "unique" : "";
      if (index->getName().length() != 0) {
        settings +=
            (settings.empty() ? "name: " : ", name: ") + stringLiteral(bytesOf(index->getName()));
      }
      lines += "    " + columns + ")" + (settings.empty() ? "" : " [" + settings + "]") + "\n";
    }
    if (!lines.empty()) text_ += "  indexes {\n" + lines + "  }\n";
  }

  // One Ref per foreign key that is linked to a key of a written table and
  // has column pairs.
  void writeRefs(size_t t) {
    for (const ZELKey* key : diagram_.tables[t].table->keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      const auto& foreign = *static_cast<const ZELForeignKey*>(key);
      const ZELCandidateKey* referenced = foreign.getCandidateKey();
      if (referenced == nullptr) continue;
      const long parent = positionOf(referenced->getAssociatedClass());
      if (parent < 0) continue;
      std::string from, to;
      if (!pairColumns(foreign, t, static_cast<size_t>(parent), from, to)) continue;
      text_ += "\nRef";
      if (foreign.getName().length() != 0) {
        text_ += " " + identifier(refNames_.take(std::string(bytesOf(foreign.getName()))));
      }
      text_ += ": " + names_[t].qualified + "." + from + " > " +
               names_[static_cast<size_t>(parent)].qualified + "." + to + "\n";
    }
  }

  bool pairColumns(const ZELForeignKey& foreign, size_t child, size_t parent, std::string& from,
                   std::string& to) const {
    from = to = "(";
    for (const ColumnPair& pair : columnPairs(foreign)) {
      const std::string* childName = columnName(child, pair.referencing);
      const std::string* parentName = columnName(parent, pair.referenced);
      if (childName == nullptr || parentName == nullptr) return false;
      from += (from.size() > 1 ? ", " : "") + *childName;
      to += (to.size() > 1 ? ", " : "") + *parentName;
    }
    from += ")";
    to += ")";
    return from.size() > 2;
  }

  void writeGroups() {
    for (size_t s = 0; s < diagram_.schemas.size(); ++s) {
      std::string members;
      for (const size_t t : diagram_.schemas[s].tables) {
        members += "  " + names_[t].qualified + "\n";
      }
      if (!members.empty()) text_ += "\nTableGroup " + schemaNames_[s] + " {\n" + members + "}\n";
    }
  }

  const Diagram& diagram_;
  std::string text_;
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
  std::string draw(const ModelSource& source, const Diagram& diagram, std::string& text) override {
    text = DbmlDocument(diagram).write(source);
    return "";
  }
};

}  // namespace

std::unique_ptr<ModelWriter> makeDbmlModelWriter(const WriterOptions& options) {
  return std::make_unique<DbmlModelWriter>(options);
}

}  // namespace pcd::writers
