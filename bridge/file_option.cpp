#include "bridge/file_option.h"

#include <memory>

#include "bridge/messages/tav_cards.h"

namespace {

// File extensions offered for the PCD file option.
const char* kFileExtensions[] = {"pcd", nullptr};

}  // namespace

ZELBridgeOption* addFileOption(ZELOptionList& options) {
  // Held until the list has taken it, so that a failing add cannot leak it.
  std::unique_ptr<ZELBridgeOption> option(
      TAV_CARDS::BP_FILE.generateOption(true, kFileExtensions, "Default", true));
  options.options.add(option.get(), true, nullptr);
  return option.release();
}

ZELBridgeOption* addFileOption(ZELOptionList& options, const char* path) {
  ZELBridgeOption* option = addFileOption(options);
  option->setValue(path);
  return option;
}
