// The message catalog: codes, texts, logging, exceptions and look-up.
#include <gtest/gtest.h>

#include <string>

#include "bridge/messages/tav_cards.h"

namespace {

using T = TAV_CARDS;

template <class Action>
std::string thrownText(Action action) {
  try {
    action();
  } catch (const ZELException& e) {
    return e.getText().c_str();
  }
  return "nothing thrown";
}

TEST(Catalog, MessagesHaveTheirCodesAndTexts) {
  struct Row {
    const ZELMessageLiteral* message;
    const char* code;
    const char* text;
  };
  const Row rows[] = {
      {&T::CAREPOSITORY_I_INPUT_MODEL_PARAMETER_IS_NULL, "TAV_CARDS_F0001",
       "Input model parameter is null"},
      {&T::CAREPOSITORY_I_UNABLE_TO_OPEN_INPUT_FILE, "TAV_CARDS_F0002",
       "Unable to open '{0}'. The error is: {1}"},
      {&T::CAREPOSITORY_I_POST_PROCESSING, "TAV_CARDS_S0003",
       "Post processing the imported model..."},
      {&T::CAREPOSITORY_I_IMPORTING_MODEL, "TAV_CARDS_S0004", "Importing the model..."},
      {&T::CAREPOSITORY_I_UNABLE_TO_DETECT_TARGET_DATABASE, "TAV_CARDS_W0007",
       "Unable to detect target database : Trying to import domains and datatypes using {0}"},
      {&T::CAREPOSITORY_I_PCD_ERROR, "TAV_CARDS_F0008", "Error in input PCD file, line ({0})"},
      {&T::CAREPOSITORY_I_MISSING_OBJECT, "TAV_CARDS_F0009", "Missing Object ({0})"},
      {&T::CAREPOSITORY_I_BAD_OBJECT_TYPE, "TAV_CARDS_F0010",
       "Bad Object Type for ({0}) (got ({1}), expected ({2}))"},
      {&T::CAREPOSITORY_I_MULTIPLE_TABLE_LOCATIONS, "TAV_CARDS_W0011",
       "Table ({0}) at multiple locations not supported"},
      {&T::CAREPOSITORY_I_MULTIPLE_PROCEDURE_LOCATIONS, "TAV_CARDS_W0012",
       "Procedure ({0}) at multiple locations not supported"},
      {&T::CAREPOSITORY_I_FK_MISMATCH, "TAV_CARDS_W0013",
       "Foreign key ({0}) number of attributes does not match primary key; omitting Foreign Key"},
      {&T::CAREPOSITORY_I_UNEXPECTED_KEY_TYPE, "TAV_CARDS_W0014",
       "Unexpected type for key ({0}); skipping"},
  };
  for (const Row& row : rows) {
    EXPECT_STREQ(row.message->getGlobalCode().c_str(), row.code);
    EXPECT_STREQ(row.message->getText().c_str(), row.text);
    EXPECT_EQ(row.message->getSeverityLevel(), severityLevelOf(row.message->getSeverity()));
  }
  EXPECT_EQ(T::CAREPOSITORY_I_PCD_ERROR.getSeverityLevel(), ZEL_SEVERITY_FATAL);
  EXPECT_EQ(T::CAREPOSITORY_I_FK_MISMATCH.getSeverityLevel(), ZEL_SEVERITY_WARNING);
  EXPECT_EQ(T::CAREPOSITORY_I_POST_PROCESSING.getSeverityLevel(), ZEL_SEVERITY_STATUS);
}

TEST(Catalog, LogEventsCarryThePlainTextExceptionsTheBracketedCode) {
  EXPECT_STREQ(T::CAREPOSITORY_I_PCD_ERROR.getMessage("12").c_str(),
               "[TAV_CARDS_F0008] Error in input PCD file, line (12)");
  EXPECT_STREQ(T::CAREPOSITORY_I_BAD_OBJECT_TYPE.getMessage("17", "TABLE", "VIEW").c_str(),
               "[TAV_CARDS_F0010] Bad Object Type for (17) (got (TABLE), expected (VIEW))");

  ZELMemoryLog log;
  T::CAREPOSITORY_I_MULTIPLE_TABLE_LOCATIONS.log(log, "ORDERS");
  T::CAREPOSITORY_I_POST_PROCESSING.log(log);
  T::CAREPOSITORY_I_UNABLE_TO_OPEN_INPUT_FILE.log(log, "f", "e");
  T::CAREPOSITORY_I_BAD_OBJECT_TYPE.log(log, "1", "2", "3");
  ASSERT_EQ(log.events().size(), 4u);
  const ZELLogEvent& event = log.events()[0];
  EXPECT_STREQ(event.getText().c_str(), "Table (ORDERS) at multiple locations not supported");
  EXPECT_STREQ(event.getCode().c_str(), "TAV_CARDS_W0011");
  EXPECT_EQ(event.getLevel(), ZEL_SEVERITY_WARNING);
  EXPECT_TRUE(event.getExtra().isEmpty());
  EXPECT_STREQ(log.events()[1].getText().c_str(), "Post processing the imported model...");
  EXPECT_STREQ(log.events()[2].getText().c_str(), "Unable to open 'f'. The error is: e");
  EXPECT_STREQ(log.events()[3].getText().c_str(),
               "Bad Object Type for (1) (got (2), expected (3))");

  EXPECT_EQ(thrownText([] { T::CAREPOSITORY_I_INPUT_MODEL_PARAMETER_IS_NULL.throwException(); }),
            "[TAV_CARDS_F0001] Input model parameter is null");
  EXPECT_EQ(thrownText([] { T::CAREPOSITORY_I_MISSING_OBJECT.throwException("42"); }),
            "[TAV_CARDS_F0009] Missing Object (42)");
  EXPECT_EQ(
      thrownText([] { T::CAREPOSITORY_I_UNABLE_TO_OPEN_INPUT_FILE.throwException("f", "{0}"); }),
      "[TAV_CARDS_F0002] Unable to open 'f'. The error is: {0}");
  EXPECT_EQ(thrownText([] { T::CAREPOSITORY_I_BAD_OBJECT_TYPE.throwException("1", "2", "3"); }),
            "[TAV_CARDS_F0010] Bad Object Type for (1) (got (2), expected (3))");
}

TEST(Catalog, LiteralListAndExactLookUp) {
  const char* ids[] = {"CaRepositoryDsOdbcImportDescription",
                       "BP_FILE_DEFAULT",
                       "BP_FILE",
                       "1",
                       "2",
                       "3",
                       "4",
                       "7",
                       "8",
                       "9",
                       "10",
                       "11",
                       "12",
                       "13",
                       "14"};
  ZELParameterizedTextLiteral* const* list = T::getAllLiterals();
  for (int i = 0; i < 15; ++i) {
    ASSERT_NE(list[i], nullptr) << i;
    EXPECT_STREQ(list[i]->getId().c_str(), ids[i]);
    EXPECT_EQ(T::findTextLiteral(ids[i]), list[i]);
  }
  EXPECT_EQ(list[15], nullptr);
  EXPECT_EQ(list[0], &T::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT_DESCRIPTION);
  EXPECT_EQ(list[1], &T::BP_FILE_DEFAULT);
  for (const char* id : {"BP_FILE_DEFAULTS", "BP_FILE_", "BP_FIL", "bp_file", "Bp_File_Default",
                         "CaRepositoryDsOdbcImportDescriptionX", "", "5", "08"}) {
    EXPECT_EQ(T::findTextLiteral(id), nullptr) << id;
  }
  EXPECT_TRUE(T::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT_DESCRIPTION.toString().isEmpty());
  EXPECT_TRUE(T::BP_FILE_DEFAULT.toString().isEmpty());

  // Registered with the host under its document id.
  const ZELTextLiteralsCollection* catalog =
      ZELTextLiteralsCollection::findCollection("ZELCaRepositoryDsOdbcImport");
  ASSERT_NE(catalog, nullptr);
  EXPECT_EQ(catalog->listAllLiterals(), T::textLiterals);
  EXPECT_EQ(ZELTextLiteralsCollection::findLiteral(*catalog, "8"), &T::CAREPOSITORY_I_PCD_ERROR);
}

TEST(Catalog, FileOptionTexts) {
  const std::string description =
      "Use Advantage Repository Population Center Repository Extract with\n"
      "     the odbc.pcc Control file.\n"
      "     \n"
      "     ";
  const ZELString& text = T::BP_FILE.getDescription();
  EXPECT_EQ(std::string(text.c_str(), text.length()), description);
  EXPECT_STREQ(T::BP_FILE.getKey(), "BP_FILE");
  EXPECT_STREQ(T::BP_FILE.getName().c_str(), "File");
  EXPECT_STREQ(T::BP_FILE.getDisplayName().c_str(), "File");
  EXPECT_EQ(T::BP_FILE.getEnumerationLiteral(), nullptr);
  EXPECT_EQ(T::BP_FILE.getDefaultLiteral(), &T::BP_FILE_DEFAULT);
}

}  // namespace
