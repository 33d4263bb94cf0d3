// The extract a snapshot writes, imported by the bridge: what a catalog
// holds comes through as the same model a hand-made extract gives, with no
// warning, and the same catalog always gives the same bytes.
#include <sstream>

#include <gtest/gtest.h>

#include "extract_writer.h"
#include "model/zel_model.h"
#include "model_diff.h"
#include "support/pcd_fixture.h"

using namespace pcd::cli;

namespace {

using pcd::cli::LiveCatalog;
using pcd::cli::LiveColumn;
using pcd::cli::LiveForeignKey;
using pcd::cli::LiveIndex;
using pcd::cli::LiveKey;
using pcd::cli::LiveSchema;
using pcd::cli::LiveTable;

LiveColumn column(const std::string& name, const std::string& type, bool nullable,
                  std::int32_t length = 0, std::int32_t precision = 0, std::int32_t scale = 0) {
  LiveColumn c;
  c.name = name;
  c.type.name = type;
  c.type.length = length;
  c.type.precision = precision;
  c.type.scale = scale;
  c.nullable = nullable;
  return c;
}

// Two schemas; a foreign key that names the columns of a composite primary
// key in another order than the key; an index with
// a descending member; names with commas, quotes and non-ASCII text; a long
// comment; a view with a commented column; a procedure with an unnamed
// argument.
LiveCatalog sampleCatalog() {
  LiveCatalog catalog;
  catalog.engine = "POSTGRESQL";
  catalog.serverVersion = "15.18";
  catalog.majorVersion = 15;
  catalog.systemName = "db.example";
  catalog.databaseName = "shop";
  catalog.countNotCarried("column defaults", 2);

  LiveSchema sales;
  sales.name = "sales";
  LiveTable customers;
  customers.name = "customers, \"big\"";
  customers.comment = std::string(150, 'x') + " caf\xC3\xA9 " + std::string(120, 'y');
  customers.columns = {column("id", "integer", false), column("region", "character", false, 2),
                       column("n\xC3\xA4me", "character varying", true, 80)};
  customers.columns[2].comment = "Full name,\nas written";
  customers.hasPrimaryKey = true;
  customers.primaryKey = {"customers_pkey", {1, 0}, {}};
  customers.uniqueKeys = {{"customers_name_key", {2}, {}}};
  LiveIndex byName;
  byName.name = "customers_name_idx";
  byName.unique = true;
  byName.columns = {2, 0};
  byName.descending = {true, false};
  customers.indexes = {byName};

  LiveTable orders;
  orders.name = "orders";
  orders.columns = {column("order_id", "integer", false), column("line", "smallint", false),
                    column("cust", "integer", true), column("reg", "character", true, 2),
                    column("amount", "numeric", true, 0, 10, 2)};
  orders.hasPrimaryKey = true;
  orders.primaryKey = {"orders_pkey", {0, 1}, {}};
  LiveForeignKey toCustomer;
  toCustomer.name = "orders_customer_fkey";
  toCustomer.columns = {2, 3};  // cust -> id, reg -> region: reversed against the key
  toCustomer.referencedSchema = "sales";
  toCustomer.referencedTable = customers.name;
  toCustomer.referencedColumns = {"id", "region"};
  orders.foreignKeys = {toCustomer};
  sales.tables = {customers, orders};

  LiveTable open;
  open.name = "open_orders";
  open.view = true;
  open.columns = {column("order_id", "integer", true)};
  open.columns[0].comment = "Order number";
  sales.tables.push_back(open);

  pcd::cli::LiveProcedure addOrder;
  addOrder.name = "add_order";
  addOrder.comment = "Adds an order";
  addOrder.arguments = {{"customer", {"integer", 0, 0, 0}}, {"", {"text", 0, 0, 0}}};
  sales.procedures = {addOrder};

  LiveSchema empty;
  empty.name = "archive";
  catalog.schemas = {empty, sales};
  return catalog;
}

std::string written(const LiveCatalog& catalog, pcd::cli::ExtractReport* report = nullptr) {
  std::ostringstream out;
  pcd::cli::ExtractReport got = pcd::cli::writeExtract(catalog, "postgresql:///shop", out);
  if (report != nullptr) *report = got;
  return out.str();
}

// The same catalog written by hand, as an export would give it.
const char* const kHandMade[] = {
    "hand-made",
    "E,REL_SYS,1,2,C10,db.example,C0",
    "E,DATABASE,2,1,C4,shop",
    "R,DB_AT,3,2,1,2,C0,C0",
    "E,SERVTYPE,4,13,C0,C10,POSTGRESQL,C5,15.18,S15,S0,S0,S0,S0,S0,S0,S0,S0,S0",
    "R,SERVINST,5,4,1,0",
    "E,SCHEMA,6,1,C7,archive",
    "R,SCHEM_AT,7,6,2,1,C0",
    "E,SCHEMA,8,1,C5,sales",
    "R,SCHEM_AT,9,8,2,1,C0",
    "E,REL_DT,10,5,C7,integer,S0,C0,C0,C0",
    "E,REL_DT,11,5,C9,character,S0,C0,C0,C0",
    "E,REL_DT,12,5,C17,character varying,S0,C0,C0,C0",
    "E,REL_DT,13,5,C8,smallint,S0,C0,C0,C0",
    "E,REL_DT,14,5,C7,numeric,S0,C0,C0,C0",
    "E,REL_DT,15,5,C4,text,S0,C0,C0,C0",
    "E,TABLE,20,1,C17,customers, \"big\"",
    "R,TABLE_AT,21,20,8,2,C0,C0",
    "R,REL_COL,22,0,10,7,C2,id,S0,L0,L0,S0,C0,C0",
    "R,TBL_COL,23,20,22,2,C1,N,L1",
    "R,REL_COL,24,0,11,7,C6,region,S0,L2,L0,S0,C0,C0",
    "R,TBL_COL,25,20,24,2,C1,N,L2",
    "R,REL_COL,26,0,12,7,C5,n\xC3\xA4me,S0,L80,L0,S0,C0,C0",
    "R,TBL_COL,27,20,26,2,C1,Y,L3",
    "T,1,27,1,COLUMN_COMMENTS,21,Full name, as written",
    "E,TABLE,30,1,C6,orders",
    "R,TABLE_AT,31,30,8,2,C0,C0",
    "R,REL_COL,32,0,10,7,C8,order_id,S0,L0,L0,S0,C0,C0",
    "R,TBL_COL,33,30,32,2,C1,N,L1",
    "R,REL_COL,34,0,13,7,C4,line,S0,L0,L0,S0,C0,C0",
    "R,TBL_COL,35,30,34,2,C1,N,L2",
    "R,REL_COL,36,0,10,7,C4,cust,S0,L0,L0,S0,C0,C0",
    "R,TBL_COL,37,30,36,2,C1,Y,L3",
    "R,REL_COL,38,0,11,7,C3,reg,S0,L2,L0,S0,C0,C0",
    "R,TBL_COL,39,30,38,2,C1,Y,L4",
    "R,REL_COL,40,0,14,7,C6,amount,S0,L0,L10,S2,C0,C0",
    "R,TBL_COL,41,30,40,2,C1,Y,L5",
    "E,VIEW,50,2,C11,open_orders,C0",
    "R,TABLE_AT,51,50,8,2,C0,C0",
    "R,REL_COL,52,0,10,7,C8,order_id,S0,L0,L0,S0,C0,C0",
    "T,1,52,1,COLUMN_COMMENTS,12,Order number",
    "R,VIEW_COL,53,50,52,1,L1",
    "E,KEY,60,3,C14,customers_pkey,C1,P,C0",
    "R,KEY_COL,61,60,25,2,S1,C1,A",
    "R,KEY_COL,64,60,23,2,S2,C1,A",
    "E,KEY,62,3,C18,customers_name_key,C1,A,C0",
    "R,KEY_COL,63,62,27,2,S1,C1,A",
    "E,KEY,65,3,C18,customers_name_idx,C1,I,C0",
    "R,KEY_COL,66,65,27,2,S1,C1,D",
    "R,KEY_COL,67,65,23,2,S2,C1,A",
    "R,INDEX_AT,68,65,20,5,C1,Y,C0,L0,S0,C1,N",
    "E,KEY,70,3,C11,orders_pkey,C1,P,C0",
    "R,KEY_COL,71,70,33,2,S1,C1,A",
    "R,KEY_COL,72,70,35,2,S2,C1,A",
    "E,KEY,73,3,C20,orders_customer_fkey,C1,F,C0",
    "R,FGN_KEY,74,30,73,2,C1,N,C1,N",
    "R,FK_TB_AT,75,74,21,0",
    "R,KEY_COL,76,73,37,2,S2,C1,A",
    "R,KEY_COL,77,73,39,2,S1,C1,A",
    "E,DBPROC,80,1,C9,add_order",
    "T,1,80,1,DESCRIPTION,13,Adds an order",
    "R,OBJ_AT,81,80,8,0",
    "R,REL_COL,82,0,10,7,C8,customer,S0,L0,L0,S0,C0,C0",
    "R,PARM,83,80,82,1,L1",
    "R,REL_COL,84,0,15,7,C0,S0,L0,L0,S0,C0,C0",
    "R,PARM,85,80,84,1,L2",
};

TEST(ExtractWriter, ImportsAsTheHandMadeExtractWithoutWarnings) {
  LiveCatalog catalog = sampleCatalog();
  const std::string text = written(catalog);
  PcdFile snapshot = PcdFile::raw(text);
  ImportResult got = importFile(snapshot.path());
  ASSERT_TRUE(got.error.empty()) << got.error << "\n" << text;
  for (const ZELLogEvent& event : got.log) {
    EXPECT_NE(event.getLevel(), ZEL_SEVERITY_WARNING) << event.getText().c_str();
  }
  // The hand-made file carries the long comment in one piece.
  std::vector<std::string> lines(std::begin(kHandMade), std::end(kHandMade));
  lines.insert(lines.begin() + 17, "T,1,20,1,DESCRIPTION," +
                                       std::to_string(catalog.schemas[1].tables[0].comment.size()) +
                                       "," + catalog.schemas[1].tables[0].comment);
  PcdFile handMade(lines);
  ImportResult expected = importFile(handMade.path());
  ASSERT_TRUE(expected.error.empty()) << expected.error;
  const std::vector<ModelChange> changes = diffModels(*expected.model, *got.model);
  for (const ModelChange& change : changes) ADD_FAILURE() << change.group << ": " << change.object;

  // The foreign key pairs each column with the one it names, whatever the
  // order of the referenced key.
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const ZELPackage* catalogPackage : got.model->childPackages()) {
    for (const ZELPackage* schema : catalogPackage->childPackages()) {
      for (const ZELModelObject* object :
           static_cast<const ZELDataPackage*>(schema)->modelObjects()) {
        if (!object->isInstanceOf(ZEL_ET_CLASS)) continue;
        for (const ZELKey* key : static_cast<const ZELClass*>(object)->keys()) {
          if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
          for (const ZELAssociationRoleNameMap* map :
               static_cast<const ZELForeignKey*>(key)->roleNameMaps()) {
            pairs.emplace_back(map->getDestinationAttribute()->getName().c_str(),
                               map->getSourceAttribute()->getName().c_str());
          }
        }
      }
    }
  }
  EXPECT_EQ(pairs,
            (std::vector<std::pair<std::string, std::string>>{{"cust", "id"}, {"reg", "region"}}));
}

