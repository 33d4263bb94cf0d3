#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "zel_bridge_specification.h"
#include "zel_host_messages.h"
#include "zel_options.h"

namespace {

ZELString fill(const char* text, const char* value0, const char* value1) {
  const ZELParameterizedTextLiteral literal("id", text);
  ZELTextParameters parameters = literal.prapareForParameters();
  if (value0) literal.setParameterValue(parameters, 0, value0);
  if (value1) literal.setParameterValue(parameters, 1, value1);
  return literal.createParametrizedText(parameters);
}

}  // namespace

TEST(ParameterizedTextTest, FillsPlaceholdersInOnePass) {
  EXPECT_EQ(fill("Bad ({0}) got ({1}), ({0})", "17", "TABLE"), "Bad (17) got (TABLE), (17)");
  // An inserted value is not scanned again.
  EXPECT_EQ(fill("{0}|{1}", "{1}", "x"), "{1}|x");
  // Unset placeholders and other brace texts stay as written.
  EXPECT_EQ(fill("{0} {1} {2} {3} {x} {", "a", nullptr), "a {1} {2} {3} {x} {");
  EXPECT_EQ(fill("{0}", "", nullptr), "");  // set to empty is set
  EXPECT_EQ(fill("", "a", "b"), "");
  EXPECT_EQ(fill("{0}{0}", "ab", nullptr), "abab");

  const ZELParameterizedTextLiteral literal("id", "{0}");
  ZELTextParameters parameters = literal.prapareForParameters();
  literal.setParameterValue(parameters, 5, "ignored");
  literal.setParameterValue(parameters, -1, "ignored");
  EXPECT_EQ(literal.createParametrizedText(parameters), "{0}");
}

TEST(MessageLiteralTest, MapsSeverityWords) {
  EXPECT_EQ(ZELMessageLiteral("1", "t", "WARNING").getSeverityLevel(), ZEL_SEVERITY_WARNING);
  EXPECT_EQ(ZELMessageLiteral("1", "t", "STATUS").getSeverityLevel(), ZEL_SEVERITY_STATUS);
  EXPECT_EQ(ZELMessageLiteral("1", "t", "warning").getSeverityLevel(), 0);
  EXPECT_STREQ(severityWordOf(ZEL_SEVERITY_FATAL), "FATAL");
  EXPECT_STREQ(severityWordOf(9), "UNKNOWN");
}

namespace {
class TestCatalog : public ZELTextLiteralsCollection {
 public:
  const ZELString& getDocumentId() const override { return documentId_; }
  ZELParameterizedTextLiteral* const* listAllLiterals() const override { return literals_; }

 private:
  ZELString documentId_ = "TestCatalog";
  ZELParameterizedTextLiteral first_{"FIRST", "one"};
  ZELParameterizedTextLiteral second_{"SECOND", "two"};
  ZELParameterizedTextLiteral* literals_[3] = {&first_, &second_, nullptr};
};
}  // namespace

TEST(TextLiteralsCollectionTest, RegistersFindsAndUnregisters) {
  {
    TestCatalog catalog;
    EXPECT_EQ(ZELTextLiteralsCollection::findCollection("TestCatalog"), nullptr);
    catalog.init();
    catalog.init();
    ASSERT_EQ(ZELTextLiteralsCollection::findCollection("TestCatalog"), &catalog);
    ZELParameterizedTextLiteral* found = ZELTextLiteralsCollection::findLiteral(catalog, "SECOND");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->getText(), "two");
    EXPECT_EQ(ZELTextLiteralsCollection::findLiteral(catalog, "SECON"), nullptr);
  }
  EXPECT_EQ(ZELTextLiteralsCollection::findCollection("TestCatalog"), nullptr);

  // The host's own catalog is registered at load.
  const ZELTextLiteralsCollection* host = ZELTextLiteralsCollection::findCollection("TAVGEN");
  ASSERT_NE(host, nullptr);
  EXPECT_EQ(ZELTextLiteralsCollection::findLiteral(*host, "1"), &TAVGEN::BRIDGE_UNEXPECTED_ERROR);
}

TEST(HostMessagesTest, UnexpectedErrorThrowsAndLogs) {
  const TAVGEN::MessageInstance_String& message = TAVGEN::BRIDGE_UNEXPECTED_ERROR;
  EXPECT_EQ(message.getGlobalCode(), "TAVGEN_F0001");
  try {
    message.throwException("X");
    FAIL() << "no exception";
  } catch (const ZELException& error) {
    EXPECT_STREQ(error.what(), "[TAVGEN_F0001] Unexpected error in bridge X");
  }
  ZELMemoryLog log;
  message.log(log, "Y");
  ASSERT_EQ(log.events().size(), 1u);
  EXPECT_EQ(log.events()[0].getText(), "Unexpected error in bridge Y");
  EXPECT_EQ(log.events()[0].getCode(), "TAVGEN_F0001");
  EXPECT_EQ(log.events()[0].getLevel(), ZEL_SEVERITY_FATAL);
  EXPECT_TRUE(log.events()[0].getExtra().isEmpty());
}

