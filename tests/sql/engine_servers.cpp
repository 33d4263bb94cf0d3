#include "engine_servers.h"

#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace fs = std::filesystem;

namespace {

// Server processes to stop when the test program dies from a signal; the
// handler only sends signals, which is safe there.
volatile sig_atomic_t gServerPids[4] = {0, 0, 0, 0};

constexpr int kFatalSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGABRT, SIGSEGV, SIGBUS, SIGFPE};
struct sigaction gPreviousActions[sizeof kFatalSignals / sizeof kFatalSignals[0]];

// Stops the servers, then hands the signal to whoever handled it before
// (a sanitizer, or the default action): a fault happens again when the
// handler returns, any other signal is raised again.
void stopServersAndPassOn(int signalNumber) {
  for (volatile sig_atomic_t& pid : gServerPids) {
    if (pid > 0) kill(static_cast<pid_t>(pid), SIGKILL);
  }
  for (size_t i = 0; i < sizeof kFatalSignals / sizeof kFatalSignals[0]; ++i) {
    if (kFatalSignals[i] == signalNumber) sigaction(signalNumber, &gPreviousActions[i], nullptr);
  }
  if (signalNumber != SIGSEGV && signalNumber != SIGBUS && signalNumber != SIGFPE) {
    raise(signalNumber);
  }
}

void watchServer(pid_t pid) {
  static bool handlersSet = false;
  if (!handlersSet) {
    struct sigaction action {};
    action.sa_handler = stopServersAndPassOn;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < sizeof kFatalSignals / sizeof kFatalSignals[0]; ++i) {
      sigaction(kFatalSignals[i], &action, &gPreviousActions[i]);
      // A signal the program was started to ignore stays ignored.
      if (gPreviousActions[i].sa_handler == SIG_IGN) {
        sigaction(kFatalSignals[i], &gPreviousActions[i], nullptr);
      }
    }
    handlersSet = true;
  }
  for (volatile sig_atomic_t& slot : gServerPids) {
    if (slot == 0) {
      slot = pid;
      return;
    }
  }
}

void unwatchServer(pid_t pid) {
  for (volatile sig_atomic_t& slot : gServerPids) {
    if (slot == pid) slot = 0;
  }
}

std::vector<char*> argvOf(std::vector<std::string>& strings) {
  std::vector<char*> argv;
  for (std::string& text : strings) argv.push_back(text.data());
  argv.push_back(nullptr);
  return argv;
}

// The newest PostgreSQL server programs Debian installed.
std::string postgresBin() {
  std::string best;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator("/usr/lib/postgresql", ignored)) {
    const std::string bin = entry.path().string() + "/bin";
    if (fs::exists(bin + "/initdb") && bin > best) best = bin;
  }
  return best;
}

bool waitUntil(const std::function<bool()>& ready) {
  for (int attempt = 0; attempt < 300; ++attempt) {
    if (ready()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return false;
}

}  // namespace

std::string fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

CommandResult runCommand(const std::vector<std::string>& command, const std::string& inputFile) {
  char captureDir[] = "/tmp/pcd-sql-run-XXXXXX";
  CommandResult result;
  if (mkdtemp(captureDir) == nullptr) return result;
  const std::string outPath = std::string(captureDir) + "/out";
  const std::string errPath = std::string(captureDir) + "/err";
  const std::string inPath = inputFile.empty() ? "/dev/null" : inputFile;
  std::vector<std::string> strings = command;
  std::vector<char*> argv = argvOf(strings);
  const pid_t child = fork();
  if (child == 0) {
    const int in = open(inPath.c_str(), O_RDONLY);
    const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (in < 0 || out < 0 || err < 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) {
      _exit(127);
    }
    execvp(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  if (child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status)) {
    result.exitCode = WEXITSTATUS(status);
  }
  result.out = fileBytes(outPath);
  result.err = fileBytes(errPath);
  if (result.exitCode == 127 && result.err.empty()) result.err = "cannot run " + command[0];
  std::error_code ignored;
  fs::remove_all(captureDir, ignored);
  return result;
}

std::string fromHex(const std::string& hex) {
  std::string bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

std::vector<std::vector<std::string>> rowsOf(const std::string& text, char separator) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.empty()) continue;
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t at; (at = line.find(separator, start)) != std::string::npos; start = at + 1) {
      fields.push_back(line.substr(start, at - start));
    }
    fields.push_back(line.substr(start));
    rows.push_back(fields);
  }
  return rows;
}

