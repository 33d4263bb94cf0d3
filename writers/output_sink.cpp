#include "output_sink.h"

#include <cerrno>
#include <cstring>

namespace pcd::writers {

bool putFile(OutputSink& sink, std::string_view name, std::string_view bytes) {
  std::FILE* out = sink.file(name);
  if (out == nullptr) return false;
  std::fwrite(bytes.data(), 1, bytes.size(), out);
  return true;
}

FolderSink::~FolderSink() {
  if (stream_ != nullptr) std::fclose(stream_);
}

std::FILE* FolderSink::file(std::string_view name) {
  if (!close()) return nullptr;
  names_.emplace_back(name);
  stream_ = std::fopen((folder_ + "/" + names_.back()).c_str(), "w");
  if (stream_ == nullptr)
    error_ = "cannot write '" + shown_ + "/" + names_.back() + "': " + std::strerror(errno);
  return stream_;
}

bool FolderSink::close() {
  if (stream_ == nullptr) return error_.empty();
  const bool written = std::ferror(stream_) == 0;
  const bool closed = std::fclose(stream_) == 0;
  stream_ = nullptr;
  if (!written || !closed) {
    error_ = "cannot write '" + shown_ + "/" + names_.back() + "': " + std::strerror(errno);
  }
  return error_.empty();
}

bool FolderSink::finish() {
  if (!close()) return false;
  std::string list;
  for (const std::string& name : names_) list += name + "\n";
  return putFile(*this, kFolderFileList, list) && close();
}

}  // namespace pcd::writers
