#include "support/pcd_fixture.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>

#include "bridge/file_option.h"
#include "bridge/import_bridge.h"
#include "zel_exception.h"
#include "zel_options.h"

PcdFile::PcdFile(const std::vector<std::string>& lines, bool terminateLast) {
  std::string bytes;
  for (size_t i = 0; i < lines.size(); ++i) {
    bytes += lines[i];
    if (i + 1 < lines.size() || terminateLast) bytes += '\n';
  }
  write(bytes);
}

PcdFile PcdFile::raw(const std::string& bytes) {
  PcdFile file;
  file.write(bytes);
  return file;
}

PcdFile::PcdFile(PcdFile&& other) noexcept : path_(std::move(other.path_)) {
  other.path_.clear();
}

PcdFile::~PcdFile() {
  if (!path_.empty()) std::remove(path_.c_str());
}

void PcdFile::write(const std::string& bytes) {
  // Unique per process and per file, so test programs may run in parallel.
  static std::atomic<unsigned> counter{0};
  path_ = (std::filesystem::temp_directory_path() /
           ("pcd_test_" + std::to_string(getpid()) + "_" + std::to_string(counter++) + ".pcd"))
              .string();
  std::ofstream out(path_, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) throw std::runtime_error("cannot write " + path_);
}

std::vector<std::string> ImportResult::logTexts() const {
  std::vector<std::string> texts;
  for (const ZELLogEvent& event : log) texts.emplace_back(event.getText().c_str());
  return texts;
}

ImportResult importFile(const std::string& path) {
  ImportResult result;
  result.model = std::make_unique<ZELModel>();
  ZELOptionList options;
  addFileOption(options, path.c_str());

  ZELMemoryLog log;
  try {
    ZELCaRepositoryDsOdbcImportBridge bridge(&log);
    result.returned = bridge.run(result.model.get(), &options, "CaRepositoryDsOdbcImport");
  } catch (const ZELException& e) {
    result.error = e.getText().c_str();
  }
  result.log = log.events();
  return result;
}

bool isCataloguedError(const std::string& text) {
  static const std::regex fatal(
      R"(\[TAV_CARDS_F0002\] Unable to open '.*'\. The error is: .*)"
      R"(|\[TAV_CARDS_F0008\] Error in input PCD file, line \(\d+\))"
      R"(|\[TAV_CARDS_F0009\] Missing Object \(-?\d+\))"
      R"(|\[TAV_CARDS_F0010\] Bad Object Type for \(-?\d+\) \(got \(.*\), expected \(.*\)\))");
  return std::regex_match(text, fatal);
}
