// Where a writer puts its bytes: the one file of a format that writes a
// file, or the files of a format that writes a folder. A writer asks the
// sink for a stream per file; the sink's owner puts the result in place.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace pcd::writers {

class OutputSink {
 public:
  virtual ~OutputSink() = default;
  // The stream of the next file, named `name` in the folder ("" for the one
  // file of a format that writes a file); the previous file is finished.
  // Write errors stay in the stream for the sink's owner. Null when the
  // file cannot be started (out of memory).
  virtual std::FILE* file(std::string_view name) = 0;
};

// Writes `bytes` as the sink's file `name`. False when the file cannot be
// started; write errors stay in the stream.
bool putFile(OutputSink& sink, std::string_view name, std::string_view bytes);

// A file format's output: one stream, whatever the name.
class StreamSink final : public OutputSink {
 public:
  explicit StreamSink(std::FILE* stream) : stream_(stream) {}
  std::FILE* file(std::string_view) override { return stream_; }

 private:
  std::FILE* stream_;
};

// The file, last of a folder's files, that names every file written there:
// the program recognises a folder it wrote by it.
constexpr char kFolderFileList[] = ".pcd-import-files";

// One file of a format that writes a folder: its name in the folder and
// its bytes.
struct FolderFile {
  std::string name;
  std::string bytes;
};

// A folder format's output, kept in memory until every file exists, so
// that the folder is changed only by a complete run.
class FolderSink final : public OutputSink {
 public:
  FolderSink() = default;
  FolderSink(const FolderSink&) = delete;
  FolderSink& operator=(const FolderSink&) = delete;
  ~FolderSink() override;
  std::FILE* file(std::string_view name) override;
  // The files written, then the list of their names (kFolderFileList).
  // False when a file's stream failed (out of memory).
  bool finish(std::vector<FolderFile>& files);

 private:
  bool close();

  std::vector<FolderFile> files_;
  std::FILE* stream_ = nullptr;  // of files_.back(), until the next file
  char* bytes_ = nullptr;
  size_t size_ = 0;
  bool failed_ = false;
};

}  // namespace pcd::writers
