#include "zel_keyed_hash.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zel_hash {
namespace {

// Fills `bytes` from getrandom (waiting for the pool once at boot), else
// from /dev/urandom. A clock or an address is no key: it can be guessed.
bool randomBytes(void* bytes, size_t count, std::string& error) {
  auto* at = static_cast<unsigned char*>(bytes);
  size_t filled = 0;
  while (filled < count) {
    const ssize_t got = getrandom(at + filled, count - filled, 0);
    if (got > 0) {
      filled += static_cast<size_t>(got);
    } else if (got < 0 && errno != EINTR) {
      break;
    }
  }
  if (filled == count) return true;
  error = std::string("getrandom: ") + std::strerror(errno);
  const int fd = ::open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    error += std::string("; /dev/urandom: ") + std::strerror(errno);
    return false;
  }
  filled = 0;
  while (filled < count) {
    const ssize_t got = ::read(fd, at + filled, count - filled);
    if (got > 0) {
      filled += static_cast<size_t>(got);
    } else if (got == 0 || errno != EINTR) {
      break;
    }
  }
  ::close(fd);
  if (filled == count) return true;
  error += "; /dev/urandom: short read";
  return false;
}

struct DrawnKey {
  SipKey key{0, 0};
  bool drawn = false;
  std::string error;
  DrawnKey() { drawn = randomBytes(&key, sizeof key, error); }
};

// Drawn once; a function-local static so that tables built while other
// libraries initialise already see the final key.
const DrawnKey& drawnKey() {
  static const DrawnKey drawn;
  return drawn;
}

}  // namespace

bool drawProcessKey(std::string& error) {
  const DrawnKey& drawn = drawnKey();
  if (!drawn.drawn) {
    error = "no random bytes for the hash tables' key (" + drawn.error + ")";
    return false;
  }
  detail::drawnKey.store(&drawn.key, std::memory_order_release);
  return true;
}

std::atomic<const SipKey*> detail::drawnKey{nullptr};

const SipKey& processKey() noexcept {
  const DrawnKey& drawn = drawnKey();
  if (!drawn.drawn) {
    std::fprintf(stderr, "no random bytes for the hash tables' key (%s)\n", drawn.error.c_str());
    std::abort();
  }
  detail::drawnKey.store(&drawn.key, std::memory_order_release);
  return drawn.key;
}

}  // namespace zel_hash
