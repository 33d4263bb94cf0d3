// A live catalog's parts as lines of text, for the readers' tests: one
// expectation compares a whole table's columns or keys, and a failure shows
// all of them.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "live_catalog.h"

namespace catalog_text {

using Lines = std::vector<std::string>;
using pcd::cli::LiveCatalog;
using pcd::cli::LiveSchema;
using pcd::cli::LiveTable;
using pcd::cli::LiveType;

// The schema or table of that name; throws (failing the test) when none.
inline const LiveSchema& schemaNamed(const LiveCatalog& catalog, const std::string& name) {
  for (const LiveSchema& schema : catalog.schemas) {
    if (schema.name == name) return schema;
  }
  throw std::runtime_error("no schema " + name);
}

inline const LiveTable& tableNamed(const LiveSchema& schema, const std::string& name) {
  for (const LiveTable& table : schema.tables) {
    if (table.name == name) return table;
  }
  throw std::runtime_error("no table " + name);
}

// The names of schemas, tables, columns or procedures, in order.
template <class Named>
Lines namesOf(const std::vector<Named>& items) {
  Lines names;
  for (const Named& item : items) names.push_back(item.name);
  return names;
}

// "numeric precision 12,2", "character varying length 8": the figures
// only where one is not 0.
inline std::string typeText(const LiveType& type) {
  std::string text = type.name;
  if (type.length != 0) text += " length " + std::to_string(type.length);
  if (type.precision != 0 || type.scale != 0) {
    text += " precision " + std::to_string(type.precision) + "," + std::to_string(type.scale);
  }
  return text;
}

// "name type" ("name" when it declares none), and " not null" where the
// column is.
inline Lines columnLines(const LiveTable& table) {
  Lines lines;
  for (const auto& column : table.columns) {
    const std::string type = typeText(column.type);
    lines.push_back(column.name + (type.empty() ? "" : " " + type) +
                    (column.nullable ? "" : " not null"));
  }
  return lines;
}

// "(A, B)".
inline std::string listText(const Lines& items) {
  std::string text = "(";
  for (const std::string& item : items) text += (text.size() == 1 ? "" : ", ") + item;
  return text + ")";
}

// "(A, B desc)": the table's columns by index, in key order.
inline std::string columnList(const LiveTable& table, const std::vector<int>& columns,
                              const std::vector<bool>& descending = {}) {
  Lines names;
  for (size_t i = 0; i < columns.size(); ++i) {
    names.push_back(table.columns.at(columns[i]).name +
                    (i < descending.size() && descending[i] ? " desc" : ""));
  }
  return listText(names);
}

// The primary key, the unique keys and the foreign keys, in that order:
// "primary NAME (A, B)", "unique NAME (A)",
// "foreign NAME (A, B) -> SCHEMA.TABLE (X, Y)".
inline Lines keyLines(const LiveTable& table) {
  Lines lines;
  if (table.hasPrimaryKey) {
    lines.push_back("primary " + table.primaryKey.name + " " +
                    columnList(table, table.primaryKey.columns, table.primaryKey.descending));
  }
  for (const auto& key : table.uniqueKeys) {
    lines.push_back("unique " + key.name + " " + columnList(table, key.columns, key.descending));
  }
  for (const auto& key : table.foreignKeys) {
    lines.push_back("foreign " + key.name + " " + columnList(table, key.columns) + " -> " +
                    key.referencedSchema + "." + key.referencedTable + " " +
                    listText(key.referencedColumns));
  }
  return lines;
}

// "index NAME (A desc, B)", "unique index NAME (A)".
inline Lines indexLines(const LiveTable& table) {
  Lines lines;
  for (const auto& index : table.indexes) {
    lines.push_back((index.unique ? "unique index " : "index ") + index.name + " " +
                    columnList(table, index.columns, index.descending));
  }
  return lines;
}

// "name(argument type, type)": each argument's name, when it has one, and type.
inline Lines procedureLines(const LiveSchema& schema) {
  Lines lines;
  for (const auto& procedure : schema.procedures) {
    Lines arguments;
    for (const auto& argument : procedure.arguments) {
      arguments.push_back((argument.name.empty() ? "" : argument.name + " ") +
                          typeText(argument.type));
    }
    lines.push_back(procedure.name + listText(arguments));
  }
  return lines;
}

inline std::map<std::string, long> notCarried(const LiveCatalog& catalog) {
  return {catalog.notCarried.begin(), catalog.notCarried.end()};
}

}  // namespace catalog_text
