#include "model_markdown.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <type_traits>

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
// characters blanks, bytes that are not UTF-8 U+FFFD. Appended to `out`.
void appendMarkdownText(std::string& out, std::string_view bytes) {
  static const std::string_view kPunctuation = "\\`*_[]#|~";
  // The ASCII bytes written as they are.
  static constexpr auto kPlain = [] {
    std::array<bool, 128> plain{};
    for (int byte = 0x20; byte < 0x7F; ++byte) plain[byte] = true;
    for (const char byte : std::string_view("<>&\\`*_[]#|~")) plain[byte] = false;
    return plain;
  }();
  const auto plain = [](unsigned char byte) { return kPlain[byte]; };
  appendWellFormed(out, bytes, plain, [](std::string& text, unsigned char byte) {
    if (byte == '<') {
      text += "&lt;";
    } else if (byte == '>') {
      text += "&gt;";
    } else if (byte == '&') {
      text += "&amp;";
    } else if (byte == '\n') {
      text += "<br>";
    } else if (byte < 0x20 || byte == 0x7F) {
      text += ' ';
    } else {
      if (kPunctuation.find(static_cast<char>(byte)) != std::string_view::npos) text += '\\';
      text += static_cast<char>(byte);
    }
  });
}

std::string markdownText(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  appendMarkdownText(text, bytes);
  return text;
}

// Pages are made by appending pieces: text of the page's own, numbers, and
// Md{bytes}, text from the extract, escaped as it is appended.
struct Md {
  std::string_view bytes;
  explicit Md(std::string_view text) : bytes(text) {}
  explicit Md(const ZELString& text) : bytes(bytesOf(text)) {}
};

void put(std::string& out, std::string_view text) {
  out += text;
}
void put(std::string& out, const Md& text) {
  appendMarkdownText(out, text.bytes);
}
template <class Number,
          class = std::enable_if_t<std::is_integral_v<Number> && !std::is_same_v<Number, bool> &&
                                   !std::is_same_v<Number, char>>>
