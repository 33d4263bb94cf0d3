// A bridge object whose reader the tests drive directly, and the text of the
// PCD errors it throws. Shared by the reader's and the run's tests.
#pragma once

#include <string>
#include <type_traits>

#include "bridge/import_bridge.h"
#include "pcd/record_layouts.h"
#include "zel_exception.h"
#include "zel_log.h"

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

struct ReaderHarness {
  ZELMemoryLog log;
  ZELCaRepositoryDsOdbcImportBridge bridge{&log};

  // The node registered under `id`, as class T; null if absent or of another class.
  template <class T>
  T* node(long id) {
    CaRepositoryDsOdbcImport::Node* found = nullptr;
    errorOf([&] { found = bridge.getAssertNode(id); });
    if constexpr (std::is_same_v<T, CaRepositoryDsOdbcImport::Node>) {
      return found;
    } else {
      const bool ofT =
          found != nullptr && found->kind == CaRepositoryDsOdbcImport::KindOfNode<T>::value;
      return ofT ? static_cast<T*>(found) : nullptr;
    }
  }
  // Reads `line` as line 7 of a file; returns the error text or "".
  std::string read(const std::string& line) {
    return errorOf([&] { bridge.processLine(line.c_str(), 7, nullptr); });
  }
};

inline std::string pcdError(long line) {
  return "[TAV_CARDS_F0008] Error in input PCD file, line (" + std::to_string(line) + ")";
}

// A line of `shape`'s record with `count` attributes of the type `letters`:
// id `id` (a relationship's from and to: 202, 303), every "C" the string
// "vN", every "S" or "L" the value N, N being the attribute's position.
inline std::string recordLine(const CaRepositoryDsOdbcImport::layout::Shape& shape,
                              const std::string& letters, long count, long id = 101) {
  std::string line = std::string(1, shape.objectType) + "," + shape.name + "," + std::to_string(id);
  line += (shape.objectType == 'R' ? ",202,303," : ",") + std::to_string(count);
  for (size_t i = 0; i < letters.size(); ++i) {
    const std::string n = std::to_string(i + 1);
    line += "," + std::string(1, letters[i]);
    line += letters[i] == 'C' ? std::to_string(1 + n.size()) + ",v" + n : n;
  }
  return line;
}

// The well-formed line of `shape`'s record.
inline std::string recordLine(const CaRepositoryDsOdbcImport::layout::Shape& shape, long id = 101) {
  return recordLine(shape, shape.letters, shape.attributeCount, id);
}
