// Whole runs of pcd-import, each with one allocation made to fail by a
// preloaded shim that fails malloc, calloc, realloc and operator new alike:
// on the sample (loading the plug-in, the import, writing the JSON, deleting
// the model), `check` on a file with faults, and the drawing formats. Every
// run must end as the clean run did, or in a failure that says so: never a
// crash, an abort, a sanitizer report, a hang or a leftover temporary file.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// Runs `argv` with `env` added, standard output and error to files, in a
// process group of its own; returns the exit status, 1000 + the signal that
// ended it, or 2000 when it ran longer than `seconds` (and was killed). Any
// process of the group still running afterwards (a helper left behind) is
// killed and reported as 3000.
int runProgram(const std::vector<std::string>& argv, const std::vector<std::string>& env,
               const std::string& outPath, const std::string& errPath, int seconds = 600) {
  const pid_t child = fork();
  if (child == 0) {
    setpgid(0, 0);
    const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (out < 0 || err < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) _exit(127);
    for (const std::string& setting : env) putenv(const_cast<char*>(setting.c_str()));
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  if (child < 0) return -1;
  setpgid(child, child);
  int status = 0;
  bool timedOut = false;
  for (int waited = 0;; waited += 10) {
    const pid_t ended = waitpid(child, &status, WNOHANG);
    if (ended == child) break;
    if (ended < 0) return -1;
    if (waited >= seconds * 1000) {
      timedOut = true;
      kill(-child, SIGKILL);
      waitpid(child, &status, 0);
      break;
    }
    usleep(10000);
  }
  if (timedOut) return 2000;
  // A helper that outlives the program would linger (its parent is gone).
  if (kill(-child, 0) == 0) {
    usleep(200000);
    if (kill(-child, SIGKILL) == 0) return 3000;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

// The environment of a run under the allocation-failure shim. The
// sanitizers' runtime is preloaded after the shim, which it accepts only
// when told; its reports end the run with an exit status of its own.
std::vector<std::string> shimEnvironment(const std::string& shim) {
  return {"LD_PRELOAD=" + shim, "SOURCE_DATE_EPOCH=0",
          "ASAN_OPTIONS=verify_asan_link_order=0:exitcode=86", "UBSAN_OPTIONS=exitcode=86",
          "LSAN_OPTIONS=exitcode=86:print_suppressions=0:suppressions=" +
              std::string(PCD_SOURCE_DIR) + "/tests/alloc/shim/lsan.supp"};
}

// Runs of pcd-import under the shim in a scratch folder of its own, removed
// with everything in it afterwards; outputs go to its subfolder `output`.
class ShimRuns : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(fs::exists(program_) && fs::exists(shim_)) << "pcd-import or the shim is not built";
    char folderTemplate[] = "/tmp/pcd-alloc-XXXXXX";
    ASSERT_NE(mkdtemp(folderTemplate), nullptr);
    scratch_ = folderTemplate;
    fs::create_directory(outputFolder());
  }
  void TearDown() override { fs::remove_all(scratch_); }

  std::string outputFolder() const { return scratch_ + "/output"; }
  std::string scratchFile(const std::string& name) const { return scratch_ + "/" + name; }

  // Runs `argv` with allocation `failAt` failing; 0 fails none and counts
  // them instead, the program's and those of the processes it forks.
  int run(const std::vector<std::string>& argv, long failAt, int seconds = 600) {
    std::vector<std::string> env = shimEnvironment(shim_);
    env.push_back(failAt == 0 ? "PCD_ALLOCATION_COUNT=" + scratchFile("count")
                              : "PCD_FAIL_ALLOCATION=" + std::to_string(failAt));
    return runProgram(argv, env, scratchFile("stdout"), scratchFile("stderr"), seconds);
  }
  std::string out() const { return readFile(scratch_ + "/stdout"); }
  std::string err() const { return readFile(scratch_ + "/stderr"); }
  long countedAllocations() const { return std::atol(readFile(scratchFile("count")).c_str()); }

  // Runs `argv`, which writes `output`, once clean and then with each of
  // the allocations `points` picks of the clean run's total failing. Each
  // run ends in exit 0 with the clean output, or in exit 1 with no output
  // file, the clean run's messages up to the failure and then one line
  // that starts with `prefix`; no other file is left in the output folder,
  // and nothing is written to standard output.
  void sweepOutput(const std::vector<std::string>& argv, const std::string& output,
                   const std::function<std::vector<long>(long)>& points, const std::string& prefix,
                   int seconds) {
    ASSERT_EQ(run(argv, 0), 0) << err();
    const std::string clean = readFile(output);
    const std::string cleanErrors = err();
    ASSERT_FALSE(clean.empty());
    const long total = countedAllocations();
    ASSERT_GT(total, 0);
    long runs = 0, failed = 0;
    for (const long n : points(total)) {
      fs::remove(output);
      const int status = run(argv, n, seconds);
      const std::string errors = err();
      ++runs;
      SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total) + ": exit " +
                   std::to_string(status) + ": " + errors);
      if (status == 0) {
        EXPECT_TRUE(readFile(output) == clean);
      } else {
        ++failed;
        EXPECT_EQ(status, 1);
        EXPECT_FALSE(fs::exists(output));
        const size_t lastLine = errors.rfind('\n', errors.size() - 2);
        const std::string before =
            lastLine == std::string::npos ? "" : errors.substr(0, lastLine + 1);
        const std::string message = errors.substr(before.size());
        EXPECT_EQ(cleanErrors.compare(0, before.size(), before), 0);
        EXPECT_TRUE(message.size() > prefix.size() + 1 && message.rfind(prefix, 0) == 0 &&
                    message.back() == '\n' && cleanErrors.find(message) == std::string::npos);
      }
      EXPECT_EQ(std::distance(fs::directory_iterator(outputFolder()), fs::directory_iterator()),
                status == 0 ? 1 : 0);  // no temporary file left
      EXPECT_EQ(out(), "");            // not even a library's last words
      if (::testing::Test::HasFailure()) break;
    }
    std::printf("  %ld of %ld allocations failed in turn: %ld runs failed\n", runs, total, failed);
  }

  const std::string program_ = PCD_BIN_DIR "/pcd-import";
  const std::string shim_ = PCD_BIN_DIR "/libpcd_alloc_shim.so";

 private:
  std::string scratch_;
};

