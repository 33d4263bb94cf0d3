#include "model_svg.h"

#include <graphviz/cgraph.h>
#include <graphviz/gvc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <new>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "drawing_process.h"
#include "model_dot.h"
#include "zel_keyed_hash.h"

namespace pcd::writers {

// Graphviz's choice of its text layout plug-in (the one that measures text
// in the named font), which gvContext() runs; exported by libgvc but
// declared only in its private headers. It returns 300 when a plug-in is
// loaded and 999 when text would only be estimated.
extern "C" int gvtextlayout_select(GVC_t* context);

namespace {

// Measured on generated catalogs (bench/): the layered layout ("dot") takes
// about 2 s for 1,000 tables and 4 s for 2,000 but minutes for 10,000; the
// cluster-packing layout ("osage") takes 8 s for 10,000 tables without
// columns and 18 s with all 90,000 columns. Beyond the hard limits even
// that would take minutes and gigabytes.
constexpr size_t kLayeredLayoutTables = 2000;
constexpr size_t kMaxTables = 20000;
constexpr size_t kMaxCells = 200000;
constexpr size_t kMaxRelations = 20000;
// Graphviz sizes a table's box in time that grows with the square of its
// rows (1,000 columns 0.4 s, 10,000 columns 20 s) and a text's in time that
// grows with its length: a table shows its first columns and a row that
// counts the others, a name its first characters.
constexpr size_t kMaxColumnsDrawn = 100;
constexpr size_t kMaxTextDrawn = 80;
// A drawing within the limits takes seconds; one that takes this long hangs.
constexpr unsigned kDrawingSeconds = 600;

// The drawing process's answers.
constexpr unsigned char kDrawn = 0;     // the SVG document
constexpr unsigned char kNotDrawn = 1;  // why Graphviz did not draw this diagram

// Graphviz reports errors through one global hook; the writer collects
// them while it runs (the program writes one document at a time).
std::string* collectedErrors = nullptr;

int collectError(char* message) {
  if (collectedErrors != nullptr) *collectedErrors += message;
  return 0;
}

class ErrorCollection {
 public:
  explicit ErrorCollection(std::string& errors) : previous_(agseterrf(collectError)) {
    collectedErrors = &errors;
  }
  ~ErrorCollection() {
    collectedErrors = nullptr;
    agseterrf(previous_);
  }
  ErrorCollection(const ErrorCollection&) = delete;
  ErrorCollection& operator=(const ErrorCollection&) = delete;

