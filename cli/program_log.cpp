#include "program_log.h"

#include "json_writer.h"

namespace pcd::cli {

namespace {

void appendJsonString(std::string& out, const std::string& key, const std::string& value) {
  out += ",\"";
  out += key;
  out += "\":\"";
  writers::JsonWriter::appendEscaped(out, value);
  out += '"';
}

// "[CODE] text" split into its code and text; no code when not bracketed.
std::pair<std::string, std::string> splitCatalogued(const std::string& message) {
  if (message.size() > 2 && message[0] == '[') {
    const size_t close = message.find("] ");
    if (close != std::string::npos) {
      return {message.substr(1, close - 1), message.substr(close + 2)};
    }
  }
  return {"", message};
}

}  // namespace

ProgramLog::ProgramLog(std::FILE* out, LogFormat format, int minimumLevel, bool verbose)
    : out_(out), format_(format), minimumLevel_(minimumLevel), verbose_(verbose) {}

double ProgramLog::secondsSinceStart() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

void ProgramLog::beginPhase(const std::string& name) {
  endPhase();
  phase_ = name;
  phaseStart_ = Clock::now();
}

void ProgramLog::endPhase() {
  if (phase_.empty()) return;
  phases_.emplace_back(phase_, std::chrono::duration<double>(Clock::now() - phaseStart_).count());
  phase_.clear();
}

void ProgramLog::logEvent(const ZELLogEvent& event) {
  if (event.getLevel() == ZEL_SEVERITY_STATUS) {
    beginPhase(std::string(event.getText().c_str(), event.getText().length()));
  }
  emit(event.getLevel(), std::string(event.getCode().c_str(), event.getCode().length()),
       std::string(event.getText().c_str(), event.getText().length()), nullptr);
}

void ProgramLog::program(int level, const char* code, const std::string& text) {
  emit(level, code, text, nullptr);
}

void ProgramLog::programFailure(const char* code, const std::string& text) {
  if (format_ == LogFormat::kText) {
    failure("pcd-import: " + text, FailureContext{});
  } else {
    emit(ZEL_SEVERITY_FATAL, code, text, nullptr);
  }
}

void ProgramLog::failure(const std::string& message, const FailureContext& context) {
  if (format_ == LogFormat::kText) {
    // The catalogued text alone on its first line, as scripts match it;
    // the context follows as "FILE:LINE: ..." lines that editors understand.
    std::string text = message + "\n";
    const std::string where =
        context.file + (context.line > 0 ? ":" + std::to_string(context.line) : "") + ": ";
    if (!context.explanation.empty()) text += where + context.explanation + "\n";
    if (!context.lineStart.empty()) text += where + "| " + context.lineStart + "\n";
    for (const std::string& note : context.notes) text += context.file + ": " + note + "\n";
    std::fwrite(text.data(), 1, text.size(), out_);
    std::fflush(out_);
    return;
  }
  const auto [code, text] = splitCatalogued(message);
  emit(ZEL_SEVERITY_FATAL, code, text, &context);
}

void ProgramLog::emit(int level, const std::string& code, const std::string& text,
                      const FailureContext* context) {
  if (level >= ZEL_SEVERITY_WARNING && level < ZEL_SEVERITY_ERROR) ++warnings_;
  if (level < minimumLevel_ && level < ZEL_SEVERITY_FATAL) return;
  std::string line;
  if (format_ == LogFormat::kText) {
    line = std::string(severityWordOf(level)) + " " + code + " " + text + "\n";
  } else {
    line = "{\"severity\":\"";
    line += severityWordOf(level);
    line += '"';
    appendJsonString(line, "code", code);
    appendJsonString(line, "text", text);
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.6f", secondsSinceStart());
    line += ",\"seconds\":";
    line += seconds;
    if (context != nullptr) {
      if (!context->file.empty()) appendJsonString(line, "file", context->file);
      if (context->line > 0) line += ",\"line\":" + std::to_string(context->line);
      if (!context->lineStart.empty()) appendJsonString(line, "lineStart", context->lineStart);
      if (!context->explanation.empty()) {
        appendJsonString(line, "explanation", context->explanation);
      }
      if (!context->notes.empty()) {
        line += ",\"notes\":[";
        for (size_t i = 0; i < context->notes.size(); ++i) {
          line += i == 0 ? "\"" : ",\"";
          writers::JsonWriter::appendEscaped(line, context->notes[i]);
          line += '"';
        }
        line += ']';
      }
    }
    line += "}\n";
  }
  std::fwrite(line.data(), 1, line.size(), out_);
  // One flush per event: a crash or a kill later still leaves every event shown.
  std::fflush(out_);
}

}  // namespace pcd::cli
