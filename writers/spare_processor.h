// Whether a second thread would have a processor of its own right now.
#pragma once

namespace pcd::writers {

// True when the machine has more than one processor and fewer tasks are
// running than there are processors (this program's own thread included).
// A helper thread pays only on a free processor; on a busy one it slows the
// thread it was meant to help.
bool spareProcessor();

}  // namespace pcd::writers
