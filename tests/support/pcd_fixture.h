// Test support shared by the bridge's test programs: temporary PCD files and
// whole imports through the bridge object.
//
//   PcdFile file({"header", "E,TABLE,1,1,C1,T"});
//   ImportResult r = importFile(file.path());
//   EXPECT_TRUE(r.error.empty());
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/zel_model.h"
#include "zel_log.h"

// A temporary file, removed when the object goes out of scope.
class PcdFile {
 public:
  // One line per string, the first (never read as data) included, each
  // ended by "\n" unless `terminateLast` is false for the last one.
  explicit PcdFile(const std::vector<std::string>& lines, bool terminateLast = true);
  // The exact bytes of the file.
  static PcdFile raw(const std::string& bytes);
  ~PcdFile();
  PcdFile(PcdFile&& other) noexcept;
  PcdFile& operator=(PcdFile&&) = delete;

  const std::string& path() const { return path_; }

 private:
  PcdFile() = default;
  void write(const std::string& bytes);
  std::string path_;
};

struct ImportResult {
  std::unique_ptr<ZELModel> model;  // as the bridge left it (half built after a failure)
  std::vector<ZELLogEvent> log;     // every event, in order
  std::string error;                // text of the ZELException thrown, or empty
  bool returned = false;            // run returned true

  // The texts of the log events, in order.
  std::vector<std::string> logTexts() const;
};

// Runs a whole import of `path` (the BP_FILE option's value, UTF-8) into a new
// model with a new bridge and a memory log. A ZELException is captured in
// `error`; any other exception passes through.
ImportResult importFile(const std::string& path);
// True when `text` is one of the bridge's fatal messages, whatever its values.
bool isCataloguedError(const std::string& text);