 private:
  agusererrf previous_;
};

// The first line of what Graphviz said, without its trailing line break.
std::string firstLine(const std::string& text) {
  const size_t end = text.find('\n');
  return text.substr(0, end);
}

// Graphviz's own naming gives a named object the address of its interned
// name as its id, and keeps subgraphs (the schema clusters) in id order: the
// layout then depends on where the heap happened to put those strings, and
// the same diagram came out differently from one run to the next. This
// discipline numbers names in the order they first appear instead (even
// ids; odd ones stay for anonymous objects, as in Graphviz's own), so that
// the same diagram always gets the same layout.
struct NumberedNames {
  std::deque<std::string> names;  // name of id 2(i+1) at i; a deque keeps them in place
  std::unordered_map<std::string_view, IDTYPE, zel_hash::TextHash> ids;
  IDTYPE nextAnonymous = 1;
};

void* openNames(Agraph_t*, Agdisc_t*) {
  return new (std::nothrow) NumberedNames;
}

long mapName(void* state, int, char* name, IDTYPE* id, int create) {
  if (state == nullptr) return 0;  // no memory for the names: nothing can be made
  auto& numbered = *static_cast<NumberedNames*>(state);
  if (name == nullptr) {
    if (!create) return 0;
    *id = numbered.nextAnonymous;
    numbered.nextAnonymous += 2;
    return 1;
  }
  const auto found = numbered.ids.find(name);
  if (found != numbered.ids.end()) {
    *id = found->second;
    return 1;
  }
  if (!create) return 0;
  try {
    numbered.names.emplace_back(name);
    *id = 2 * static_cast<IDTYPE>(numbered.names.size());
    numbered.ids.emplace(numbered.names.back(), *id);
  } catch (const std::bad_alloc&) {
    return 0;  // Graphviz reports the object as not made
  }
  return 1;
}

long allocateId(void*, int, IDTYPE) {
  return 0;  // objects are never made with a chosen id here
}

void freeId(void*, int, IDTYPE) {}  // the names live until the graph is closed

char* printName(void* state, int, IDTYPE id) {
  if (state == nullptr) return nullptr;
  auto& numbered = *static_cast<NumberedNames*>(state);
  if (id % 2 != 0 || id == 0 || id / 2 > numbered.names.size()) return nullptr;
  return numbered.names[id / 2 - 1].data();
}

void closeNames(void* state) {
  delete static_cast<NumberedNames*>(state);
}

void registerObject(void*, int, void*) {}

Agiddisc_t numberedNames = {openNames, mapName,    allocateId,    freeId,
                            printName, closeNames, registerObject};

// Reads a diagram held in memory, a line at a time as Graphviz's own
// reader of memory does.
struct MemoryText {
  const char* at;
  const char* end;
};

int readLine(void* channel, char* buffer, int size) {
  auto& text = *static_cast<MemoryText*>(channel);
  int length = 0;
  while (length < size && text.at < text.end) {
    const char c = *text.at++;
    buffer[length++] = c;
    if (c == '\n') break;
  }
  return length;
}

Agiodisc_t memoryReading = {readLine, nullptr, nullptr};

Agraph_t* readDiagram(std::string_view dot) {
  memoryReading.putstr = AgIoDisc.putstr;
  memoryReading.flush = AgIoDisc.flush;
  Agdisc_t discipline = {&AgMemDisc, &numberedNames, &memoryReading};
  MemoryText text{dot.data(), dot.data() + dot.size()};
  Agraph_t* graph = agread(&text, &discipline);
  agsetfile(nullptr);  // as Graphviz's reader of memory leaves it for the next graph
  agreadline(0);
  return graph;
}

// The widths of the texts in an xdot drawing operation list ("F 10 11
// -DejaVu Sans c 7 -#000000 T 4.5 29.8 -1 59 7 -LLLL xx ..."), in order;
// none when the list holds an operation this reader does not know.
std::vector<std::string> textWidths(std::string_view ops) {
  std::vector<std::string> widths;
  size_t at = 0;
  const auto token = [&]() {
    while (at < ops.size() && ops[at] == ' ') ++at;
    const size_t start = at;
    while (at < ops.size() && ops[at] != ' ') ++at;
    return ops.substr(start, at - start);
  };
  const auto skipNumbers = [&](size_t count) {
    for (size_t i = 0; i < count; ++i) token();
  };
  // A counted text: "N -BYTES".
  const auto skipText = [&]() {
    const size_t length = std::strtoul(std::string(token()).c_str(), nullptr, 10);
    while (at < ops.size() && ops[at] == ' ') ++at;
    at = std::min(ops.size(), at + 1 + length);  // the "-" and the bytes
  };
  for (;;) {
    const std::string_view op = token();
    if (op.empty()) return widths;
    if (op.size() != 1) return {};
    switch (op[0]) {
      case 'F':
        skipNumbers(1);
        skipText();
        break;
      case 'c':
      case 'C':
      case 'S':
        skipText();
        break;
      case 't':
        skipNumbers(1);
        break;
      case 'T':
        skipNumbers(3);
        widths.emplace_back(token());
        skipText();
        break;
      case 'E':
      case 'e':
        skipNumbers(4);
        break;
      case 'P':
      case 'p':
      case 'L':
      case 'B':
      case 'b':
        skipNumbers(2 * std::strtoul(std::string(token()).c_str(), nullptr, 10));
        break;
      case 'I':
        skipNumbers(4);
        skipText();
        break;
      default:
        return {};
    }
  }
}

// Graphviz measures text with each glyph's advance rounded to a whole pixel
// and writes SVG text without its width, which a browser then draws up to a
// few percent wider or narrower, across the box's border. This gives each
// text of a table's box the width it was measured with (SVG's textLength),
// read from the xdot drawing of the same layout.
std::string withMeasuredWidths(GVC_t* context, Agraph_t* graph, const std::string& svg) {
  char* data = nullptr;
  unsigned int length = 0;
  const bool drawn = gvRenderData(context, graph, "xdot", &data, &length) == 0 && data != nullptr;
  gvFreeRenderData(data);
  if (!drawn) return svg;
  std::unordered_map<std::string, std::vector<std::string>> widths;
  for (Agnode_t* node = agfstnode(graph); node != nullptr; node = agnxtnode(graph, node)) {
    const char* ops = agget(node, const_cast<char*>("_ldraw_"));
    if (ops != nullptr) widths.emplace(agnameof(node), textWidths(ops));
  }
  // One element a line; a node's group starts with its title (its name).
  static constexpr std::string_view kNode = "<g id=\"node", kOther = "<g id=\"", kTitle = "<title>",
                                    kText = "<text ";
  std::string result;
  result.reserve(svg.size() + svg.size() / 8);
  const std::vector<std::string>* current = nullptr;
  bool inNode = false;
  size_t next = 0;
  for (size_t at = 0; at < svg.size();) {
    size_t end = svg.find('\n', at);
    end = end == std::string::npos ? svg.size() : end + 1;
    const std::string_view line(svg.data() + at, end - at);
    at = end;
    if (line.rfind(kNode, 0) == 0) {
      inNode = true;
      current = nullptr;
    } else if (line.rfind(kOther, 0) == 0 && line.find("class=") != std::string_view::npos) {
      inNode = false;
      current = nullptr;
    } else if (inNode && current == nullptr && line.rfind(kTitle, 0) == 0) {
      const size_t close = line.find('<', kTitle.size());
      const auto found =
          widths.find(std::string(line.substr(kTitle.size(), close - kTitle.size())));
      current = found == widths.end() ? nullptr : &found->second;
      next = 0;
    } else if (current != nullptr && line.rfind(kText, 0) == 0 && next < current->size()) {
      result += "<text textLength=\"" + (*current)[next++] + "\" ";
      result += line.substr(kText.size());
      continue;
    }
    result += line;
  }
  return result;
}

// Lays out and renders `dot` with `engine`; "" and the SVG in `svg`, or why not.
std::string render(GVC_t* context, std::string_view dot, const char* engine, std::string& svg) {
  std::string errors;
  ErrorCollection collection(errors);
  Agraph_t* graph = readDiagram(dot);
  if (graph == nullptr) return "Graphviz cannot read the diagram: " + firstLine(errors);
  std::string failure;
  if (gvLayout(context, graph, engine) != 0) {
    failure = std::string("the ") + engine + " layout failed: " + firstLine(errors);
  } else {
    char* data = nullptr;
    unsigned int length = 0;
    if (gvRenderData(context, graph, "svg", &data, &length) != 0 || data == nullptr) {
      failure = "Graphviz cannot render SVG: " + firstLine(errors);
    } else {
      svg.assign(data, length);
    }
    gvFreeRenderData(data);
    if (failure.empty()) svg = withMeasuredWidths(context, graph, svg);
    gvFreeLayout(context, graph);
  }
  agclose(graph);
  return failure;
}

// Starts Graphviz in the drawing process: "" and the context, or why it
// cannot draw (after "Graphviz failed: "). Every plug-in a drawing needs is
// loaded here (a probe drawn with each layout), so that one that fails to
// load is an error rather than a drawing made without it (text measured by
// estimate, another layout).
std::string startGraphviz(GVC_t*& context) {
  std::string errors;
  ErrorCollection collection(errors);
  context = gvContext();
  if (context == nullptr) return "it cannot start";
  if (gvtextlayout_select(context) == 999) {
    return "it cannot measure text: its text layout plug-in (libgvplugin_pango) is not "
           "available";
  }
  std::string svg;
  for (const char* engine : {"dot", "osage"}) {
    const std::string error = render(
        context, "digraph{node[fontname=\"DejaVu Sans\"];a[label=<<B>x</B>>];a->a}", engine, svg);
    if (!error.empty()) return error;
  }
  if (!errors.empty()) return "it cannot start: " + firstLine(errors);
  return "";
}

// The drawing process's Graphviz, started when the process starts.
GVC_t* childContext = nullptr;

std::string startInChild() {
  return startGraphviz(childContext);
}

// Answers a request of the drawing process: the layout engine's name, a
// line break, and the diagram as DOT text.
unsigned char drawInChild(const std::string& request, std::string& reply) {
  const size_t newline = request.find('\n');
  const std::string engine = request.substr(0, newline);
  const std::string_view dot = std::string_view(request).substr(newline + 1);
  std::string error = render(childContext, dot, engine.c_str(), reply);
  // The layered layout gives up on a few graphs; the packing one does not.
  if (!error.empty() && engine != "osage") error = render(childContext, dot, "osage", reply);
  if (error.empty()) return kDrawn;
  reply = error;
  return kNotDrawn;
}

class SvgModelWriter final : public DiagramModelWriter {
 public:
  using DiagramModelWriter::DiagramModelWriter;

