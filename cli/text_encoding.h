// The text of an imported model in the extract's own code page: the bridge
// keeps the file's bytes as they stand, so names and descriptions are
// converted to UTF-8 here, once, before any writer runs.
#pragma once

#include <string>

#include "zel_log.h"

class ZELModel;

namespace pcd::cli {

// True when iconv can convert from `encoding` to UTF-8.
bool isKnownEncoding(const std::string& encoding);

// True for the names of UTF-8 itself ("UTF-8", "utf8", ...).
bool isUtf8Name(const std::string& encoding);

// How many of the model's texts (names, descriptions, type names, server
// type values) are not well-formed UTF-8.
long countInvalidUtf8(ZELModel& model);

// Converts every text of the model from `encoding` to UTF-8. False, with
// `error` set, when a text holds bytes that are not valid in `encoding`.
bool convertModelToUtf8(ZELModel& model, const std::string& encoding, std::string& error);

// Passes log events on with their texts converted from `encoding` to UTF-8:
// the bridge's messages quote names as the file spells them. Passes them
// unchanged for UTF-8, and a text that is not valid in `encoding` (the
// model's conversion reports that).
class DecodingLog : public ZELLog {
 public:
  DecodingLog(ZELLog& next, const std::string& encoding);
  ~DecodingLog() override;
  DecodingLog(const DecodingLog&) = delete;
  DecodingLog& operator=(const DecodingLog&) = delete;
  void logEvent(const ZELLogEvent& event) override;

 private:
  ZELLog& next_;
  void* converter_ = nullptr;  // an iconv_t, or null to pass texts unchanged
};

}  // namespace pcd::cli
