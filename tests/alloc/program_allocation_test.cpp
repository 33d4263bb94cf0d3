// Whole runs of pcd-import on the sample (loading the plug-in, the import,
// writing the JSON, deleting the model), each with one allocation made to
// fail by a preloaded shim that fails malloc, calloc, realloc and operator
// new alike. Every run must end in exit 0 with the clean run's output, or in
// exit 1 with its message and no file written: never a crash, an abort, a
// sanitizer report or a leftover temporary file.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

bool exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> names;
  if (DIR* dir = opendir(folder.c_str())) {
    while (const dirent* entry = readdir(dir)) {
      const std::string name = entry->d_name;
      if (name != "." && name != "..") names.push_back(name);
    }
    closedir(dir);
  }
  return names;
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
          "LSAN_OPTIONS=exitcode=86:suppressions=" + std::string(PCD_SOURCE_DIR) +
              "/tests/alloc/shim/lsan.supp"};
}

}  // namespace

TEST(AllocationFailure, EveryAllocationOfAProgramRunFailsCleanly) {
  const std::string bin = PCD_BIN_DIR;
  const std::string program = bin + "/pcd-import";
  const std::string shim = bin + "/libpcd_alloc_shim.so";
  const std::string sample = std::string(PCD_SOURCE_DIR) + "/examples/sample.pcd";
  ASSERT_TRUE(exists(program) && exists(shim)) << "pcd-import or the shim is not built";
  ASSERT_TRUE(exists(sample)) << "examples/sample.pcd is missing";

  char folderTemplate[] = "/tmp/pcd-alloc-XXXXXX";
  ASSERT_NE(mkdtemp(folderTemplate), nullptr);
  const std::string folder = folderTemplate;
  const std::string output = folder + "/out.json";
  const std::string out = "/tmp/" + folder.substr(5) + ".stdout";
  const std::string err = "/tmp/" + folder.substr(5) + ".stderr";
  const std::string countFile = "/tmp/" + folder.substr(5) + ".count";
  const std::vector<std::string> argv = {program, "-q", sample, "-o", output};
  const std::vector<std::string> baseEnv = shimEnvironment(shim);

  std::vector<std::string> env = baseEnv;
  env.push_back("PCD_ALLOCATION_COUNT=" + countFile);
  ASSERT_EQ(runProgram(argv, env, out, err), 0) << readFile(err);
  const std::string clean = readFile(output);
  const std::string cleanErrors = readFile(err);
  ASSERT_FALSE(clean.empty());
  const long total = std::atol(readFile(countFile).c_str());
  ASSERT_GT(total, 0);

  // Every allocation up to kEvery; beyond, a stride that keeps about that
  // many runs, plus the last kTail (writing the output, deleting the model).
  // A sanitized run costs about 0.2 s of processor time: there every third
  // of the sample's 635 points and the last 100 keep the sweep near a minute.
#if defined(__SANITIZE_ADDRESS__)
  const long kEvery = 250;
  const long kTail = 100;
#else
  const long kEvery = 1500;
  const long kTail = 300;
#endif
  const long stride = total <= kEvery ? 1 : (total + kEvery - 1) / kEvery;
  long runs = 0, failed = 0;
  for (long n = 1; n <= total; ++n) {
    if (n % stride != 0 && n <= total - kTail && n != 1) continue;
    std::remove(output.c_str());
    env = baseEnv;
    env.push_back("PCD_FAIL_ALLOCATION=" + std::to_string(n));
    const int status = runProgram(argv, env, out, err);
    ++runs;
    const std::string errors = readFile(err);
    ASSERT_FALSE(status != 0 && errors.empty()) << "allocation " << n << ": exit " << status;
    SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total) + ": " +
                 errors);
    if (status == 0) {
      EXPECT_TRUE(readFile(output) == clean);
    } else {
      ++failed;
      EXPECT_EQ(status, 1);
      EXPECT_FALSE(exists(output));
      // The clean run's warnings up to the failure, then one message line.
      const size_t lastLine = errors.rfind('\n', errors.size() - 2);
      const std::string before =
          lastLine == std::string::npos ? "" : errors.substr(0, lastLine + 1);
      const std::string message = errors.substr(before.size());
      EXPECT_EQ(cleanErrors.compare(0, before.size(), before), 0);
      EXPECT_TRUE(message.size() > 1 && message.back() == '\n' &&
                  cleanErrors.find(message) == std::string::npos);
    }
    EXPECT_EQ(filesIn(folder).size(), status == 0 ? 1u : 0u);  // no temporary file left
    if (::testing::Test::HasFailure()) break;
  }
  std::printf("  %ld of %ld allocations failed in turn (stride %ld): %ld runs failed\n", runs,
              total, stride, failed);
  std::remove(output.c_str());
  rmdir(folder.c_str());
  std::remove(out.c_str());
  std::remove(err.c_str());
  std::remove(countFile.c_str());
}

