// `pcd-import diff [--format text|json] [--input-encoding NAME] OLD NEW`:
// imports both extracts and lists what changed between their models. Exit
// status 0 when they are equal, 1 when they differ, 2 on error.
#pragma once

namespace pcd::cli {

// `argv[0]` is "diff"; the subcommand's arguments follow.
int runDiffCommand(int argc, const char* const* argv);

}  // namespace pcd::cli
