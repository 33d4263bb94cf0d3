#include "zel_text_io.h"

#include <iconv.h>
#include <langinfo.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "zel_fault_injection.h"

namespace {

// The rest of a line that a lone "\r" split: its further segments are the
// next lines. Kept per stream through ios_base::pword, owned by the stream.
struct PendingSegments {
  ZELString text;             // the whole line as read, terminator stripped
  size_t next = 0;            // where the next segment starts
  bool active = false;        // a segment (possibly empty) is still due
  bool endAfterward = false;  // the input ended right after this line
};

int pendingSlot() {
  static const int slot = std::ios_base::xalloc();
  return slot;
}

void pendingCallback(std::ios_base::event event, std::ios_base& stream, int slot) {
  void*& stored = stream.pword(slot);
  if (event == std::ios_base::erase_event) {
    delete static_cast<PendingSegments*>(stored);
    stored = nullptr;
  } else if (event == std::ios_base::copyfmt_event) {
    // copyfmt copied the pointer from another stream, which keeps owning it.
    stored = nullptr;
  }
}

PendingSegments& pendingOf(std::istream& in) {
  void*& stored = in.pword(pendingSlot());
  if (!stored) {
    // Registered once per stream: the slot is empty only before the first
    // split (later splits reuse the object).
    stored = new PendingSegments();
    in.register_callback(pendingCallback, pendingSlot());
  }
  return *static_cast<PendingSegments*>(stored);
}

// Hands out the next segment of a split line.
bool takeSegment(std::istream& in, PendingSegments& pending, ZELString& line) {
  const char* base = pending.text.c_str();
  const size_t end = pending.text.length();
  const char* start = base + pending.next;
  const void* cr = std::memchr(start, '\r', end - pending.next);
  if (cr) {
    const size_t count = static_cast<size_t>(static_cast<const char*>(cr) - start);
    line.assign(start, count);
    pending.next += count + 1;
    return true;
  }
  line.assign(start, end - pending.next);
  pending.active = false;
  pending.text.clear();
  if (pending.endAfterward) in.setstate(std::ios_base::eofbit);
  return true;
}

// `line` (already stripped of a final "\r") holds a lone "\r" at `cr`: keep
// the line for the following calls and deliver its first segment.
void splitAtCarriageReturn(std::istream& in, ZELString& line, size_t cr) {
  PendingSegments& pending = pendingOf(in);
  pending.text = std::move(line);
  pending.next = cr + 1;
  pending.active = true;
  pending.endAfterward = in.eof();
  // More lines are due: the caller must not see the end of input yet.
  if (pending.endAfterward) in.clear(in.rdstate() & ~std::ios_base::eofbit);
  line.assign(pending.text.c_str(), cr);
}

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

bool getFullLine(std::istream& in, ZELString& line, int chunk) {
  zel_testing::faultPoint();
  if (void* stored = in.pword(pendingSlot())) {
    PendingSegments& pending = *static_cast<PendingSegments*>(stored);
    if (pending.active) return takeSegment(in, pending, line);
  }
  if (!in.good()) {
    // Failed or finished: report the end, so that loops testing eof stop.
    line.truncate(0);
    in.setstate(std::ios_base::eofbit);
    return false;
  }

  const size_t step = chunk < 32 ? 32 : static_cast<size_t>(chunk);
  size_t capacity = line.capacity() < step ? step : line.capacity();
  // Reads straight into the string's own buffer: each line is copied once,
  // and an unshared buffer that is large enough is reused without allocating.
  // A buffer shared with a copy of an earlier line is dropped, not copied.
  line.truncate(0);
  char* buffer = line.writableBuffer(capacity);
  size_t length = 0;
  for (;;) {
    // getline stores at most n-1 bytes plus a NUL: the buffer has capacity+1.
    in.getline(buffer + length, static_cast<std::streamsize>(capacity - length + 1), '\n');
    const size_t got = static_cast<size_t>(in.gcount());
    if (!in.fail()) {
      // Ended by "\n" (extracted and counted, not stored) or by end of input.
      length += in.eof() ? got : got - 1;
      break;
    }
    if (got == capacity - length && !in.eof() && !in.bad()) {
      // The buffer is full and the line goes on: grow and read the rest.
      length += got;
      in.clear(in.rdstate() & ~std::ios_base::failbit);
      const size_t growth = capacity > step ? capacity : step;
      capacity =
          capacity + growth > ZELString::kMaxLength ? ZELString::kMaxLength : capacity + growth;
      if (capacity == length) {
        line.setLength(length);
        throw std::length_error("getFullLine: line too long");
      }
      buffer = line.writableBuffer(capacity);
      continue;
    }
    // Nothing more could be read: the input ended (possibly just after a
    // full buffer) or the stream failed.
    length += got;
    if (length > 0 && in.eof() && !in.bad()) in.clear(in.rdstate() & ~std::ios_base::failbit);
    break;
  }
  line.setLength(length);
  if (length == 0 && in.fail()) {
    in.setstate(std::ios_base::eofbit);
    return false;
  }

  if (length > 0 && buffer[length - 1] == '\r') line.setLength(--length);
  if (const void* cr = std::memchr(buffer, '\r', length)) {
    splitAtCarriageReturn(in, line, static_cast<size_t>(static_cast<const char*>(cr) - buffer));
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
