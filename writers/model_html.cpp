#include "model_html.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "catalog_outline.h"
#include "html_escape.h"
#include "model_summary.h"
#include "model_svg.h"
#include "utf8_sequence.h"

namespace pcd::writers {

namespace {

// A schema diagram of more tables than this is too dense to read at page
// width (judged on generated schemas of 10 to 400 tables).
constexpr size_t kSchemaDiagramTables = 40;
// Drawing one table with its neighbours takes Graphviz about half a
// millisecond and adds about 5 KB to the page (10,000 generated tables:
// 5.7 s and 60 MB in all), so that larger models get none.
constexpr size_t kTableDiagramsUpTo = 15000;
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
nav a[aria-current]{color:var(--accent);font-weight:600}
nav .tag{font-size:10px;color:var(--muted);text-transform:uppercase;margin-left:5px;font-weight:normal}
nav .catalog{font-weight:600;margin-top:8px}
#matches{color:var(--muted);font-size:12px;margin:4px 0}
main{margin-left:290px;padding:16px 28px;max-width:1200px}
h1{margin-top:0}
h2{border-bottom:2px solid var(--line);padding-bottom:4px;margin-top:32px}
h3{margin:0 0 4px}
section.object{border-top:1px solid var(--line);padding:14px 0}
section:target{background:#fffbe6}
.kind{color:var(--muted);font-size:12px;font-weight:normal;text-transform:uppercase;margin-left:6px}
.desc{white-space:pre-line;color:var(--fg);margin:4px 0 8px}
.muted{color:var(--muted)}
table{border-collapse:collapse;margin:6px 0 10px}
th,td{border:1px solid var(--line);padding:3px 8px;text-align:left;vertical-align:top}
th{background:var(--side);font-weight:600}
td.desc{margin:0}
td.pairs{white-space:pre-line}
.mark{font-size:11px;font-weight:600;color:var(--accent);margin-right:3px}
#nomatch{font-size:16px;color:var(--muted);margin:24px 0}
.diagram{overflow:auto;max-height:640px;border:1px solid var(--line);padding:6px;margin:8px 0}
.diagram svg{max-width:100%;height:auto}
.diagram text{font-family:"DejaVu Sans",Verdana,sans-serif}
.diagram a polygon{pointer-events:visible}
.diagram a:hover polygon{stroke:var(--accent)}
.diagram.zoomable{cursor:grab}
.diagram.zoomable:focus{outline:2px solid var(--accent);outline-offset:-2px}
.diagram.dragging{cursor:grabbing;user-select:none}
.zoom{display:flex;align-items:center;gap:4px;margin:8px 0 -4px;font-size:12px;color:var(--muted)}
.zoom button{font:inherit;min-width:28px;padding:1px 6px;border:1px solid var(--line);border-radius:3px;background:var(--side);color:var(--fg);cursor:pointer}
dl.counts{display:grid;grid-template-columns:max-content max-content;gap:2px 16px}
dl.counts dt{color:var(--muted)}dl.counts dd{margin:0}
.warnings li{white-space:pre-line}
body.searching .schema,body.searching #overview{display:none}
[hidden]{display:none!important}
@media print{
nav,noscript,.zoom{display:none}
main{margin:0;max-width:none;padding:0}
section.object{break-inside:avoid-page;min-height:0!important}
.diagram{max-height:none;overflow:visible;border:none}
a{color:inherit;text-decoration:none}
}
)CSS";

// The page holds each table's, view's and procedure's heading in its
// section, and the rest as data (the script element "catalog-data") that
// this script turns into the section's content when the section comes near
// the viewport, is linked to, or is printed: a catalog of 10,000 tables then
// opens as fast as its headings parse, where building every section up
// front took the browser seconds. Small catalogs are also drawn completely
// in the background, so that the browser's own find sees every column.
// Text goes in through textContent only; the one markup taken as is is the
// diagram's SVG, which the program drew.
//
// Search: an index of each object's name, description and its columns' (or
// arguments') names and descriptions, built on the first keystroke; each
// change shows the sections (and their navigation entries) that hold the
// text and hides the others.
const char kScript[] = R"JS(
(function(){
var data=JSON.parse(document.getElementById('catalog-data').textContent);
var objects=data.objects,schemas=data.schemas,sections=document.querySelectorAll('main section.object');
var count=sections.length,rendered=new Uint8Array(count),observer=null;
for(var i=0;i<count;i++)sections[i].objectIndex=i;
function el(tag,cls,text){var e=document.createElement(tag);if(cls)e.className=cls;if(text!=null)e.textContent=text;return e;}
function nameOf(i){return sections[i].querySelector('.name').textContent;}
function linkTo(target){
  if(typeof target!=='number')return document.createTextNode(target==null?'':target);
  var a=el('a',null,schemas[objects[target].s]+'.'+nameOf(target));a.href='#'+sections[target].id;return a;
}
function marks(bits){
  var f=document.createDocumentFragment();
  ['PK','FK','AK'].forEach(function(m,b){if(bits&(1<<b))f.appendChild(el('span','mark',m));});
  return f;
}
// A table of rows of cells; a cell is text, a node, or [text, class].
function grid(cls,heads,rows){
  var t=el('table',cls),h=t.createTHead().insertRow(),b=t.createTBody();
  heads.forEach(function(x){h.appendChild(el('th',null,x));});
  rows.forEach(function(r){
    var tr=b.insertRow();
    r.forEach(function(c){
      var td=tr.insertCell();
      if(c instanceof Node)td.appendChild(c);
      else if(Array.isArray(c)){td.className=c[1];td.textContent=c[0];}
      else td.textContent=c;
    });
  });
  return t;
}
function heading(f,text){f.appendChild(el('h4',null,text));}
function render(i){
  if(rendered[i])return;
  rendered[i]=1;
  var s=sections[i],o=objects[i],f=document.createDocumentFragment();
  if(observer)observer.unobserve(s);
  if(o.d)f.appendChild(el('p','desc',o.d));
  if(o.a){
    if(!o.a.length)f.appendChild(el('p','muted','No arguments.'));
    else f.appendChild(grid(null,['#','Argument','Type','Description'],o.a.map(function(a){
      return [String(a[0]),[a[1],'name'],a[2],[a[3],'desc']];})));
  }else{
    var heads=['#','Column','Type'].concat(o.v?[]:['Not null'],['Keys','Description']);
    f.appendChild(grid('columns',heads,o.c.map(function(c){
      return [String(c[0]),[c[1],'name'],c[2]].concat(o.v?[]:[c[3]?'yes':''],[marks(c[4]),[c[5],'desc']]);})));
    if(o.k){heading(f,'Keys');f.appendChild(grid(null,['Name','Kind','Columns'],o.k));}
    if(o.i){heading(f,'Indexes');f.appendChild(grid(null,['Name','Columns','Flags'],o.i));}
    if(o.o){heading(f,'References');f.appendChild(grid('fk-out',['Foreign key','Columns','Table','Key'],o.o.map(function(r){
      return [r[0],[r[1],'pairs'],linkTo(r[2]),r[3]];})));}
    if(o.r){heading(f,'Referenced by');f.appendChild(grid('fk-in',['Table','Foreign key','Columns'],o.r.map(function(r){
      return [linkTo(r[0]),r[1],r[2]];})));}
    if(o.g){var d=el('div','diagram');d.innerHTML=o.g;f.appendChild(d);zoomable(d);}
    else if(o.n)f.appendChild(el('p','muted',o.n));
  }
  s.appendChild(f);
  s.style.minHeight='';
}
// A diagram's frame zooms and pans: the buttons above it; once clicked
// (focused), the mouse wheel and the keys + - 0; dragging and the arrow
// keys move the view (the frame scrolls). A click on a table's box follows
// its link unless the mouse moved. The zoom keeps the point under the
// mouse (or the frame's centre) in place.
function zoomable(frame){
  var svg=frame.querySelector('svg');
  if(!svg||frame.classList.contains('zoomable'))return;
  var width=parseFloat(svg.getAttribute('width'))*4/3,height=parseFloat(svg.getAttribute('height'))*4/3;
  if(!(width>0&&height>0))return;
  frame.classList.add('zoomable');
  frame.tabIndex=0;
  frame.setAttribute('aria-label','Diagram: click it, then zoom with the mouse wheel or + and -, move with the arrow keys or by dragging; 0 fits it');
  var scale=0,bar=el('div','zoom'),label=el('span');
  function fit(){return Math.min(1,Math.max(50,frame.clientWidth-12)/width);}
  function set(next,x,y){
    var old=scale||fit();
    next=Math.min(4,Math.max(Math.min(fit(),0.25),next));
    if(x===undefined){x=frame.clientWidth/2;y=frame.clientHeight/2;}
    var px=(frame.scrollLeft+x)/old,py=(frame.scrollTop+y)/old;
    scale=next;
    svg.style.maxWidth='none';
    svg.style.width=width*scale+'px';
    svg.style.height=height*scale+'px';
    frame.scrollLeft=px*scale-x;
    frame.scrollTop=py*scale-y;
    label.textContent=Math.round(scale*100)+'%';
  }
  function button(text,title,act){
    var b=el('button',null,text);b.type='button';b.title=title;b.setAttribute('aria-label',title);
    b.addEventListener('click',act);bar.appendChild(b);
  }
  button('+','Zoom in',function(){set((scale||fit())*1.25);});
  button('\u2212','Zoom out',function(){set((scale||fit())/1.25);});
  button('Fit','Fit the diagram to the frame',function(){set(fit());});
  bar.appendChild(label);
  label.textContent=Math.round(fit()*100)+'%';
  frame.parentNode.insertBefore(bar,frame);
  frame.addEventListener('wheel',function(e){
    if(!e.ctrlKey&&document.activeElement!==frame)return;
    e.preventDefault();
    var r=frame.getBoundingClientRect();
    set((scale||fit())*Math.pow(1.002,-e.deltaY),e.clientX-r.left,e.clientY-r.top);
  },{passive:false});
  frame.addEventListener('keydown',function(e){
    if(e.ctrlKey||e.metaKey||e.altKey)return;
    if(e.key==='+'||e.key==='=')set((scale||fit())*1.25);
    else if(e.key==='-'||e.key==='_')set((scale||fit())/1.25);
    else if(e.key==='0')set(fit());
    else return;
    e.preventDefault();
  });
  var drag=null,moved=false;
  frame.addEventListener('pointerdown',function(e){
    if(e.button!==0)return;
    drag={x:e.clientX,y:e.clientY,left:frame.scrollLeft,top:frame.scrollTop};moved=false;
  });
  frame.addEventListener('pointermove',function(e){
    if(!drag)return;
    var dx=e.clientX-drag.x,dy=e.clientY-drag.y;
    if(!moved&&Math.abs(dx)+Math.abs(dy)<4)return;
    if(!moved){moved=true;frame.classList.add('dragging');frame.setPointerCapture(e.pointerId);}
    frame.scrollLeft=drag.left-dx;frame.scrollTop=drag.top-dy;
  });
  function end(){drag=null;frame.classList.remove('dragging');}
  frame.addEventListener('pointerup',end);
  frame.addEventListener('pointercancel',end);
  frame.addEventListener('click',function(e){if(moved){e.preventDefault();moved=false;}},true);
}
var frames=document.querySelectorAll('main .diagram[data-diagram]');
function drawDiagram(frame){
  if(observer)observer.unobserve(frame);
  if(!frame.hasAttribute('data-diagram'))return;
  frame.innerHTML=data.diagrams[+frame.getAttribute('data-diagram')];
  frame.removeAttribute('data-diagram');
  frame.style.height='';
  zoomable(frame);
}
function drawDiagrams(){for(var j=0;j<frames.length;j++)drawDiagram(frames[j]);}
function renderAll(){for(var i=0;i<count;i++)render(i);drawDiagrams();}
if('IntersectionObserver' in window){
  observer=new IntersectionObserver(function(entries){
    entries.forEach(function(e){
      if(!e.isIntersecting)return;
      if(e.target.objectIndex!==undefined)render(e.target.objectIndex);else drawDiagram(e.target);
    });
  },{rootMargin:'1500px 0px'});
  for(var k=0;k<count;k++)observer.observe(sections[k]);
  for(var m=0;m<frames.length;m++)observer.observe(frames[m]);
}else renderAll();
// A linked section is drawn with its neighbours before it is shown, so that
// it lands at the top; sections drawn later above it are kept out of the way
// by the browser's scroll anchoring.
// The navigation marks the section being read: the one linked to, then
// whichever crosses the top fifth of the window as the page scrolls.
var navLinks={},current=null,navigation=document.querySelector('nav');
[].forEach.call(document.querySelectorAll('nav a'),function(a){navLinks[a.getAttribute('href')]=a;});
function markCurrent(id){
  var a=navLinks['#'+id]||null;
  if(a===current)return;
  if(current)current.removeAttribute('aria-current');
  current=a;
  if(!a)return;
  a.setAttribute('aria-current','location');
  var r=a.getBoundingClientRect(),n=navigation.getBoundingClientRect();
  if(r.top<n.top||r.bottom>n.bottom)navigation.scrollTop+=r.top-n.top-n.height/3;
}
if('IntersectionObserver' in window){
  var reading=new IntersectionObserver(function(entries){
    entries.forEach(function(e){if(e.isIntersecting)markCurrent(e.target.id);});
  },{rootMargin:'0px 0px -80% 0px'});
  [].forEach.call(document.querySelectorAll('main section[id]'),function(s){reading.observe(s);});
}
function showTarget(){
  var s=null;
  try{s=document.getElementById(decodeURIComponent(location.hash.slice(1)));}catch(e){}  // a malformed %-escape
  if(s)markCurrent(s.id);
  if(!s||s.objectIndex===undefined)return;
  for(var j=Math.max(0,s.objectIndex-2);j<=Math.min(count-1,s.objectIndex+2);j++)render(j);
  s.scrollIntoView();
}
window.addEventListener('hashchange',showTarget);
window.addEventListener('beforeprint',renderAll);
showTarget();
if(count<=500){
  var next=0,more=function(){
    if(next===0)drawDiagrams();
    var end=Math.min(count,next+25);
    for(;next<end;next++)render(next);
    if(next<count)setTimeout(more,0);
  };
  setTimeout(more,0);
}

var box=document.getElementById('search'),matches=document.getElementById('matches'),none=document.getElementById('nomatch'),index=null,pending=0;
function build(){
  index=[];
  var entries={},links=document.querySelectorAll('nav a');
  for(var k=0;k<links.length;k++)entries[links[k].getAttribute('href')]=links[k].parentNode;
  for(var i=0;i<count;i++){
    var o=objects[i],text=[nameOf(i),o.d||''];
    (o.c||o.a).forEach(function(c){text.push(c[1],c[o.c?5:3]);});
    index.push({section:sections[i],entry:entries['#'+sections[i].id]||null,text:text.join('\n').toLowerCase(),shown:true});
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
  matches.textContent=q===''?'':n+' of '+index.length+' match';
  none.hidden=q===''||n>0;
  none.textContent=none.hidden?'':'No table, view, column or procedure matches “'+box.value.trim()+'”.';
}
box.addEventListener('input',function(){if(!pending)pending=requestAnimationFrame(apply);});
})();
)JS";

class Page {
 public:
  explicit Page(std::FILE* out) : out_(out) {}
  Page& operator<<(std::string_view markup) {
    buffer_.append(markup);
    writeOutIfFull(buffer_, out_);
    return *this;
  }
  Page& operator<<(size_t number) { return *this << std::string_view(std::to_string(number)); }
  Page& text(std::string_view bytes) { return *this << htmlText(bytes); }
  Page& text(const ZELString& bytes) { return text(bytesOf(bytes)); }
  // A JSON string inside the page's data.
  Page& string(std::string_view bytes) {
    appendScriptString(buffer_, bytes);
    writeOutIfFull(buffer_, out_);
    return *this;
  }
  Page& string(const ZELString& bytes) { return string(bytesOf(bytes)); }
  void flush() { writeOut(buffer_, out_); }

