// Every allocation of a whole import, made to fail in turn: the run through
// the plug-in's interface object must end in success or in a catalogued
// error, leave an empty model after a failure, and leak nothing.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "alloc/allocation_hook.h"
#include "model/zel_model.h"
#include "support/pcd_fixture.h"
#include "zel_bridge_interface.h"
#include "zel_exception.h"
#include "zel_log.h"
#include "zel_options.h"

// Compiled into this program from bridge/plugin_entry.cpp.
extern "C" ZELModelBridgeImportDllInterface* getZELCaRepositoryDsOdbcImportInterface();

namespace {

const char* const kUnexpectedError =
    "[TAVGEN_F0001] Unexpected error in bridge ZELCaRepositoryDsOdbcImport";

// The fatal messages of the bridge's catalog.
bool isCatalogued(const std::string& text) {
  static const std::regex fatal(
      R"(\[TAV_CARDS_F0002\] Unable to open '.*'\. The error is: .*)"
      R"(|\[TAV_CARDS_F0008\] Error in input PCD file, line \(\d+\))"
      R"(|\[TAV_CARDS_F0009\] Missing Object \(-?\d+\))"
      R"(|\[TAV_CARDS_F0010\] Bad Object Type for \(-?\d+\) \(got \(.*\), expected \(.*\)\))");
  return text == kUnexpectedError || std::regex_match(text, fatal);
}

struct RunOutcome {
  bool returned = false;
  bool threw = false;
  bool otherException = false;  // anything but ZELException left the interface
  std::string error;
  bool modelEmpty = false;
  long allocations = 0;  // made by the run while armed
  long leakedBlocks = 0;
};

// One import of `path` through the interface object, with allocation `failAt`
// (alloc_hook::kNever: none) made to fail.
RunOutcome runImport(const std::string& path, long failAt) {
  RunOutcome outcome;
  outcome.error.reserve(4096);  // so that taking the error text does not allocate
  const long liveBefore = alloc_hook::liveBlocks();
  {
    ZELModelBridgeImportDllInterface& bridge = *getZELCaRepositoryDsOdbcImportInterface();
    ZELModel model;
    ZELMemoryLog log;
    ZELOptionList options;
    bridge.getOptionList(options);
    options.options.option(0)->setValue(path.c_str());

    alloc_hook::arm(failAt);
    try {
      outcome.returned = bridge.run("CaRepositoryDsOdbcImport", model, options, log);
    } catch (const ZELException& e) {
      outcome.threw = true;
      outcome.error.assign(e.getText().c_str());
    } catch (...) {
      outcome.threw = true;
      outcome.otherException = true;
    }
    alloc_hook::disarm();
    outcome.allocations = alloc_hook::allocationsSinceArm();
    outcome.modelEmpty = model.getChildPackageCount() == 0 && model.types().count() == 0 &&
                         model.metadataOrigins().count() == 0;
  }
  outcome.leakedBlocks = alloc_hook::liveBlocks() - liveBefore;
  return outcome;
}

// Fails allocation 1, 2, ... up to the number a whole import of `path` makes,
// and checks every run. Returns the number of allocations.
long failEachAllocation(const std::string& path, bool expectSuccess) {
  // A first run warms up whatever the process builds once (static tables).
  runImport(path, alloc_hook::kNever);
  const RunOutcome clean = runImport(path, alloc_hook::kNever);
  EXPECT_EQ(clean.returned, expectSuccess) << clean.error;
  EXPECT_EQ(clean.leakedBlocks, 0);
  EXPECT_GT(clean.allocations, 0);

  std::set<std::string> errors;
  for (long n = 1; n <= clean.allocations; ++n) {
    const RunOutcome run = runImport(path, n);
    SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(clean.allocations) +
                 " failed");
    EXPECT_FALSE(run.otherException);
    EXPECT_EQ(run.leakedBlocks, 0);
    if (run.returned) continue;  // the failed allocation was handled inside
    EXPECT_TRUE(run.threw);
    EXPECT_TRUE(isCatalogued(run.error)) << run.error;
    EXPECT_TRUE(run.modelEmpty);
    errors.insert(run.error.substr(0, run.error.find(']') + 1));
    if (::testing::Test::HasFailure()) break;  // one broken step is enough to read
  }
  std::ostringstream seen;
  for (const std::string& code : errors) seen << ' ' << code;
  std::printf("  %ld allocations failed in turn; errors seen:%s\n", clean.allocations,
              seen.str().c_str());
  return clean.allocations;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

}  // namespace

TEST(AllocationFailure, EveryAllocationOfTheSampleImportFailsCleanly) {
  const std::string sample = std::string(PCD_SOURCE_DIR) + "/examples/sample.pcd";
  if (!std::ifstream(sample)) GTEST_SKIP() << "no " << sample;
  failEachAllocation(sample, true);
}

// The error path allocates too (the message text, the exception, the
// clean-up): an import that ends in a format error after a built-up node
// graph must fail just as cleanly at every allocation.
TEST(AllocationFailure, EveryAllocationOfAFailingImportFailsCleanly) {
  const std::string sample = std::string(PCD_SOURCE_DIR) + "/examples/sample.pcd";
  std::string bytes = readFile(sample);
  if (bytes.empty()) {
    bytes = "header\nE,REL_SYS,10,2,C3,SYS,C0,\nE,DATABASE,20,1,C2,DB\nR,DB_AT,30,20,10,2,C0,C0,\n";
  }
  if (bytes.back() != '\n') bytes += '\n';
  bytes += "R,TBL_COL,1,2,3,2,C1,N,S1\n";  // "S" where "L" is due
  const PcdFile file = PcdFile::raw(bytes);
  failEachAllocation(file.path(), false);
}
