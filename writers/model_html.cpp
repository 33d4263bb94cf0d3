#include "model_html.h"

#include <unordered_map>

#include "catalog_outline.h"
#include "html_escape.h"
#include "model_summary.h"
#include "model_svg.h"

namespace {

// A schema diagram of more tables than this is too dense to read at page
// width (judged on generated schemas of 10 to 400 tables).
constexpr size_t kSchemaDiagramTables = 40;
// Drawing one table with its neighbours takes Graphviz about a millisecond
// (2,000 generated tables: 2.7 s for the whole page), but every diagram
// adds to a page the browser must parse: a 10,000-table page without them
// already takes tens of seconds to open, so larger models get none.
constexpr size_t kTableDiagramsUpTo = 2000;
// A table related to more tables than this (a hub) is listed, not drawn.
constexpr size_t kNeighbourDiagramLimit = 30;

const char kStyle[] = R"CSS(
:root{--fg:#1d2430;--muted:#5b6575;--line:#d5dae1;--accent:#1f5fbf;--bg:#fff;--side:#f5f7fa}
*{box-sizing:border-box}
body{margin:0;font:14px/1.45 system-ui,-apple-system,"Segoe UI",sans-serif;color:var(--fg);background:var(--bg)}
nav{position:fixed;top:0;left:0;bottom:0;width:290px;overflow:auto;background:var(--side);border-right:1px solid var(--line);padding:12px}
nav input{width:100%;padding:6px 8px;font:inherit;border:1px solid var(--line);border-radius:4px}
nav ul{list-style:none;margin:0;padding-left:12px}
nav>ul{padding-left:0}
nav a{color:var(--fg);text-decoration:none;overflow-wrap:anywhere}
nav a:hover{color:var(--accent)}
nav .catalog{font-weight:600;margin-top:8px}
#matches{color:var(--muted);font-size:12px;margin:4px 0}
main{margin-left:290px;padding:16px 28px;max-width:1200px}
h1{margin-top:0}
h2{border-bottom:2px solid var(--line);padding-bottom:4px;margin-top:32px}
h3{margin:0 0 4px}
section.object{border-top:1px solid var(--line);padding:14px 0;content-visibility:auto;contain-intrinsic-size:auto 400px}
section:target{background:#fffbe6}
.kind{color:var(--muted);font-size:12px;font-weight:normal;text-transform:uppercase;margin-left:6px}
.desc{white-space:pre-line;color:var(--fg);margin:4px 0 8px}
.muted{color:var(--muted)}
table{border-collapse:collapse;margin:6px 0 10px}
th,td{border:1px solid var(--line);padding:3px 8px;text-align:left;vertical-align:top}
th{background:var(--side);font-weight:600}
td.desc{white-space:pre-line;margin:0}
.mark{font-size:11px;font-weight:600;color:var(--accent);margin-right:3px}
.diagram{overflow:auto;max-height:640px;border:1px solid var(--line);padding:6px;margin:8px 0}
.diagram svg{max-width:100%;height:auto}
dl.counts{display:grid;grid-template-columns:max-content max-content;gap:2px 16px}
dl.counts dt{color:var(--muted)}dl.counts dd{margin:0}
.warnings li{white-space:pre-line}
body.searching .schema,body.searching #overview{display:none}
[hidden]{display:none!important}
@media print{
nav{display:none}
main{margin:0;max-width:none;padding:0}
section.object{content-visibility:visible;break-inside:avoid-page}
.diagram{max-height:none;overflow:visible;border:none}
a{color:inherit;text-decoration:none}
}
)CSS";

// Search: an index of the names and descriptions of each section, built on
// the first keystroke; each change shows the sections (and their
// navigation entries) that hold the text and hides the others.
const char kScript[] = R"JS(
(function(){
var box=document.getElementById('search'),count=document.getElementById('matches'),index=null,pending=0;
function build(){
  index=[];
  var entries={},links=document.querySelectorAll('nav a');
  for(var k=0;k<links.length;k++)entries[links[k].getAttribute('href')]=links[k].parentNode;
  var sections=document.querySelectorAll('section.object');
  for(var i=0;i<sections.length;i++){
    var s=sections[i],parts=s.querySelectorAll('.name,.desc'),text=[];
    for(var j=0;j<parts.length;j++)text.push(parts[j].textContent);
    index.push({section:s,entry:entries['#'+s.id]||null,text:text.join('\n').toLowerCase(),shown:true});
  }
}
function apply(){
  pending=0;
  if(!index)build();
  var q=box.value.trim().toLowerCase(),n=0;
  document.body.classList.toggle('searching',q!=='');
  for(var i=0;i<index.length;i++){
    var item=index[i],show=q===''||item.text.indexOf(q)>=0;
    if(show)n++;
    if(show!==item.shown){item.shown=show;item.section.hidden=!show;if(item.entry)item.entry.hidden=!show;}
  }
  count.textContent=q===''?'':n+' of '+index.length+' match';
}
box.addEventListener('input',function(){if(!pending)pending=requestAnimationFrame(apply);});
})();
)JS";

class Page {
 public:
  explicit Page(std::FILE* out) : out_(out) {}
  Page& operator<<(std::string_view markup) {
    buffer_.append(markup);
    if (buffer_.size() > (1u << 16)) flush();
    return *this;
  }
  Page& text(std::string_view bytes) { return *this << htmlText(bytes); }
  Page& text(const ZELString& bytes) { return text(bytesOf(bytes)); }
  void flush() {
    std::fwrite(buffer_.data(), 1, buffer_.size(), out_);  // a write error stays in the stream
    buffer_.clear();
  }