 private:
  std::FILE* out_;
  std::string buffer_;
};

// An anchor as a URL's fragment: every byte but letters, digits and "-._~"
// as %XX, which the browser decodes before it looks for the id.
std::string percentEncoded(std::string_view anchor) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string url;
  for (const char c : anchor) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || c == '-' || c == '.' || c == '_' || c == '~') {
      url += c;
    } else {
      url += '%';
      url += kDigits[byte >> 4];
      url += kDigits[byte & 15];
    }
  }
  return url;
}

std::string link(const std::string& anchor) {
  return "<a href=\"#" + htmlText(anchor) + "\">";
}

// The SVG element of Graphviz's document as the page holds it: without the
// XML prolog, comments, titles, link titles (Graphviz gives a box's link the
// label's markup as its title) and element ids (ids repeat from one drawing
// to the next, and must not in one page), without the font family and
// default text anchor that the style sheet gives every diagram, and with
// attribute values in single quotes, which the page's data need not escape.
// Graphviz writes one element per line and escapes quotes and "<" in text,
// so a raw quote only ever delimits an attribute value.
std::string inlineSvg(const std::string& document) {
  static constexpr std::string_view kDropped[] = {" id=\"", " xlink:title=\""};
  static constexpr std::string_view kDefaults[] = {" font-family=\"DejaVu Sans\"",
                                                   " text-anchor=\"start\""};
  std::string svg;
  size_t at = document.find("<svg");
  if (at == std::string::npos) return svg;
  svg.reserve(document.size() - at);
  while (at < document.size()) {
    size_t end = document.find('\n', at);
    end = end == std::string::npos ? document.size() : end + 1;
    const std::string_view line(document.data() + at, end - at);
    at = end;
    if (line.rfind("<!--", 0) == 0 || line.rfind("<title>", 0) == 0) continue;
    for (size_t i = 0; i < line.size();) {
      const auto* dropped =
          std::find_if(std::begin(kDropped), std::end(kDropped),
                       [&](std::string_view a) { return line.compare(i, a.size(), a) == 0; });
      if (dropped != std::end(kDropped)) {
        const size_t close = line.find('"', i + dropped->size());
        i = close == std::string_view::npos ? line.size() : close + 1;
        continue;
      }
      const auto* found =
          std::find_if(std::begin(kDefaults), std::end(kDefaults),
                       [&](std::string_view a) { return line.compare(i, a.size(), a) == 0; });
      if (found != std::end(kDefaults)) {
        i += found->size();
        continue;
      }
      svg += line[i] == '"' ? '\'' : line[i];
      ++i;
    }
  }
  return svg;
}

