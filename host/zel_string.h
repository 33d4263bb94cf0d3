// ZELString: the host's byte string.
//
// Eight bytes wide: a pointer to a shared, reference-counted buffer, or null
// for the empty string. Copies share the buffer; the first write to a shared
// buffer makes a private copy. Bytes are stored as they are: no character set
// is assumed and embedded NUL bytes are kept (c_str() then stops early).
// Reference counts are not atomic: a string and its copies belong to one
// thread at a time, as everything in a model does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>

class ZELString {
 public:
  constexpr ZELString() noexcept : rep_(nullptr) {}
  // From a NUL-terminated byte string; null gives the empty string.
  ZELString(const char* text);  // NOLINT(google-explicit-constructor): strings convert freely
  ZELString(const char* bytes, size_t count);
  // The decimal text of a value ("-12").
  explicit ZELString(long value);

  ZELString(const ZELString& other) noexcept;
  ZELString(ZELString&& other) noexcept : rep_(other.rep_) { other.rep_ = nullptr; }
  ZELString& operator=(const ZELString& other) noexcept;
  ZELString& operator=(ZELString&& other) noexcept;
  ZELString& operator=(const char* text);
  ~ZELString();

  unsigned length() const noexcept { return rep_ ? rep_->length : 0; }
  bool isEmpty() const noexcept { return length() == 0; }
  // Always NUL-terminated; "" for the empty string.
  const char* c_str() const noexcept { return rep_ ? rep_->data : ""; }
  const char* data() const noexcept { return c_str(); }
  // Byte at `index`; 0 at or past the end.
  char operator[](unsigned index) const noexcept {
    return index < length() ? rep_->data[index] : '\0';
  }

  // `count` bytes from `start`, clipped to the string.
  ZELString mid(unsigned start, unsigned count) const;
  // The first `count` bytes (all of them when count >= length()).
  ZELString left(unsigned count) const;
  // Cuts the string to its first `count` bytes; longer counts change nothing.
  void truncate(unsigned count);
  // Replaces the content with `count` bytes from `bytes`, reusing the buffer
  // when it is unshared and large enough.
  void assign(const char* bytes, size_t count);
  void clear() noexcept;
  // Makes room for `capacity` bytes without changing the content.
  void reserve(size_t capacity);
  // Bytes the buffer holds without growing (0 for the empty string).
  size_t capacity() const noexcept { return rep_ ? rep_->capacity : 0; }

  // Direct filling, for readers that write into the string's own buffer:
  // writableBuffer makes the buffer unshared with room for `capacity` bytes
  // (content kept) and returns it; after writing, setLength(n) with
  // n <= capacity() fixes the length and writes the terminator.
  char* writableBuffer(size_t capacity);
  void setLength(size_t length) noexcept;

  ZELString& operator+=(const ZELString& other);
  ZELString& operator+=(const char* text);
  ZELString& append(const char* bytes, size_t count);
  ZELString& append(char byte) { return append(&byte, 1); }

  // Index of the first occurrence of `byte`, or -1.
  long indexOf(char byte) const noexcept;
  // The same hash as stringHashCode(c_str()) for text without NUL bytes.
  unsigned long hashCode() const noexcept;
  // Byte-wise comparison, negative/zero/positive as memcmp with the shorter
  // string ordered first.
  int compare(const ZELString& other) const noexcept;
  bool equals(const char* bytes, size_t count) const noexcept;

  friend bool operator==(const ZELString& a, const ZELString& b) noexcept {
    return a.equals(b.c_str(), b.length());
  }
  friend bool operator!=(const ZELString& a, const ZELString& b) noexcept { return !(a == b); }
  friend bool operator==(const ZELString& a, const char* b) noexcept;
  friend bool operator!=(const ZELString& a, const char* b) noexcept { return !(a == b); }
  friend bool operator<(const ZELString& a, const ZELString& b) noexcept {
    return a.compare(b) < 0;
  }

  // Longest string the host keeps, in bytes.
  static constexpr size_t kMaxLength = 0xFFFFFFF0u;

 private:
  struct Rep {
    uint32_t refs;
    uint32_t length;
    uint32_t capacity;  // bytes available for text, the terminator not counted
    char data[1];
  };
  static Rep* allocate(size_t capacity);
  void makeUnique(size_t capacity);
  void release() noexcept;

  Rep* rep_;
};

ZELString operator+(const ZELString& a, const ZELString& b);
ZELString operator+(const ZELString& a, const char* b);
ZELString operator+(const char* a, const ZELString& b);
std::ostream& operator<<(std::ostream& out, const ZELString& text);

// Hash of a NUL-terminated text; equals ZELString(text).hashCode().
unsigned long stringHashCode(const char* text) noexcept;

// The host's shared empty string.
extern const ZELString emptyString;