std::string loadSqliteScript(const std::string& databaseFile, const std::string& script) {
  sqlite3* db = nullptr;
  if (sqlite3_open(databaseFile.c_str(), &db) != SQLITE_OK) {
    const std::string message = db != nullptr ? sqlite3_errmsg(db) : "sqlite3_open failed";
    sqlite3_close(db);
    return message;
  }
  char* message = nullptr;
  std::string error;
  if (sqlite3_exec(db, script.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
    error = message != nullptr ? message : "sqlite3_exec failed";
  }
  sqlite3_free(message);
  sqlite3_close(db);
  return error;
}

ServerFolder::ServerFolder() {
  // In memory where the system has a tmpfs: servers sync every new table's
  // files, which makes thousands of tables take minutes on a disk.
  char inMemory[] = "/dev/shm/pcd-sql-server-XXXXXX";
  char onDisk[] = "/tmp/pcd-sql-server-XXXXXX";
  char* pattern = mkdtemp(inMemory);
  if (pattern == nullptr) pattern = mkdtemp(onDisk);
  if (pattern == nullptr) return;
  path_ = pattern;
  // Servers refuse to run as root: hand the folder to an unprivileged user.
  if (geteuid() == 0) {
    if (const passwd* user = getpwnam("nobody")) {
      if (chown(path_.c_str(), user->pw_uid, user->pw_gid) == 0) {
        asUser_ = {"runuser", "-u", "nobody", "--"};
      }
    }
  }
}

ServerFolder::~ServerFolder() {
  std::error_code ignored;
  if (!path_.empty()) fs::remove_all(path_, ignored);
}

// ---------------------------------------------------------------------------

PostgresServer::PostgresServer() : bin_(postgresBin()) {
  if (bin_.empty()) {
    error_ = "PostgreSQL server programs not found under /usr/lib/postgresql; run scripts/setup.sh";
    return;
  }
  const std::string data = folder_.path() + "/pg";
  std::vector<std::string> initdb = folder_.asServerUser();
  initdb.insert(initdb.end(), {bin_ + "/initdb", "-D", data, "-A", "trust", "-U", "pcd", "-E",
                               "UTF8", "--locale=C", "--no-sync"});
  CommandResult result = runCommand(initdb);
  if (result.exitCode != 0) {
    error_ = "initdb failed: " + result.err;
    return;
  }
  std::vector<std::string> start = folder_.asServerUser();
  start.insert(start.end(),
               {bin_ + "/pg_ctl", "-D", data, "-l", folder_.path() + "/pg.log", "-w", "-o",
                "-c listen_addresses='' -k " + folder_.path() + " -c fsync=off", "start"});
  result = runCommand(start);
  if (result.exitCode != 0) {
    error_ = "PostgreSQL did not start: " + result.err + fileBytes(folder_.path() + "/pg.log");
    return;
  }
  started_ = true;
  const std::string pidLine = fileBytes(data + "/postmaster.pid");
  if (const int pid = std::atoi(pidLine.c_str()); pid > 0) watchServer(pid);
}

PostgresServer::~PostgresServer() {
  if (!started_) return;
  std::vector<std::string> stop = folder_.asServerUser();
  stop.insert(stop.end(),
              {bin_ + "/pg_ctl", "-D", folder_.path() + "/pg", "-m", "immediate", "-w", "stop"});
  const int pid = std::atoi(fileBytes(folder_.path() + "/pg/postmaster.pid").c_str());
  runCommand(stop);
  if (pid > 0) unwatchServer(pid);
}

std::vector<std::string> PostgresServer::psql(const std::string& database) const {
  return {"psql",         "-X", "-q",  "-v", "ON_ERROR_STOP=1", "-h",
          folder_.path(), "-U", "pcd", "-d", database};
}

std::string PostgresServer::loadScript(const std::string& database, const std::string& scriptFile) {
  std::vector<std::string> create = psql("postgres");
  create.insert(create.end(),
                {"-c", "CREATE DATABASE \"" + database + "\" TEMPLATE template0 ENCODING 'UTF8'"});
  CommandResult result = runCommand(create);
  if (result.exitCode != 0) return "cannot create database: " + result.err;
  return runScript(database, scriptFile);
}

std::string PostgresServer::runScript(const std::string& database, const std::string& scriptFile) {
  std::vector<std::string> load = psql(database);
  load.insert(load.end(), {"-f", scriptFile});
  const CommandResult result = runCommand(load);
  if (result.exitCode != 0 && result.err.empty()) return "psql failed";
  return result.err;  // notices too: a name the server cut would show here
}

std::vector<std::vector<std::string>> PostgresServer::query(const std::string& database,
                                                            const std::string& sql) {
  std::vector<std::string> command = psql(database);
  command.insert(command.end(), {"-A", "-t", "-F", "|", "-c", sql});
  const CommandResult result = runCommand(command);
  if (result.exitCode != 0) throw std::runtime_error("query failed: " + result.err);
  return rowsOf(result.out, '|');
}

// ---------------------------------------------------------------------------

MariaDbServer::MariaDbServer() {
  const std::string data = folder_.path() + "/my";
  // mariadbd changes to the folder's user itself, so its process id is
  // the server's.
  const std::vector<std::string> asUser = folder_.asServerUser().empty()
                                              ? std::vector<std::string>{}
                                              : std::vector<std::string>{"--user=nobody"};
  // Temporary tables in the server's own folder: two servers set up at once
  // in the shared /tmp give theirs the same names and delete each other's.
  const std::string tmpdir = "--tmpdir=" + folder_.path();
  std::vector<std::string> install = {
      "mariadb-install-db", "--no-defaults",
      "--datadir=" + data,  "--auth-root-authentication-method=normal",
      "--skip-test-db",     tmpdir};
  install.insert(install.end(), asUser.begin(), asUser.end());
  CommandResult result = runCommand(install);
  if (result.exitCode != 0) {
    error_ =
        "mariadb-install-db failed (is MariaDB installed? run scripts/setup.sh): " + result.err;
    return;
  }
  std::vector<std::string> strings = asUser;
  strings.insert(
      strings.begin(),
      {"mariadbd", "--no-defaults", "--datadir=" + data, "--socket=" + folder_.path() + "/my.sock",
       "--skip-networking", tmpdir, "--pid-file=" + folder_.path() + "/my.pid",
       "--log-error=" + folder_.path() + "/my.err", "--innodb-buffer-pool-size=64M",
       "--innodb-flush-log-at-trx-commit=0", "--innodb-doublewrite=0",
       // One shared tablespace and no syncs: thousands of CREATE
       // TABLE statements in seconds; the data is thrown away.
       "--innodb-file-per-table=0", "--innodb-flush-method=nosync"});
  std::vector<char*> argv = argvOf(strings);
  const pid_t child = fork();
  if (child == 0) {
    const int null = open("/dev/null", O_RDWR);
    if (null >= 0) {
      dup2(null, 0);
      dup2(null, 1);
      dup2(null, 2);
    }
    execvp(argv[0], argv.data());
    _exit(127);
  }
  if (child < 0) {
    error_ = "cannot start mariadbd";
    return;
  }
  pid_ = child;
  watchServer(child);
  std::vector<std::string> ping = {
      "mariadb-admin", "--no-defaults", "--socket=" + folder_.path() + "/my.sock", "-u",
      "root",          "ping"};
  const bool up = waitUntil([&] {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) return true;  // died; reported below
    return runCommand(ping).exitCode == 0;
  });
  if (!up || runCommand(ping).exitCode != 0) {
    error_ = "MariaDB did not start: " + fileBytes(folder_.path() + "/my.err");
  }
}

