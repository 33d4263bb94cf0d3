// Throwaway database servers for the round-trip tests: a PostgreSQL cluster
// and a MariaDB data directory in a temporary folder, each listening on a
// Unix socket only, run as "nobody" when the tests run as root, stopped and
// removed by the destructor (and, on a fatal signal, stopped at once).
#pragma once

#include <string>
#include <vector>

struct CommandResult {
  int exitCode = -1;  // -1: did not exit normally, or could not start
  std::string out;
  std::string err;
};

// Runs argv[0] (searched in PATH) with standard input from `inputFile`
// (empty: /dev/null) and collects what it printed.
CommandResult runCommand(const std::vector<std::string>& argv, const std::string& inputFile = "");

// The whole file's bytes ("" when it cannot be read).
std::string fileBytes(const std::string& path);
// Bytes from a string of hex digits ("41" -> "A").
std::string fromHex(const std::string& hex);
// Lines of `text`, each split at `separator`.
std::vector<std::vector<std::string>> rowsOf(const std::string& text, char separator);

// Runs the SQL text `script` in the SQLite database file (made when
// missing); its error message, "" when it ran.
std::string loadSqliteScript(const std::string& databaseFile, const std::string& script);

class ServerFolder {
 public:
  ServerFolder();  // a new folder the server's user may write
  ~ServerFolder();
  ServerFolder(const ServerFolder&) = delete;
  ServerFolder& operator=(const ServerFolder&) = delete;
  const std::string& path() const { return path_; }
  // Prefix for commands that the server's user must run.
  const std::vector<std::string>& asServerUser() const { return asUser_; }

 private:
  std::string path_;
  std::vector<std::string> asUser_;
};

class PostgresServer {
 public:
  // Starts the server; on failure `error()` says why.
  PostgresServer();
  ~PostgresServer();
  const std::string& error() const { return error_; }
  // Runs a script in a new UTF-8 database; returns psql's messages ("" when
  // it ran without any).
  std::string loadScript(const std::string& database, const std::string& scriptFile);
  // Runs a script in an existing database, stopping at the first error;
  // psql's messages.
  std::string runScript(const std::string& database, const std::string& scriptFile);
  // Rows of a query in that database, fields split at '|'.
  std::vector<std::vector<std::string>> query(const std::string& database, const std::string& sql);
  // The folder of the server's Unix socket: libpq's "host" for it.
  const std::string& socketFolder() const { return folder_.path(); }

 private:
  std::vector<std::string> psql(const std::string& database) const;
  ServerFolder folder_;
  std::string bin_;
  std::string error_;
  bool started_ = false;
};

class MariaDbServer {
 public:
  MariaDbServer();
  ~MariaDbServer();
  const std::string& error() const { return error_; }
  // Drops every database a script made, then runs the script; returns the
  // client's errors and warnings ("" when there were none).
  std::string loadScript(const std::string& scriptFile);
  // Runs a script as it is, stopping at the first error; the client's
  // errors and warnings.
  std::string runScript(const std::string& scriptFile);
  std::vector<std::vector<std::string>> query(const std::string& sql);
  // The Unix socket the server listens on.
  std::string socketPath() const { return folder_.path() + "/my.sock"; }

 private:
  std::vector<std::string> client() const;
  ServerFolder folder_;
  std::string error_;
  int pid_ = -1;
};
