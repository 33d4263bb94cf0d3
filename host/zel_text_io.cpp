#include "zel_text_io.h"

#include <iconv.h>
#include <langinfo.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "zel_fault_injection.h"

namespace {

// Set by the program before an import and read per line: atomic, so that a
// reader never sees a torn value, relaxed, since nothing else hangs on it.
std::atomic<size_t> maxLineSetting{kDefaultMaxLineBytes};

bool isUtf8Codeset(const char* codeset) {
  // "UTF-8", "utf8", "UTF8" ... compared without case and dashes.
  char folded[8];
  size_t length = 0;
  for (const char* at = codeset; *at; ++at) {
    if (*at == '-' || *at == '_') continue;
    if (length == sizeof folded - 1) return false;
    char c = *at;
    folded[length++] = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
  }
  folded[length] = '\0';
  return std::strcmp(folded, "UTF8") == 0;
}

}  // namespace

void setMaxLineBytes(size_t bytes) noexcept {
  // One byte of the buffer is kept for a "\r" before the "\n".
  const size_t largest = ZELString::kMaxLength - 1;
  maxLineSetting.store(bytes == 0 ? kDefaultMaxLineBytes : (bytes > largest ? largest : bytes),
                       std::memory_order_relaxed);
}

size_t maxLineBytes() noexcept {
  return maxLineSetting.load(std::memory_order_relaxed);
}

bool getFullLine(std::istream& in, ZELString& line, int chunk) {
  zel_testing::faultPoint();
  if (!in.good()) {
    // Failed or finished: report the end, so that loops testing eof stop.
    line.truncate(0);
    in.setstate(std::ios_base::eofbit);
    return false;
  }

  // The buffer holds at most the longest line and a "\r" before its "\n".
  const size_t limit = maxLineBytes();
  const size_t most = limit + 1;
  const size_t step = chunk < 32 ? 32 : static_cast<size_t>(chunk);
  size_t capacity = line.capacity() < step ? step : line.capacity();
  if (capacity > most) capacity = most;
  // Reads straight into the string's own buffer: each line is copied once,
  // and an unshared buffer that is large enough is reused without allocating.
  // A buffer shared with a copy of an earlier line is dropped, not copied.
  line.truncate(0);
  char* buffer = line.writableBuffer(capacity);
  size_t length = 0;
  bool ended = false;  // by "\n"
  for (;;) {
    // getline stores at most n-1 bytes plus a NUL: the buffer has capacity+1.
    in.getline(buffer + length, static_cast<std::streamsize>(capacity - length + 1), '\n');
    const size_t got = static_cast<size_t>(in.gcount());
    if (!in.fail()) {
      // Ended by "\n" (extracted and counted, not stored) or by end of input.
      ended = !in.eof();
      length += ended ? got - 1 : got;
      break;
    }
    if (got == capacity - length && !in.eof() && !in.bad()) {
      // The buffer is full and the line goes on.
      length += got;
      if (capacity == most) {
        line.setLength(0);
        throw ZELLineTooLong();
      }
      in.clear(in.rdstate() & ~std::ios_base::failbit);
      const size_t growth = capacity > step ? capacity : step;
      capacity = capacity + growth > most ? most : capacity + growth;
      buffer = line.writableBuffer(capacity);
      continue;
    }
    // Nothing more could be read: the input ended (possibly just after a
    // full buffer) or the stream failed.
    length += got;
    if (length > 0 && in.eof() && !in.bad()) in.clear(in.rdstate() & ~std::ios_base::failbit);
    break;
  }
  if (ended && length > 0 && buffer[length - 1] == '\r') --length;
  if (length > limit) {
    line.setLength(0);
    throw ZELLineTooLong();
  }
  line.setLength(length);
  if (length == 0 && in.fail()) {
    in.setstate(std::ios_base::eofbit);
    return false;
  }
  return true;
}

ZELString utf8ToLocale(const char* utf8) {
  if (!utf8) return ZELString();
  const ZELString unchanged(utf8);
  const char* codeset = nl_langinfo(CODESET);
  if (!codeset || !*codeset || isUtf8Codeset(codeset)) return unchanged;

  iconv_t converter = iconv_open(codeset, "UTF-8");
  if (converter == reinterpret_cast<iconv_t>(-1)) return unchanged;
  // Closes the converter on every way out, an allocation failure included.
  struct Closer {
    iconv_t converter;
    ~Closer() { iconv_close(converter); }
  } closer{converter};
  std::vector<char> output(unchanged.length() * 4 + 16);
  char* in = const_cast<char*>(unchanged.c_str());
  size_t inLeft = unchanged.length();
  char* out = output.data();
  size_t outLeft = output.size();
  bool ok = true;
  for (;;) {
    // Once the input is used up, a call without input flushes the shift
    // state of stateful codesets.
    const bool flushing = inLeft == 0;
    const size_t result = flushing ? iconv(converter, nullptr, nullptr, &out, &outLeft)
                                   : iconv(converter, &in, &inLeft, &out, &outLeft);
    if (result != static_cast<size_t>(-1)) {
      if (flushing) break;
    } else if (errno == E2BIG) {
      const size_t used = static_cast<size_t>(out - output.data());
      output.resize(output.size() * 2);
      out = output.data() + used;
      outLeft = output.size() - used;
    } else {
      ok = false;  // not representable, or invalid UTF-8: keep the bytes
      break;
    }
  }
  if (!ok) return unchanged;
  return ZELString(output.data(), static_cast<size_t>(out - output.data()));
}
