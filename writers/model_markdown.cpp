#include "model_markdown.h"

#include <array>
#include <cctype>

#include "catalog_outline.h"
#include "model_mermaid.h"
#include "model_summary.h"
#include "unique_names.h"
#include "utf8_sequence.h"

namespace pcd::writers {

namespace {

// A table related to more tables than this (a hub) is listed, not drawn:
// the diagram would be unreadable in a repository's page.
constexpr size_t kNeighbourDiagramLimit = 30;
// File names stay well below the usual 255-byte limit.
constexpr size_t kMaxFileNameBytes = 120;

// Text from the extract as Markdown text, also inside a table cell: the
// punctuation that starts emphasis, code, links, headings or cells is
// escaped with a backslash, < > & become
// entities (no raw HTML), a line break becomes <br>, other control
// characters blanks, bytes that are not UTF-8 U+FFFD.
std::string markdownText(std::string_view bytes) {
  static const std::string_view kPunctuation = "\\`*_[]#|~";
  // The ASCII bytes written as they are.
  static constexpr auto kPlain = [] {
    std::array<bool, 128> plain{};
    for (int byte = 0x20; byte < 0x7F; ++byte) plain[byte] = true;
    for (const char byte : std::string_view("<>&\\`*_[]#|~")) plain[byte] = false;
    return plain;
  }();
  const auto plain = [](unsigned char byte) { return kPlain[byte]; };
  std::string text;
  text.reserve(bytes.size());
  appendWellFormed(text, bytes, plain, [](std::string& out, unsigned char byte) {
    if (byte == '<') {
      out += "&lt;";
    } else if (byte == '>') {
      out += "&gt;";
    } else if (byte == '&') {
      out += "&amp;";
    } else if (byte == '\n') {
      out += "<br>";
    } else if (byte < 0x20 || byte == 0x7F) {
      out += ' ';
    } else {
      if (kPunctuation.find(static_cast<char>(byte)) != std::string_view::npos) out += '\\';
      out += static_cast<char>(byte);
    }
  });
  return text;
}

std::string markdownText(const ZELString& bytes) {
  return markdownText(bytesOf(bytes));
}

// A file name in a link: every byte but letters, digits and -._~ percent-encoded.
std::string linkTarget(const std::string& name) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string target;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) || c == '-' || c == '.' || c == '_' || c == '~') {
      target += c;
    } else {
      target += '%';
      target += kHex[byte >> 4];
      target += kHex[byte & 15];
    }
  }
  return target;
}

// A file name from an anchor: characters that file systems refuse become
// "_", a leading "." too (no hidden files), cut to a length file systems
// take (at a character boundary); unique without regard to case.
class FileNames {
 public:
  std::string take(const std::string& anchor) {
    std::string base;
    for (const char c : anchor) {
      const auto byte = static_cast<unsigned char>(c);
      base += byte < 0x20 || std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos ? '_'
                                                                                               : c;
    }
    if (base.empty() || base[0] == '.') base.insert(0, "_");
    if (base.size() > kMaxFileNameBytes) {
      size_t cut = kMaxFileNameBytes;
      while (cut > 0 && (static_cast<unsigned char>(base[cut]) & 0xC0) == 0x80) --cut;
      base.resize(cut);
    }
    return names_.take(base);
  }

 private:
  UniqueNames names_{".md", {"readme.md"}};
};

std::string columnList(const ZELKey& key, size_t characters = SIZE_MAX) {
  return markdownText(keyColumnNames(key, characters));
}

class MarkdownModelWriter final : public ModelWriter {
 public:
  explicit MarkdownModelWriter(std::vector<std::string> schemas) : schemas_(std::move(schemas)) {}

  // README.md, then one page per table; the sink lists them.
  std::string write(const ModelSource& source, OutputSink& sink) override {
    if (std::string error = outlineModel(source.model, schemas_, outline_); !error.empty())
      return error;
    FileNames names;
    for (const OutlineTable& table : outline_.tables)
      fileNames_.push_back(names.take(table.anchor));
    // Every page of a schema's tables names it: escaped once.
    for (const OutlineSchema& schema : outline_.schemas) {
      schemaPaths_.push_back(markdownText(referenceName(schema.path)));
      schemaTitles_.push_back(markdownText(referenceName(schema.catalog)) + " / " +
                              schemaPaths_.back());
    }
    if (!putFile(sink, "README.md", readme(source))) return "out of memory";
    for (size_t t = 0; t < outline_.tables.size(); ++t) {
      if (!putFile(sink, fileNames_[t], tablePage(t))) return "out of memory";
    }
    return "";
  }

