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

TEST(Catalog, GlobalCodesAndSeverities) {
  const std::pair<const ZELMessageLiteral*, const char*> rows[] = {
      {&T::CAREPOSITORY_I_INPUT_MODEL_PARAMETER_IS_NULL, "TAV_CARDS_F0001"},
      {&T::CAREPOSITORY_I_UNABLE_TO_OPEN_INPUT_FILE, "TAV_CARDS_F0002"},
      {&T::CAREPOSITORY_I_POST_PROCESSING, "TAV_CARDS_S0003"},
      {&T::CAREPOSITORY_I_IMPORTING_MODEL, "TAV_CARDS_S0004"},
      {&T::CAREPOSITORY_I_UNABLE_TO_DETECT_TARGET_DATABASE, "TAV_CARDS_W0007"},
      {&T::CAREPOSITORY_I_PCD_ERROR, "TAV_CARDS_F0008"},
      {&T::CAREPOSITORY_I_MISSING_OBJECT, "TAV_CARDS_F0009"},
      {&T::CAREPOSITORY_I_BAD_OBJECT_TYPE, "TAV_CARDS_F0010"},
      {&T::CAREPOSITORY_I_MULTIPLE_TABLE_LOCATIONS, "TAV_CARDS_W0011"},
      {&T::CAREPOSITORY_I_MULTIPLE_PROCEDURE_LOCATIONS, "TAV_CARDS_W0012"},
      {&T::CAREPOSITORY_I_FK_MISMATCH, "TAV_CARDS_W0013"},
      {&T::CAREPOSITORY_I_UNEXPECTED_KEY_TYPE, "TAV_CARDS_W0014"},
  };
  for (const auto& [message, code] : rows) {
    EXPECT_STREQ(message->getGlobalCode().c_str(), code);
    const char letter = code[10];  // the severity's first letter
    EXPECT_EQ(message->getSeverityLevel(), letter == 'F'   ? ZEL_SEVERITY_FATAL
                                           : letter == 'W' ? ZEL_SEVERITY_WARNING
                                                           : ZEL_SEVERITY_STATUS)
        << code;
  }
}

TEST(Catalog, LogEventsCarryThePlainTextExceptionsTheBracketedCode) {
  EXPECT_STREQ(T::CAREPOSITORY_I_PCD_ERROR.getMessage("12").c_str(),
               "[TAV_CARDS_F0008] Error in input PCD file, line (12)");
  EXPECT_STREQ(T::CAREPOSITORY_I_BAD_OBJECT_TYPE.getMessage("17", "TABLE", "VIEW").c_str(),
               "[TAV_CARDS_F0010] Bad Object Type for (17) (got (TABLE), expected (VIEW))");

  ZELMemoryLog log;
  T::CAREPOSITORY_I_MULTIPLE_TABLE_LOCATIONS.log(log, "ORDERS");
  ASSERT_EQ(log.events().size(), 1u);
  const ZELLogEvent& event = log.events()[0];
  EXPECT_STREQ(event.getText().c_str(), "Table (ORDERS) at multiple locations not supported");
  EXPECT_STREQ(event.getCode().c_str(), "TAV_CARDS_W0011");
  EXPECT_EQ(event.getLevel(), ZEL_SEVERITY_WARNING);
  EXPECT_TRUE(event.getExtra().isEmpty());

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

TEST(Catalog, FileOptionTexts) {
  const ZELString& text = T::BP_FILE.getDescription();
  EXPECT_EQ(std::string(text.c_str(), text.length()),
            "Use Advantage Repository Population Center Repository Extract with\n"
            "     the odbc.pcc Control file.\n"
            "     \n"
            "     ");
  EXPECT_STREQ(T::BP_FILE.getName().c_str(), "File");
  EXPECT_STREQ(T::BP_FILE.getDisplayName().c_str(), "File");
  EXPECT_EQ(T::BP_FILE.getDefaultLiteral(), &T::BP_FILE_DEFAULT);
  EXPECT_TRUE(T::BP_FILE_DEFAULT.toString().isEmpty());
}

}  // namespace
