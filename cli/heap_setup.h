// Preparing the process heap for the model of a large import.
#pragma once

#include <cstdint>

namespace pcd::cli {

// An import of a large file makes millions of small model objects. Where the
// C library and the system allow it, this grows the heap once by a reserve
// sized for a file of `inputBytes` bytes and asks the system to back that
// reserve with transparent huge pages: far fewer page faults and TLB misses,
// about a fifth to a quarter of the import's time on files of 100 MB. Does
// nothing for small files, or where the heap is not the C library's own.
void prepareHeapForImport(uintmax_t inputBytes);

// Gives the system back the free pages of the heap, such as those of the
// record nodes and id tables an import freed. The heap does not fill those
// holes in the order it freed them, and a huge page stays resident while any
// byte of it is in use: without this, what a writer allocates after an
// import (names, plans, a second model) would add to the import's peak
// rather than take the memory the import no longer needs. Does nothing where
// the heap is not the C library's own.
void releaseFreedHeap();

}  // namespace pcd::cli
