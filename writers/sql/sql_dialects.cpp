// The list of dialects. Each is defined in its own file as
// `const SqlDialect& NAMEDialect()`; a new dialect is that file and its
// NAME in this list.
#include "sql_dialect.h"

namespace pcd::writers {

// In the order --dialect and lint list them; the first is the default.
#define PCD_SQL_DIALECTS(EACH) EACH(postgresql) EACH(mysql) EACH(sqlite)

#define PCD_DECLARE_DIALECT(NAME) const SqlDialect& NAME##Dialect();
PCD_SQL_DIALECTS(PCD_DECLARE_DIALECT)

const std::vector<const SqlDialect*>& sqlDialects() {
#define PCD_LIST_DIALECT(NAME) &NAME##Dialect(),
  static const std::vector<const SqlDialect*> dialects = {PCD_SQL_DIALECTS(PCD_LIST_DIALECT)};
  return dialects;
}

const SqlDialect* findSqlDialect(std::string_view name) {
  for (const SqlDialect* dialect : sqlDialects()) {
    if (dialect->name() == name) return dialect;
  }
  return nullptr;
}

std::string sqlDialectNameList() {
  std::string names;
  for (const SqlDialect* dialect : sqlDialects()) {
    names += (names.empty() ? "" : ", ") + std::string(dialect->name());
  }
  return names;
}

}  // namespace pcd::writers
