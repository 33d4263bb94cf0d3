// Every allocation of a whole import, made to fail in turn: the run through
// the plug-in's interface object must end in success or in a catalogued
// error, leave an empty model after a failure, and leak nothing.
#include <gtest/gtest.h>

#include <fstream>
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

// The bridge's fatal messages, and the host's own for any other failure.
bool isCatalogued(const std::string& text) {
  return isCataloguedError(text) ||
         text == "[TAVGEN_F0001] Unexpected error in bridge ZELCaRepositoryDsOdbcImport";
}

struct RunOutcome {
  bool returned = false;
  std::string error;  // of a ZELException; "?" for any other exception
  bool modelEmpty = false;
  long allocations = 0;  // made by the run while armed
  long leakedBlocks = 0;
};

// One import of `path` through the interface object, with allocation `failAt`
// (alloc_hook::kNever: none) made to fail.
RunOutcome runImport(const std::string& path, long failAt) {
  RunOutcome outcome;
  outcome.error.reserve(4096);  // so that taking the error text does not allocate
  alloc_hook::Counters& hook = alloc_hook::counters;
  const long liveBefore = hook.live;
  {
    ZELModelBridgeImportDllInterface& bridge = *getZELCaRepositoryDsOdbcImportInterface();
    ZELModel model;
    ZELMemoryLog log;
    ZELOptionList options;
    bridge.getOptionList(options);
    options.options.option(0)->setValue(path.c_str());
    const ZELString bridgeId("CaRepositoryDsOdbcImport");  // the caller's, made before arming

    hook.failAt = failAt;
    hook.counted = 0;
    hook.counting = true;
    try {
      outcome.returned = bridge.run(bridgeId, model, options, log);
    } catch (const ZELException& e) {
      outcome.error.assign(e.getText().c_str());
    } catch (...) {
      outcome.error.assign("?");
    }
    hook.counting = false;
    outcome.allocations = hook.counted;
    outcome.modelEmpty = model.getChildPackageCount() == 0 && model.types().count() == 0 &&
                         model.metadataOrigins().count() == 0;
  }
  outcome.leakedBlocks = hook.live - liveBefore;
  return outcome;
}

// Fails allocation 1, 2, ... up to the number a whole import of `bytes`
// makes, and checks every run.
void failEachAllocation(const std::string& bytes, bool expectSuccess) {
  const PcdFile file = PcdFile::raw(bytes);
  // A first run warms up whatever the process builds once (static tables).
  runImport(file.path(), alloc_hook::kNever);
  const RunOutcome clean = runImport(file.path(), alloc_hook::kNever);
  EXPECT_EQ(clean.returned, expectSuccess) << clean.error;
  EXPECT_EQ(clean.leakedBlocks, 0);
  ASSERT_GT(clean.allocations, 0);

  for (long n = 1; n <= clean.allocations; ++n) {
    const RunOutcome run = runImport(file.path(), n);
    SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(clean.allocations));
    EXPECT_EQ(run.leakedBlocks, 0);
    if (!run.returned) {  // else the failed allocation was handled inside
      EXPECT_TRUE(isCatalogued(run.error)) << run.error;
      EXPECT_TRUE(run.modelEmpty);
    }
    if (::testing::Test::HasFailure()) break;  // one broken step is enough to read
  }
  std::printf("  %ld allocations failed in turn\n", clean.allocations);
}

}  // namespace

// The error path allocates too (the message text, the exception, the
// clean-up): an import that ends in a format error after a built-up node
// graph must fail just as cleanly at every allocation.
TEST(AllocationFailure, EveryAllocationOfAnImportFailsCleanly) {
  std::ifstream in(std::string(PCD_SOURCE_DIR) + "/examples/sample.pcd", std::ios::binary);
  std::ostringstream sample;
  sample << in.rdbuf();
  ASSERT_FALSE(sample.str().empty()) << "examples/sample.pcd is missing or empty";
  failEachAllocation(sample.str(), true);
  failEachAllocation(sample.str() + "R,TBL_COL,1,2,3,2,C1,N,S1\n",
                     false);  // "S" where "L" is due
}
