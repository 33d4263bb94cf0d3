// The "sql" format: a DDL script that recreates the model's schemas, tables,
// columns, keys, foreign keys, index-only indexes and descriptions in one SQL
// dialect. What a dialect cannot take is written as a "-- " comment that
// says why, never as a statement that would fail.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "model_writer.h"
#include "sql_dialect.h"

namespace pcd::writers {

// Writes the script for the model to `out`. Returns "" or, when a name
// cannot be written in the dialect, why (then nothing is written).
namespace detail {
std::string writeSqlScript(const ModelSource& source, const SqlDialect& dialect, bool nativeTypes,
                           const std::string& toolVersion, std::FILE* out);
}  // namespace detail

// Marks the comment that stands for an object a dialect cannot take; the
// comment names the object as the script would have.
constexpr const char* kNotWrittenMark = "-- NOT WRITTEN: ";

std::unique_ptr<ModelWriter> makeSqlModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