 private:
  std::FILE* out_;
  std::string buffer_;
};

std::string link(const std::string& anchor) {
  return "<a href=\"#" + htmlText(anchor) + "\">";
}

// The SVG element of Graphviz's document, without its XML prolog.
std::string inlineSvg(const std::string& document) {
  const size_t start = document.find("<svg");
  return start == std::string::npos ? std::string() : document.substr(start);
}

class HtmlModelWriter final : public ModelWriter {
 public:
  std::string write(const ModelSource& source, std::FILE* out) override {
    outline_ = outlineModel(source.model);
    Page page(out);
    const std::string title = htmlText(bytesOf(source.model.getName()));
    page << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
            "style-src 'unsafe-inline'; script-src 'unsafe-inline'; img-src data:\">\n<title>"
         << (title.empty() ? std::string("Catalog") : title) << "</title>\n<style>" << kStyle
         << "</style>\n</head>\n<body>\n";
    writeNavigation(page);
    page << "<main>\n";
    writeOverview(page, source);
    SvgDrawing drawing;
    for (const OutlineSchema& schema : outline_.schemas) writeSchema(page, schema, drawing);
    page << "</main>\n<script>" << kScript << "</script>\n</body>\n</html>\n";
    page.flush();
    return "";
  }

 private:
  std::string schemaTitle(const OutlineSchema& schema) const {
    return htmlText(schema.catalog) + " / " + htmlText(schema.path);
  }

  std::string tableLink(size_t t) const {
    const OutlineSchema& schema = outline_.schemas[outline_.tables[t].schema];
    return link(outline_.tables[t].anchor) + htmlText(schema.path) + "." +
           htmlText(bytesOf(outline_.diagram.tables[t].table->getName())) + "</a>";
  }

  void writeNavigation(Page& page) const {
    page << "<nav>\n<input id=\"search\" type=\"search\" placeholder=\"Search names and "
            "descriptions\" "
            "aria-label=\"Search tables, views, columns and procedures\" autocomplete=\"off\">\n"
            "<p id=\"matches\"></p>\n<ul>\n";
    std::string catalog;
    bool first = true;
    for (const OutlineSchema& schema : outline_.schemas) {
      if (first || schema.catalog != catalog) {
        if (!first) page << "</ul></li>\n";
        page << "<li><div class=\"catalog\">";
        page.text(schema.catalog);
        page << "</div><ul>\n";
        catalog = schema.catalog;
        first = false;
      }
      page << "<li>" << link(schema.anchor);
      page.text(schema.path);
      page << "</a><ul>\n";
      for (const size_t t : schema.tables) {
        page << "<li>" << link(outline_.tables[t].anchor);
        page.text(outline_.diagram.tables[t].table->getName());
        page << "</a></li>\n";
      }
      for (const OutlineProcedure& procedure : schema.procedures) {
        page << "<li>" << link(procedure.anchor);
        page.text(procedure.procedure->getName());
        page << "()</a></li>\n";
      }
      page << "</ul></li>\n";
    }
    if (!first) page << "</ul></li>\n";
    page << "</ul>\n</nav>\n";
  }

