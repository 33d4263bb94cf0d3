// The lines of an extract file as the reader numbers them, read in large
// blocks for the passes the program makes over a file besides the import.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>

namespace pcd::cli {

namespace detail {
constexpr size_t kLineBlockBytes = size_t{1} << 20;
}  // namespace detail

// Calls `visit(number, line)` for every line after the first, NUL-terminated
// without its line break, reading the file in large blocks: lines end at
// "\n" as the reader's do, and a "\r" before it is dropped. With `bits`,
// every byte of the file is or-ed into it on the way. False when the file
// cannot be read to its end.
template <class Visit>
bool forEachLine(const std::string& path, const std::atomic<bool>* stop, Visit visit,
                 unsigned char* bits = nullptr) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0 && errno == ENOMEM) throw std::bad_alloc();
  if (file < 0) return false;
  struct Closer {
    int file;
    ~Closer() { close(file); }
  } closer{file};
  std::unique_ptr<char[]> block(new char[detail::kLineBlockBytes + 1]);
  std::string pending;  // a line that runs on into the next block
  long number = 0;
  auto take = [&](char* line, size_t length) {
    if (++number == 1) return;
    if (length > 0 && line[length - 1] == '\r') --length;
    line[length] = '\0';
    visit(number, line);
  };
  for (;;) {
    if (stop != nullptr && stop->load(std::memory_order_relaxed)) return false;
    const ssize_t got = read(file, block.get(), detail::kLineBlockBytes);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    char* cursor = block.get();
    char* const end = cursor + got;
    if (bits != nullptr) {
      // Eight bytes at a time, then folded into one.
      uint64_t seen = 0;
      const char* at = cursor;
      for (; end - at >= 8; at += 8) {
        uint64_t word;
        std::memcpy(&word, at, sizeof word);
        seen |= word;
      }
      for (; at < end; ++at) seen |= static_cast<unsigned char>(*at);
      seen |= seen >> 32;
      seen |= seen >> 16;
      seen |= seen >> 8;
      *bits |= static_cast<unsigned char>(seen);
    }
    while (cursor < end) {
      char* const lineEnd = static_cast<char*>(std::memchr(cursor, '\n', end - cursor));
      if (lineEnd == nullptr) {
        pending.append(cursor, end);
        break;
      }
      if (pending.empty()) {
        take(cursor, static_cast<size_t>(lineEnd - cursor));
      } else {
        pending.append(cursor, lineEnd);
        take(&pending[0], pending.size());
        pending.clear();
      }
      cursor = lineEnd + 1;
    }
  }
  if (!pending.empty()) take(&pending[0], pending.size());
  return true;
}

}  // namespace pcd::cli
