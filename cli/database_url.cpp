#include "database_url.h"

#include <cstdlib>
#include <stdexcept>

namespace pcd::cli {

namespace {

bool startsWith(const std::string& text, const char* prefix) {
  return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// %XX escapes of a URL part, as RFC 3986 writes bytes that are not allowed.
std::string decoded(const std::string& part, const std::string& url) {
  std::string text;
  for (size_t i = 0; i < part.size(); ++i) {
    if (part[i] != '%') {
      text += part[i];
      continue;
    }
    const int high = i + 2 < part.size() ? hexValue(part[i + 1]) : -1;
    const int low = i + 2 < part.size() ? hexValue(part[i + 2]) : -1;
    if (high < 0 || low < 0) throw std::invalid_argument("bad %-escape in '" + url + "'");
    text += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return text;
}

// mysql://[user[:password]@][host][:port][/dbname][?socket=/path&...]
void splitServerUrl(const std::string& rest, DatabaseUrl& url) {
  std::string authority = rest;
  std::string path;
  std::string query;
  if (const size_t mark = authority.find('?'); mark != std::string::npos) {
    query = authority.substr(mark + 1);
    authority.erase(mark);
  }
  if (const size_t slash = authority.find('/'); slash != std::string::npos) {
    path = authority.substr(slash + 1);
    authority.erase(slash);
  }
  if (const size_t at = authority.rfind('@'); at != std::string::npos) {
    const std::string credentials = authority.substr(0, at);
    authority.erase(0, at + 1);
    const size_t colon = credentials.find(':');
    url.user = decoded(credentials.substr(0, colon), url.shown());
    if (colon != std::string::npos)
      url.password = decoded(credentials.substr(colon + 1), url.shown());
  }
  if (const size_t colon = authority.rfind(':');
      colon != std::string::npos && authority.find(']', colon) == std::string::npos) {
    const std::string port = authority.substr(colon + 1);
    authority.erase(colon);
    char* end = nullptr;
    const long value = std::strtol(port.c_str(), &end, 10);
    if (port.empty() || *end != '\0' || value <= 0 || value > 65535)
      throw std::invalid_argument("bad port '" + port + "' in '" + url.shown() + "'");
    url.port = static_cast<unsigned>(value);
  }
  if (authority.size() >= 2 && authority.front() == '[' && authority.back() == ']')
    authority = authority.substr(1, authority.size() - 2);
  url.host = decoded(authority, url.shown());
  url.database = decoded(path, url.shown());
  size_t start = 0;
  while (start < query.size()) {
    size_t end = query.find('&', start);
    if (end == std::string::npos) end = query.size();
    const std::string parameter = query.substr(start, end - start);
    start = end + 1;
    const size_t equals = parameter.find('=');
    const std::string name = parameter.substr(0, equals);
    const std::string value = equals == std::string::npos
                                  ? std::string()
                                  : decoded(parameter.substr(equals + 1), url.shown());
    if (name == "socket") {
      url.socket = value;
    } else if (name == "user") {
      url.user = value;
    } else if (name == "password") {
      url.password = value;
    } else if (!name.empty()) {
      throw std::invalid_argument("unknown parameter '" + name + "' in '" + url.shown() +
                                  "'; known: socket, user, password");
    }
  }
}

}  // namespace

bool isDatabaseUrl(const std::string& argument) {
  return startsWith(argument, "postgresql://") || startsWith(argument, "postgres://") ||
         startsWith(argument, "mysql://") || startsWith(argument, "mariadb://") ||
         startsWith(argument, "sqlite:");
}

std::string DatabaseUrl::shown() const {
  std::string shownText = text;
  // user:password@ in the authority
  if (const size_t scheme = shownText.find("://"); scheme != std::string::npos) {
    const size_t start = scheme + 3;
    const size_t end = shownText.find_first_of("/?", start);
    const size_t at = shownText.rfind('@', end == std::string::npos ? std::string::npos : end);
    if (at != std::string::npos && at >= start) {
      const size_t colon = shownText.find(':', start);
      if (colon != std::string::npos && colon < at)
        shownText.replace(colon + 1, at - colon - 1, "***");
    }
  }
  // password=... among the parameters
  for (size_t at = shownText.find("password="); at != std::string::npos;
       at = shownText.find("password=", at + 1)) {
    if (at > 0 && shownText[at - 1] != '?' && shownText[at - 1] != '&') continue;
    const size_t start = at + 9;
    const size_t end = shownText.find('&', start);
    shownText.replace(start, (end == std::string::npos ? shownText.size() : end) - start, "***");
  }
  return shownText;
}

DatabaseUrl parseDatabaseUrl(const std::string& argument) {
  DatabaseUrl url;
  url.text = argument;
  if (startsWith(argument, "postgresql://") || startsWith(argument, "postgres://")) {
    url.engine = Engine::kPostgresql;  // libpq parses it, with its own defaults
  } else if (startsWith(argument, "mysql://") || startsWith(argument, "mariadb://")) {
    url.engine = Engine::kMariadb;
    splitServerUrl(argument.substr(argument.find("://") + 3), url);
  } else if (startsWith(argument, "sqlite:")) {
    url.engine = Engine::kSqlite;
    url.path = argument.substr(7);
    // sqlite:///abs/path and sqlite://rel are common spellings of a path.
    if (startsWith(url.path, "//")) url.path.erase(0, 2);
    if (url.path.empty()) throw std::invalid_argument("name the SQLite file: sqlite:PATH");
    if (url.path == ":memory:" || startsWith(url.path, "file::memory:"))
      throw std::invalid_argument(
          "an in-memory SQLite database is empty to any other connection; name a file");
  } else {
    throw std::invalid_argument("'" + argument +
                                "' is not a database URL (postgresql://, mysql://, mariadb://, "
                                "sqlite:)");
  }
  return url;
}

}  // namespace pcd::cli