  void writeOverview(Page& page, const ModelSource& source) const {
    page << "<section id=\"overview\">\n<h1>";
    page.text(source.model.getName());
    page << "</h1>\n<dl class=\"counts\">\n<dt>Source file</dt><dd>";
    page.text(source.sourceFile);
    page << "</dd>\n";
    for (const ZELMetadataOrigin* origin : source.model.metadataOrigins()) {
      page << "<dt>Imported</dt><dd>";
      page.text(origin->importTime);
      page << "</dd>\n";
    }
    const ModelCounts counts = countModel(source.model);
    long foreignKeys = 0;
    for (const OutlineTable& table : outline_.tables)
      foreignKeys += static_cast<long>(table.referencedBy.size());
    const struct {
      const char* name;
      long value;
    } rows[] = {{"Catalogs", counts.catalogs},    {"Schemas", counts.schemas},
                {"Tables", counts.tables},        {"Views", counts.views},
                {"Columns", counts.columns},      {"Keys", counts.keys - foreignKeys},
                {"Foreign keys", foreignKeys},    {"Indexes", counts.indexes},
                {"Procedures", counts.procedures}};
    for (const auto& row : rows) {
      page << "<dt>" << row.name << "</dt><dd>" << std::to_string(row.value) << "</dd>\n";
    }
    page << "</dl>\n";
    std::string warnings;
    for (const ZELLogEvent& event : source.log) {
      if (event.getLevel() < ZEL_SEVERITY_WARNING) continue;
      warnings += "<li>" + htmlText(severityWordOf(event.getLevel())) + " " +
                  htmlText(bytesOf(event.getCode())) + ": " + htmlText(bytesOf(event.getText())) +
                  "</li>\n";
    }
    page << "<h2>Import warnings</h2>\n";
    page << (warnings.empty() ? "<p class=\"muted\">None.</p>\n"
                              : "<ul class=\"warnings\">\n" + warnings + "</ul>\n");
    page << "</section>\n";
  }

  void writeDiagram(Page& page, SvgDrawing& drawing, const Diagram& diagram) const {
    std::string svg;
    const std::string error = drawing.draw(diagram, svg);
    if (!error.empty()) {
      page << "<p class=\"muted\">No diagram: ";
      page.text(error);
      page << "</p>\n";
      return;
    }
    page << "<div class=\"diagram\">" << inlineSvg(svg) << "</div>\n";
  }

  void writeSchema(Page& page, const OutlineSchema& schema, SvgDrawing& drawing) const {
    page << "<section class=\"schema\" id=\"" << htmlText(schema.anchor) << "\">\n<h2>"
         << schemaTitle(schema) << "</h2>\n<p class=\"muted\">"
         << std::to_string(schema.tables.size()) << " tables and views, "
         << std::to_string(schema.procedures.size()) << " procedures</p>\n";
    if (schema.tables.empty()) {
    } else if (schema.tables.size() <= kSchemaDiagramTables) {
      std::vector<size_t> relations;
      for (const size_t t : schema.tables) {
        for (const size_t r : outline_.tables[t].relations) relations.push_back(r);
      }
      writeDiagram(page, drawing, partOfDiagram(outline_.diagram, schema.tables, relations));
    } else {
      page << "<p class=\"muted\">The schema has more than " << std::to_string(kSchemaDiagramTables)
           << " tables and views, too many to draw legibly: each table's section draws it with its "
              "related tables.</p>\n";
    }
    page << "</section>\n";
    for (const size_t t : schema.tables) writeTable(page, t, drawing);
    for (const OutlineProcedure& procedure : schema.procedures)
      writeProcedure(page, schema, procedure);
  }

