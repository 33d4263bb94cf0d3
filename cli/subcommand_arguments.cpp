#include "subcommand_arguments.h"

#include <cerrno>
#include <cstdlib>

namespace pcd::cli {

bool SubcommandArguments::next() {
  while (++index_ < argc_) {
    current_ = argv_[index_];
    if (!optionsEnded_ && current_ == "--") {
      optionsEnded_ = true;
      continue;
    }
    return true;
  }
  return false;
}

bool SubcommandArguments::isOperand() const {
  return optionsEnded_ || current_ == "-" || current_.empty() || current_[0] != '-';
}

bool SubcommandArguments::takeValue(const char* name, std::string& value) {
  const std::string option = name;
  if (current_.compare(0, option.size() + 1, option + "=") == 0) {
    value = current_.substr(option.size() + 1);
    return true;
  }
  if (current_ == option && index_ + 1 < argc_) {
    value = argv_[++index_];
    return true;
  }
  return false;
}

bool parseByteCount(const std::string& text, std::size_t& bytes) {
  if (text.empty() || text[0] < '0' || text[0] > '9') return false;
  char* end = nullptr;
  errno = 0;
  const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
  if (*end != '\0' || errno != 0 || value == 0) return false;
  bytes = static_cast<std::size_t>(value);
  return true;
}

}  // namespace pcd::cli
