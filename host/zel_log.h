// The host log: events and the receivers that keep or show them.
#pragma once

#include <cstdio>
#include <vector>

#include "zel_string.h"

// Severity levels of log events, in increasing order of gravity.
enum ZELSeverityLevel : int {
  ZEL_SEVERITY_STATUS = 1,
  ZEL_SEVERITY_INFO = 2,
  ZEL_SEVERITY_WARNING = 3,
  ZEL_SEVERITY_ERROR = 4,
  ZEL_SEVERITY_FATAL = 5,
};

// "STATUS", "INFO", "WARNING", "ERROR", "FATAL" to the level; 0 for any other word.
int severityLevelOf(const ZELString& word);
// The word of a level ("WARNING"); "UNKNOWN" for a level that has none.
const char* severityWordOf(int level);

class ZELLogEvent {
 public:
  ZELLogEvent(const ZELString& text, const ZELString& code, int level, const ZELString& extra)
      : text_(text), code_(code), extra_(extra), level_(level) {}

  const ZELString& getText() const { return text_; }
  const ZELString& getCode() const { return code_; }
  int getLevel() const { return level_; }
  const ZELString& getExtra() const { return extra_; }

 private:
  ZELString text_;
  ZELString code_;
  ZELString extra_;
  int level_;
};

// Receives log events. Subclasses decide what to do with them.
class ZELLog {
 public:
  virtual ~ZELLog() = default;
  virtual void logEvent(const ZELLogEvent& event) = 0;
};

// Keeps every event in memory, in order.
class ZELMemoryLog : public ZELLog {
 public:
  void logEvent(const ZELLogEvent& event) override { events_.push_back(event); }
  const std::vector<ZELLogEvent>& events() const { return events_; }
  void clear() { events_.clear(); }

 private:
  std::vector<ZELLogEvent> events_;
};

// Prints each event as one line "SEVERITY CODE text" to a stdio stream, as it
// happens, skipping events below a minimum level.
class ZELPrintLog : public ZELLog {
 public:
  explicit ZELPrintLog(FILE* out, int minimumLevel = ZEL_SEVERITY_STATUS)
      : out_(out), minimumLevel_(minimumLevel) {}
  void logEvent(const ZELLogEvent& event) override;

 private:
  FILE* out_;
  int minimumLevel_;
};

// Hands every event to two logs, in order.
class ZELTeeLog : public ZELLog {
 public:
  ZELTeeLog(ZELLog& first, ZELLog& second) : first_(first), second_(second) {}
  void logEvent(const ZELLogEvent& event) override {
    first_.logEvent(event);
    second_.logEvent(event);
  }

 private:
  ZELLog& first_;
  ZELLog& second_;
};
