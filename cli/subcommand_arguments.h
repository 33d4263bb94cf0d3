// The arguments of a subcommand (check, diff): operands, "--", and options
// written as "--name value" or "--name=value".
#pragma once

#include <cstddef>
#include <string>

namespace pcd::cli {

class SubcommandArguments {
 public:
  // argv[0] is the subcommand's name; the walk starts after it.
  SubcommandArguments(int argc, const char* const* argv) : argc_(argc), argv_(argv) {}

  // Moves to the next argument that is not "--"; false at the end.
  bool next();
  const std::string& current() const { return current_; }
  // A file argument: "-" alone, anything not starting with '-', and every
  // argument after "--".
  bool isOperand() const;
  // When the current argument is the option `name`, stores its value (from
  // "=value" or the next argument) and returns true.
  bool takeValue(const char* name, std::string& value);

 private:
  int argc_;
  const char* const* argv_;
  int index_ = 0;
  bool optionsEnded_ = false;
  std::string current_;
};

// A positive whole number of bytes, as --max-line-bytes takes it.
bool parseByteCount(const std::string& text, std::size_t& bytes);

}  // namespace pcd::cli
