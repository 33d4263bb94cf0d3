#include "model_dbml.h"

#include <unordered_map>

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

struct NamedTable {
  std::string schema, name;                                      // as written, quoted
  std::unordered_map<const ZELAttribute*, std::string> columns;  // quoted
  std::string qualified() const { return schema + "." + name; }
};

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
      writeTable(diagram_.tables[t], names_.at(t));
    }
    for (size_t t = 0; t < diagram_.tables.size(); ++t) {
      if (!diagram_.tables[t].view) writeRefs(*diagram_.tables[t].table, names_.at(t));
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
    UniqueNames schemaNames;
    for (const DiagramSchema& schema : diagram_.schemas) {
      schemaNames_.push_back(identifier(
          schemaNames.take(severalCatalogs ? schema.catalog + "." + schema.path : schema.path)));
      UniqueNames tableNames;
      for (const size_t t : schema.tables) {
        const DiagramTable& table = diagram_.tables[t];
        NamedTable named{schemaNames_.back(),
                         identifier(tableNames.take(std::string(bytesOf(table.table->getName())))),
                         {}};
        UniqueNames columnNames;
        for (const DiagramColumn& column : table.columns) {
          named.columns.emplace(
              column.column,
              identifier(columnNames.take(std::string(bytesOf(column.column->getName())))));
        }
        tableIndex_.emplace(table.table, t);
        names_.emplace(t, std::move(named));
      }
    }
  }

  // "(\"A\", \"B\")", or "" when a column is not one of the table's.
  static std::string columnList(const NamedTable& table,
                                const ZELReferenceList<ZELAttribute>& columns) {
    std::string list = "(";
    for (const ZELAttribute* column : columns) {
      const auto found = table.columns.find(column);
      if (found == table.columns.end()) return "";
      list += (list.size() > 1 ? ", " : "") + found->second;
    }
    return list.size() > 1 ? list + ")" : "";
  }

  void writeTable(const DiagramTable& table, const NamedTable& named) {
    text_ += "\nTable " + named.qualified() + " {\n";
    for (const DiagramColumn& column : table.columns) {
      std::string type = columnTypeText(*column.column);
      text_ += "  " + named.columns.at(column.column) + " " +
               identifier(type.empty() ? "undefined" : type);
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
    if (!table.view) writeIndexes(*table.table, named);
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
  void writeIndexes(const ZELClass& table, const NamedTable& named) {
    std::string lines;
    for (const ZELKey* key : table.keys()) {
      if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY) || !key->isInstanceOf(ZEL_ET_CANDIDATE_KEY))
        continue;
      const bool unique = static_cast<const ZELCandidateKey*>(key)->uniqueKey;
      const bool primary = key == table.getPrimaryKey();
      if (key->attributes().count() == 1 && (primary || unique)) continue;  // a column setting
      const std::string columns = columnList(named, key->attributes());
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
        const auto found = named.columns.find(member->getAttribute());
        if (found == named.columns.end()) continue;  // a column of another table
        columns += (columns.size() > 1 ? ", " : "") + found->second;
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
  void writeRefs(const ZELClass& table, const NamedTable& named) {
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      const auto& foreign = *static_cast<const ZELForeignKey*>(key);
      const ZELCandidateKey* referenced = foreign.getCandidateKey();
      if (referenced == nullptr) continue;
      const auto parent = tableIndex_.find(referenced->getAssociatedClass());
      if (parent == tableIndex_.end()) continue;
      const NamedTable& parentNamed = names_.at(parent->second);
      std::string from, to;
      if (!pairColumns(foreign, named, parentNamed, from, to)) continue;
      text_ += "\nRef";
      if (foreign.getName().length() != 0) {
        text_ += " " + identifier(refNames_.take(std::string(bytesOf(foreign.getName()))));
      }
      text_ +=
          ": " + named.qualified() + "." + from + " > " + parentNamed.qualified() + "." + to + "\n";
    }
  }

  static bool pairColumns(const ZELForeignKey& foreign, const NamedTable& child,
                          const NamedTable& parent, std::string& from, std::string& to) {
    from = to = "(";
    for (const ColumnPair& pair : columnPairs(foreign)) {
      const auto childName = child.columns.find(pair.referencing);
      const auto parentName = parent.columns.find(pair.referenced);
      if (childName == child.columns.end() || parentName == parent.columns.end()) return false;
      from += (from.size() > 1 ? ", " : "") + childName->second;
      to += (to.size() > 1 ? ", " : "") + parentName->second;
    }
    from += ")";
    to += ")";
    return from.size() > 2;
  }

  void writeGroups() {
    for (size_t s = 0; s < diagram_.schemas.size(); ++s) {
      std::string members;
      for (const size_t t : diagram_.schemas[s].tables) {
        members += "  " + names_.at(t).qualified() + "\n";
      }
      if (!members.empty()) text_ += "\nTableGroup " + schemaNames_[s] + " {\n" + members + "}\n";
    }
  }

  const Diagram& diagram_;
  std::string text_;
  std::vector<std::string> schemaNames_;                    // by schema index, quoted
  std::unordered_map<size_t, NamedTable> names_;            // by table index
  std::unordered_map<const ZELClass*, size_t> tableIndex_;  // written tables
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