  void writeColumns(Page& page, const DiagramTable& drawn) const {
    page << "<table class=\"columns\">\n<thead><tr><th>#</th><th>Column</th><th>Type</th>"
         << (drawn.view ? "" : "<th>Not null</th>")
         << "<th>Keys</th><th>Description</th></tr></thead>\n<tbody>\n";
    for (const DiagramColumn& column : drawn.columns) {
      page << "<tr><td>" << std::to_string(column.column->getPosition())
           << "</td><td class=\"name\">";
      page.text(column.column->getName());
      page << "</td><td>";
      page.text(columnTypeText(*column.column));
      page << "</td>"
           << (drawn.view       ? ""
               : column.notNull ? "<td>yes</td>"
                                : "<td></td>")
           << "<td>";
      if (column.primaryKey) page << "<span class=\"mark\">PK</span>";
      if (column.foreignKey) page << "<span class=\"mark\">FK</span>";
      if (column.unique) page << "<span class=\"mark\">AK</span>";
      page << "</td><td class=\"desc\">";
      page.text(column.column->getDescription());
      page << "</td></tr>\n";
    }
    page << "</tbody>\n</table>\n";
  }

  static std::string columnList(const ZELKey& key) {
    std::string text;
    for (const ZELAttribute* column : key.attributes()) {
      if (!text.empty()) text += ", ";
      text += htmlText(bytesOf(column->getName()));
    }
    return text;
  }

