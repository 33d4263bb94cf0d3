// Runs the built pcd-import program as a child process and collects what it
// printed, for the end-to-end tests.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct ProgramResult {
  int exitCode = -1;  // -1 when the program did not exit normally
  std::string out;
  std::string err;
};

struct ProgramRun {
  std::vector<std::string> arguments;  // after the program name
  std::string workingDirectory;        // empty: the test's own
  // Environment changes: a pair with an empty value removes the variable.
  // PCD_IMPORT_PLUGIN is removed unless set here.
  std::vector<std::pair<std::string, std::string>> environment;
};

// The path of the program in the build's bin folder.
std::string programPath();
// Standard input reads from `standardInput` (a file), by default /dev/null.
ProgramResult runProgram(const ProgramRun& run, const std::string& standardInput = "/dev/null");

// pcd-import -q -o `output` with these arguments; fails the current test
// unless it succeeds.
void writeFormat(const std::vector<std::string>& arguments, const std::string& output);
// generate_pcd TABLES SEED into `path`; fails the current test unless it succeeds.
void writeGenerated(const std::string& path, int tables, int seed);

// A shell command line's exit status and its standard output and error
// together; arguments must be quoted by the caller (shellWord).
struct CommandResult {
  int exitCode = -1;
  std::string output;
};
CommandResult runCommand(const std::string& commandLine);
// `text` as one single-quoted shell word (test paths hold no quote).
std::string shellWord(const std::string& text);

// `text` with the first occurrence of each `from`, in order, replaced by its
// `to`; fails the current test when one does not occur.
std::string replacedIn(std::string text,
                       const std::vector<std::pair<std::string, std::string>>& edits);

// Whole file as bytes; fails the current test when it cannot be read.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);
// Names of the entries in the folder `path`, sorted.
std::vector<std::string> entriesOf(const std::string& path);
// A new empty folder under the system's temporary folder, removed with its
// files by the destructor.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  std::vector<std::string> entries() const { return entriesOf(path_); }

 private:
  std::string path_;
};