void put(std::string& out, Number number) {
  char digits[24];
  out.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

template <class... Pieces>
void append(std::string& out, const Pieces&... pieces) {
  (put(out, pieces), ...);
}

// A file name in a link: every byte but letters, digits and -._~ percent-encoded.
void appendLinkTarget(std::string& out, std::string_view name) {
  static const char kHex[] = "0123456789ABCDEF";
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) || c == '-' || c == '.' || c == '_' || c == '~') {
      out += c;
    } else {
      out += '%';
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    }
  }
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
    std::string page;  // one buffer for every page
    // README.md lists every table: it goes out as it is made, so that the
    // buffer stays the size of a table's page.
    std::FILE* readmeFile = sink.file("README.md");
    if (readmeFile == nullptr) return "out of memory";
    readme(page, source, readmeFile);
    writeOut(page, readmeFile);
    for (size_t t = 0; t < outline_.tables.size(); ++t) {
      page.clear();
      tablePage(page, t);
      if (!sink.put(fileNames_[t], page)) return "out of memory";
    }
    return "";
  }

 private:
  const std::string& schemaTitle(size_t schema) const { return schemaTitles_[schema]; }

  void appendTableLink(std::string& out, size_t t) const {
    append(out, "[", schemaPaths_[outline_.tables[t].schema], "\\.",
           Md(referenceName(bytesOf(outline_.diagram.tables[t].table->getName()))), "](");
    appendLinkTarget(out, fileNames_[t]);
    out += ')';
  }

  void appendTableLinkOf(std::string& out, const ZELClass* table) const {
    if (const size_t t = outline_.indexOf(table); t != CatalogOutline::kNotShown) {
      appendTableLink(out, t);
    } else if (table != nullptr) {
      append(out, Md(referenceName(bytesOf(table->getName()))));
    } else {
      out += '?';
    }
  }

  void readme(std::string& text, const ModelSource& source, std::FILE* out) const {
    append(text, "# ", Md(source.model.getName()), "\n\n");
    append(text, "| | |\n|---|---|\n| Source file | ", Md(source.sourceFile), " |\n");
    for (const ZELMetadataOrigin* origin : source.model.metadataOrigins()) {
      append(text, "| Imported | ", Md(origin->importTime), " |\n");
    }
    if (!schemas_.empty()) {
      text += "| Schemas chosen | ";
      for (size_t i = 0; i < schemas_.size(); ++i)
        append(text, i != 0 ? ", " : "", Md(schemas_[i]));
      text += " (the counts are theirs) |\n";
    }
    for (const OverviewCount& row : overviewCounts(source.model, outline_))
      append(text, "| ", row.name, " | ", row.value, " |\n");
    text += "\n## Import warnings\n\n";
    bool any = false;
    for (const ZELLogEvent& event : source.log) {
      if (event.getLevel() < ZEL_SEVERITY_WARNING) continue;
      append(text, "- ", severityWordOf(event.getLevel()), " ", Md(event.getCode()), ": ",
             Md(event.getText()), "\n");
      writeOutIfFull(text, out);
      any = true;
    }
    if (!any) text += "None.\n";
    text +=
        "\n## Schemas\n\n| Catalog | Schema | Tables and views | Procedures |\n|---|---|---|---|\n";
    for (const OutlineSchema& schema : outline_.schemas) {
      append(text, "| ", Md(schema.catalog), " | ", Md(schema.path), " | ", schema.tables.size(),
             " | ", schema.procedures.size(), " |\n");
      writeOutIfFull(text, out);
    }
    text +=
        "\n## Tables and views\n\n| Name | Kind | Catalog / schema | Columns | Description "
        "|\n|---|---|---|---|---|\n";
    for (size_t t = 0; t < outline_.tables.size(); ++t) {
      const DiagramTable& drawn = outline_.diagram.tables[t];
      text += "| ";
      appendTableLink(text, t);
      append(text, " | ", drawn.view ? "view" : "table", " | ",
             schemaTitle(outline_.tables[t].schema), " | ", drawn.columns.size(), " | ",
             Md(drawn.table->getDescription()), " |\n");
      writeOutIfFull(text, out);
    }
    for (const OutlineSchema& schema : outline_.schemas) {
      for (const OutlineProcedure& outlined : schema.procedures) {
        procedure(text, schema, outlined);
        writeOutIfFull(text, out);
      }
    }
  }

  static void procedure(std::string& text, const OutlineSchema& schema,
                        const OutlineProcedure& outlined) {
    const ZELStoredProcedure& procedure = *outlined.procedure;
    append(text, "\n## Procedure ", Md(procedure.getName()), "\n\nIn ",
           Md(referenceName(schema.catalog)), " / ", Md(referenceName(schema.path)), ".\n\n");
    if (procedure.getDescription().length() != 0)
      append(text, Md(procedure.getDescription()), "\n\n");
    if (procedure.arguments().count() == 0) {
      text += "No arguments.\n";
      return;
    }
    text += "| # | Argument | Type | Description |\n|---|---|---|---|\n";
    for (const ZELArgument* argument : procedure.arguments()) {
      append(text, "| ", argument->getPosition(), " | ", Md(argument->getName()), " | ",
             Md(typeText(argument->getType())), " | ", Md(argument->getDescription()), " |\n");
    }
  }

  void tablePage(std::string& text, size_t t) const {
    const DiagramTable& drawn = outline_.diagram.tables[t];
    const OutlineTable& outlined = outline_.tables[t];
    const ZELClass& table = *drawn.table;
    append(text, "# ", Md(table.getName()), "\n\n", drawn.view ? "View" : "Table", " in ",
           schemaTitle(outlined.schema), " · [All tables](README.md)\n\n");
    if (table.getDescription().length() != 0) append(text, Md(table.getDescription()), "\n\n");
    append(text, "## Columns\n\n| # | Column | Type |", drawn.view ? "" : " Not null |",
           " Keys | Description |\n|---|---|---|", drawn.view ? "" : "---|", "---|---|\n");
    for (const DiagramColumn& column : drawn.columns) {
      append(text, "| ", column.column->getPosition(), " | ", Md(column.column->getName()), " | ",
             Md(columnTypeText(*column.column)), " |",
             drawn.view       ? ""
             : column.notNull ? " yes |"
                              : " |",
             " ", column.primaryKey ? "PK " : "", column.foreignKey ? "FK " : "",
             column.unique ? "AK " : "", "| ", Md(column.column->getDescription()), " |\n");
    }
    if (!drawn.view) {
      keysAndIndexes(text, table);
      foreignKeys(text, table, outlined);
    }
    if (!outlined.relations.empty()) {
      size_t neighbours = 0;
      const Diagram diagram = neighbourhoodDiagram(outline_, t, neighbours);
      text += "\n## Diagram\n\n";
      if (neighbours <= kNeighbourDiagramLimit) {
        text += "```mermaid\n";
        appendDiagramAsMermaid(text, diagram, kReferenceCharacters);
        text += "```\n";
      } else {
        append(text, "Related to ", neighbours, " tables, too many to draw.\n");
      }
    }
  }

  static void keysAndIndexes(std::string& text, const ZELClass& table) {
    bool any = false;
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) continue;
      if (!any) text += "\n## Keys\n\n| Name | Kind | Columns |\n|---|---|---|\n";
      any = true;
      const bool unique = static_cast<const ZELCandidateKey*>(key)->uniqueKey;
      append(text, "| ", Md(key->getName()), " | ",
             key == table.getPrimaryKey() ? "primary"
             : unique                     ? "alternate (unique)"
                                          : "alternate",
             " | ", Md(keyColumnNames(*key)), " |\n");
    }
    const std::vector<const ZELIndex*> indexes = catalogIndexes(table);
    if (indexes.empty()) return;
    text += "\n## Indexes\n\n| Name | Columns | Flags |\n|---|---|---|\n";
    for (const ZELIndex* index : indexes) {
      append(text, "| ", Md(index->getName()), " | ", Md(indexMemberNames(*index)), " | ");
      const char* separator = "";
      for (const auto& [flag, word] : {std::pair{index->indexFlag1, "unique"},
                                       {index->indexFlag2, "clustered"},
                                       {index->indexFlag3, "catalog storage"}}) {
        if (!flag) continue;
        append(text, separator, word);
        separator = ", ";
      }
      text += " |\n";
    }
  }

  void foreignKeys(std::string& text, const ZELClass& table, const OutlineTable& outlined) const {
    bool any = false;
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      if (!any) {
        text += "\n## References\n\n| Foreign key | Columns | Table | Key |\n|---|---|---|---|\n";
      }
      any = true;
      const auto* foreignKey = static_cast<const ZELForeignKey*>(key);
      append(text, "| ", Md(key->getName()), " | ",
             Md(columnPairNames(*foreignKey, ", ", kReferenceCharacters)), " | ");
      const ZELCandidateKey* referenced = foreignKey->getCandidateKey();
      if (referenced != nullptr) {
        appendTableLinkOf(text, referenced->getAssociatedClass());
        append(text, " | ", Md(referenceName(bytesOf(referenced->getName()))));
      } else {
        text += " | ";
      }
      text += " |\n";
    }
    if (outlined.referencedBy.empty()) return;
    text += "\n## Referenced by\n\n| Table | Foreign key | Columns |\n|---|---|---|\n";
    for (const ZELForeignKey* foreignKey : outlined.referencedBy) {
      text += "| ";
      appendTableLinkOf(text, foreignKey->getAssociatedClass());
      append(text, " | ", Md(referenceName(bytesOf(foreignKey->getName()))), " | ",
             Md(keyColumnNames(*foreignKey, kReferenceCharacters)), " |\n");
    }
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
