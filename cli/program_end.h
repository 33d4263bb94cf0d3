// What every command of the program shares about its build and its end: the
// version text, and how a model is left behind when the program ends.
#pragma once

#include <memory>

#ifndef PCD_IMPORT_VERSION
#define PCD_IMPORT_VERSION "unknown"
#endif

#if defined(__has_feature)
#define PCD_HAS_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#else
#define PCD_HAS_ADDRESS_SANITIZER 0
#endif

namespace pcd::cli {

// The program ends soon after: deleting a large model object by object
// would take a sixth of the run, and the system takes the memory back at
// once. Builds with a leak checker delete it, so that the check still sees
// everything.
template <class Model>
void leaveForTheEnd(std::unique_ptr<Model>& model) {
#if !defined(__SANITIZE_ADDRESS__) && !PCD_HAS_ADDRESS_SANITIZER
  (void)model.release();
#else
  (void)model;
#endif
}

}  // namespace pcd::cli
