#include "zel_log.h"

namespace {
// Indexed by level; 0 has no word.
const char* const kSeverityWords[] = {nullptr, "STATUS", "INFO", "WARNING", "ERROR", "FATAL"};
constexpr int kLevelCount = sizeof kSeverityWords / sizeof kSeverityWords[0];
}  // namespace

int severityLevelOf(const ZELString& word) {
  for (int level = 1; level < kLevelCount; ++level) {
    if (word == kSeverityWords[level]) return level;
  }
  return 0;
}

const char* severityWordOf(int level) {
  return level > 0 && level < kLevelCount ? kSeverityWords[level] : "UNKNOWN";
}

void ZELPrintLog::logEvent(const ZELLogEvent& event) {
  if (!out_ || event.getLevel() < minimumLevel_) return;
  std::fputs(severityWordOf(event.getLevel()), out_);
  std::fputc(' ', out_);
  std::fwrite(event.getCode().c_str(), 1, event.getCode().length(), out_);
  std::fputc(' ', out_);
  std::fwrite(event.getText().c_str(), 1, event.getText().length(), out_);
  std::fputc('\n', out_);
  // One flush per event: a crash or a kill later still leaves every event shown.
  std::fflush(out_);
}
