// `pcd-import lint [--config FILE] [--format text|json|sarif]
// [--fail-on error|warning|never] SOURCE...`: checks schema design rules on
// the imported model of each source. Exit status 0 clean, 1 findings at
// the --fail-on level, 2 usage, configuration or source error.
#pragma once

#include "lint_source.h"

namespace pcd::cli {

// `argv[0]` is "lint"; the subcommand's arguments follow.
int runLintCommand(int argc, const char* const* argv);
// The same with the sources read by `load` (made once the arguments are
// known; the plug-in path is one of them).
int runLint(int argc, const char* const* argv,
            const std::function<SourceLoader(const std::string& pluginPath, std::string& error)>&
                makeLoader);

}  // namespace pcd::cli
