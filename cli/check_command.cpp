#include "check_command.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "extract_checker.h"
#include "json_writer.h"
#include "subcommand_arguments.h"
#include "zel_text_io.h"

namespace pcd::cli {

namespace {

constexpr int kExitClean = 0;
constexpr int kExitProblems = 1;
constexpr int kExitUsage = 2;        // also: a file that cannot be read
constexpr int kExitCannotCheck = 4;  // out of memory, a failure of the check itself

const char kCheckUsage[] =
    "Usage: pcd-import check [--format text|json] [--max-line-bytes N] FILE...\n"
    "Lists every problem of each PCD file with its line number, in one pass:\n"
    "lines the import rejects, missing ids and ids of the wrong kind, duplicate\n"
    "ids, records the import skips (tables placed at something that is neither a\n"
    "schema nor a catalog among them), counted strings whose count ends inside\n"
    "their field.\n"
    "--strict is now 'pcd-import lint', whose rules table-without-primary-key,\n"
    "foreign-key-without-index, table-without-description and\n"
    "column-without-description are the four checks it added, among others.\n"
    "Exit status: 0 no errors (warnings allowed), 1 errors found, 2 usage error or\n"
    "a file that cannot be read, 4 the check could not be done (out of memory,\n"
    "standard output not writable).\n";

struct CheckOptions {
  std::vector<std::string> files;
  bool json = false;
};

struct FileResult {
  std::string file;
  std::string openError;  // empty: the file was read
  CheckReport report;
};

int usage(const std::string& message) {
  std::fprintf(stderr, "pcd-import check: %s\nTry 'pcd-import check --help'.\n", message.c_str());
  return kExitUsage;
}

// Parses the subcommand's arguments; returns -1 when the run goes on.
int parse(int argc, const char* const* argv, CheckOptions& options) {
  SubcommandArguments arguments(argc, argv);
  while (arguments.next()) {
    const std::string& argument = arguments.current();
    std::string text;
    if (arguments.isOperand()) {
      options.files.push_back(argument);
    } else if (argument == "-h" || argument == "--help") {
      std::fputs(kCheckUsage, stdout);
      return std::fflush(stdout) == 0 ? kExitClean : kExitCannotCheck;
    } else if (argument == "--strict") {
      return usage(
          "--strict is now 'pcd-import lint' (rules table-without-primary-key, "
          "foreign-key-without-index, table-without-description, column-without-description)");
    } else if (arguments.takeValue("--format", text) || arguments.takeValue("-f", text)) {
      if (text != "text" && text != "json") {
        return usage("unknown format '" + text + "'; choose text or json");
      }
      options.json = text == "json";
    } else if (arguments.takeValue("--max-line-bytes", text)) {
      std::size_t bytes = 0;
      if (!parseByteCount(text, bytes)) {
        return usage("--max-line-bytes needs a positive number of bytes");
      }
      setMaxLineBytes(bytes);
    } else {
      return usage("unknown option '" + argument + "'");
    }
  }
  if (options.files.empty()) return usage("no file to check");
  return -1;
}

FileResult checkFile(const std::string& file) {
  FileResult result{file, "", {}};
  std::ifstream opened;
  std::istream* in = &std::cin;
  if (file != "-") {
    opened.open(file, std::ios::in | std::ios::binary);
    const int error = errno;
    if (!opened && error == ENOMEM) throw std::bad_alloc();
    if (!opened) {
      result.openError = std::strerror(error);
      return result;
    }
    in = &opened;
  }
  // A failure inside the stream (out of memory among them) is thrown as it
  // is, not turned into an end of the file that would look checked.
  in->exceptions(std::ios::badbit);
  try {
    result.report = checkExtract(*in);
  } catch (const std::ios_base::failure&) {
    result.openError = "read error";
  }
  return result;
}

std::string plural(long count, const char* word) {
  return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

void printText(const std::vector<FileResult>& results, long errors, long warnings) {
  for (const FileResult& result : results) {
    if (!result.openError.empty()) {
      std::printf("%s: error: cannot read the file: %s\n", result.file.c_str(),
                  result.openError.c_str());
      continue;
    }
    for (const CheckFinding& finding : result.report.findings) {
      std::printf("%s:%ld: %s: %s\n", result.file.c_str(), finding.line,
                  finding.error ? "error" : "warning", finding.message.c_str());
    }
  }
  std::printf("%s, %s in %s\n", plural(errors, "error").c_str(),
              plural(warnings, "warning").c_str(),
              plural(static_cast<long>(results.size()), "file").c_str());
}

bool printJson(const std::vector<FileResult>& results, long errors, long warnings) {
  writers::JsonWriter json(stdout);
  json.beginObject();
  json.key("files");
  json.beginArray();
  for (const FileResult& result : results) {
    json.beginObject();
    json.key("file");
    json.string(result.file);
    if (!result.openError.empty()) {
      json.key("readError");
      json.string(result.openError);
    }
    json.key("lines");
    json.integer(result.report.lines);
    json.key("records");
    json.integer(result.report.records);
    json.key("findings");
    json.beginArray();
    for (const CheckFinding& finding : result.report.findings) {
      json.beginObject();
      json.key("line");
      json.integer(finding.line);
      json.key("severity");
      json.string(finding.error ? "error" : "warning");
      json.key("message");
      json.string(finding.message);
      json.endObject();
    }
    json.endArray();
    json.endObject();
  }
  json.endArray();
  json.key("errors");
  json.integer(errors);
  json.key("warnings");
  json.integer(warnings);
  json.endObject();
  return json.finish();
}

int runCheck(int argc, const char* const* argv) {
  CheckOptions options;
  const int parsed = parse(argc, argv, options);
  if (parsed >= 0) return parsed;
  std::vector<FileResult> results;
  long errors = 0;
  long warnings = 0;
  bool unreadable = false;
  for (const std::string& file : options.files) {
    results.push_back(checkFile(file));
    const FileResult& result = results.back();
    unreadable = unreadable || !result.openError.empty();
    errors += result.report.errors() + (result.openError.empty() ? 0 : 1);
    warnings += result.report.warnings();
  }
  bool written = true;
  if (options.json) {
    written = printJson(results, errors, warnings);
  } else {
    printText(results, errors, warnings);
  }
  if (std::fflush(stdout) != 0 || !written) {
    std::fputs("pcd-import check: cannot write to standard output\n", stderr);
    return kExitCannotCheck;
  }
  if (unreadable) return kExitUsage;
  return errors > 0 ? kExitProblems : kExitClean;
}

}  // namespace

int runCheckCommand(int argc, const char* const* argv) {
  // Either ends the check without a verdict: no finding may be taken for one.
  try {
    return runCheck(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fputs("pcd-import check: out of memory\n", stderr);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "pcd-import check: %s\n", failure.what());
  }
  return kExitCannotCheck;
}

}  // namespace pcd::cli
