// One throwaway PostgreSQL and one MariaDB server for the whole snapshot test
// program, started when a test first asks for one and stopped (with their
// folders removed) when the program ends, also after a failed test.
#pragma once

#include <string>

#include "sql/engine_servers.h"

PostgresServer& livePostgres();
MariaDbServer& liveMariaDb();

// A new, empty database of that server, named uniquely; its URL.
std::string newPostgresDatabase(const std::string& stem);
std::string postgresUrl(const std::string& database);
std::string mariaDbUrl(const std::string& database);
