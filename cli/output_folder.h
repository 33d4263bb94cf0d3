// Where a format that writes a folder puts its files (-o DIR). The folder is
// checked before the import, the files are written into a new folder next
// to it, and it changes only once every file is written: a failed run
// leaves it as it was.
#pragma once

#include <string>
#include <vector>

#include "model_writer.h"

namespace pcd::cli {

class OutputFolder {
 public:
  OutputFolder() = default;
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;
  // Removes the new folder when the run did not commit it.
  ~OutputFolder();

  // Accepts a folder that does not exist yet, an empty one, or one that
  // holds only files its file list (kFolderFileList) names, i.e. that this
  // program wrote; with `force` any folder. Creates the new folder next to
  // it at once, so that a location where nothing can be written is
  // reported before the import; a handled signal removes that folder at
  // any stage. False with `error` set otherwise.
  bool open(const std::string& path, bool force, std::string& error);
  // The new folder next to the target, where the files are written.
  const std::string& staging() const { return staging_; }
  // The path the files are meant for, as messages name it.
  const std::string& path() const { return path_; }
  // Puts the new folder, holding the files `names` (written there, the
  // file list among them), in place of the target (whose old files go).
  // Under --force into a folder holding other files, the new files are
  // moved into it instead, replacing files of the same name and the files
  // of the previous run, and the others stay. False with `error` set; the
  // target is then unchanged and the new folder gone.
  bool commit(const std::vector<std::string>& names, std::string& error);

 private:
  bool makeStaging(std::string& error);
  void removeStaging();

  std::string path_;
  std::string staging_;  // the new folder, until it is put in place
  int signalSlot_ = -1;
  bool exists_ = false;
  bool foreign_ = false;               // holds files this program did not write (only with force)
  std::vector<std::string> previous_;  // the files the previous run wrote
};

}  // namespace pcd::cli
