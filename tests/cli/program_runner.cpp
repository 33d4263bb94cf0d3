#include "program_runner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

std::string programPath() {
  return std::string(PCD_BIN_DIR) + "/pcd-import";
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in.good()) << "cannot read " << path;
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

std::string replacedIn(std::string text,
                       const std::vector<std::pair<std::string, std::string>>& edits) {
  for (const auto& [from, to] : edits) {
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) text.replace(at, from.size(), to);
  }
  return text;
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
  ASSERT_TRUE(out.good()) << "cannot write " << path;
}

ProgramResult runProgram(const ProgramRun& run, const std::string& standardInput) {
  TemporaryFolder captures;
  const std::string outPath = captures.file("stdout");
  const std::string errPath = captures.file("stderr");

  std::vector<std::string> argumentStrings{programPath()};
  argumentStrings.insert(argumentStrings.end(), run.arguments.begin(), run.arguments.end());
  // The child's environment: this process's, with the run's changes. A
  // plug-in named by the caller's environment would bypass the one built
  // next to the program, so that variable is dropped unless the run sets it.
  std::vector<std::string> environmentStrings;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string variable = *entry;
    const std::string name = variable.substr(0, variable.find('='));
    if (name != "PCD_IMPORT_PLUGIN" &&
        std::none_of(run.environment.begin(), run.environment.end(),
                     [&](const auto& change) { return change.first == name; })) {
      environmentStrings.push_back(variable);
    }
  }
  for (const auto& [name, value] : run.environment) {
    if (!value.empty()) environmentStrings.push_back(name + "=" + value);
  }
  std::vector<char*> argv, envp;
  for (std::string& argument : argumentStrings) argv.push_back(argument.data());
  for (std::string& variable : environmentStrings) envp.push_back(variable.data());
  argv.push_back(nullptr);
  envp.push_back(nullptr);

  const pid_t child = fork();
  if (child == 0) {
    // Only async-signal-safe calls between fork and exec.
    const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int in = open(standardInput.c_str(), O_RDONLY);
    if (out < 0 || err < 0 || in < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0 || dup2(in, 0) < 0) {
      _exit(127);
    }
    if (!run.workingDirectory.empty() && chdir(run.workingDirectory.c_str()) != 0) _exit(127);
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  ProgramResult result;
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) {
    ADD_FAILURE() << "cannot run " << programPath();
    return result;
  }
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  result.out = readFile(outPath);
  result.err = readFile(errPath);
  return result;
}

void writeFormat(const std::vector<std::string>& arguments, const std::string& output) {
  std::vector<std::string> all{"-q", "-o", output};
  all.insert(all.end(), arguments.begin(), arguments.end());
  const ProgramResult result = runProgram({all, "", {}});
  ASSERT_EQ(result.exitCode, 0) << result.err;
}

void writeGenerated(const std::string& path, int tables, int seed) {
  const CommandResult made =
      runCommand(shellWord(std::string(PCD_BIN_DIR) + "/generate_pcd") + " " +
                 std::to_string(tables) + " " + std::to_string(seed) + " > " + shellWord(path));
  EXPECT_EQ(made.exitCode, 0) << made.output;
}

TemporaryFolder::TemporaryFolder() {
  const char* base = std::getenv("TMPDIR");
  path_ =
      std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/pcd-import-test-XXXXXX";
  if (mkdtemp(path_.data()) == nullptr) ADD_FAILURE() << "cannot create " << path_;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> entriesOf(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

CommandResult runCommand(const std::string& commandLine) {
  CommandResult result;
  std::FILE* pipe = popen((commandLine + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[4096];
  size_t count;
  while ((count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) {
    result.output.append(buffer, count);
  }
  const int status = pclose(pipe);
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  return result;
}

std::string shellWord(const std::string& text) {
  return "'" + text + "'";
}
