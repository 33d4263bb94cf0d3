// JsonWriter: writes one JSON document to a stdio stream as it goes, without
// building it in memory first: pretty-printed with two-space indentation
// (capped at 32 levels), or compact, with no white space at all.
//
// Callers open and close objects and arrays and write keys and scalar
// values; the writer places commas, line breaks and indentation. Strings are
// byte strings: they are escaped as JSON requires, and every byte that is not
// part of a well-formed UTF-8 sequence is written as U+FFFD, so the output is
// always valid UTF-8 whatever the input bytes.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

class JsonWriter {
 public:
  enum class Style { kPretty, kCompact };
  explicit JsonWriter(std::FILE* out, Style style = Style::kPretty);
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;

  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  // The member name inside an object; the next value written is its value.
  void key(std::string_view name);

  void string(std::string_view bytes);
  void integer(long long value);
  void boolean(bool value);
  void null();

  // Writes the final line break and hands everything to the stream. False
  // when the stream reported a write error at any point.
  bool finish();

  // Appends `bytes` to `out` as the content of a JSON string (no quotes).
  static void appendEscaped(std::string& out, std::string_view bytes);

 private:
  void beforeValue();
  void openContainer(char bracket);
  void closeContainer(char bracket);
  void newLine(size_t depth);
  void flushIfFull();
  // Appends to the buffer, which is written out (or grows) when full. Plain
  // copies into a buffer of our own: a document of a big model is tens of
  // millions of small appends.
  void put(char byte) {
    if (used_ == buffer_.size()) makeRoom(1);
    buffer_[used_++] = byte;
  }
  void put(const char* bytes, size_t count) {
    if (buffer_.size() - used_ < count) makeRoom(count);
    std::memcpy(buffer_.data() + used_, bytes, count);
    used_ += count;
  }
  void makeRoom(size_t count);
  void writeOut();

  struct Level {
    bool isObject;
    long members;  // values (or keys) written so far
  };

  std::FILE* out_;
  std::vector<char> buffer_;  // written to out_ in large blocks
  size_t used_ = 0;
  std::vector<Level> levels_;
  bool compact_;
  bool afterKey_ = false;
  bool failed_ = false;
};
