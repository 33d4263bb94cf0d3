#include "output_folder.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unordered_set>

#include "temporary_files.h"
#include "zel_keyed_hash.h"

namespace pcd::cli {

namespace {

std::string systemError(const std::string& what, const std::string& path) {
  return what + " '" + path + "': " + std::strerror(errno);
}

// The names in a folder, without "." and "..". False when it cannot be read.
bool listFolder(const std::string& path, std::vector<std::string>& names) {
  DIR* folder = opendir(path.c_str());
  if (folder == nullptr) return false;
  while (const dirent* entry = readdir(folder)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(folder);
  return true;
}

// The names a file list holds, one a line; empty when there is none.
std::vector<std::string> readFileList(const std::string& path) {
  std::vector<std::string> names;
  std::FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) return names;
  std::string line;
  for (int c; (c = std::fgetc(file)) != EOF;) {
    if (c != '\n') {
      line += static_cast<char>(c);
    } else if (!line.empty()) {
      names.push_back(line);
      line.clear();
    }
  }
  std::fclose(file);
  return names;
}

// Removes the listed files of a folder and the folder, as far as it can
// (a clean-up: failures are not reported).
void removeFolder(const std::string& path, const std::vector<std::string>& names) {
  for (const std::string& name : names) unlink((path + "/" + name).c_str());
  rmdir(path.c_str());
}

}  // namespace

bool OutputFolder::open(const std::string& path, bool force, std::string& error) {
  path_ = path;
  while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
  struct stat status;
  if (stat(path_.c_str(), &status) != 0) {
    if (errno == ENOENT) return makeStaging(error);
    error = systemError("cannot use the output folder", path);
    return false;
  }
  if (!S_ISDIR(status.st_mode)) {
    error = "the output '" + path + "' is not a folder; this format writes a folder";
    return false;
  }
  exists_ = true;
  std::vector<std::string> names;
  if (!listFolder(path_, names)) {
    error = systemError("cannot read the output folder", path);
    return false;
  }
  previous_ = readFileList(path_ + "/" + writers::kFolderFileList);
  const std::unordered_set<std::string, zel_hash::TextHash> ours(previous_.begin(),
                                                                 previous_.end());
  for (const std::string& name : names) {
    if (name != writers::kFolderFileList && ours.count(name) == 0) foreign_ = true;
  }
  if (foreign_ && !force) {
    error = "the output folder '" + path +
            "' holds files this program did not write; choose a new or empty folder, or "
            "give --force to write into it";
    return false;
  }
  return makeStaging(error);
}

OutputFolder::~OutputFolder() {
  removeStaging();
}

bool OutputFolder::makeStaging(std::string& error) {
  std::string staging = path_ + ".tmp-XXXXXX";
  {
    // A signal waits until the folder is recorded for removal.
    const SignalsHeld held;
    if (mkdtemp(staging.data()) == nullptr) {
      error = systemError("cannot create a folder next to", path_);
      return false;
    }
    staging_.swap(staging);
    signalSlot_ = rememberTemporaryFolder(staging_);
  }
  // mkdtemp makes the folder private; give it the mode a new folder gets.
  const mode_t mask = umask(0);
  umask(mask);
  chmod(staging_.c_str(), 0777 & ~mask);
  return true;
}

void OutputFolder::removeStaging() {
  if (staging_.empty()) return;
  // Whatever a failed writer left in it: the folder is the run's own.
  std::vector<std::string> names;
  listFolder(staging_, names);
  removeFolder(staging_, names);
  forgetTemporaryFile(signalSlot_);
  signalSlot_ = -1;
  staging_.clear();
}

bool OutputFolder::commit(const std::vector<std::string>& names, std::string& error) {
  if (staging_.empty()) {
    error = "no folder was prepared next to '" + path_ + "'";
    return false;
  }
  // From here on the target changes: a signal waits until it is whole.
  const SignalsHeld held;
  // A folder of other files stays: ours move into it, the previous run's go.
  if (foreign_) {
    for (const std::string& name : names) {
      if (std::rename((staging_ + "/" + name).c_str(), (path_ + "/" + name).c_str()) != 0) {
        error = systemError("cannot move the files into", path_);
        removeStaging();
        return false;
      }
    }
    const std::unordered_set<std::string, zel_hash::TextHash> now(names.begin(), names.end());
    removeStaging();
    for (const std::string& name : previous_) {
      if (now.count(name) == 0) unlink((path_ + "/" + name).c_str());
    }
    return true;
  }
  // Our own folder (or an empty one) is swapped for the new one: renamed
  // over an empty placeholder, so that both names exist at every moment.
  std::string old;
  if (exists_) {
    old = path_ + ".old-XXXXXX";
    if (mkdtemp(old.data()) == nullptr || std::rename(path_.c_str(), old.c_str()) != 0) {
      error = systemError("cannot replace", path_);
      removeStaging();
      if (!old.empty()) rmdir(old.c_str());
      return false;
    }
  }
  if (std::rename(staging_.c_str(), path_.c_str()) != 0) {
    error = systemError("cannot replace", path_);
    if (exists_) std::rename(old.c_str(), path_.c_str());
    removeStaging();
    return false;
  }
  forgetTemporaryFile(signalSlot_);
  signalSlot_ = -1;
  staging_.clear();
  if (exists_) {
    std::vector<std::string> oldNames;
    listFolder(old, oldNames);
    removeFolder(old, oldNames);  // only files of ours: the folder held no other
  }
  return true;
}

}  // namespace pcd::cli
