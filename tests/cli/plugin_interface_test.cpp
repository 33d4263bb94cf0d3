// The plug-in as the host sees it: loaded with dlopen, reached only through
// its exported entry function and the interface object.
#include <dlfcn.h>

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

// The interface object, through the exported entry (null when missing).
ZELModelBridgeImportDllInterface* bridge() {
  void* entry = pluginHandle() ? dlsym(pluginHandle(), kEntryName) : nullptr;
  return entry ? reinterpret_cast<ZELModelBridgeImportEntry>(entry)() : nullptr;
}

TEST(PluginInterface, ExportsOnlyItsEntryWhichAlwaysReturnsTheSameObject) {
  ZELModelBridgeImportDllInterface* first = bridge();
  ASSERT_NE(first, nullptr) << kEntryName << " is not exported or returns nothing";
  EXPECT_EQ(bridge(), first);
  EXPECT_EQ(first->getMappingSpecificationXmlFile(), "ZELCaRepositoryDsOdbcImport");
  // The bridge's own classes stay inside the library.
  EXPECT_EQ(dlsym(pluginHandle(), "_ZN9TAV_CARDS15findTextLiteralERK9ZELString"), nullptr);
  EXPECT_EQ(
      dlsym(pluginHandle(),
            "_ZN33ZELCaRepositoryDsOdbcImportBridge3runEP8ZELModelP13ZELOptionListRK9ZELString"),
      nullptr);
}

TEST(PluginInterface, OptionListIsReplacedByTheOneFileOption) {
  ASSERT_NE(bridge(), nullptr);
  ZELOptionList options;
  static const char* const noExtensions[] = {nullptr};
  options.options.add(new ZELBridgeOption("OTHER", "OTHER", "OTHER", "", ZELBridgeOption::kText,
                                          noExtensions, "Old", false, ""),
                      true, nullptr);
  bridge()->getOptionList(options);
  ASSERT_EQ(options.options.count(), 1);
  const ZELBridgeOption* file = options.options.option(0);
  EXPECT_STREQ(file->getKey().c_str(), "BP_FILE");
  EXPECT_EQ(file->getKind(), ZELBridgeOption::kFile);
  EXPECT_EQ(file->getGroup(), "Default");
  EXPECT_TRUE(file->isRequired());
  EXPECT_STREQ(file->getFileExtensions()[0], "pcd");
  EXPECT_EQ(file->getFileExtensions()[1], nullptr);
}

// The bridge version is checked by the program's tests (--version).
TEST(PluginInterface, SpecificationComesFromTheHostLiteralForKnownAndUnknownIds) {
  ASSERT_NE(bridge(), nullptr);
  for (const char* id : {kBridgeId, "NoSuchBridge"}) {
    SCOPED_TRACE(id);
    ZELBridgeSpecification specification;
    bridge()->getSpecification(id, specification);
    EXPECT_EQ(specification.getVendorName(),
              TAVSPECS::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT.getVendor_Name());
    // The catalog holds the description literal, with an empty text.
    EXPECT_EQ(specification.getDescription(), "");
    EXPECT_FALSE(specification.isReadOnly() || specification.isDeprecated());
  }
}

// Fails the 1st, 2nd, ... host operation that has a fault point (line
// reading, package and object linking, base type creation) until the import
// gets through untouched. Every failure must reach the host as the unexpected
// error, with the model emptied of what it held and what the import built.
TEST(PluginInterface, AnyOtherFailureBecomesTheUnexpectedErrorAtEveryPoint) {
  ASSERT_NE(bridge(), nullptr);
  const std::string sample = std::string(PCD_SOURCE_DIR) + "/examples/sample.pcd";
  long failures = 0;
  bool completed = false;
  for (long countdown = 1; !completed && countdown < 100000; ++countdown) {
    ZELModel model;
    model.addChildPackage(new ZELDatabaseCatalog());
    model.addChildPackage(new ZELDesignPackage());
    model.addType(createBaseType("string"));
    ZELOptionList options;
    bridge()->getOptionList(options);
    options.find("BP_FILE")->setValue(sample.c_str());
    ZELMemoryLog log;
    zel_testing::armFault(countdown);
    try {
      EXPECT_TRUE(bridge()->run(kBridgeId, model, options, log));
      zel_testing::armFault(0);
      EXPECT_EQ(model.metadataOrigins().count(), 1);
      completed = true;
    } catch (const ZELException& failure) {
      zel_testing::armFault(0);
      ++failures;
      ASSERT_STREQ(failure.getText().c_str(),
                   "[TAVGEN_F0001] Unexpected error in bridge ZELCaRepositoryDsOdbcImport")
          << "at fault point " << countdown;
      ASSERT_TRUE(model.getChildPackageCount() == 0 && model.types().count() == 0 &&
                  model.metadataOrigins().count() == 0)
          << "at fault point " << countdown;
    }
  }
  EXPECT_TRUE(completed);
  EXPECT_GT(failures, 100);  // at least one per line of the file and per object built
}

}  // namespace
