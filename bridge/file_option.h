// The bridge's one option, the PCD file: how it is made for the host's option
// list, and how a caller that drives the bridge directly fills it in.
#pragma once

#include "zel_options.h"

// Appends a new PCD file option, with its extension "pcd" and no value, to
// `options`, which takes it. Returns the option.
ZELBridgeOption* addFileOption(ZELOptionList& options);
// Appends a PCD file option whose value is `path` (UTF-8).
ZELBridgeOption* addFileOption(ZELOptionList& options, const char* path);