// The height a schema diagram's frame takes on the page: the drawing's own
// (in points) up to the frame's highest.
size_t placeholderHeight(const std::string& svg) {
  constexpr size_t kFrameHeight = 640, kFramePadding = 14;
  const size_t at = svg.find("height=\"");
  const size_t points =
      at == std::string::npos ? kFrameHeight : std::strtoul(svg.c_str() + at + 8, nullptr, 10);
  return std::min(points * 4 / 3, kFrameHeight) + kFramePadding;
}

// Pixels a section takes once drawn, roughly: its placeholder is that tall,
// so that the page's length and the scroll bar hardly change as sections
// are drawn.
constexpr size_t kSectionHeading = 60, kDescription = 28, kTableFrame = 46, kRow = 27,
                 kSubheading = 44, kDiagramHeight = 320;

class HtmlModelWriter final : public ModelWriter {
 public:
  explicit HtmlModelWriter(std::vector<std::string> schemas) : schemas_(std::move(schemas)) {}

  std::string write(const ModelSource& source, OutputSink& sink) override {
    if (std::string error = outlineModel(source.model, schemas_, outline_); !error.empty())
      return error;
    std::FILE* out = sink.file("");
    if (out == nullptr) return "out of memory";
    objectIndex_.assign(outline_.tables.size(), 0);
    size_t next = 0;
    for (const OutlineSchema& schema : outline_.schemas) {
      for (const size_t t : schema.tables) objectIndex_[t] = next++;
      next += schema.procedures.size();
    }
    Page page(out);
    const std::string title = htmlText(bytesOf(source.model.getName()));
    page << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
            "style-src 'unsafe-inline'; script-src 'unsafe-inline'; img-src data:\">\n<title>"
         << (title.empty() ? std::string("Catalog") : title) << "</title>\n<style>" << kStyle
         << "</style>\n</head>\n<body>\n";
    writeNavigation(page);
    page << "<main>\n<noscript><p class=\"muted\">The columns, keys and diagrams of each table "
            "are drawn by the page's script: allow scripts to see them.</p></noscript>\n"
            "<p id=\"nomatch\" hidden></p>\n";
    writeOverview(page, source);
    SvgDrawing drawing;
    for (const OutlineSchema& schema : outline_.schemas) writeSchema(page, schema, drawing);
    if (drawing.failed()) return drawingFailure_;
    page << "</main>\n<script type=\"application/json\" id=\"catalog-data\">{\"schemas\":[";
    for (size_t s = 0; s < outline_.schemas.size(); ++s) {
      if (s != 0) page << ",";
      page.string(outline_.schemas[s].path);
    }
    page << "],\n\"diagrams\":[";
    for (size_t d = 0; d < schemaDiagrams_.size(); ++d) {
      page << (d ? ",\n" : "\n");
      page.string(schemaDiagrams_[d]);
    }
    schemaDiagrams_.clear();
    page << "],\n\"objects\":[";
    bool first = true;
    for (const OutlineSchema& schema : outline_.schemas) {
      for (const size_t t : schema.tables) {
        page << (first ? "\n" : ",\n");
        first = false;
        writeTableData(page, t, drawing);
        if (drawing.failed()) return drawingFailure_;
      }
      for (const OutlineProcedure& procedure : schema.procedures) {
        page << (first ? "\n" : ",\n");
        first = false;
        writeProcedureData(page, procedure);
      }
    }
    page << "]}\n</script>\n<script>" << kScript << "</script>\n</body>\n</html>\n";
    page.flush();
    return "";
  }

