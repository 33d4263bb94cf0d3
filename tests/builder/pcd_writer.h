// Builds PCD files for the builder's tests, one record per call, so that a
// test reads as the catalog it describes.
#pragma once

#include <string>
#include <vector>

#include "support/pcd_fixture.h"

class PcdWriter {
 public:
  // Attribute encodings.
  static std::string C(const std::string& text) {
    return text.empty() ? "C0" : "C" + std::to_string(text.size()) + "," + text;
  }
  static std::string S(long value) { return "S" + std::to_string(value); }
  static std::string L(long value) { return "L" + std::to_string(value); }

  PcdWriter& entity(const std::string& name, long id, const std::vector<std::string>& attributes) {
    return line("E," + name + "," + std::to_string(id) + "," + join(attributes));
  }
  PcdWriter& relation(const std::string& name, long id, long from, long to,
                      const std::vector<std::string>& attributes) {
    return line("R," + name + "," + std::to_string(id) + "," + std::to_string(from) + "," +
                std::to_string(to) + "," + join(attributes));
  }
  PcdWriter& text(long id, const std::string& name, const std::string& value) {
    return line("T,1," + std::to_string(id) + ",1," + name + "," + std::to_string(value.size()) +
                "," + value);
  }
  PcdWriter& line(const std::string& text) {
    lines_.push_back(text);
    return *this;
  }

  // Records by kind.
  PcdWriter& relSys(long id, const std::string& name) {
    return entity("REL_SYS", id, {C(name), C("")});
  }
  PcdWriter& database(long id, const std::string& name) {
    return entity("DATABASE", id, {C(name)});
  }
  PcdWriter& dbAt(long id, long database, long system) {
    return relation("DB_AT", id, database, system, {C(""), C("")});
  }
  PcdWriter& servType(long id, const std::string& name, const std::string& text, long number) {
    std::vector<std::string> attributes{C("T1"), C(name), C(text), S(number)};
    for (int i = 0; i < 9; ++i) attributes.push_back(S(0));
    return entity("SERVTYPE", id, attributes);
  }
  PcdWriter& servInst(long id, long serverType, long system) {
    return relation("SERVINST", id, serverType, system, {});
  }
  PcdWriter& schema(long id, const std::string& name) { return entity("SCHEMA", id, {C(name)}); }
  PcdWriter& schemAt(long id, long schema, long owner) {
    return relation("SCHEM_AT", id, schema, owner, {C("")});
  }
  PcdWriter& table(long id, const std::string& name) { return entity("TABLE", id, {C(name)}); }
  // Table `id` placed in `location` by TABLE_AT id+1.
  PcdWriter& tableIn(long id, const std::string& name, long location) {
    return table(id, name).tableAt(id + 1, id, location);
  }
  PcdWriter& view(long id, const std::string& name) { return entity("VIEW", id, {C(name), C("")}); }
  PcdWriter& tableAt(long id, long table, long location, const std::string& label = "") {
    return relation("TABLE_AT", id, table, location, {C(label), C("")});
  }
  PcdWriter& relDt(long id, const std::string& name) {
    return entity("REL_DT", id, {C(name), S(0), C(""), C(""), C("")});
  }
  PcdWriter& relCol(long id, long dataType, const std::string& name, long length,
                    long altLength = 0, long scale = 0, const std::string& comment = "") {
    relation("REL_COL", id, 0, dataType,
             {C(name), S(0), L(length), L(altLength), S(scale), C(""), C("")});
    return comment.empty() ? *this : text(id, "COLUMN_COMMENTS", comment);
  }
  PcdWriter& tblCol(long id, long table, long column, const std::string& nullable, long position,
                    const std::string& comment = "") {
    relation("TBL_COL", id, table, column, {C(nullable), L(position)});
    return comment.empty() ? *this : text(id, "COLUMN_COMMENTS", comment);
  }
  PcdWriter& key(long id, const std::string& name, const std::string& kind) {
    return entity("KEY", id, {C(name), C(kind), C("")});
  }
  PcdWriter& keyCol(long id, long key, long tableColumn, long position,
                    const std::string& sortOrder = "A") {
    return relation("KEY_COL", id, key, tableColumn, {S(position), C(sortOrder)});
  }
  PcdWriter& fgnKey(long id, long key, const std::string& flag1 = "N",
                    const std::string& flag2 = "N") {
    return relation("FGN_KEY", id, 0, key, {C(flag1), C(flag2)});
  }
  PcdWriter& fkTbAt(long id, long foreignKey, long tableAt) {
    return relation("FK_TB_AT", id, foreignKey, tableAt, {});
  }
  PcdWriter& indexAt(long id, long key, const std::string& flag1, const std::string& flag3) {
    return relation("INDEX_AT", id, key, 0, {C(flag1), C(""), L(0), S(0), C(flag3)});
  }
  PcdWriter& dbProc(long id, const std::string& name) { return entity("DBPROC", id, {C(name)}); }
  PcdWriter& objAt(long id, long placed, long location) {
    return relation("OBJ_AT", id, placed, location, {});
  }
  PcdWriter& parm(long id, long procedure, long column, long position) {
    return relation("PARM", id, procedure, column, {L(position)});
  }

  // Table `id` placed (TABLE_AT id+1) in schema 4, with required VARCHAR
  // columns in order: column i has REL_COL id+10+2i and TBL_COL id+11+2i.
  PcdWriter& placedTable(long id, const std::string& name,
                         const std::vector<std::string>& columns) {
    tableIn(id, name, 4);
    for (size_t i = 0; i < columns.size(); ++i) {
      const long column = id + 10 + 2 * static_cast<long>(i);
      relCol(column, 9, columns[i], 5)
          .tblCol(column + 1, id, column, "N", static_cast<long>(i) + 1);
    }
    return *this;
  }

  // A system 1 "SYS" with database 2 "DB" (catalog DB) and, when
  // `withSchema`, schema 4 "S" in it; type 9 VARCHAR.
  PcdWriter& basicCatalog(bool withSchema = true) {
    relSys(1, "SYS").database(2, "DB").dbAt(3, 2, 1).relDt(9, "VARCHAR");
    return withSchema ? schema(4, "S").schemAt(5, 4, 2) : *this;
  }

  const std::vector<std::string>& lines() const { return lines_; }
  // The file's bytes, each line ended by "\n".
  std::string text() const {
    std::string bytes;
    for (const std::string& line : lines_) bytes += line + "\n";
    return bytes;
  }
  ImportResult import() const {
    PcdFile file(lines_);
    return importFile(file.path());
  }

 private:
  static std::string join(const std::vector<std::string>& attributes) {
    std::string out = std::to_string(attributes.size());
    for (const std::string& attribute : attributes) out += "," + attribute;
    return out;
  }
  std::vector<std::string> lines_{"PCD test file"};
};
