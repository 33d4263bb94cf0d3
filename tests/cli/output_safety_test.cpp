// pcd-import's output and input paths: signals, the same file on both sides,
// standard input and output, an output folder checked before the import.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "cli/program_runner.h"

namespace {

const std::string kSourceDir = PCD_SOURCE_DIR;

ProgramRun quietRun(std::vector<std::string> arguments) {
  return {std::move(arguments), kSourceDir, {{"SOURCE_DATE_EPOCH", "0"}}};
}

// pcd-import started with `arguments` and a pipe the test holds as its
// standard input; `input` gets the pipe's writing end.
pid_t startOnPipe(const std::vector<const char*>& arguments, int& input) {
  int ends[2];
  if (pipe(ends) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[0], 0);
    close(ends[1]);
    std::vector<char*> argv = {const_cast<char*>("pcd-import")};
    for (const char* argument : arguments) argv.push_back(const_cast<char*>(argument));
    argv.push_back(nullptr);
    execv(programPath().c_str(), argv.data());
    _exit(127);
  }
  close(ends[0]);
  input = ends[1];
  return child;
}

// Sends `signalNumber`; the program must end by that very signal.
void expectEndedBySignal(pid_t child, int signalNumber, int input) {
  kill(child, signalNumber);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  close(input);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signalNumber) << status;
}

// A signal while the output is being prepared leaves no temporary file and
// ends the program by that signal. Standard input is a pipe the test holds
// open, so the program is still waiting for its input when it is signalled.
TEST(OutputSafety, SignalRemovesTheTemporaryFile) {
  for (const int signalNumber : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(signalNumber);
    TemporaryFolder folder;
    const std::string output = folder.file("model.json");
    int input = -1;
    const pid_t child = startOnPipe({"-q", "-o", output.c_str(), "-"}, input);
    ASSERT_GT(child, 0);
    // Part of the sample arrives; the rest never does.
    const std::string start = readFile(kSourceDir + "/examples/sample.pcd").substr(0, 200);
    ASSERT_EQ(write(input, start.data(), start.size()), static_cast<ssize_t>(start.size()));
    bool temporaryMade = false;
    for (int wait = 0; wait < 500 && !temporaryMade; ++wait) {
      temporaryMade = !folder.entries().empty();
      if (!temporaryMade) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(temporaryMade);
    expectEndedBySignal(child, signalNumber, input);
    EXPECT_EQ(folder.entries(), std::vector<std::string>{});
  }
}

// The markdown folder is built next to its target from the start: a signal
// while the program waits for its input, and one while it writes the
// files, removes that folder with its files and leaves the target as it was.
TEST(OutputSafety, SignalRemovesTheMarkdownFolderAtEveryStage) {
  TemporaryFolder folder;
  const std::string generated = folder.file("tables.pcd");
  writeGenerated(generated, 4000, 5);
  for (const bool whileWriting : {false, true}) {
    SCOPED_TRACE(whileWriting ? "while writing" : "while reading");
    TemporaryFolder out;
    const std::string target = out.file("docs");
    int input = -1;
    const pid_t child = startOnPipe(
        {"-q", "-f", "markdown", "-o", target.c_str(), whileWriting ? generated.c_str() : "-"},
        input);
    ASSERT_GT(child, 0);
    // The new folder exists (while reading), or holds files (while writing).
    bool ready = false;
    for (int wait = 0; wait < 30000 && !ready; ++wait) {
      for (const std::string& entry : out.entries()) {
        const std::string path = out.file(entry);
        ready = ready || !whileWriting ||
                runCommand("ls " + shellWord(path) + " | grep -q .").exitCode == 0;
      }
      if (!ready) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(ready);
    expectEndedBySignal(child, SIGTERM, input);
    EXPECT_EQ(out.entries(), std::vector<std::string>{});
  }
}

// A page that cannot be written (the file size limit, with SIGXFSZ
// ignored) fails the run with a message naming the page, removes the new
// folder, and leaves the previous run's folder as it was.
TEST(OutputSafety, AFailedPageLeavesTheFolderAsItWas) {
  TemporaryFolder out;
  const std::string target = out.file("docs");
  const std::string sample = out.file("sample.pcd");
  writeGenerated(sample, 20, 3);
  ASSERT_EQ(runProgram(quietRun({"-q", "-f", "markdown", "-o", target, sample})).exitCode, 0);
  const std::string before = runCommand("cd " + shellWord(target) + " && cat *").output;
  const CommandResult failed =
      runCommand("trap '' XFSZ; ulimit -f 2; " + shellWord(programPath()) + " -q -f markdown -o " +
                 shellWord(target) + " " + shellWord(sample) + " 2>&1");
  EXPECT_EQ(failed.exitCode, 1) << failed.output;
  EXPECT_NE(failed.output.find("cannot write '" + target + "/"), std::string::npos)
      << failed.output;
  EXPECT_EQ(out.entries(), (std::vector<std::string>{"docs", "sample.pcd"}));
  EXPECT_EQ(runCommand("cd " + shellWord(target) + " && cat *").output, before);
}

TEST(OutputSafety, RefusesToWriteOverTheInput) {
  TemporaryFolder folder;
  const std::string input = folder.file("x.pcd");
  const std::string sample = readFile(kSourceDir + "/examples/sample.pcd");
  writeFile(input, sample);
  ASSERT_EQ(symlink(input.c_str(), folder.file("link.json").c_str()), 0);
  ASSERT_EQ(link(input.c_str(), folder.file("hard.json").c_str()), 0);
  // The same name, a symbolic link to it, a hard link, and standard input
  // redirected from it: each is the input file.
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"-o", "x.pcd", "x.pcd"},
        {"-o", "./link.json", input},
        {"--output=hard.json", "x.pcd"},
        {"-o", input, "-"}}) {
    const ProgramResult result = runProgram({arguments, folder.path(), {}}, input);
    EXPECT_EQ(result.exitCode, 2) << result.err;
    EXPECT_NE(result.err.find("is the input file"), std::string::npos) << result.err;
  }
  EXPECT_EQ(readFile(input), sample);
  EXPECT_EQ(folder.entries(), (std::vector<std::string>{"hard.json", "link.json", "x.pcd"}));
}