 private:
  std::string draw(const ModelSource&, const Diagram& diagram, OutputSink& sink) override {
    SvgDrawing drawing;
    std::string text;
    const std::string error = drawing.draw(diagram, text);
    return error.empty() ? putText(sink, text) : error;
  }
};

}  // namespace

SvgDrawing::SvgDrawing() = default;
SvgDrawing::~SvgDrawing() = default;

std::string SvgDrawing::draw(const Diagram& diagram, std::string& svg,
                             const std::vector<std::string>* links) {
  if (failed_) return failure_;
  DotStyle style;
  style.maxColumns = kMaxColumnsDrawn;
  style.maxTextLength = kMaxTextDrawn;
  style.links = links;
  size_t cells = diagram.tables.size();
  for (const DiagramTable& table : diagram.tables) {
    cells += std::min(table.columns.size(), kMaxColumnsDrawn + 1);
  }
  const detail::SvgLayout layout =
      detail::chooseSvgLayout(diagram.tables.size(), cells, diagram.relations.size());
  if (layout.engine == nullptr) return layout.tooLarge;
  const std::string request = std::string(layout.engine) + "\n" + diagramAsDot(diagram, style);
  unsigned char status = 0;
  std::string reply;
  const std::string failure = drawTwice(request, status, reply);
  if (!failure.empty()) {
    failed_ = true;
    failure_ = "Graphviz failed: " + failure;
  } else if (status == kDrawn) {
    svg = std::move(reply);
    return "";
  } else if (status == kNotDrawn) {
    return reply;
  } else {
    failed_ = true;
    failure_ = "out of memory while drawing the diagram";
  }
  return failure_;
}

// Graphviz and the libraries under it take some failed allocations in
// their stride and draw something else without a word: a layout fails, or
// text is measured in a stand-in font or by estimate, and a failure while
// they start can change every later drawing of that process. So two
// processes draw each diagram at once; when their drawings differ, both are
// replaced by fresh ones that draw it again.
std::string SvgDrawing::drawTwice(const std::string& request, unsigned char& status,
                                  std::string& reply) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    for (auto& process : processes_) {
      if (process) continue;
      process = std::make_unique<DrawingProcess>(startInChild, drawInChild, kDrawingSeconds);
      const std::string failure = process->start();
      if (!failure.empty()) return failure;
    }
    for (auto& process : processes_) {
      const std::string failure = process->send(request);
      if (!failure.empty()) return failure;
    }
    unsigned char otherStatus = 0;
    std::string other;
    std::string failure = processes_[0]->receive(status, reply);
    if (failure.empty()) failure = processes_[1]->receive(otherStatus, other);
    if (!failure.empty()) return failure;
    if (status == otherStatus && reply == other) return "";
    for (auto& process : processes_) process.reset();
  }
  return "two drawing processes drew the diagram differently, twice (out of memory?)";
}

detail::SvgLayout detail::chooseSvgLayout(size_t tables, size_t cells, size_t relations) {
  if (tables > kMaxTables || cells > kMaxCells || relations > kMaxRelations) {
    return {nullptr,
            "the diagram has " + std::to_string(tables) + " tables and views, " +
                std::to_string(cells - tables) + " rows of columns and " +
                std::to_string(relations) +
                " relations, too many to lay out in reasonable time (at most " +
                std::to_string(kMaxTables) + " tables, " + std::to_string(kMaxCells) +
                " tables and rows together and " + std::to_string(kMaxRelations) +
                " relations); draw part of it with --schema NAME" +
                (cells > tables ? " or fewer columns with --columns keys or --columns none" : "")};
  }
  return {tables <= kLayeredLayoutTables ? "dot" : "osage", ""};
}

std::unique_ptr<ModelWriter> makeSvgModelWriter(const WriterOptions& options) {
  return std::make_unique<SvgModelWriter>(options);
}

}  // namespace pcd::writers