TEST(ExtractWriter, SameCatalogSameBytesAndFirstLineCountsWhatIsNotCarried) {
  const std::string first = written(sampleCatalog());
  EXPECT_EQ(first, written(sampleCatalog()));
  const std::string header = first.substr(0, first.find('\n'));
  EXPECT_NE(header.find("not carried: column defaults 2"), std::string::npos) << header;
  EXPECT_NE(header.find("POSTGRESQL 15.18"), std::string::npos) << header;
}

TEST(ExtractWriter, LongTextsSplitAtCharacterBoundariesAndLineBreaksBecomeBlanks) {
  LiveCatalog catalog = sampleCatalog();
  std::string comment;
  for (int i = 0; i < 150; ++i) comment += "\xE2\x82\xAC";  // 450 bytes of euro signs
  comment += "\r\nend";
  catalog.schemas[1].tables[1].comment = comment;
  catalog.schemas[1].tables[1].name = "two\nlines";
  pcd::cli::ExtractReport report;
  const std::string text = written(catalog, &report);
  std::istringstream lines(text);
  std::string line;
  std::string joined;
  while (std::getline(lines, line)) {
    if (line.rfind("T,1,", 0) != 0 || line.find(",DESCRIPTION,") == std::string::npos) continue;
    const std::string piece = line.substr(line.find(',', line.find(",DESCRIPTION,") + 13) + 1);
    // Every piece is whole UTF-8: it never starts with a continuation byte.
    ASSERT_FALSE(piece.empty());
    EXPECT_NE(static_cast<unsigned char>(piece[0]) & 0xC0, 0x80) << line;
    joined += piece;
  }
  EXPECT_NE(joined.find(comment.substr(0, 450) + " end"), std::string::npos);
  ASSERT_EQ(report.warnings.size(), 1u);
  EXPECT_NE(report.warnings[0].find("table sales.two\nlines"), std::string::npos);
  PcdFile file = PcdFile::raw(text);
  ImportResult got = importFile(file.path());
  EXPECT_TRUE(got.error.empty()) << got.error;
}

TEST(ExtractWriter, ForeignKeyToATableOutsideTheSnapshotIsLeftOutAndSaid) {
  LiveCatalog catalog = sampleCatalog();
  catalog.schemas[1].tables[1].foreignKeys[0].referencedSchema = "elsewhere";
  pcd::cli::ExtractReport report;
  const std::string text = written(catalog, &report);
  EXPECT_EQ(text.find("FGN_KEY"), std::string::npos);
  ASSERT_EQ(report.warnings.size(), 1u);
  EXPECT_NE(report.warnings[0].find("elsewhere.customers"), std::string::npos);
  EXPECT_NE(text.find("foreign keys to tables outside the snapshot 1"), std::string::npos);
}

}  // namespace
