// Fuzz target: a whole run as the program makes it, from the input bytes as
// a PCD file: through the plug-in's interface object, then every output
// format of the writer table (new formats are fuzzed as they are added).
// Each output must be valid UTF-8; JSON must also parse. A catalogued
// import error is an expected outcome; a crash, a leak, a sanitizer report
// or an invalid output is a finding.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "memory_file.h"
#include "model/zel_model.h"
#include "model_writer.h"
#include "zel_bridge_interface.h"
#include "zel_exception.h"
#include "zel_log.h"
#include "zel_options.h"

using namespace pcd::writers;

// Compiled into this target from bridge/plugin_entry.cpp.
extern "C" ZELModelBridgeImportDllInterface* getZELCaRepositoryDsOdbcImportInterface();

namespace {

// Well-formed UTF-8: no stray continuation bytes, no overlong forms, no
// surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view text) {
  size_t at = 0;
  while (at < text.size()) {
    const auto lead = static_cast<unsigned char>(text[at]);
    size_t extra;
    uint32_t code;
    if (lead < 0x80) {
      ++at;
      continue;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      extra = 1, code = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      extra = 2, code = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      extra = 3, code = lead & 0x07;
    } else {
      return false;
    }
    if (at + extra >= text.size()) return false;
    for (size_t i = 1; i <= extra; ++i) {
      const auto next = static_cast<unsigned char>(text[at + i]);
      if ((next & 0xC0) != 0x80) return false;
      code = (code << 6) | (next & 0x3F);
    }
    if ((extra == 2 && (code < 0x800 || (code >= 0xD800 && code <= 0xDFFF))) ||
        (extra == 3 && (code < 0x10000 || code > 0x10FFFF))) {
      return false;
    }
    at += extra + 1;
  }
  return true;
}

void fail(const std::string& format, const char* what) {
  std::fprintf(stderr, "program_fuzzer: %s output of format %s\n", what, format.c_str());
  std::abort();
}

// Every file a writer makes, kept in memory.
class MemorySink final : public OutputSink {
 public:
  ~MemorySink() override { close(); }
  std::FILE* file(std::string_view name) override {
    close();
    stream_ = open_memstream(&bytes_, &size_);
    if (stream_ == nullptr) std::abort();
    names_.emplace_back(name);
    return stream_;
  }
  // Each file's name and bytes.
  std::vector<std::pair<std::string, std::string>> files() {
    close();
    return std::move(files_);
  }

 private:
  void close() {
    if (stream_ == nullptr) return;
    if (std::fclose(stream_) != 0) std::abort();
    stream_ = nullptr;
    files_.emplace_back(names_.back(), std::string(bytes_, size_));
    std::free(bytes_);
    bytes_ = nullptr;
  }
  std::vector<std::string> names_;
  std::vector<std::pair<std::string, std::string>> files_;
  std::FILE* stream_ = nullptr;
  char* bytes_ = nullptr;
  size_t size_ = 0;
};

// Writes the model in one format to memory and checks the bytes of each
// file.
void writeAndCheck(const OutputFormat& format, const WriterOptions& options,
                   const ModelSource& source) {
  MemorySink sink;
  const std::string error = format.make(options)->write(source, sink);
  const std::string name(format.name);
  if (!error.empty()) return;  // refused with a reason: the program writes nothing
  for (const auto& [fileName, bytes] : sink.files()) {
    if (!isUtf8(bytes)) fail(name, "invalid UTF-8 in the");
    if (format.name == "json" && fileName.empty() && !nlohmann::json::accept(bytes)) {
      fail(name, "invalid JSON in the");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static MemoryFile file;
  file.replace(data, size);

  ZELModelBridgeImportDllInterface& bridge = *getZELCaRepositoryDsOdbcImportInterface();
  ZELOptionList options;
  bridge.getOptionList(options);
  options.options.option(0)->setValue(file.path.c_str());
  ZELModel model;
  ZELMemoryLog log;
  bool imported = false;
  try {
    imported = bridge.run("CaRepositoryDsOdbcImport", model, options, log);
  } catch (const ZELException&) {
    // A catalogued error: the run's expected way to reject bad input.
  }
  if (!imported) return 0;
  const ModelSource source{model, log.events(), file.path};
  for (const OutputFormat& format : outputFormats()) {
    for (bool compact : {false, true}) {
      WriterOptions writerOptions;
      writerOptions.compact = compact;
      writeAndCheck(format, writerOptions, source);
    }
  }
  return 0;
}
