// The text of an imported model in the extract's own code page: the bridge
// keeps the file's bytes as they stand, so names and descriptions are
// converted to UTF-8 here, once, before any writer runs.
#pragma once

#include <string>

class ZELModel;

// True when iconv can convert from `encoding` to UTF-8.
bool isKnownEncoding(const std::string& encoding);

// True for the names of UTF-8 itself ("UTF-8", "utf8", ...).
bool isUtf8Name(const std::string& encoding);

// How many of the model's texts (names, descriptions, type names, server
// type values) are not well-formed UTF-8.
long countInvalidUtf8(ZELModel& model);

// Converts every text of the model from `encoding` to UTF-8. False, with
// `error` set, when a text holds bytes that are not valid in `encoding`.
bool convertModelToUtf8(ZELModel& model, const std::string& encoding, std::string& error);
