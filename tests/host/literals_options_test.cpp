#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "zel_bridge_specification.h"
#include "zel_host_messages.h"
#include "zel_options.h"

namespace {

// Fills `text`'s placeholders 0 and 1 (when given) and two that do not exist.
ZELString fill(const char* text, const char* value0, const char* value1) {
  const ZELParameterizedTextLiteral literal("id", text);
  ZELTextParameters parameters = literal.prapareForParameters();
  if (value0) literal.setParameterValue(parameters, 0, value0);
  if (value1) literal.setParameterValue(parameters, 1, value1);
  literal.setParameterValue(parameters, 5, "ignored");
  literal.setParameterValue(parameters, -1, "ignored");
  return literal.createParametrizedText(parameters);
}

// A catalog of two literals.
struct TestCatalog : ZELTextLiteralsCollection {
  const ZELString& getDocumentId() const override { return documentId; }
  ZELParameterizedTextLiteral* const* listAllLiterals() const override { return literals; }
  ZELString documentId = "TestCatalog";
  ZELParameterizedTextLiteral first{"FIRST", "one"}, second{"SECOND", "two"};
  ZELParameterizedTextLiteral* literals[3] = {&first, &second, nullptr};
};

}  // namespace

TEST(TextLiteralsTest, PlaceholdersAreFilledInOnePass) {
  EXPECT_EQ(fill("Bad ({0}) got ({1}), ({0})", "17", "TABLE"), "Bad (17) got (TABLE), (17)");
  EXPECT_EQ(fill("{0}|{1}", "{1}", "x"), "{1}|x");  // an inserted value is not scanned again
  // Unset placeholders and other brace texts stay as written.
  EXPECT_EQ(fill("{0} {1} {2} {5} {x} {", "a", nullptr), "a {1} {2} {5} {x} {");
  EXPECT_EQ(fill("{0}", "", nullptr), "");  // set to empty is set

  EXPECT_EQ(ZELMessageLiteral("1", "t", "WARNING").getSeverityLevel(), ZEL_SEVERITY_WARNING);
  EXPECT_EQ(ZELMessageLiteral("1", "t", "warning").getSeverityLevel(), 0);
  EXPECT_STREQ(severityWordOf(9), "UNKNOWN");
}

TEST(TextLiteralsTest, CollectionsRegisterAndFindExactly) {
  {
    TestCatalog catalog;
    EXPECT_EQ(ZELTextLiteralsCollection::findCollection("TestCatalog"), nullptr);
    catalog.init();
    catalog.init();
    ASSERT_EQ(ZELTextLiteralsCollection::findCollection("TestCatalog"), &catalog);
    EXPECT_EQ(ZELTextLiteralsCollection::findLiteral(catalog, "SECOND"), &catalog.second);
    EXPECT_EQ(ZELTextLiteralsCollection::findLiteral(catalog, "SECON"), nullptr);
  }
  EXPECT_EQ(ZELTextLiteralsCollection::findCollection("TestCatalog"), nullptr);

  // The host's own catalog is registered at load (its message's text is
  // checked through the plug-in's interface).
  const ZELTextLiteralsCollection* host = ZELTextLiteralsCollection::findCollection("TAVGEN");
  ASSERT_NE(host, nullptr);
  EXPECT_EQ(ZELTextLiteralsCollection::findLiteral(*host, "1"), &TAVGEN::BRIDGE_UNEXPECTED_ERROR);
}

TEST(BridgeOptionTest, GeneratesOwnCopiesAndIsFoundByKey) {
  const ZELParameterizedTextLiteral defaultLiteral("BP_FILE_DEFAULT", "input.pcd");
  const ZELBridgeOptionLiteral fileLiteral("BP_FILE", "File", "File shown", "Pick a file", nullptr,
                                           &defaultLiteral);
  char extension[] = "pcd";
  const char* extensions[] = {extension, nullptr};
  ZELOptionList list;
  list.options.add(fileLiteral.generateOption(true, extensions, "Default", true), true, nullptr);
  std::strcpy(extension, "xyz");  // the option keeps its own copy

  ZELBridgeOption* file = list.find("BP_FILE");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->getDisplayName(), "File shown");
  EXPECT_EQ(file->getDescription(), "Pick a file");
  EXPECT_EQ(file->getDefaultValue(), "input.pcd");
  EXPECT_STREQ(file->getFileExtensions()[0], "pcd");
  EXPECT_EQ(list.find("BP_FIL"), nullptr);
  // A second option of the same key is refused unless duplicates are allowed.
  ZELBridgeOption* again = fileLiteral.generateOption(false, extensions, "Default", false);
  EXPECT_EQ(again->getKind(), ZELBridgeOption::kText);
  EXPECT_FALSE(list.options.add(again, false, nullptr));
  delete again;
  list.removeAll();  // deletes the options (the sanitizer sees any leak)
  EXPECT_EQ(list.find("BP_FILE"), nullptr);
}

TEST(BridgeSpecificationTest, KnowsOneBridgeByItsExactId) {
  EXPECT_EQ(getBridgeSpecification("CaRepositoryDsOdbcImport"),
            &TAVSPECS::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT);
  EXPECT_EQ(getBridgeSpecification("caRepositoryDsOdbcImport"), nullptr);
}