 private:
  static std::string schemaTitle(const OutlineSchema& schema) {
    return htmlText(schema.catalog) + " / " + htmlText(schema.path);
  }
  // The schema's title where a table's section refers to it.
  static std::string shortSchemaTitle(const OutlineSchema& schema) {
    return htmlText(referenceName(schema.catalog)) + " / " + htmlText(referenceName(schema.path));
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
        const bool view = outline_.diagram.tables[t].view;
        page << (view ? "<li class=\"view\">" : "<li>") << link(outline_.tables[t].anchor);
        page.text(outline_.diagram.tables[t].table->getName());
        page << (view ? "<span class=\"tag\">view</span></a></li>\n" : "</a></li>\n");
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
    if (!schemas_.empty()) {
      page << "<dt>Schemas chosen</dt><dd>";
      for (size_t i = 0; i < schemas_.size(); ++i) {
        if (i != 0) page << ", ";
        page.text(schemas_[i]);
      }
      page << " (the counts are theirs)</dd>\n";
    }
    for (const OverviewCount& row : overviewCounts(source.model, outline_)) {
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

  // The schema's heading and diagram, then a placeholder section for each
  // of its tables, views and procedures: its anchor, its heading and the
  // height it will take.
  void writeSchema(Page& page, const OutlineSchema& schema, SvgDrawing& drawing) {
    page << "<section class=\"schema\" id=\"" << htmlText(schema.anchor) << "\">\n<h2>"
         << schemaTitle(schema) << "</h2>\n<p class=\"muted\">" << schema.tables.size()
         << " tables and views, " << schema.procedures.size() << " procedures</p>\n";
    if (schema.tables.empty()) {
    } else if (schema.tables.size() <= kSchemaDiagramTables) {
      std::vector<size_t> relations;
      for (const size_t t : schema.tables) {
        for (const size_t r : outline_.tables[t].relations) relations.push_back(r);
      }
      std::string svg;
      const Diagram diagram = partOfDiagram(outline_.diagram, schema.tables, relations);
      const std::vector<std::string> links = linksOf(diagram);
      const std::string error = drawing.draw(diagram, svg, &links);
      if (drawing.failed()) {
        drawingFailure_ = error;
      } else if (error.empty()) {
        page << "<div class=\"diagram\" data-diagram=\"" << schemaDiagrams_.size()
             << "\" style=\"height:" << placeholderHeight(svg) << "px\"></div>\n";
        schemaDiagrams_.push_back(inlineSvg(svg));
      } else {
        page << "<p class=\"muted\">No diagram: ";
        page.text(error);
        page << "</p>\n";
      }
    } else {
      page << "<p class=\"muted\">The schema has more than " << kSchemaDiagramTables
           << " tables and views, too many to draw legibly: each table's section draws it with its "
              "related tables.</p>\n";
    }
    page << "</section>\n";
    const std::string title = shortSchemaTitle(schema);
    for (const size_t t : schema.tables) {
      const DiagramTable& drawn = outline_.diagram.tables[t];
      writePlaceholder(page, "object", outline_.tables[t].anchor, drawn.table->getName(),
                       drawn.view ? "view" : "table", title, tableHeight(t));
    }
    for (const OutlineProcedure& procedure : schema.procedures) {
      const ZELStoredProcedure& stored = *procedure.procedure;
      const size_t rows = stored.arguments().count();
      writePlaceholder(page, "object procedure", procedure.anchor, stored.getName(), "procedure",
                       title,
                       kSectionHeading + (stored.getDescription().length() ? kDescription : 0) +
                           (rows ? kTableFrame + rows * kRow : kDescription));
    }
  }

  static void writePlaceholder(Page& page, const char* classes, const std::string& anchor,
                               const ZELString& name, const char* kind, const std::string& title,
                               size_t height) {
    page << "<section class=\"" << classes << "\" id=\"" << htmlText(anchor)
         << "\" style=\"min-height:" << height << "px\"><h3><span class=\"name\">";
    page.text(name);
    page << "</span><span class=\"kind\">" << kind << " in " << title << "</span></h3></section>\n";
  }

  size_t tableHeight(size_t t) const {
    const DiagramTable& drawn = outline_.diagram.tables[t];
    const OutlineTable& outlined = outline_.tables[t];
    const ZELClass& table = *drawn.table;
    size_t height = kSectionHeading + kTableFrame + drawn.columns.size() * kRow;
    if (table.getDescription().length() != 0) height += kDescription;
    if (drawn.view) return height;
    size_t keys = 0, foreignKeys = 0;
    for (const ZELKey* key : table.keys()) {
      if (key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) ++keys;
      if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) ++foreignKeys;
    }
    for (const size_t rows :
         {keys, catalogIndexes(table).size(), foreignKeys, outlined.referencedBy.size()}) {
      if (rows != 0) height += kSubheading + kTableFrame + rows * kRow;
    }
    if (!outlined.relations.empty() && outline_.tables.size() <= kTableDiagramsUpTo)
      height += kDiagramHeight;
    return height;
  }

  // A table's or view's content, read by the page's script:
  //   s  its schema (an index into "schemas")
  //   v  1 for a view
  //   d  the description
  //   c  columns: [position, name, type, not null (0/1), marks (1 PK, 2 FK,
  //      4 AK), description]
  //   k  candidate keys: [name, kind, columns]
  //   i  indexes: [name, members, flags]
  //   o  foreign keys: [name, column pairs (own → referenced), referenced
  //      table, referenced key]
  //   r  foreign keys that reference it: [table, name, columns]
  //   g  the SVG diagram of the table with its related tables, or
  //   n  a note in its place
  // A table is an index into "objects", or its name when the page does not
  // show it, or null.
  // Each table's link in a diagram drawn from the outline's: its section.
  std::vector<std::string> linksOf(const Diagram& diagram) const {
    std::vector<std::string> links;
    links.reserve(diagram.tables.size());
    for (const DiagramTable& table : diagram.tables) {
      const size_t t = outline_.indexOf(table.table);
      links.push_back(t == CatalogOutline::kNotShown
                          ? std::string()
                          : "#" + percentEncoded(outline_.tables[t].anchor));
    }
    return links;
  }

  void writeTableData(Page& page, size_t t, SvgDrawing& drawing) {
    const DiagramTable& drawn = outline_.diagram.tables[t];
    const OutlineTable& outlined = outline_.tables[t];
    const ZELClass& table = *drawn.table;
    page << "{\"s\":" << outlined.schema;
    if (drawn.view) page << ",\"v\":1";
    if (table.getDescription().length() != 0) {
      page << ",\"d\":";
      page.string(table.getDescription());
    }
    page << ",\"c\":[";
    for (size_t c = 0; c < drawn.columns.size(); ++c) {
      const DiagramColumn& column = drawn.columns[c];
      page << (c ? ",[" : "[") << std::to_string(column.column->getPosition()) << ",";
      page.string(column.column->getName()) << ",";
      page.string(columnTypeText(*column.column))
          << (column.notNull ? ",1," : ",0,")
          << std::to_string((column.primaryKey ? 1 : 0) | (column.foreignKey ? 2 : 0) |
                            (column.unique ? 4 : 0))
          << ",";
      page.string(column.column->getDescription()) << "]";
    }
    page << "]";
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
      if (neighbours > kNeighbourDiagramLimit) {
        page << ",\"n\":\"Related to " << neighbours << " tables, too many to draw.\"";
      } else {
        std::string svg;
        const std::vector<std::string> links = linksOf(diagram);
        const std::string error = drawing.draw(diagram, svg, &links);
        if (drawing.failed()) {
          drawingFailure_ = error;
        } else if (!error.empty()) {
          page << ",\"n\":";
          page.string("No diagram: " + error);
        } else {
          page << ",\"g\":";
          page.string(inlineSvg(svg));
        }
      }
    }
    page << "}";
  }

