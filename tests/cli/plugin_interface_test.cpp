// The plug-in as the host sees it: loaded with dlopen, reached only through
// its exported entry function and the interface object.
#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "model/zel_model.h"
#include "zel_bridge_interface.h"
#include "zel_bridge_specification.h"
#include "zel_exception.h"
#include "zel_fault_injection.h"
#include "zel_log.h"
#include "zel_options.h"
#include "zel_type_helpers.h"

#include "cli/program_runner.h"

namespace {

const char* const kEntryName = "getZELCaRepositoryDsOdbcImportInterface";
const char* const kBridgeId = "CaRepositoryDsOdbcImport";

void* pluginHandle() {
  static void* handle = [] {
    const std::string path = std::string(PCD_BIN_DIR) + "/libZELCaRepositoryDsOdbcImport.so";
    void* opened = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (opened == nullptr) ADD_FAILURE() << dlerror();
    return opened;
  }();
  return handle;
}

ZELModelBridgeImportEntry entry() {
  void* handle = pluginHandle();
  if (handle == nullptr) return nullptr;
  return reinterpret_cast<ZELModelBridgeImportEntry>(dlsym(handle, kEntryName));
}

ZELModelBridgeImportDllInterface& bridge() {
  ZELModelBridgeImportEntry function = entry();
  if (function == nullptr) throw std::runtime_error("the plug-in entry is missing");
  return *function();
}

// Gives a model something of each kind that the import's failure must clear.
void fill(ZELModel& model) {
  model.addChildPackage(new ZELDatabaseCatalog());
  model.addChildPackage(new ZELDesignPackage());
  model.addType(createBaseType("string"));
}

bool isEmpty(const ZELModel& model) {
  return model.getChildPackageCount() == 0 && model.types().count() == 0 &&
         model.metadataOrigins().count() == 0;
}

// Runs the bridge on `file` into `model` and returns the text of the host
// exception it throws ("" when it succeeds).
std::string runAndCatch(const std::string& file, ZELModel& model) {
  ZELOptionList options;
  bridge().getOptionList(options);
  options.find("BP_FILE")->setValue(file.c_str());
  ZELMemoryLog log;
  try {
    EXPECT_TRUE(bridge().run(kBridgeId, model, options, log));
    return "";
  } catch (const ZELException& failure) {
    return failure.getText().c_str();
  }
}

TEST(PluginInterface, ExportsOnlyItsEntryWhichAlwaysReturnsTheSameObject) {
  ZELModelBridgeImportEntry function = entry();
  ASSERT_NE(function, nullptr) << kEntryName << " is not exported";
  ZELModelBridgeImportDllInterface* first = function();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(function(), first);
  EXPECT_EQ(first->getMappingSpecificationXmlFile(), "ZELCaRepositoryDsOdbcImport");
  // The bridge's own classes stay inside the library.
  EXPECT_EQ(dlsym(pluginHandle(), "_ZN9TAV_CARDS15findTextLiteralERK9ZELString"), nullptr);
  EXPECT_EQ(
      dlsym(pluginHandle(),
            "_ZN33ZELCaRepositoryDsOdbcImportBridge3runEP8ZELModelP13ZELOptionListRK9ZELString"),
      nullptr);
}

TEST(PluginInterface, OptionListIsReplacedByTheOneFileOption) {
  ZELOptionList options;
  static const char* const noExtensions[] = {nullptr};
  for (const char* key : {"OTHER", "BP_FILE"}) {
    options.options.add(new ZELBridgeOption(key, key, key, "", ZELBridgeOption::kText, noExtensions,
                                            "Old", false, ""),
                        true, nullptr);
  }
  bridge().getOptionList(options);
  ASSERT_EQ(options.options.count(), 1);
  const ZELBridgeOption* file = options.options.option(0);
  EXPECT_STREQ(file->getKey().c_str(), "BP_FILE");
  EXPECT_EQ(file->getKind(), ZELBridgeOption::kFile);
  EXPECT_EQ(file->getGroup(), "Default");
  EXPECT_TRUE(file->isRequired());
  ASSERT_NE(file->getFileExtensions(), nullptr);
  EXPECT_STREQ(file->getFileExtensions()[0], "pcd");
  EXPECT_EQ(file->getFileExtensions()[1], nullptr);
  EXPECT_STREQ(file->getValue(), "");
}

TEST(PluginInterface, SpecificationComesFromTheHostLiteralForKnownAndUnknownIds) {
  const ZELBridgeSpecificationLiteral& literal = TAVSPECS::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT;
  for (const char* id : {kBridgeId, "NoSuchBridge"}) {
    SCOPED_TRACE(id);
    ZELBridgeSpecification specification;
    bridge().getSpecification(id, specification);
    EXPECT_TRUE(specification.isInitialized());
    EXPECT_EQ(specification.getToolWeb(), literal.getTool_Web());
    EXPECT_EQ(specification.getVendorName(), literal.getVendor_Name());
    EXPECT_EQ(specification.getToolName(), literal.getTool_Name());
    EXPECT_EQ(specification.getToolVersions(), literal.getTool_Versions());
    EXPECT_EQ(specification.getMethodologySummary(), literal.getMethodology_Summary());
    EXPECT_EQ(specification.getExtraTextCount(), 0);
    EXPECT_EQ(specification.getBridgeVersion(), "5.2.0 - Jun 12 2007 10:46:21");
    // The catalog holds the description literal, with an empty text.
    EXPECT_EQ(specification.getDescription(), "");
    EXPECT_FALSE(specification.isReadOnly());
    EXPECT_FALSE(specification.isDeprecated());
  }
}

TEST(PluginInterface, FailedImportEmptiesTheModelAndPassesTheHostExceptionOn) {
  TemporaryFolder folder;
  const std::string file = folder.file("broken.pcd");
  writeFile(file,
            "broken extract\n"
            "E,SCHEMA,1,1,C4,SHOP\n"
            "E,SCHEMA,2,2,C4,SHOP\n");
  ZELModel model;
  fill(model);
  EXPECT_EQ(runAndCatch(file, model), "[TAV_CARDS_F0008] Error in input PCD file, line (3)");
  EXPECT_TRUE(isEmpty(model));

  fill(model);
  EXPECT_EQ(runAndCatch(folder.file("missing.pcd"), model),
            "[TAV_CARDS_F0002] Unable to open '" + folder.file("missing.pcd") +
                "'. The error is: No such file or directory");
  EXPECT_TRUE(isEmpty(model));
}

TEST(PluginInterface, AnyOtherFailureBecomesTheUnexpectedErrorAtEveryPoint) {
  const std::string sample = std::string(PCD_SOURCE_DIR) + "/examples/sample.pcd";
  // Fail the 1st, 2nd, ... host operation that has a fault point (line
  // reading, package and object linking, base type creation) until the
  // import gets through untouched.
  bool completed = false;
  long failures = 0;
  for (long countdown = 1; !completed && countdown < 100000; ++countdown) {
    ZELModel model;
    fill(model);
    zel_testing::armFault(countdown);
    const std::string failure = runAndCatch(sample, model);
    zel_testing::armFault(0);
    if (failure.empty()) {
      completed = true;
      EXPECT_GT(model.getChildPackageCount(), 0);
      EXPECT_EQ(model.metadataOrigins().count(), 1);
    } else {
      ++failures;
      ASSERT_EQ(failure, "[TAVGEN_F0001] Unexpected error in bridge ZELCaRepositoryDsOdbcImport")
          << "at fault point " << countdown;
      ASSERT_TRUE(isEmpty(model)) << "at fault point " << countdown;
    }
  }
  EXPECT_TRUE(completed);
  // At least one per line of the file plus the objects built from it.
  EXPECT_GT(failures, 100);
}

}  // namespace
