// The message catalog: codes, logging, exceptions and look-up. The message
// texts are checked where the bridge uses them, by the run's, the builder's
// and the program's tests.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "bridge/messages/tav_cards.h"
#include "pcd/reader_harness.h"

namespace {

using T = TAV_CARDS;

// The codes that neither the sample's log nor an error text shows.
TEST(Catalog, GlobalCodesAndSeverities) {
  const std::pair<const ZELMessageLiteral*, const char*> rows[] = {
      {&T::CAREPOSITORY_I_UNABLE_TO_DETECT_TARGET_DATABASE, "TAV_CARDS_W0007"},
      {&T::CAREPOSITORY_I_MULTIPLE_PROCEDURE_LOCATIONS, "TAV_CARDS_W0012"},
      {&T::CAREPOSITORY_I_FK_MISMATCH, "TAV_CARDS_W0013"},
      {&T::CAREPOSITORY_I_UNEXPECTED_KEY_TYPE, "TAV_CARDS_W0014"},
  };
  for (const auto& [message, code] : rows) {
    EXPECT_STREQ(message->getGlobalCode().c_str(), code);
    EXPECT_EQ(message->getSeverityLevel(), ZEL_SEVERITY_WARNING) << code;
  }
}

// A logged event's text, code and level are in the sample's log.
TEST(Catalog, ExceptionsCarryTheBracketedCode) {
  EXPECT_STREQ(T::CAREPOSITORY_I_PCD_ERROR.getMessage("12").c_str(),
               "[TAV_CARDS_F0008] Error in input PCD file, line (12)");
  EXPECT_STREQ(T::CAREPOSITORY_I_BAD_OBJECT_TYPE.getMessage("17", "TABLE", "VIEW").c_str(),
               "[TAV_CARDS_F0010] Bad Object Type for (17) (got (TABLE), expected (VIEW))");

  EXPECT_EQ(errorOf([] { T::CAREPOSITORY_I_INPUT_MODEL_PARAMETER_IS_NULL.throwException(); }),
            "[TAV_CARDS_F0001] Input model parameter is null");
}

TEST(Catalog, LiteralListAndExactLookUp) {
  ZELParameterizedTextLiteral* const* list = T::getAllLiterals();
  int count = 0;
  for (; list[count] != nullptr; ++count) {
    EXPECT_EQ(T::findTextLiteral(list[count]->getId()), list[count]) << count;
  }
  EXPECT_EQ(count, 15);
  EXPECT_EQ(T::findTextLiteral("8"), &T::CAREPOSITORY_I_PCD_ERROR);
  for (const char* id : {"BP_FILE_DEFAULTS", "BP_FIL", "bp_file", "", "5", "08"}) {
    EXPECT_EQ(T::findTextLiteral(id), nullptr) << id;
  }
  // Registered with the host under its document id.
  const ZELTextLiteralsCollection* catalog =
      ZELTextLiteralsCollection::findCollection("ZELCaRepositoryDsOdbcImport");
  ASSERT_NE(catalog, nullptr);
  EXPECT_EQ(ZELTextLiteralsCollection::findLiteral(*catalog, "8"), &T::CAREPOSITORY_I_PCD_ERROR);
}

}  // namespace
