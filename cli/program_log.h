// The log the user sees on standard error: the bridge's events as the import
// runs, the program's own messages, and the failure that ends a run, as
// text lines or as one JSON object per event. It also counts warnings (for
// --fail-on-warning) and times the phases of the run (for --verbose).
#pragma once

#include <chrono>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "zel_log.h"

namespace pcd::cli {

enum class LogFormat { kText, kJson };

// Facts about a failure that the text alone does not carry; empty fields
// are left out.
struct FailureContext {
  std::string file;                // the input as the user named it
  long line = 0;                   // 0: no line
  std::string lineStart;           // the start of that line
  std::string explanation;         // what is wrong in it
  std::vector<std::string> notes;  // further lines: related records and the like
};

class ProgramLog : public ZELLog {
 public:
  // `minimumLevel`: events below it are counted but not shown. `verbose`
  // adds the program's STATUS details (phases, counts, times).
  ProgramLog(std::FILE* out, LogFormat format, int minimumLevel, bool verbose);

  // An event of the bridge, shown as it happens.
  void logEvent(const ZELLogEvent& event) override;
  // A message of the program itself (code from program_messages.h).
  void program(int level, const char* code, const std::string& text);
  // The failure that ends the run: `message` is a catalogued exception text
  // ("[CODE] text") or the program's own; shown whatever the minimum level.
  void failure(const std::string& message, const FailureContext& context);

  // A failure of the program itself: "pcd-import: TEXT" as text, an event
  // with `code` as JSON.
  void programFailure(const char* code, const std::string& text);

  // Phase timing: begin a named phase (ending the one before) or end the
  // current one. Bridge STATUS events begin phases of their own.
  void beginPhase(const std::string& name);
  void endPhase();
  // (name, seconds) of every phase ended so far, in order.
  const std::vector<std::pair<std::string, double>>& phases() const { return phases_; }
  double secondsSinceStart() const;

  long warningCount() const { return warnings_; }
  bool verbose() const { return verbose_; }

 private:
  void emit(int level, const std::string& code, const std::string& text,
            const FailureContext* context);

  std::FILE* out_;
  LogFormat format_;
  int minimumLevel_;
  bool verbose_;
  long warnings_ = 0;
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
  std::string phase_;  // empty: none running
  Clock::time_point phaseStart_;
  std::vector<std::pair<std::string, double>> phases_;
};

}  // namespace pcd::cli
