#include "output_sink.h"

#include <cstdlib>

namespace pcd::writers {

bool putFile(OutputSink& sink, std::string_view name, std::string_view bytes) {
  std::FILE* out = sink.file(name);
  if (out == nullptr) return false;
  std::fwrite(bytes.data(), 1, bytes.size(), out);
  return true;
}

FolderSink::~FolderSink() {
  close();
}

std::FILE* FolderSink::file(std::string_view name) {
  if (!close()) return nullptr;
  stream_ = open_memstream(&bytes_, &size_);
  if (stream_ == nullptr) {
    failed_ = true;
    return nullptr;
  }
  files_.push_back({std::string(name), {}});
  return stream_;
}

bool FolderSink::close() {
  if (stream_ == nullptr) return !failed_;
  const bool written = std::ferror(stream_) == 0;
  failed_ |= std::fclose(stream_) != 0 || !written;
  stream_ = nullptr;
  if (!failed_) files_.back().bytes.assign(bytes_, size_);
  std::free(bytes_);
  bytes_ = nullptr;
  size_ = 0;
  return !failed_;
}

bool FolderSink::finish(std::vector<FolderFile>& files) {
  if (!close()) return false;
  std::string list;
  for (const FolderFile& file : files_) list += file.name + "\n";
  files = std::move(files_);
  files.push_back({kFolderFileList, std::move(list)});
  return true;
}

}  // namespace pcd::writers