MariaDbServer::~MariaDbServer() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  int status = 0;
  const bool stopped = waitUntil([&] { return waitpid(pid_, &status, WNOHANG) != 0; });
  if (!stopped) {
    kill(pid_, SIGKILL);
    waitpid(pid_, &status, 0);
  }
  unwatchServer(pid_);
}

std::vector<std::string> MariaDbServer::client() const {
  return {"mariadb", "--no-defaults",      "--socket=" + folder_.path() + "/my.sock", "-u", "root",
          "--batch", "--skip-column-names"};
}

std::string MariaDbServer::loadScript(const std::string& scriptFile) {
  for (const auto& row : query("SELECT HEX(SCHEMA_NAME) FROM information_schema.SCHEMATA WHERE "
                               "SCHEMA_NAME NOT IN ('mysql', 'information_schema', "
                               "'performance_schema', 'sys')")) {
    const std::string name = fromHex(row.at(0));
    std::string quoted = "`";
    for (const char c : name) quoted += c == '`' ? std::string("``") : std::string(1, c);
    quoted += "`";
    query("SET FOREIGN_KEY_CHECKS = 0; DROP DATABASE " + quoted);
  }
  return runScript(scriptFile);
}

std::string MariaDbServer::runScript(const std::string& scriptFile) {
  std::vector<std::string> load = client();
  load.push_back("--show-warnings");
  const CommandResult result = runCommand(load, scriptFile);
  if (result.exitCode != 0 && result.err.empty()) return "mariadb failed";
  return result.err + result.out;  // warnings come on standard output
}

std::vector<std::vector<std::string>> MariaDbServer::query(const std::string& sql) {
  std::vector<std::string> command = client();
  command.insert(command.end(), {"-e", sql});
  const CommandResult result = runCommand(command);
  if (result.exitCode != 0) throw std::runtime_error("query failed: " + result.err);
  return rowsOf(result.out, '\t');
}