// `check` on a file with faults, one allocation failing at a time:
// every run either gives the clean run's report and status, or ends with
// status 4 ("could not check") and says why. An out-of-memory turned into a
// rejected line, a lost name or a file that looks unreadable would show a
// different report.
TEST(AllocationFailure, CheckNeverReportsFindingsItDidNotFind) {
  const std::string bin = PCD_BIN_DIR;
  const std::string program = bin + "/pcd-import";
  const std::string shim = bin + "/libpcd_alloc_shim.so";
  const std::string faults = std::string(PCD_SOURCE_DIR) + "/tests/data/check_faults.pcd";
  ASSERT_TRUE(exists(program) && exists(shim)) << "pcd-import or the shim is not built";

  char folderTemplate[] = "/tmp/pcd-alloc-check-XXXXXX";
  ASSERT_NE(mkdtemp(folderTemplate), nullptr);
  const std::string folder = folderTemplate;
  const std::string out = folder + "/stdout";
  const std::string err = folder + "/stderr";
  const std::string countFile = folder + "/count";
  const std::vector<std::string> argv = {program, "check", faults};
  const std::vector<std::string> baseEnv = shimEnvironment(shim);

  std::vector<std::string> env = baseEnv;
  env.push_back("PCD_ALLOCATION_COUNT=" + countFile);
  ASSERT_EQ(runProgram(argv, env, out, err), 1) << readFile(err);
  const std::string clean = readFile(out);
  ASSERT_NE(clean.find("errors, "), std::string::npos) << clean;
  const long total = std::atol(readFile(countFile).c_str());
  ASSERT_GT(total, 0);

  // About a third of the points: every kind of allocation is met many times.
#if defined(__SANITIZE_ADDRESS__)
  const long kEvery = 150;
#else
  const long kEvery = 400;
#endif
  const long stride = total <= kEvery ? 1 : (total + kEvery - 1) / kEvery;
  long runs = 0, failed = 0;
  for (long n = 1; n <= total; n += stride) {
    env = baseEnv;
    env.push_back("PCD_FAIL_ALLOCATION=" + std::to_string(n));
    const int status = runProgram(argv, env, out, err);
    ++runs;
    const std::string errors = readFile(err);
    SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total) + ": exit " +
                 std::to_string(status) + ": " + errors);
    if (status == 1) {
      EXPECT_EQ(readFile(out), clean);
      EXPECT_EQ(errors, "");
    } else {
      ++failed;
      EXPECT_EQ(status, 4);
      EXPECT_TRUE(errors == "pcd-import check: out of memory\n" ||
                  errors == "pcd-import check: cannot write to standard output\n");
    }
    if (::testing::Test::HasFailure()) break;
  }
  std::printf("  %ld of %ld allocations failed in turn (stride %ld): %ld runs could not check\n",
              runs, total, stride, failed);
  for (const std::string& file : {out, err, countFile}) std::remove(file.c_str());
  rmdir(folder.c_str());
}