  static void writeKeys(Page& page, const ZELClass& table) {
    bool first = true;
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) continue;
      const bool primary = key == table.getPrimaryKey();
      const bool unique = static_cast<const ZELCandidateKey*>(key)->uniqueKey;
      page << (first ? ",\"k\":[[" : ",[");
      first = false;
      page.string(key->getName()) << (primary  ? ",\"primary\","
                                      : unique ? ",\"alternate (unique)\","
                                               : ",\"alternate\",");
      page.string(keyColumnNames(*key)) << "]";
    }
    if (!first) page << "]";
  }

  static void writeIndexes(Page& page, const ZELClass& table) {
    bool first = true;
    for (const ZELIndex* index : catalogIndexes(table)) {
      page << (first ? ",\"i\":[[" : ",[");
      first = false;
      page.string(index->getName()) << ",";
      page.string(indexMemberNames(*index)) << ",\"";
      const char* separator = "";
      for (const auto& [set, flag] : {std::pair<bool, const char*>{index->indexFlag1, "unique"},
                                      {index->indexFlag2, "clustered"},
                                      {index->indexFlag3, "catalog storage"}}) {
        if (!set) continue;
        page << separator << flag;
        separator = ", ";
      }
      page << "\"]";
    }
    if (!first) page << "]";
  }

  void writeTableReference(Page& page, const ZELClass* table) const {
    if (const size_t t = outline_.indexOf(table); t != CatalogOutline::kNotShown) {
      page << objectIndex_[t];
    } else if (table != nullptr) {
      page.string(referenceName(bytesOf(table->getName())));
    } else {
      page << "null";
    }
  }

  void writeForeignKeys(Page& page, const ZELClass& table, const OutlineTable& outlined) const {
    bool first = true;
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      const auto* foreignKey = static_cast<const ZELForeignKey*>(key);
      const ZELCandidateKey* referenced = foreignKey->getCandidateKey();
      page << (first ? ",\"o\":[[" : ",[");
      first = false;
      page.string(key->getName()) << ",";
      page.string(columnPairNames(*foreignKey, "\n", kReferenceCharacters)) << ",";
      if (referenced) {
        writeTableReference(page, referenced->getAssociatedClass());
        page << ",";
        page.string(referenceName(bytesOf(referenced->getName()))) << "]";
      } else {
        page << "null,\"\"]";
      }
    }
    if (!first) page << "]";
    if (outlined.referencedBy.empty()) return;
    page << ",\"r\":[";
    for (size_t i = 0; i < outlined.referencedBy.size(); ++i) {
      const ZELForeignKey* foreignKey = outlined.referencedBy[i];
      page << (i ? ",[" : "[");
      writeTableReference(page, foreignKey->getAssociatedClass());
      page << ",";
      page.string(referenceName(bytesOf(foreignKey->getName()))) << ",";
      page.string(keyColumnNames(*foreignKey, kReferenceCharacters)) << "]";
    }
    page << "]";
  }

  // A procedure's content: "d" as for a table, and its arguments
  // "a": [position, name, type, description].
  static void writeProcedureData(Page& page, const OutlineProcedure& outlined) {
    const ZELStoredProcedure& procedure = *outlined.procedure;
    page << "{";
    if (procedure.getDescription().length() != 0) {
      page << "\"d\":";
      page.string(procedure.getDescription());
      page << ",";
    }
    page << "\"a\":[";
    bool first = true;
    for (const ZELArgument* argument : procedure.arguments()) {
      page << (first ? "[" : ",[") << std::to_string(argument->getPosition()) << ",";
      first = false;
      page.string(argument->getName()) << ",";
      page.string(typeText(argument->getType())) << ",";
      page.string(argument->getDescription()) << "]";
    }
    page << "]}";
  }

  std::vector<std::string> schemas_;  // --schema names; none: every schema
  std::string drawingFailure_;        // why drawing failed as a whole
  CatalogOutline outline_;
  // The schemas' diagrams, drawn with their sections' placeholders and
  // written with the page's data.
  std::vector<std::string> schemaDiagrams_;
  // Table i's position among the page's objects: the tables, views and
  // procedures of each schema in turn.
  std::vector<size_t> objectIndex_;
};

}  // namespace

std::unique_ptr<ModelWriter> makeHtmlModelWriter(const WriterOptions& options) {
  return std::make_unique<HtmlModelWriter>(options.schemas);
}

}  // namespace pcd::writers
