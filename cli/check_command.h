// `pcd-import check [--format text|json] FILE...`: lists every
// problem of each extract with its line. Exit status 0 when no file has an
// error, 1 when one has, 2 for a usage error.
#pragma once

namespace pcd::cli {

// `argv[0]` is "check"; the subcommand's arguments follow.
int runCheckCommand(int argc, const char* const* argv);

}  // namespace pcd::cli
