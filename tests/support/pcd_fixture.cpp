#include "support/pcd_fixture.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "zel_exception.h"
#include "zel_options.h"

namespace {

std::string joinLines(const std::vector<std::string>& lines, bool terminateLast) {
  std::string bytes;
  for (size_t i = 0; i < lines.size(); ++i) {
    bytes += lines[i];
    if (i + 1 < lines.size() || terminateLast) bytes += '\n';
  }
  return bytes;
}

}  // namespace

PcdFile::PcdFile(std::initializer_list<std::string> lines, bool terminateLast)
    : PcdFile(std::vector<std::string>(lines), terminateLast) {}

PcdFile::PcdFile(const std::vector<std::string>& lines, bool terminateLast) {
  write(joinLines(lines, terminateLast));
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

std::vector<std::string> smallExampleFile() {
  return {
      "PCD extract of one table",
      "E,REL_SYS,10,2,C7,PRODSYS,C0,",
      "E,DATABASE,20,1,C5,SALES",
      "R,DB_AT,30,20,10,2,C0,C0,",
      "E,SERVTYPE,40,13,C2,T1,C6,DBSERV,C3,8.1,S8,S0,S0,S0,S0,S0,S0,S0,S0,S0",
      "R,SERVINST,50,40,10,0",
      "E,SCHEMA,60,1,C4,SHOP",
      "R,SCHEM_AT,70,60,20,1,C0,",
      "E,TABLE,80,1,C6,ORDERS",
      "T,1,80,1,DESCRIPTION,11,Order heads",
      "R,TABLE_AT,90,80,60,2,C6,ORDERS,C0,",
      "E,REL_DT,100,5,C8,VARCHAR2,S0,C0,C0,C0,",
      "R,REL_COL,110,0,100,7,C4,NAME,S0,L30,L0,S0,C0,C0,",
      "R,TBL_COL,120,80,110,2,C1,Y,L1",
      "T,1,120,1,COLUMN_COMMENTS,13,Customer name",
  };
}

ImportResult importFile(const std::string& path) {
  ImportResult result;
  result.model = std::make_unique<ZELModel>();
  ZELOptionList options;
  const char* extensions[] = {"pcd", nullptr};
  ZELBridgeOption* option = TAV_CARDS::BP_FILE.generateOption(true, extensions, "Default", true);
  options.options.add(option, true, nullptr);
  option->setValue(path.c_str());

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

ImportResult importLines(std::initializer_list<std::string> lines) {
  PcdFile file(lines);
  return importFile(file.path());
}

std::string importError(const std::string& path) {
  return importFile(path).error;
}