 private:
  const std::string& schemaTitle(size_t schema) const { return schemaTitles_[schema]; }

  std::string tableLink(size_t t) const {
    return "[" + schemaPaths_[outline_.tables[t].schema] + "\\." +
           markdownText(referenceName(bytesOf(outline_.diagram.tables[t].table->getName()))) +
           "](" + linkTarget(fileNames_[t]) + ")";
  }

  std::string tableLinkOf(const ZELClass* table) const {
    const auto found = outline_.indexOf.find(table);
    if (found != outline_.indexOf.end()) return tableLink(found->second);
    return table != nullptr ? markdownText(referenceName(bytesOf(table->getName())))
                            : std::string("?");
  }

  std::string readme(const ModelSource& source) const {
    std::string text = "# " + markdownText(source.model.getName()) + "\n\n";
    text += "| | |\n|---|---|\n| Source file | " + markdownText(source.sourceFile) + " |\n";
    for (const ZELMetadataOrigin* origin : source.model.metadataOrigins()) {
      text += "| Imported | " + markdownText(origin->importTime) + " |\n";
    }
    if (!schemas_.empty()) {
      text += "| Schemas chosen | ";
      for (size_t i = 0; i < schemas_.size(); ++i)
        text += (i != 0 ? ", " : "") + markdownText(schemas_[i]);
      text += " (the counts are theirs) |\n";
    }
    for (const OverviewCount& row : overviewCounts(source.model, outline_))
      text += std::string("| ") + row.name + " | " + std::to_string(row.value) + " |\n";
    text += "\n## Import warnings\n\n";
    bool any = false;
    for (const ZELLogEvent& event : source.log) {
      if (event.getLevel() < ZEL_SEVERITY_WARNING) continue;
      text += std::string("- ") + severityWordOf(event.getLevel()) + " " +
              markdownText(event.getCode()) + ": " + markdownText(event.getText()) + "\n";
      any = true;
    }
    if (!any) text += "None.\n";
    text +=
        "\n## Schemas\n\n| Catalog | Schema | Tables and views | Procedures |\n|---|---|---|---|\n";
    for (const OutlineSchema& schema : outline_.schemas) {
      text += "| " + markdownText(schema.catalog) + " | " + markdownText(schema.path) + " | " +
              std::to_string(schema.tables.size()) + " | " +
              std::to_string(schema.procedures.size()) + " |\n";
    }
    text +=
        "\n## Tables and views\n\n| Name | Kind | Catalog / schema | Columns | Description "
        "|\n|---|---|---|---|---|\n";
    for (size_t t = 0; t < outline_.tables.size(); ++t) {
      const DiagramTable& drawn = outline_.diagram.tables[t];
      text += "| " + tableLink(t) + " | " + (drawn.view ? "view" : "table") + " | " +
              schemaTitle(outline_.tables[t].schema) + " | " +
              std::to_string(drawn.columns.size()) + " | " +
              markdownText(drawn.table->getDescription()) + " |\n";
    }
    for (const OutlineSchema& schema : outline_.schemas) {
      for (const OutlineProcedure& outlined : schema.procedures)
        text += procedure(schema, outlined);
    }
    return text;
  }

  static std::string procedure(const OutlineSchema& schema, const OutlineProcedure& outlined) {
    const ZELStoredProcedure& procedure = *outlined.procedure;
    std::string text = "\n## Procedure " + markdownText(procedure.getName()) + "\n\nIn " +
                       markdownText(referenceName(schema.catalog)) + " / " +
                       markdownText(referenceName(schema.path)) + ".\n\n";
    if (procedure.getDescription().length() != 0)
      text += markdownText(procedure.getDescription()) + "\n\n";
    if (procedure.arguments().count() == 0) return text + "No arguments.\n";
    text += "| # | Argument | Type | Description |\n|---|---|---|---|\n";
    for (const ZELArgument* argument : procedure.arguments()) {
      text += "| " + std::to_string(argument->getPosition()) + " | " +
              markdownText(argument->getName()) + " | " +
              markdownText(typeText(argument->getType())) + " | " +
              markdownText(argument->getDescription()) + " |\n";
    }
    return text;
  }

