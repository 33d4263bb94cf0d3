// A database catalog as a sorted list of one-line facts ("table S.T",
// "column S.T #2 NAME notnull", "pk S.T (A,B)", "fk S.T NAME (A) -> S.U (B)",
// "index S.T NAME unique (A DESC)"), so that what an engine holds after a
// script compares line by line with what the model says it should hold.
// Where an engine keeps no name (SQLite constraints), the fact has none.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "engine_servers.h"
#include "model/zel_model.h"
#include "sql/sql_dialect.h"

namespace pcd::writers {
class SqlNames;
}

using Facts = std::vector<std::string>;

// Every name `names` gave the objects of `model`, unquoted, by object.
std::unordered_map<const ZELObject*, std::string> namesByObject(const pcd::writers::SqlNames& names,
                                                                const ZELModel& model);

// What the model says, under the names the script gives; objects the
// script marks as not written are left out.
Facts expectedFacts(const ZELModel& model, const pcd::writers::SqlDialect& dialect,
                    const std::string& script);

// What each engine's catalog holds, read through the program's own
// snapshot readers (which their tests hold against each engine).
Facts postgresFacts(PostgresServer& server, const std::string& database);
Facts mariaDbFacts(MariaDbServer& server);
Facts sqliteFacts(const std::string& databaseFile);
