// The PCD file the user named, made ready for the bridge: standard input
// ("-") becomes a file the bridge can open and the program can re-read, and
// a file that is not PCD text is refused before the import starts.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "unlinked_file.h"

namespace pcd::cli {

class InputFile {
 public:
  InputFile() = default;
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // Names the input: `argument`, "-" for standard input. Reads nothing yet,
  // so it can be compared with the output first. False with `error` set
  // when standard input cannot be examined.
  bool identify(const std::string& argument, std::string& error);
  // The largest input taken (--max-input-bytes): a longer stream's copy
  // stops there, a larger file is refused. 0: kDefaultMaxInputBytes.
  void setMaxInputBytes(std::uintmax_t bytes) { maxInputBytes_ = bytes; }
  static constexpr std::uintmax_t kDefaultMaxInputBytes = std::uintmax_t{64} << 30;  // 64 GiB

  // Makes the input ready for the bridge: a stream (standard input, a pipe,
  // a device) is copied to a file first, as far as the input limit and the
  // line limit (maxLineBytes()) allow. False with `error` set when that
  // copy fails or stops at a limit, or the file is recognisably not text; a file that cannot be
  // opened is left to the bridge, whose message says so.
  bool prepare(std::string& error);

  // The path handed to the bridge and used to re-read lines.
  const std::string& path() const { return path_; }
  // The name shown to the user: the argument, or "standard input".
  const std::string& shownName() const { return shownName_; }
  bool isStandardInput() const { return isStandardInput_; }
  // Size in bytes; 0 when unknown.
  std::uintmax_t size() const { return size_; }
  // True when `otherPath` names this very file (same device and inode,
  // whatever the name or link); false when either cannot be examined.
  bool isSameFileAs(const std::string& otherPath) const;

 private:
  bool copyStream(int descriptor, std::string& error);

  std::string path_;
  std::string shownName_;
  bool isStandardInput_ = false;
  std::uintmax_t size_ = 0;
  std::uintmax_t maxInputBytes_ = 0;
  bool identified_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  bool isStream_ = false;        // a pipe or device: read once, through a copy
  pcd::cli::UnlinkedFile copy_;  // the copy of a stream, if any
};

}  // namespace pcd::cli