// Allocation 1, every stride-th and the last `tail` of `total`, with the
// stride that keeps about `every` runs.
std::function<std::vector<long>(long)> strided(long every, long tail) {
  return [every, tail](long total) {
    const long stride = total <= every ? 1 : (total + every - 1) / every;
    std::vector<long> points;
    for (long n = 1; n <= total; ++n) {
      if (n == 1 || n % stride == 0 || n > total - tail) points.push_back(n);
    }
    return points;
  };
}

}  // namespace

TEST_F(ShimRuns, EveryAllocationOfAProgramRunFailsCleanly) {
  const std::string output = outputFolder() + "/out.json";
  // Every allocation up to the first figure; beyond, a stride that keeps
  // about that many runs, plus the last ones (writing the output, deleting
  // the model). A sanitized run costs about 0.2 s of processor time: there
  // about 80 points and the last 40 keep the sweep near half a minute.
#if defined(__SANITIZE_ADDRESS__)
  const auto points = strided(80, 40);
#else
  const auto points = strided(700, 200);
#endif
  sweepOutput({program_, "-q", PCD_SOURCE_DIR "/examples/sample.pcd", "-o", output}, output, points,
              "", 600);
}

// The diagrams of the svg and html formats are drawn by Graphviz in a child
// process, whose libraries abort or crash when an allocation fails: runs on
// a schema of 40 tables with foreign keys, failing at evenly spaced points
// of the program's and (past the fork) the drawing process's allocations. A
// run takes about half a second (several under the address sanitizer).
TEST_F(ShimRuns, DrawingFormatsFailCleanlyWhenGraphvizRunsOutOfMemory) {
  const std::string input = scratchFile("schema.pcd");
  ASSERT_EQ(std::system((PCD_BIN_DIR "/generate_pcd 40 3 > " + input).c_str()), 0);
#if defined(__SANITIZE_ADDRESS__)
  const long kSamples = 10;
#else
  const long kSamples = 30;
#endif
  const auto evenly = [kSamples](long total) {
    std::vector<long> points;
    for (long sample = 1; sample <= kSamples; ++sample)
      points.push_back(sample * total / (kSamples + 1));
    return points;
  };
  for (const std::string format : {"html", "svg"}) {
    SCOPED_TRACE(format);
    const std::string output = outputFolder() + "/out." + format;
    sweepOutput({program_, "-q", "-f", format, input, "-o", output}, output, evenly,
                "pcd-import: ", 120);
    fs::remove(output);
  }
}

// `check` on a file with faults, one allocation failing at a time:
// every run either gives the clean run's report and status, or ends with
// status 4 ("could not check") and says why. An out-of-memory turned into a
// rejected line, a lost name or a file that looks unreadable would show a
// different report.
TEST_F(ShimRuns, CheckNeverReportsFindingsItDidNotFind) {
  const std::vector<std::string> argv = {program_, "check",
                                         PCD_SOURCE_DIR "/tests/data/check_faults.pcd"};
  ASSERT_EQ(run(argv, 0), 1) << err();
  const std::string clean = out();
  ASSERT_NE(clean.find("errors, "), std::string::npos) << clean;
  const long total = countedAllocations();
  ASSERT_GT(total, 0);
  // A sample of the points: every kind of allocation is met many times.
#if defined(__SANITIZE_ADDRESS__)
  const std::vector<long> points = strided(80, 0)(total);
#else
  const std::vector<long> points = strided(200, 0)(total);
#endif
  long failed = 0;
  for (const long n : points) {
    const int status = run(argv, n);
    const std::string errors = err();
    SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total) + ": exit " +
                 std::to_string(status) + ": " + errors);
    if (status == 1) {
      EXPECT_EQ(out(), clean);
      EXPECT_EQ(errors, "");
    } else {
      ++failed;
      EXPECT_EQ(status, 4);
      EXPECT_TRUE(errors == "pcd-import check: out of memory\n" ||
                  errors == "pcd-import check: cannot write to standard output\n");
    }
    if (::testing::Test::HasFailure()) break;
  }
  std::printf("  %zu of %ld allocations failed in turn: %ld runs could not check\n", points.size(),
              total, failed);
}
