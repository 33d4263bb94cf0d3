// Where a writer puts its bytes: the one file of a format that writes a
// file, or the files of a format that writes a folder. A writer asks the
// sink for a stream per file; the sink's owner puts the result in place.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
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
  // Writes `bytes` as the file `name`, whole. False when the file cannot be
  // started; write errors stay with the sink's owner, as the stream's do.
  virtual bool put(std::string_view name, std::string_view bytes);
};

// Writers build their text in a buffer and hand it to the stream in pieces
// of about this size, so that the buffer stays small however large the file.
constexpr size_t kOutputPiece = size_t{1} << 16;
// Writes `text` to `out` and empties it; a write error stays in the stream.
void writeOut(std::string& text, std::FILE* out);
// The same once `text` holds more than kOutputPiece bytes.
inline void writeOutIfFull(std::string& text, std::FILE* out) {
  if (text.size() > kOutputPiece) writeOut(text, out);
}

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

// A folder format's output, written file by file into `folder` (a new
// folder that its owner puts in place once the run succeeds, or removes):
// each file is finished and closed before the next starts, so a run holds
// one file's bytes at a time whatever the folder's size.
class FolderSink final : public OutputSink {
 public:
  // `shown` names the folder in messages (the target, not the new folder).
  FolderSink(std::string folder, std::string shown);
  FolderSink(const FolderSink&) = delete;
  FolderSink& operator=(const FolderSink&) = delete;
  ~FolderSink() override;
  std::FILE* file(std::string_view name) override;
  // One file made, written and closed by the system's calls: no stream, its
  // buffer and its look at the file, for each of a folder's many pages.
  bool put(std::string_view name, std::string_view bytes) override;
  // Finishes the last file, then writes the list of their names
  // (kFolderFileList). False, with error() set, when a file could not be
  // written.
  bool finish();
  // The files written, the list last once finished.
  const std::vector<std::string>& names() const { return names_; }
  // Why a file could not be written; "" while none failed.
  const std::string& error() const { return error_; }

 private:
  bool close();
  // Makes the file `name` in the folder and lists it: its descriptor, or -1
  // with error() set.
  int create(std::string_view name);
  // Sets error() for the last file listed, failed with `error` (an errno).
  void failed(int error);

  std::string folder_, shown_;
  // The folder, opened once: each file is made relative to it, without
  // the system walking the folder's path again. -1: by path.
  int folderDescriptor_ = -1;
  std::vector<std::string> names_;
  std::FILE* stream_ = nullptr;  // of names_.back(), until the next file
  std::string error_;
};

}  // namespace pcd::writers
