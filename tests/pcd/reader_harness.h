// A bridge object to drive the reader's members directly, and the text of
// the PCD error they throw.
#pragma once

#include <string>

#include "bridge/import_bridge.h"
#include "zel_exception.h"
#include "zel_log.h"

struct ReaderHarness {
  ZELMemoryLog log;
  ZELCaRepositoryDsOdbcImportBridge bridge{&log};

  // The node registered under `id`, as class T (null if absent or of another class).
  template <class T>
  T* node(long id) {
    return dynamic_cast<T*>(
        static_cast<CaRepositoryDsOdbcImport::Node*>(bridge.idRegistry.find(id)));
  }
};

// The text of the ZELException that `action` throws, or "" when it throws none.
template <class Action>
std::string errorOf(Action action) {
  try {
    action();
  } catch (const ZELException& e) {
    return e.getText().c_str();
  }
  return "";
}

inline std::string pcdError(long line) {
  return "[TAV_CARDS_F0008] Error in input PCD file, line (" + std::to_string(line) + ")";
}
