// The context of a failed import that the bridge's message leaves out: the
// file, the line, the start of the line and what is wrong in it, or which
// records name a missing object. Found after the fact by reading the file
// again with the reader's own line checks; the failure is recognised by its
// catalogued message, and the bridge's messages stay as catalogued.
#pragma once

#include <string>

#include "input_file.h"
#include "program_log.h"

namespace pcd::cli {

// `failure` is the text the import ended with. Knows the line errors (the
// first line the reader rejects), missing objects and objects of the wrong
// type; for any other failure only the file.
FailureContext explainFailure(const std::string& failure, const InputFile& input);

// True when the file holds at least one entity or relationship line (after
// the first line, which is never data).
bool hasAnyRecord(const InputFile& input);

}  // namespace pcd::cli
