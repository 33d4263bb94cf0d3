// Fuzz target: a whole import of the input bytes as a PCD file, into a fresh
// model with a memory log. A catalogued error is an expected outcome; any
// other exception, crash, leak or sanitizer report is a finding.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bridge/file_option.h"
#include "bridge/import_bridge.h"
#include "model/zel_model.h"
#include "zel_exception.h"
#include "zel_log.h"
#include "zel_options.h"

namespace {

// The input is handed to the bridge as a file in memory, reopened by path
// for every run, so no disk is touched.
struct MemoryFile {
  MemoryFile() {
    fd = memfd_create("pcd_fuzz_input", 0);
    if (fd < 0) {
      std::perror("memfd_create");
      std::abort();
    }
    path = "/proc/self/fd/" + std::to_string(fd);
  }
  void replace(const uint8_t* data, size_t size) {
    if (ftruncate(fd, 0) != 0) std::abort();
    size_t written = 0;
    while (written < size) {
      const ssize_t n = pwrite(fd, data + written, size - written, static_cast<off_t>(written));
      if (n <= 0) std::abort();
      written += static_cast<size_t>(n);
    }
  }
  int fd;
  std::string path;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static MemoryFile file;
  file.replace(data, size);

  ZELOptionList options;
  addFileOption(options, file.path.c_str());

  ZELModel model;
  ZELMemoryLog log;
  try {
    ZELCaRepositoryDsOdbcImportBridge bridge(&log);
    bridge.run(&model, &options, "CaRepositoryDsOdbcImport");
  } catch (const ZELException&) {
    // A catalogued error: the run's expected way to reject bad input.
  }
  model.recursiveDelete();
  return 0;
}
