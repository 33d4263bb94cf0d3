// A database named on the command line instead of an extract:
// postgresql://..., mysql://... or mariadb://..., sqlite:PATH.
#pragma once

#include <string>

namespace pcd::cli {

enum class Engine { kPostgresql, kMariadb, kSqlite };

struct DatabaseUrl {
  Engine engine = Engine::kPostgresql;
  std::string text;  // as given; libpq reads a PostgreSQL URL itself
  // MariaDB/MySQL: the parts of the URL (empty or 0: the client's default).
  std::string user;
  std::string password;
  std::string host;
  unsigned port = 0;
  std::string socket;  // ?socket=/path
  std::string database;
  // SQLite: the database file.
  std::string path;

  // The URL with any password replaced by "***", for messages.
  std::string shown() const;
};

// True when `argument` names a database rather than a file: it starts with
// "postgresql://", "postgres://", "mysql://", "mariadb://" or "sqlite:".
bool isDatabaseUrl(const std::string& argument);

// Splits a database URL; throws std::invalid_argument with the reason (bad
// shape, sqlite::memory:), a usage error.
DatabaseUrl parseDatabaseUrl(const std::string& argument);

}  // namespace pcd::cli
