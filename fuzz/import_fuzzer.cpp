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
#include "memory_file.h"
#include "model/zel_model.h"
#include "zel_exception.h"
#include "zel_log.h"
#include "zel_options.h"

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
