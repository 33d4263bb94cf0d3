// How names and types reach Mermaid: plain ones as they are, the others
// made into tokens, backticked or given an id, whatever bytes they hold.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "model/zel_model.h"
#include "model_mermaid.h"

using namespace pcd::writers;

namespace {

struct Column {
  const char* name;
  const char* type;  // null: no type
  int length = 0, scale = 0;
};

// A diagram of the tables named `tables`; the first holds `columns`.
class MermaidOf {
 public:
  MermaidOf(const std::vector<std::string>& tables, const std::vector<Column>& columns) {
    for (size_t t = 0; t < tables.size(); ++t) {
      auto table = std::make_unique<ZELClass>();
      table->setName(tables[t].c_str());
      diagram_.tables.push_back({table.get(), false, 0, {}});
      tables_.push_back(std::move(table));
    }
    for (const Column& column : columns) {
      auto* attribute = new ZELAttribute();
      attribute->setName(column.name);
      EXPECT_TRUE(tables_[0]->addFeature(attribute));
      if (column.type != nullptr) {
        auto type = std::make_unique<ZELDerivedType>();
        type->NativeDataType = column.type;
        type->Length = column.length;
        type->Scale = column.scale;
        EXPECT_TRUE(attribute->addType(type.get()));
        types_.push_back(std::move(type));
      }
      diagram_.tables[0].columns.push_back({attribute});
    }
  }
  ~MermaidOf() {
    tables_.clear();  // the columns first: they refer to the types
  }
  std::string text(size_t maxText = SIZE_MAX) const { return diagramAsMermaid(diagram_, maxText); }

 private:
  Diagram diagram_;
  std::vector<std::unique_ptr<ZELDerivedType>> types_;
  std::vector<std::unique_ptr<ZELClass>> tables_;
};

TEST(MermaidNames, TypesBecomeAttributeTokens) {
  const MermaidOf diagram({"T"},
                          {{"a", "VARCHAR", 10},
                           {"b", "NUMBER", 10, 2},
                           {"c", "NUMBER(5)", 5},  // carries its size already
                           {"d", "double precision"},
                           {"e", "9LIVES"},
                           {"f", "T\x01\xC3\xA9"},  // a control character and a letter beyond ASCII
                           {"g", "\xFF"},           // not UTF-8: U+FFFD, a token
                           {"h", "\xC2\xA0X"},      // U+00A0 first: no token even after "_"
                           {"i", ""},
                           {"j", nullptr}});
  EXPECT_EQ(diagram.text(),
            "erDiagram\n"
            "    T {\n"
            "        VARCHAR(10) a\n"
            "        NUMBER(10,2) b\n"
            "        NUMBER(5) c\n"
            "        double_precision d\n"
            "        _9LIVES e\n"
            "        T_\xC3\xA9 f\n"
            "        \xEF\xBF\xBD g\n"
            "        undefined h\n"
            "        undefined i\n"
            "        undefined j\n"
            "    }\n");
}

TEST(MermaidNames, ColumnNamesThatAreNoTokenGoInBackticks) {
  const MermaidOf diagram({"T"}, {{"plain", "INT"},
                                  {"End", "INT"},  // a keyword of the diagram
                                  {"", "INT"},
                                  {"a`b c", "INT"},
                                  {"x\ty", "INT"},
                                  {"\xC3\xBC", "INT"},
                                  {"abcdefgh", "INT"},
                                  {"\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC", "INT"}});
  const std::string columns =
      "        INT plain\n"
      "        INT `End`\n"
      "        INT `\"\"`\n"
      "        INT `a'b c`\n"
      "        INT `x y`\n"
      "        INT \xC3\xBC\n";
  EXPECT_EQ(diagram.text(), "erDiagram\n    T {\n" + columns +
                                "        INT abcdefgh\n"
                                "        INT \xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\n    }\n");
  // Shortened to five characters, counted as characters, not bytes.
  EXPECT_EQ(diagram.text(5), "erDiagram\n    T {\n" + columns +
                                 "        INT abcde\xE2\x80\xA6\n"
                                 "        INT \xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\n    }\n");
}

TEST(MermaidNames, EntitiesTakeTheirNameOnceOtherwiseAnId) {
  const MermaidOf diagram({"B", "A", "B", "end", "has space", "A"}, {});
  EXPECT_EQ(diagram.text(),
            "erDiagram\n"
            "    B\n"
            "    A\n"
            "    e-3[\"B\"]\n"
            "    e-4[\"end\"]\n"
            "    e-5[\"has space\"]\n"
            "    e-6[\"A\"]\n");
}

}  // namespace