  std::string tablePage(size_t t) const {
    const DiagramTable& drawn = outline_.diagram.tables[t];
    const OutlineTable& outlined = outline_.tables[t];
    const ZELClass& table = *drawn.table;
    std::string text = "# " + markdownText(table.getName()) + "\n\n" +
                       (drawn.view ? "View" : "Table") + " in " + schemaTitle(outlined.schema) +
                       " · [All tables](README.md)\n\n";
    if (table.getDescription().length() != 0) text += markdownText(table.getDescription()) + "\n\n";
    text += "## Columns\n\n| # | Column | Type |" + std::string(drawn.view ? "" : " Not null |") +
            " Keys | Description |\n|---|---|---|" + (drawn.view ? "" : "---|") + "---|---|\n";
    for (const DiagramColumn& column : drawn.columns) {
      std::string keys;
      if (column.primaryKey) keys += "PK ";
      if (column.foreignKey) keys += "FK ";
      if (column.unique) keys += "AK ";
      text += "| " + std::to_string(column.column->getPosition()) + " | " +
              markdownText(column.column->getName()) + " | " +
              markdownText(columnTypeText(*column.column)) + " |" +
              (drawn.view       ? ""
               : column.notNull ? " yes |"
                                : " |") +
              " " + keys + "| " + markdownText(column.column->getDescription()) + " |\n";
    }
    if (!drawn.view) text += keysAndIndexes(table) + foreignKeys(table, outlined);
    if (!outlined.relations.empty()) {
      size_t neighbours = 0;
      const Diagram diagram = neighbourhoodDiagram(outline_, t, neighbours);
      text += "\n## Diagram\n\n";
      text += neighbours <= kNeighbourDiagramLimit
                  ? "```mermaid\n" + diagramAsMermaid(diagram, kReferenceCharacters) + "```\n"
                  : "Related to " + std::to_string(neighbours) + " tables, too many to draw.\n";
    }
    return text;
  }

  static std::string keysAndIndexes(const ZELClass& table) {
    std::string text;
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) continue;
      if (text.empty()) text = "\n## Keys\n\n| Name | Kind | Columns |\n|---|---|---|\n";
      const bool unique = static_cast<const ZELCandidateKey*>(key)->uniqueKey;
      text += "| " + markdownText(key->getName()) + " | " +
              (key == table.getPrimaryKey() ? "primary"
               : unique                     ? "alternate (unique)"
                                            : "alternate") +
              " | " + columnList(*key) + " |\n";
    }
    const std::vector<const ZELIndex*> indexes = catalogIndexes(table);
    if (indexes.empty()) return text;
    text += "\n## Indexes\n\n| Name | Columns | Flags |\n|---|---|---|\n";
    for (const ZELIndex* index : indexes) {
      const std::string members = markdownText(indexMemberNames(*index));
      std::string flags;
      if (index->indexFlag1) flags += "unique";
      if (index->indexFlag2) flags += flags.empty() ? "clustered" : ", clustered";
      if (index->indexFlag3) flags += flags.empty() ? "catalog storage" : ", catalog storage";
      text += "| " + markdownText(index->getName()) + " | " + members + " | " + flags + " |\n";
    }
    return text;
  }

  std::string foreignKeys(const ZELClass& table, const OutlineTable& outlined) const {
    std::string text;
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      if (text.empty())
        text = "\n## References\n\n| Foreign key | Columns | Table | Key |\n|---|---|---|---|\n";
      const auto* foreignKey = static_cast<const ZELForeignKey*>(key);
      const std::string pairs =
          markdownText(columnPairNames(*foreignKey, ", ", kReferenceCharacters));
      const ZELCandidateKey* referenced = foreignKey->getCandidateKey();
      text += "| " + markdownText(key->getName()) + " | " + pairs + " | " +
              (referenced ? tableLinkOf(referenced->getAssociatedClass()) + " | " +
                                markdownText(referenceName(bytesOf(referenced->getName())))
                          : std::string(" | ")) +
              " |\n";
    }
    if (outlined.referencedBy.empty()) return text;
    text += "\n## Referenced by\n\n| Table | Foreign key | Columns |\n|---|---|---|\n";
    for (const ZELForeignKey* foreignKey : outlined.referencedBy) {
      text += "| " + tableLinkOf(foreignKey->getAssociatedClass()) + " | " +
              markdownText(referenceName(bytesOf(foreignKey->getName()))) + " | " +
              columnList(*foreignKey, kReferenceCharacters) + " |\n";
    }
    return text;
  }

  std::vector<std::string> schemas_;  // --schema names; none: every schema
  CatalogOutline outline_;
  std::vector<std::string> fileNames_;  // per table, in the folder
  // Per schema, escaped: its path, and "CATALOG / PATH".
  std::vector<std::string> schemaPaths_, schemaTitles_;
};

}  // namespace

std::unique_ptr<ModelWriter> makeMarkdownModelWriter(const WriterOptions& options) {
  return std::make_unique<MarkdownModelWriter>(options.schemas);
}

}  // namespace pcd::writers
