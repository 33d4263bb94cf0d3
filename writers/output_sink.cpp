#include "output_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace pcd::writers {

void writeOut(std::string& text, std::FILE* out) {
  std::fwrite(text.data(), 1, text.size(), out);
  text.clear();
}

bool OutputSink::put(std::string_view name, std::string_view bytes) {
  std::FILE* out = file(name);
  if (out == nullptr) return false;
  std::fwrite(bytes.data(), 1, bytes.size(), out);
  return true;
}

FolderSink::FolderSink(std::string folder, std::string shown)
    : folder_(std::move(folder)), shown_(std::move(shown)) {
  folderDescriptor_ = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

FolderSink::~FolderSink() {
  if (stream_ != nullptr) std::fclose(stream_);
  if (folderDescriptor_ >= 0) ::close(folderDescriptor_);
}

void FolderSink::failed(int error) {
  error_ = "cannot write '" + shown_ + "/" + names_.back() + "': " + std::strerror(error);
}

int FolderSink::create(std::string_view name) {
  names_.emplace_back(name);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
  const int descriptor = folderDescriptor_ >= 0
                             ? ::openat(folderDescriptor_, names_.back().c_str(), kFlags, 0666)
                             : ::open((folder_ + "/" + names_.back()).c_str(), kFlags, 0666);
  if (descriptor < 0) {
    failed(errno);
  }
  return descriptor;
}

std::FILE* FolderSink::file(std::string_view name) {
  if (!close()) return nullptr;
  const int descriptor = create(name);
  if (descriptor < 0) return nullptr;
  stream_ = ::fdopen(descriptor, "w");
  if (stream_ == nullptr) {
    failed(errno);
    ::close(descriptor);
  }
  return stream_;
}

bool FolderSink::put(std::string_view name, std::string_view bytes) {
  if (!close()) return false;
  const int descriptor = create(name);
  if (descriptor < 0) return false;
  int failure = 0;  // the first error, of writing or closing
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      failure = count < 0 ? errno : EIO;
      break;
    }
    bytes.remove_prefix(static_cast<size_t>(count));
  }
  if (::close(descriptor) != 0 && failure == 0) failure = errno;
  if (failure != 0) {
    failed(failure);
  }
  return true;
}

bool FolderSink::close() {
  if (stream_ == nullptr) return error_.empty();
  const bool written = std::ferror(stream_) == 0;
  const bool closed = std::fclose(stream_) == 0;
  stream_ = nullptr;
  if (!written || !closed) {
    failed(errno);
  }
  return error_.empty();
}

bool FolderSink::finish() {
  if (!close()) return false;
  std::string list;
  for (const std::string& name : names_) list += name + "\n";
  return put(kFolderFileList, list) && close();
}

}  // namespace pcd::writers