// The diagrams of the svg and html formats are drawn by Graphviz in a child
// process, whose libraries abort or crash when an allocation fails: whole
// runs on a schema of 40 tables with foreign keys, each with one allocation
// failing, in the program or (past the fork) in the drawing process. Each
// must end in exit 0 with the clean run's output, or exit 1 with one message
// line and no file: no crash, no hang, no helper process left running.
TEST(AllocationFailure, DrawingFormatsFailCleanlyWhenGraphvizRunsOutOfMemory) {
  const std::string bin = PCD_BIN_DIR;
  const std::string program = bin + "/pcd-import";
  const std::string shim = bin + "/libpcd_alloc_shim.so";
  ASSERT_TRUE(exists(program) && exists(shim) && exists(bin + "/generate_pcd"));
  char folderTemplate[] = "/tmp/pcd-alloc-draw-XXXXXX";
  ASSERT_NE(mkdtemp(folderTemplate), nullptr);
  const std::string folder = folderTemplate;
  const std::string scratch = "/tmp/" + folder.substr(5);
  const std::string input = scratch + ".pcd", out = scratch + ".stdout", err = scratch + ".stderr",
                    countFile = scratch + ".count";
  ASSERT_EQ(std::system((bin + "/generate_pcd 40 3 > " + input).c_str()), 0);
  const std::vector<std::string> baseEnv = shimEnvironment(shim);
  // Runs at evenly spaced points of the program's and the drawing process's
  // allocations: a run takes about half a second (several under the
  // address sanitizer).
#if defined(__SANITIZE_ADDRESS__)
  const long kSamples = 15;
#else
  const long kSamples = 45;
#endif
  for (const std::string format : {"html", "svg"}) {
    SCOPED_TRACE(format);
    const std::string output = folder + "/out." + format;
    const std::vector<std::string> argv = {program, "-q", "-f", format, input, "-o", output};
    std::vector<std::string> env = baseEnv;
    env.push_back("PCD_ALLOCATION_COUNT=" + countFile);
    std::remove((countFile + ".helper").c_str());
    ASSERT_EQ(runProgram(argv, env, out, err), 0) << readFile(err);
    const std::string clean = readFile(output);
    ASSERT_FALSE(clean.empty());
    const long total = std::max(std::atol(readFile(countFile).c_str()),
                                std::atol(readFile(countFile + ".helper").c_str()));
    ASSERT_GT(total, 0);
    long failed = 0, crashedHelpers = 0;
    for (long sample = 1; sample <= kSamples; ++sample) {
      const long n = sample * total / (kSamples + 1);
      std::remove(output.c_str());
      env = baseEnv;
      env.push_back("PCD_FAIL_ALLOCATION=" + std::to_string(n));
      const int status = runProgram(argv, env, out, err, 120);
      const std::string errors = readFile(err);
      SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total) + ": " +
                   errors);
      if (status == 0) {
        EXPECT_TRUE(readFile(output) == clean);
      } else {
        ++failed;
        EXPECT_EQ(status, 1);
        EXPECT_FALSE(exists(output));
        // One line, from the program.
        EXPECT_TRUE(errors.rfind("pcd-import: ", 0) == 0 && errors.back() == '\n' &&
                    errors.find('\n') == errors.size() - 1);
        if (errors.find("drawing process") != std::string::npos) ++crashedHelpers;
      }
      EXPECT_EQ(filesIn(folder).size(), status == 0 ? 1u : 0u);  // no temporary file left
      if (::testing::Test::HasFailure()) break;
    }
    std::printf(
        "  %s: %ld allocations failed one at a time of %ld: %ld runs failed (%ld in the "
        "drawing process)\n",
        format.c_str(), kSamples, total, failed, crashedHelpers);
    std::remove(output.c_str());
  }
  rmdir(folder.c_str());
  for (const std::string& file : {input, out, err, countFile, countFile + ".helper"}) {
    std::remove(file.c_str());
  }
}
