#include "ascii_check.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <exception>
#include <memory>
#include <utility>

#include "spare_processor.h"

namespace {

constexpr size_t kBlockWords = size_t{1} << 17;  // 1 MiB a read
constexpr uint64_t kHighBits = 0x8080808080808080ull;

}  // namespace

AsciiCheck::AsciiCheck(std::string path) : path_(std::move(path)) {
  if (!spareProcessor()) return;
  try {
    scanner_ = std::thread([this] { scan(); });
  } catch (const std::exception&) {
    // No thread to be had: the file is read when the answer is asked for.
  }
}

AsciiCheck::~AsciiCheck() {
  if (scanner_.joinable()) {
    stop_ = true;  // a failed import no longer needs the answer
    scanner_.join();
  }
}

bool AsciiCheck::allAscii() {
  if (scanner_.joinable()) {
    scanner_.join();
  } else if (!done_) {
    scan();
  }
  return allAscii_;
}

void AsciiCheck::scan() noexcept {
  done_ = true;
  const int file = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return;
  // Whole words are or-ed together, so the block is read into words.
  std::unique_ptr<uint64_t[]> block(new (std::nothrow) uint64_t[kBlockWords]);
  bool ascii = block != nullptr;
  while (ascii && !stop_.load(std::memory_order_relaxed)) {
    const ssize_t got = read(file, block.get(), kBlockWords * sizeof(uint64_t));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      ascii = got == 0;  // the end of the file; an error leaves the answer unknown
      break;
    }
    const size_t bytes = static_cast<size_t>(got);
    uint64_t seen = 0;
    for (size_t word = 0; word < bytes / sizeof(uint64_t); ++word) seen |= block[word];
    const auto* tail = reinterpret_cast<const unsigned char*>(block.get());
    for (size_t at = bytes - bytes % sizeof(uint64_t); at < bytes; ++at) seen |= tail[at];
    ascii = (seen & kHighBits) == 0;
  }
  close(file);
  allAscii_ = ascii && !stop_.load(std::memory_order_relaxed);
}
