#include "model_svg.h"

#include <graphviz/cgraph.h>
#include <graphviz/gvc.h>

#include <cstring>
#include <deque>
#include <new>
#include <string_view>
#include <unordered_map>

#include "model_dot.h"
#include "zel_keyed_hash.h"

namespace {

// Measured on generated catalogs (bench/): the layered layout ("dot") takes
// about 2 s for 1,000 tables and 4 s for 2,000 but minutes for 10,000; the
// cluster-packing layout ("osage") takes 8 s for 10,000 tables without
// columns and 18 s with all 90,000 columns. Beyond the hard limits even
// that would take minutes and gigabytes.
constexpr size_t kLayeredLayoutTables = 2000;
constexpr size_t kMaxTables = 20000;
constexpr size_t kMaxCells = 200000;

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

Agraph_t* readDiagram(const std::string& dot) {
  memoryReading.putstr = AgIoDisc.putstr;
  memoryReading.flush = AgIoDisc.flush;
  Agdisc_t discipline = {&AgMemDisc, &numberedNames, &memoryReading};
  MemoryText text{dot.data(), dot.data() + dot.size()};
  Agraph_t* graph = agread(&text, &discipline);
  agsetfile(nullptr);  // as Graphviz's reader of memory leaves it for the next graph
  agreadline(0);
  return graph;
}

// Lays out and renders `dot` with `engine`; "" and the SVG in `svg`, or why not.
std::string render(GVC_t* context, const std::string& dot, const char* engine, std::string& svg) {
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
    gvFreeLayout(context, graph);
  }
  agclose(graph);
  return failure;
}

class SvgModelWriter final : public ModelWriter {
 public:
  explicit SvgModelWriter(WriterOptions options) : options_(std::move(options)) {}
  std::string write(const ModelSource& source, std::FILE* out) override {
    Diagram diagram;
    std::string error = selectDiagram(source.model, options_, diagram);
    if (!error.empty()) return error;
    SvgDrawing drawing;
    std::string svg;
    error = drawing.draw(diagram, svg);
    if (!error.empty()) return error;
    std::fwrite(svg.data(), 1, svg.size(), out);  // a write error stays in the stream
    return "";
  }

 private:
  WriterOptions options_;
};

}  // namespace

namespace {

// One Graphviz context for the whole process, never freed: Graphviz's text
// layout plugin remembers a pointer to a font name that the context owns, so
// a second context made after the first was freed would compare against
// freed memory. Loading the plug-ins once also makes later drawings cheaper.
GVC_t* processContext() {
  static GVC_t* const context = gvContext();
  return context;
}

}  // namespace

SvgDrawing::SvgDrawing() : context_(processContext()) {}

std::string SvgDrawing::draw(const Diagram& diagram, std::string& svg) {
  size_t cells = diagram.tables.size();
  for (const DiagramTable& table : diagram.tables) cells += table.columns.size();
  const SvgLayout layout = chooseSvgLayout(diagram.tables.size(), cells);
  if (layout.engine == nullptr) return layout.tooLarge;
  if (context_ == nullptr) return "cannot start Graphviz";
  const std::string dot = diagramAsDot(diagram, "");
  std::string error = render(context_, dot, layout.engine, svg);
  // The layered layout gives up on a few graphs; the packing one does not.
  if (!error.empty() && std::string(layout.engine) != "osage") {
    error = render(context_, dot, "osage", svg);
  }
  return error;
}

SvgLayout chooseSvgLayout(size_t tables, size_t cells) {
  if (tables > kMaxTables || cells > kMaxCells) {
    return {nullptr,
            "the diagram has " + std::to_string(tables) + " tables and views and " +
                std::to_string(cells - tables) +
                " columns, too many to lay out in reasonable time (at most " +
                std::to_string(kMaxTables) + " tables and " + std::to_string(kMaxCells) +
                " tables and columns together); draw part of it with --schema NAME" +
                (cells > tables ? " or fewer columns with --columns keys or --columns none" : "")};
  }
  return {tables <= kLayeredLayoutTables ? "dot" : "osage", ""};
}

std::unique_ptr<ModelWriter> makeSvgModelWriter(const WriterOptions& options) {
  return std::make_unique<SvgModelWriter>(options);
}
