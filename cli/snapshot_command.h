// `pcd-import snapshot URL [-o FILE.pcd] [--schema NAME ...] [--system NAME]`:
// reads a live database's catalog and writes it as an extract.
#pragma once

namespace pcd::cli {

// `argv[0]` is "snapshot"; the subcommand's arguments follow.
int runSnapshotCommand(int argc, const char* const* argv);

}  // namespace pcd::cli
