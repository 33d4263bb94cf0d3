#include "lint_rules.h"

namespace pcd::cli {

namespace {

using S = LintSeverity;

// In the order of the rule indexes of lint_rules.h.
const std::vector<LintRule> kRules = {
    {"table-without-primary-key", "keys and indexes", S::kWarning, "A table has no primary key.",
     "Rows cannot be addressed one by one: replication, change capture and most tools that "
     "edit data need a primary key.",
     0, ""},
    {"table-without-unique-key", "keys and indexes", S::kError,
     "A table has no primary key, no alternate key and no unique index.",
     "Nothing keeps two rows from being equal; duplicates creep in and cannot be told apart.", 0,
     ""},
    {"foreign-key-without-index", "keys and indexes", S::kWarning,
     "No index, primary or alternate key starts with the columns of a foreign key.",
     "Joins along the foreign key and the checks when a referenced row is deleted or changed "
     "read the whole referencing table.",
     0, ""},
    {"redundant-index", "keys and indexes", S::kWarning,
     "An index's columns are the leading columns of another index or of a key.",
     "The longer index or key serves every lookup the shorter one serves; the shorter one only "
     "costs space and write time.",
     0, ""},
    {"duplicate-index", "keys and indexes", S::kWarning,
     "An index has the same columns, in the same order, as an earlier index or a key.",
     "The second copy adds nothing but space and write time; it is reported on the later one.", 0,
     ""},
    {"nullable-key-column", "keys and indexes", S::kError,
     "A column of a primary or alternate key may be null.",
     "A primary key column cannot be null in SQL, and a unique key over nulls does not keep "
     "rows apart: the migration fails or the key does not mean what it says.",
     0, ""},
    {"foreign-key-type-mismatch", "keys and indexes", S::kError,
     "A foreign key column's type, length or scale differs from the referenced column's.",
     "Engines refuse such pairs or convert on every join; values that fit one side may not fit "
     "the other.",
     0, ""},
    {"foreign-key-without-key", "keys and indexes", S::kError,
     "A foreign key references no key: the referenced table has none, or the extract names "
     "none.",
     "A foreign key needs a primary or unique key to point at; without one it cannot be "
     "created.",
     0, ""},
    {"self-referencing-foreign-key", "keys and indexes", S::kInfo,
     "A foreign key references its own table.",
     "Hierarchies stored this way need recursive queries and care when loading and deleting "
     "rows; worth knowing, not wrong.",
     0, ""},
    {"foreign-key-cycle", "keys and indexes", S::kWarning,
     "Foreign keys form a cycle between two or more tables.",
     "Rows of a cycle cannot be loaded or deleted in any table order without deferred or "
     "nullable constraints.",
     0, ""},
    {"single-column-table", "shape", S::kInfo, "A table has only one column.",
     "Often a leftover or a list that belongs in a column of another table.", 0, ""},
    {"too-many-columns", "shape", S::kWarning, "A table has more columns than the threshold.",
     "Very wide tables usually mix several entities and are hard to index and to change.", 100,
     "the most columns a table may have"},
    {"too-many-large-objects", "shape", S::kWarning,
     "A table has more large-object columns (long text, CLOB, BLOB, XML) than the threshold.",
     "Large objects are stored and copied apart from the row; many of them in one table make "
     "every read and backup slow.",
     2, "the most large-object columns a table may have"},
    {"incrementing-column-names", "shape", S::kWarning,
     "A table has columns named like a series: NAME1, NAME2, NAME3 (at least the threshold).",
     "A repeating group in columns: a list stored across columns belongs in a table of its own.", 3,
     "the fewest numbered columns of one stem that are reported"},
    {"table-without-description", "documentation", S::kWarning, "A table has no description.",
     "Undocumented tables are guessed at by everyone who reads the catalog after you.", 0, ""},
    {"column-without-description", "documentation", S::kInfo, "A column has no description.",
     "A column's meaning, unit and allowed values belong in the catalog, not in people's heads.", 0,
     ""},
    {"view-without-description", "documentation", S::kInfo, "A view has no description.",
     "A view encodes a question someone asked; without a description nobody knows which. Off "
     "by default: an extract's VIEW records carry no description.",
     0, "", false},
    {"procedure-without-description", "documentation", S::kInfo,
     "A stored procedure has no description.",
     "What a procedure does, and what its arguments mean, cannot be read from the catalog.", 0, ""},
    {"name-needs-quoting", "names", S::kWarning,
     "A name must be quoted or renamed in a chosen SQL dialect: a reserved word, characters "
     "other than letters, digits and _, a leading digit, upper and lower case mixed "
     "(PostgreSQL), or a prefix the engine keeps (PostgreSQL pg_ schemas, SQLite sqlite_ "
     "tables).",
     "Every statement that names the object must quote it the same way, forever; a forgotten "
     "quote is a syntax error or, with case, another object.",
     0, ""},
    {"name-too-long", "names", S::kError,
     "A name is longer than a chosen SQL dialect keeps (PostgreSQL 63 bytes, MySQL 64 "
     "characters).",
     "The engine cuts or refuses the name; cut names can collide.", 0, ""},
    {"names-differ-only-by-case", "names", S::kWarning,
     "Two tables or views of one schema, or two columns of one table, differ only in case.",
     "Engines that compare names without regard to case (MySQL, SQLite, unquoted PostgreSQL) "
     "cannot hold both.",
     0, ""},
    {"implied-foreign-key", "relations", S::kInfo,
     "A column looks like a foreign key but has none: its name and type match the one-column "
     "primary key of another table (ID of CUSTOMER, or CUSTOMER_ID).",
     "A relation the catalog does not state is not enforced: orphans appear, and diagrams and "
     "tools miss the join.",
     0, ""},
};

}  // namespace

const char* severityName(LintSeverity severity) {
  switch (severity) {
    case LintSeverity::kError:
      return "error";
    case LintSeverity::kWarning:
      return "warning";
    case LintSeverity::kInfo:
      break;
  }
  return "info";
}

bool parseSeverity(std::string_view text, LintSeverity& severity) {
  for (LintSeverity candidate : {S::kError, S::kWarning, S::kInfo}) {
    if (text == severityName(candidate)) {
      severity = candidate;
      return true;
    }
  }
  return false;
}

const std::vector<LintRule>& lintRules() {
  static_assert(rule::kCount == 22, "one table row per rule index");
  return kRules;
}

std::string lintRulesMarkdown() {
  std::string text =
      "| rule | group | default | threshold | reports | why |\n"
      "|---|---|---|---:|---|---|\n";
  for (const LintRule& rule : kRules) {
    text += std::string("| `") + rule.id + "` | " + rule.category + " | " +
            severityName(rule.severity) + (rule.enabledByDefault ? "" : " (off)") + " | " +
            (rule.threshold != 0 ? std::to_string(rule.threshold) : std::string()) + " | " +
            rule.summary + " | " + rule.rationale + " |\n";
  }
  return text;
}

int findLintRule(std::string_view id) {
  for (size_t index = 0; index < kRules.size(); ++index) {
    if (id == kRules[index].id) return static_cast<int>(index);
  }
  return -1;
}

}  // namespace pcd::cli
