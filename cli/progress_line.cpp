#include "progress_line.h"

#include <dirent.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace pcd::cli {

namespace {

constexpr std::uintmax_t kDefaultThreshold = std::uintmax_t{16} << 20;
constexpr auto kRefresh = std::chrono::milliseconds(200);

std::string canonical(const std::string& path) {
  char resolved[PATH_MAX];
  return realpath(path.c_str(), resolved) != nullptr ? std::string(resolved) : path;
}

// The descriptor of this process open on `path`, or -1.
long findDescriptor(const std::string& path) {
  DIR* folder = opendir("/proc/self/fd");
  if (folder == nullptr) return -1;
  long found = -1;
  while (const dirent* entry = readdir(folder)) {
    if (entry->d_name[0] == '.') continue;
    const std::string link = std::string("/proc/self/fd/") + entry->d_name;
    char target[PATH_MAX];
    const ssize_t length = readlink(link.c_str(), target, sizeof target - 1);
    if (length <= 0) continue;
    target[length] = '\0';
    const long descriptor = std::strtol(entry->d_name, nullptr, 10);
    if (path == target && descriptor != dirfd(folder)) {
      found = descriptor;
      break;
    }
  }
  closedir(folder);
  return found;
}

// The read position of `descriptor` from /proc/self/fdinfo; -1 when it is
// no longer open.
long long positionOf(long descriptor) {
  std::ifstream info("/proc/self/fdinfo/" + std::to_string(descriptor));
  std::string key;
  long long position = -1;
  while (info >> key) {
    if (key == "pos:") {
      info >> position;
      break;
    }
  }
  return position;
}

std::string megabytes(std::uintmax_t bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", static_cast<double>(bytes) / (1 << 20));
  return text;
}

}  // namespace

std::uintmax_t progressThresholdBytes() {
  const char* value = std::getenv("PCD_IMPORT_PROGRESS_BYTES");
  if (value == nullptr || *value == '\0') return kDefaultThreshold;
  char* end = nullptr;
  const unsigned long long bytes = std::strtoull(value, &end, 10);
  return *end == '\0' ? bytes : kDefaultThreshold;
}

ProgressLine::ProgressLine(const std::string& inputPath, std::uintmax_t size, bool wanted)
    : inputPath_(canonical(inputPath)), size_(size) {
  shown_ = wanted && isatty(STDERR_FILENO) != 0 && size >= progressThresholdBytes();
  if (shown_) start("starting...");
}

void ProgressLine::start(const std::string& firstText) {
  // The first line is drawn at once, so that even a short run shows it.
  std::fprintf(stderr, "\rpcd-import: %s\033[K", firstText.c_str());
  std::fflush(stderr);
  stopping_ = false;
  thread_ = std::thread([this] { run(); });
}

ProgressLine::~ProgressLine() {
  stop();
}

void ProgressLine::resume(const std::string& phase) {
  if (!shown_ || thread_.joinable()) return;
  phase_ = phase;
  start(phase_ + "...");
}

void ProgressLine::stop() {
  if (!thread_.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  thread_.join();
  std::fputs("\r\033[K", stderr);  // the line is cleared for what follows
  std::fflush(stderr);
}

std::string ProgressLine::currentText(long& descriptor) {
  if (!phase_.empty()) return phase_ + "...";
  if (descriptor < 0) descriptor = findDescriptor(inputPath_);
  const long long position = descriptor >= 0 ? positionOf(descriptor) : -1;
  if (position >= 0) {
    sawOpen_ = true;
    const unsigned percent = size_ > 0 ? static_cast<unsigned>(100 * position / size_) : 100;
    return "reading " + std::to_string(percent) + "% (" + megabytes(position) + " of " +
           megabytes(size_) + " MiB)";
  }
  descriptor = -1;
  // Closed after it was read: the bridge is building the model.
  return sawOpen_ ? "building the model..." : "starting...";
}

void ProgressLine::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  long descriptor = -1;
  while (!wake_.wait_for(lock, kRefresh, [this] { return stopping_; })) {
    const std::string text = "pcd-import: " + currentText(descriptor);
    std::fprintf(stderr, "\r%s\033[K", text.c_str());
    std::fflush(stderr);
  }
}

}  // namespace pcd::cli