TEST(PrintLogTest, PrintsOneLinePerEventFromTheMinimumLevel) {
  FILE* out = std::tmpfile();
  ASSERT_NE(out, nullptr);
  ZELPrintLog log(out, ZEL_SEVERITY_WARNING);
  log.logEvent(ZELLogEvent("Importing the model...", "TAV_CARDS_S0004", ZEL_SEVERITY_STATUS, ""));
  log.logEvent(ZELLogEvent("Table (X) at multiple locations not supported", "TAV_CARDS_W0011",
                           ZEL_SEVERITY_WARNING, ""));
  std::rewind(out);
  char text[200] = {};
  const size_t read = std::fread(text, 1, sizeof text - 1, out);
  std::fclose(out);
  EXPECT_EQ(std::string(text, read),
            "WARNING TAV_CARDS_W0011 Table (X) at multiple locations not supported\n");
}

TEST(BridgeOptionTest, GeneratesOwnCopiesAndIsFoundByKey) {
  const ZELParameterizedTextLiteral defaultLiteral("BP_FILE_DEFAULT", "input.pcd");
  const ZELBridgeOptionLiteral fileLiteral("BP_FILE", "File", "File shown", "Pick a file", nullptr,
                                           &defaultLiteral);
  const ZELBridgeOptionLiteral noteLiteral("BP_NOTE", "Note", "Note", "", nullptr, nullptr);
  char extension[] = "pcd";
  const char* extensions[] = {extension, nullptr};

  ZELOptionList list;
  list.options.add(noteLiteral.generateOption(false, extensions, "Default", false), true, nullptr);
  list.options.add(fileLiteral.generateOption(true, extensions, "Default", true), true, nullptr);
  std::strcpy(extension, "xyz");  // the option keeps its own copy

  ZELBridgeOption* file = list.find(fileLiteral.getKey());
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->getKey(), "BP_FILE");
  EXPECT_EQ(file->getName(), "File");
  EXPECT_EQ(file->getDisplayName(), "File shown");
  EXPECT_EQ(file->getDescription(), "Pick a file");
  EXPECT_EQ(file->getKind(), ZELBridgeOption::kFile);
  EXPECT_EQ(file->getGroup(), "Default");
  EXPECT_TRUE(file->isRequired());
  EXPECT_EQ(file->getDefaultValue(), "input.pcd");
  ASSERT_NE(file->getFileExtensions()[0], nullptr);
  EXPECT_STREQ(file->getFileExtensions()[0], "pcd");
  EXPECT_EQ(file->getFileExtensions()[1], nullptr);
  EXPECT_STREQ(file->getValue(), "");
  file->setValue("/tmp/caf\xC3\xA9.pcd");
  EXPECT_STREQ(list.find("BP_FILE")->getValue(), "/tmp/caf\xC3\xA9.pcd");

  ZELBridgeOption* note = list.find("BP_NOTE");
  ASSERT_NE(note, nullptr);
  EXPECT_EQ(note->getKind(), ZELBridgeOption::kText);
  EXPECT_EQ(note->getFileExtensions()[0], nullptr);
  EXPECT_EQ(note->getDefaultValue(), "");
  EXPECT_EQ(list.find("BP_FIL"), nullptr);
  // A second option of the same key is refused unless duplicates are allowed.
  ZELBridgeOption* again = fileLiteral.generateOption(true, extensions, "Default", true);
  EXPECT_FALSE(list.options.add(again, false, nullptr));
  delete again;

  list.removeAll();  // deletes the options (the sanitizer sees any leak)
  EXPECT_EQ(list.options.count(), 0);
  EXPECT_EQ(list.find("BP_FILE"), nullptr);
}

TEST(BridgeSpecificationTest, KnowsOneBridgeAndCopiesFields) {
  const ZELBridgeSpecificationLiteral* known = getBridgeSpecification("CaRepositoryDsOdbcImport");
  ASSERT_EQ(known, &TAVSPECS::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT);
  EXPECT_EQ(known->getInternalCode_DescriptionLiteralId(), "CaRepositoryDsOdbcImportDescription");
  EXPECT_EQ(known->getVendor_Name(), "CA");
  EXPECT_EQ(known->getTool_Versions(), "PCD extract");
  EXPECT_EQ(getBridgeSpecification("caRepositoryDsOdbcImport"), nullptr);
  EXPECT_EQ(getBridgeSpecification(""), nullptr);

  char first[] = "one", second[] = "two";
  char* extras[] = {first, second, nullptr};
  ZELBridgeSpecification specification;
  EXPECT_FALSE(specification.isInitialized());
  specification.initialize("web", "vendor", "tool", "1.0", "Relational", extras, "5.2.0",
                           "description", false, true);
  first[0] = 'X';
  EXPECT_TRUE(specification.isInitialized());
  ASSERT_EQ(specification.getExtraTextCount(), 2);
  EXPECT_EQ(specification.getExtraText(0), "one");
  EXPECT_EQ(specification.getBridgeVersion(), "5.2.0");
  EXPECT_TRUE(specification.isDeprecated());
  EXPECT_FALSE(specification.isReadOnly());
}