TEST(OutputSafety, StandardInputAndOutput) {
  const std::string expected = readFile(kSourceDir + "/examples/sample.json");
  const std::string sample = kSourceDir + "/examples/sample.pcd";
  // From a file on standard input, and through a pipe (the program copies
  // it): the same model; the origin names the input "-".
  const ProgramResult result = runProgram(quietRun({"-q", "-o", "-", "-"}), sample);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  std::string expectedFromStdin = expected;
  const std::string sourceField = "\"sourceFile\": \"examples/sample.pcd\"";
  expectedFromStdin.replace(expectedFromStdin.find(sourceField), sourceField.size(),
                            "\"sourceFile\": \"-\"");
  EXPECT_EQ(result.out, expectedFromStdin);

  // A named pipe (as from "<(zcat x.gz)") is read once, through a copy.
  TemporaryFolder folder;
  const std::string fifo = folder.file("input.pcd");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::thread writer([&] {
    const std::string bytes = readFile(sample);
    const int descriptor = open(fifo.c_str(), O_WRONLY);
    if (descriptor >= 0) {
      EXPECT_EQ(write(descriptor, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
      close(descriptor);
    }
  });
  const ProgramResult piped = runProgram(quietRun({"-qf", "summary", fifo}));
  writer.join();
  EXPECT_EQ(piped.exitCode, 0) << piped.err;
  EXPECT_EQ(piped.out.rfind("catalogs=2 schemas=4 tables=5 ", 0), 0u) << piped.out;
}

TEST(OutputSafety, UnwritableOutputIsReportedBeforeTheImport) {
  TemporaryFolder folder;
  // A missing folder: the error comes before the import's first message.
  const ProgramResult result =
      runProgram(quietRun({"-v", "-o", folder.file("missing/model.json"), "examples/sample.pcd"}));
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err.find("Importing"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("missing/model.json"), std::string::npos) << result.err;
  // The same for a folder: its new folder is made next to it first.
  const ProgramResult markdown = runProgram(
      quietRun({"-v", "-f", "markdown", "-o", folder.file("missing/docs"), "examples/sample.pcd"}));
  EXPECT_EQ(markdown.exitCode, 1);
  EXPECT_EQ(markdown.err.find("Importing"), std::string::npos) << markdown.err;
  EXPECT_NE(markdown.err.find("missing/docs"), std::string::npos) << markdown.err;
  EXPECT_EQ(folder.entries(), std::vector<std::string>{});
}

// A stream is copied only as far as the limits allow: /dev/zero stops at its
// first line's limit, an endless pipe at --max-input-bytes, each with an
// error naming the option, no output and no temporary copy left behind.
TEST(OutputSafety, EndlessInputStopsAtTheLimits) {
  TemporaryFolder folder;
  const std::string output = folder.file("model.json");
  const std::string prefix = "TMPDIR=" + shellWord(folder.path()) + " ";
  const CommandResult zero =
      runCommand(prefix + shellWord(programPath()) + " -q --max-line-bytes 1000000 -o " +
                 shellWord(output) + " /dev/zero 2>&1");
  EXPECT_EQ(zero.exitCode, 1) << zero.output;
  EXPECT_NE(zero.output.find("line 1 of /dev/zero is longer than 1000000 bytes (--max-line-bytes)"),
            std::string::npos)
      << zero.output;
  const CommandResult endless =
      runCommand("yes | " + prefix + shellWord(programPath()) +
                 " -q --max-input-bytes 20000000 -o " + shellWord(output) + " - 2>&1");
  EXPECT_EQ(endless.exitCode, 1) << endless.output;
  EXPECT_NE(endless.output.find("standard input is longer than 20000000 bytes (--max-input-bytes)"),
            std::string::npos)
      << endless.output;
  // A file over the limit is refused before it is read.
  const ProgramResult file =
      runProgram(quietRun({"-q", "--max-input-bytes", "100", "-o", output, "examples/sample.pcd"}));
  EXPECT_EQ(file.exitCode, 1);
  EXPECT_NE(file.err.find("larger than 100 bytes (--max-input-bytes)"), std::string::npos)
      << file.err;
  EXPECT_EQ(folder.entries(), std::vector<std::string>{});
}

}  // namespace
