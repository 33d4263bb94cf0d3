// ZELException: the host's exception; its text says what went wrong.
#pragma once

#include <exception>

#include "zel_string.h"

class ZELException : public std::exception {
 public:
  explicit ZELException(const ZELString& text) : text_(text) {}
  const ZELString& getText() const noexcept { return text_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  ZELString text_;
};
