#include "snapshot/live_servers.h"

#include <memory>

#include <gtest/gtest.h>

namespace {

std::unique_ptr<PostgresServer> gPostgres;
std::unique_ptr<MariaDbServer> gMariaDb;

class LiveServers : public ::testing::Environment {
 public:
  void TearDown() override {
    gMariaDb.reset();
    gPostgres.reset();
  }
};

::testing::Environment* const kServers = ::testing::AddGlobalTestEnvironment(new LiveServers);

}  // namespace

PostgresServer& livePostgres() {
  if (!gPostgres) gPostgres = std::make_unique<PostgresServer>();
  return *gPostgres;
}

MariaDbServer& liveMariaDb() {
  if (!gMariaDb) gMariaDb = std::make_unique<MariaDbServer>();
  return *gMariaDb;
}

std::string newPostgresDatabase(const std::string& stem) {
  static int count = 0;
  const std::string name = stem + "_" + std::to_string(++count);
  livePostgres().query("postgres",
                       "CREATE DATABASE \"" + name + "\" TEMPLATE template0 ENCODING 'UTF8'");
  return name;
}

std::string postgresUrl(const std::string& database) {
  return "postgresql:///" + database + "?host=" + livePostgres().socketFolder() + "&user=pcd";
}

std::string mariaDbUrl(const std::string& database) {
  return "mysql://root@localhost/" + database + "?socket=" + liveMariaDb().socketPath();
}