  void writeKeys(Page& page, const ZELClass& table) const {
    std::string rows;
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) continue;
      const bool primary = key == table.getPrimaryKey();
      const bool unique = static_cast<const ZELCandidateKey*>(key)->uniqueKey;
      rows += "<tr><td>" + htmlText(bytesOf(key->getName())) + "</td><td>" +
              (primary  ? "primary"
               : unique ? "alternate (unique)"
                        : "alternate") +
              "</td><td>" + columnList(*key) + "</td></tr>\n";
    }
    if (rows.empty()) return;
    page << "<h4>Keys</h4>\n<table><thead><tr><th>Name</th><th>Kind</th><th>Columns</th></tr></"
            "thead>\n<tbody>\n"
         << rows << "</tbody></table>\n";
  }

  void writeIndexes(Page& page, const ZELClass& table) const {
    if (table.indexes().count() == 0) return;
    page << "<h4>Indexes</h4>\n<table><thead><tr><th>Name</th><th>Columns</th><th>Flags</th></tr></"
            "thead>\n<tbody>\n";
    for (const ZELIndex* index : table.indexes()) {
      page << "<tr><td>";
      page.text(index->getName());
      page << "</td><td>";
      bool first = true;
      for (const ZELIndexMember* member : index->members()) {
        if (!first) page << ", ";
        first = false;
        if (member->getAttribute() != nullptr) page.text(member->getAttribute()->getName());
        if (member->sortOrder == 2) page << " desc";
      }
      page << "</td><td>";
      std::string flags;
      if (index->indexFlag1) flags += "unique";
      if (index->indexFlag2) flags += flags.empty() ? "clustered" : ", clustered";
      if (index->indexFlag3) flags += flags.empty() ? "catalog storage" : ", catalog storage";
      page << flags << "</td></tr>\n";
    }
    page << "</tbody></table>\n";
  }

  std::string tableLinkOf(const ZELClass* table) const {
    const auto found = outline_.indexOf.find(table);
    if (found != outline_.indexOf.end()) return tableLink(found->second);
    return table != nullptr ? htmlText(bytesOf(table->getName())) : std::string("?");
  }

  void writeForeignKeys(Page& page, const ZELClass& table, const OutlineTable& outlined) const {
    std::string rows;
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      const auto* foreignKey = static_cast<const ZELForeignKey*>(key);
      const ZELCandidateKey* referenced = foreignKey->getCandidateKey();
      std::string pairs;
      for (const ZELAssociationRoleNameMap* map : foreignKey->roleNameMaps()) {
        if (!pairs.empty()) pairs += "<br>";
        const ZELAttribute* from = map->getSourceAttribute();
        const ZELAttribute* to = map->getDestinationAttribute();
        pairs += (from ? htmlText(bytesOf(from->getName())) : "?") + " → " +
                 (to ? htmlText(bytesOf(to->getName())) : "?");
      }
      if (pairs.empty()) pairs = columnList(*key);
      rows += "<tr><td>" + htmlText(bytesOf(key->getName())) + "</td><td>" + pairs + "</td><td>" +
              (referenced ? tableLinkOf(referenced->getAssociatedClass()) + "</td><td>" +
                                htmlText(bytesOf(referenced->getName()))
                          : std::string("</td><td>")) +
              "</td></tr>\n";
    }
    if (!rows.empty()) {
      page << "<h4>References</h4>\n<table class=\"fk-out\"><thead><tr><th>Foreign "
              "key</th><th>Columns</th>"
              "<th>Table</th><th>Key</th></tr></thead>\n<tbody>\n"
           << rows << "</tbody></table>\n";
    }
    if (outlined.referencedBy.empty()) return;
    page << "<h4>Referenced by</h4>\n<table class=\"fk-in\"><thead><tr><th>Table</th><th>Foreign "
            "key</th>"
            "<th>Columns</th></tr></thead>\n<tbody>\n";
    for (const ZELForeignKey* foreignKey : outlined.referencedBy) {
      page << "<tr><td>" << tableLinkOf(foreignKey->getAssociatedClass()) << "</td><td>";
      page.text(foreignKey->getName());
      page << "</td><td>" << columnList(*foreignKey) << "</td></tr>\n";
    }
    page << "</tbody></table>\n";
  }

  void writeTable(Page& page, size_t t, SvgDrawing& drawing) const {
    const DiagramTable& drawn = outline_.diagram.tables[t];
    const OutlineTable& outlined = outline_.tables[t];
    const ZELClass& table = *drawn.table;
    page << "<section class=\"object\" id=\"" << htmlText(outlined.anchor)
         << "\">\n<h3><span class=\"name\">";
    page.text(table.getName());
    page << "</span><span class=\"kind\">" << (drawn.view ? "view" : "table") << " in "
         << schemaTitle(outline_.schemas[outlined.schema]) << "</span></h3>\n";
    if (table.getDescription().length() != 0) {
      page << "<p class=\"desc\">";
      page.text(table.getDescription());
      page << "</p>\n";
    }
    writeColumns(page, drawn);
    if (!drawn.view) {
      writeKeys(page, table);
      writeIndexes(page, table);
      writeForeignKeys(page, table, outlined);
    }
    if (outlined.relations.empty()) {
    } else if (outline_.tables.size() > kTableDiagramsUpTo) {
    } else {
      size_t neighbours = 0;
      const Diagram diagram = neighbourhoodDiagram(outline_, t, neighbours);
      if (neighbours <= kNeighbourDiagramLimit) {
        writeDiagram(page, drawing, diagram);
      } else {
        page << "<p class=\"muted\">Related to " << std::to_string(neighbours)
             << " tables, too many to draw.</p>\n";
      }
    }
    page << "</section>\n";
  }

  void writeProcedure(Page& page, const OutlineSchema& schema,
                      const OutlineProcedure& outlined) const {
    const ZELStoredProcedure& procedure = *outlined.procedure;
    page << "<section class=\"object procedure\" id=\"" << htmlText(outlined.anchor)
         << "\">\n<h3><span class=\"name\">";
    page.text(procedure.getName());
    page << "</span><span class=\"kind\">procedure in " << schemaTitle(schema) << "</span></h3>\n";
    if (procedure.getDescription().length() != 0) {
      page << "<p class=\"desc\">";
      page.text(procedure.getDescription());
      page << "</p>\n";
    }
    if (procedure.arguments().count() == 0) {
      page << "<p class=\"muted\">No arguments.</p>\n</section>\n";
      return;
    }
    page << "<table><thead><tr><th>#</th><th>Argument</th><th>Type</th><th>Description</th></tr></"
            "thead>\n<tbody>\n";
    for (const ZELArgument* argument : procedure.arguments()) {
      page << "<tr><td>" << std::to_string(argument->getPosition()) << "</td><td class=\"name\">";
      page.text(argument->getName());
      page << "</td><td>";
      page.text(typeText(argument->getType()));
      page << "</td><td class=\"desc\">";
      page.text(argument->getDescription());
      page << "</td></tr>\n";
    }
    page << "</tbody></table>\n</section>\n";
  }

  CatalogOutline outline_;
};

}  // namespace

std::unique_ptr<ModelWriter> makeHtmlModelWriter(const WriterOptions&) {
  return std::make_unique<HtmlModelWriter>();
}
