#include "model_diff.h"

#include <cstring>
#include <deque>
#include <map>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "catalog_view.h"
#include "model/zel_model.h"
#include "schema_walk.h"
#include "zel_keyed_hash.h"

namespace pcd::cli {

namespace {

// The texts of both models, each distinct one stored once: a name that
// many objects refer to (a table that many foreign keys reference) costs
// its length once, not once per reference.
class TextPool {
 public:
  std::string_view add(std::string text) {
    const auto found = texts_.find(std::string_view(text));
    if (found != texts_.end()) return *found;
    storage_.push_back(std::move(text));  // a deque keeps its strings in place
    return *texts_.insert(std::string_view(storage_.back())).first;
  }

 private:
  std::deque<std::string> storage_;
  std::unordered_set<std::string_view, zel_hash::TextHash> texts_;
};

using Properties = std::vector<std::pair<std::string_view, std::string_view>>;

// One comparable object, ordered as the text GROUP \x1f RANK \x1f OBJECT
// (without building it): a group's own object comes first.
// A group's text in two parts, "table SCHEMA." and "NAME": the part that
// names the schema is stored once for all its tables.
struct Group {
  std::string_view head, tail;
  std::string text() const { return std::string(head) + std::string(tail); }
};

struct FlatKey {
  Group group;
  int rank;  // 0: the group's object, 1: columns and arguments, 2: keys, 3: indexes
  std::string_view object;
};

struct FlatKeyLess {
  bool operator()(const FlatKey& a, const FlatKey& b) const noexcept {
    static const char kRanks[] = "0123";
    const std::string_view left[] = {
        a.group.head, a.group.tail, "\x1f", std::string_view(kRanks + a.rank, 1), "\x1f", a.object};
    const std::string_view right[] = {
        b.group.head, b.group.tail, "\x1f", std::string_view(kRanks + b.rank, 1), "\x1f", b.object};
    size_t l = 0, lAt = 0, r = 0, rAt = 0;
    for (;;) {
      while (l < 6 && lAt == left[l].size()) ++l, lAt = 0;
      while (r < 6 && rAt == right[r].size()) ++r, rAt = 0;
      if (l == 6 || r == 6) return l == 6 && r != 6;
      const size_t common = std::min(left[l].size() - lAt, right[r].size() - rAt);
      const int order = std::memcmp(left[l].data() + lAt, right[r].data() + rAt, common);
      if (order != 0) return order < 0;
      lAt += common;
      rAt += common;
    }
  }
};

using FlatModel = std::map<FlatKey, Properties, FlatKeyLess>;

std::string text(const ZELString& value) {
  return {value.c_str(), value.length()};
}

std::string nameOf(const ZELObject* object) {
  return object != nullptr ? text(object->getName()) : std::string("(none)");
}

// Paths of catalogs and schemas, CATALOG.SCHEMA[.NESTED...], for both
// models. A path of more than kSchemaPathNames names (the catalog's
// counted) shows its innermost ones after "…#N.", N numbering the whole path
// (the same in both models when the whole paths are), so that a long chain
// of nested schemas costs linear time and space, not quadratic, and still
// matches only itself. Numbers are given as paths are first asked for.
class PackagePaths {
 public:
  // A catalog, shown under `name`.
  void addCatalog(const ZELObject& catalog, std::string name) {
    Entry& entry = entries_[&catalog];
    entry.text = name;
    entry.name = std::move(name);
  }

  // A schema as the walk meets it, after what holds it; each of its names
  // shown as "*" with `anyName` (schemas compared without their names).
  void addSchema(const writers::SchemaPath& path, const ZELPackage& schema, bool anyName) {
    Entry& entry = entries_[&schema];
    entry.parent = &entries_.at(schema.getOwner());
    entry.name = anyName ? std::string("*") : std::string(path.end()[-1]);
    entry.shortened = path.depth() + 1 > writers::kSchemaPathNames;
    if (!entry.shortened) entry.text = entries_.at(&path.catalog()).name;
    bool first = entry.shortened;
    for (const std::string_view name : path) {
      if (!first) entry.text += '.';
      first = false;
      entry.text += anyName ? std::string_view("*") : name;
    }
  }

  // The path of a catalog or schema added; "" for anything else.
  const std::string& of(const ZELObject* package) {
    static const std::string kNone;
    const auto found = entries_.find(package);
    if (found == entries_.end()) return kNone;
    number(found->second);
    return found->second.text;
  }

 private:
  struct Entry {
    Entry* parent = nullptr;  // the catalog or schema that holds it
    std::string name;
    bool shortened = false;
    size_t id = 0;  // 0 until numbered
    std::string text;
  };

  // Numbers `entry` and the entries that hold it, outermost first.
  void number(Entry& entry) {
    std::vector<Entry*> chain;
    for (Entry* at = &entry; at != nullptr && at->id == 0; at = at->parent) chain.push_back(at);
    for (auto at = chain.rbegin(); at != chain.rend(); ++at) {
      Entry& numbered = **at;
      numbered.id =
          ids_.emplace(std::make_pair(numbered.parent != nullptr ? numbered.parent->id : 0,
                                      numbered.name),
                       ids_.size() + 1)
              .first->second;
      if (numbered.shortened) {
        numbered.text = "\xE2\x80\xA6#" + std::to_string(numbered.id) + "." + numbered.text;
      }
    }
  }

  std::map<std::pair<size_t, std::string>, size_t> ids_;  // (parent's id, name) -> id
  std::unordered_map<const ZELObject*, Entry> entries_;   // node-based: parents stay in place
};

void typeProperties(const ZELType* type, Properties& properties, TextPool& texts,
                    const CompareOptions& options) {
  if (options.ignoreTypes) return;
  if (type == nullptr || !type->isInstanceOf(ZEL_ET_DERIVED_TYPE)) {
    properties.emplace_back("type", "(none)");
    return;
  }
  const auto& derived = static_cast<const ZELDerivedType&>(*type);
  properties.emplace_back(
      "type", texts.add(text(derived.NativeDataType.length() > 0 ? derived.NativeDataType
                                                                 : derived.getName())));
  properties.emplace_back("length", texts.add(std::to_string(derived.getLength())));
  properties.emplace_back("scale", texts.add(std::to_string(derived.getScale())));
}

class Flattener {
 public:
  Flattener(PackagePaths& paths, TextPool& texts, const CompareOptions& options)
      : paths_(paths), texts_(texts), options_(options) {}

  FlatModel run(const ZELModel& model) {
    // Every path is known before any is asked for: a foreign key's
    // reference names the path of another schema's table. Where objects
    // share a path (names compared as "*"), the last one flattened stands:
    // a catalog's schemas go in the reverse of the order the walk leaves
    // them, each schema before those nested in it, later siblings first.
    struct Catalog {
      const ZELDatabaseCatalog* catalog;
      std::string name;
      std::vector<const ZELPackage*> schemas;  // as the walk leaves them
    };
    std::vector<Catalog> catalogs;
    for (const ZELPackage* package : model.childPackages()) {
      if (!writers::isCatalog(*package)) continue;
      // Without catalog names every catalog is one: schemas are matched by
      // their own names, whichever catalog holds them.
      catalogs.push_back({static_cast<const ZELDatabaseCatalog*>(package),
                          options_.ignoreCatalogNames ? "*" : text(package->getName()),
                          {}});
      Catalog& catalog = catalogs.back();
      paths_.addCatalog(*package, catalog.name);
      writers::forEachSchemaOf(
          *package,
          [&](const writers::SchemaPath& path, const ZELPackage& schema) {
            paths_.addSchema(path, schema, options_.ignoreSchemas);
          },
          [&](const ZELPackage& schema) { catalog.schemas.push_back(&schema); });
    }
    for (const Catalog& catalog : catalogs) {
      const Group group{pooled("catalog " + catalog.name), {}};
      Properties properties;
      if (!options_.ignoreServer) {
        properties = {
            {"serverTypeName", pooled(text(catalog.catalog->getServerTypeName()))},
            {"serverTypeText", pooled(text(catalog.catalog->getServerTypeText()))},
            {"serverTypeNumber", pooled(std::to_string(catalog.catalog->getServerTypeNumber()))}};
      }
      add(group, 0, "catalog " + catalog.name, std::move(properties));
      for (auto schema = catalog.schemas.rbegin(); schema != catalog.schemas.rend(); ++schema) {
        flattenSchema(group, **schema);
      }
    }
    return std::move(flat_);
  }

 private:
  void description(const ZELString& value, Properties& properties) {
    if (!options_.ignoreDescriptions) properties.emplace_back("description", pooled(text(value)));
  }

  std::string_view pooled(std::string text) { return texts_.add(std::move(text)); }

  void add(const Group& group, int rank, std::string object, Properties properties) {
    flat_[FlatKey{group, rank, pooled(std::move(object))}] = std::move(properties);
  }

  void flattenSchema(const Group& catalogGroup, const ZELPackage& schema) {
    add(catalogGroup, 1, "schema " + pathOf(&schema), {});
    if (!schema.isInstanceOf(ZEL_ET_DATA_PACKAGE)) return;
    for (const ZELModelObject* object : static_cast<const ZELDataPackage&>(schema).modelObjects()) {
      switch (object->getElementType()) {
        case ZEL_ET_CLASS:
          table(static_cast<const ZELClass&>(*object), "table");
          break;
        case ZEL_ET_SQL_VIEW_ENTITY:
          table(static_cast<const ZELClass&>(*object), "view");
          break;
        case ZEL_ET_STORED_PROCEDURE:
          procedure(static_cast<const ZELStoredProcedure&>(*object));
          break;
        default:
          break;
      }
    }
  }

  void table(const ZELClass& table, const char* kind) {
    const Group group = groupOf(kind, table);
    Properties tableProperties;
    description(table.getDescription(), tableProperties);
    const ZELKey* primary = table.getPrimaryKey();
    tableProperties.emplace_back(
        "primaryKey", pooled(!options_.ignoreKeyNames ? nameOf(primary)
                             : primary == nullptr     ? std::string("(none)")
                                                  : "(" + writers::keyColumnNames(*primary) + ")"));
    add(group, 0, std::string(kind) + " " + text(table.getName()), std::move(tableProperties));
    for (const ZELFeature* feature : table.features()) {
      if (!feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) continue;
      const auto& column = static_cast<const ZELAttribute&>(*feature);
      Properties properties{{"position", pooled(std::to_string(column.getPosition()))}};
      typeProperties(column.getType(), properties, texts_, options_);
      properties.emplace_back("optional", column.isOptional() ? "yes" : "no");
      description(column.getDescription(), properties);
      add(group, 1, "column " + text(column.getName()), std::move(properties));
    }
    for (const ZELKey* key : table.keys()) keyOf(group, *key);
    // A key's own index changes with its key, which is listed.
    for (const ZELIndex* index : writers::catalogIndexes(table)) {
      std::string members = writers::indexMemberNames(*index);
      // Matched by columns where index names are not comparable (engines
      // that name them per schema, or make up names).
      std::string name = options_.ignoreIndexNames ? "index on (" + members + ")"
                                                   : "index " + text(index->getName());
      add(group, 3, std::move(name),
          {{"columns", pooled(std::move(members))},
           {"unique", index->indexFlag1 ? "yes" : "no"},
           {"clustered", index->indexFlag2 ? "yes" : "no"}});
    }
  }

  void keyOf(const Group& group, const ZELKey& key) {
    std::string columns = writers::keyColumnNames(key);
    const bool foreign = key.isInstanceOf(ZEL_ET_FOREIGN_KEY);
    Properties properties{{"columns", pooled(columns)}};
    if (key.isInstanceOf(ZEL_ET_CANDIDATE_KEY)) {
      properties.emplace_back("unique",
                              static_cast<const ZELCandidateKey&>(key).uniqueKey ? "yes" : "no");
    }
    std::string_view referencedTable;
    if (foreign) {
      const ZELCandidateKey* referenced = static_cast<const ZELForeignKey&>(key).getCandidateKey();
      referencedTable = referenced == nullptr ? std::string_view("(none)")
                                              : pooled(pathOf(referenced->getAssociatedClass()));
      properties.emplace_back("references", referenced == nullptr || options_.ignoreKeyNames
                                                ? referencedTable
                                                : referenceText(*referenced));
    }
    // Without key names a key is known by its columns (and what it
    // references).
    std::string name = !options_.ignoreKeyNames ? text(key.getName())
                       : foreign ? "(" + columns + ") -> " + std::string(referencedTable)
                                 : "(" + columns + ")";
    add(group, 2, std::string(foreign ? "foreign key " : "key ") + name, std::move(properties));
  }

  void procedure(const ZELStoredProcedure& procedure) {
    const Group group = groupOf("procedure", procedure);
    Properties procedureProperties;
    description(procedure.getDescription(), procedureProperties);
    add(group, 0, "procedure " + text(procedure.getName()), std::move(procedureProperties));
    for (const ZELArgument* argument : procedure.arguments()) {
      Properties properties{{"position", pooled(std::to_string(argument->getPosition()))}};
      typeProperties(argument->getType(), properties, texts_, options_);
      description(argument->getDescription(), properties);
      add(group, 1, "argument " + text(argument->getName()), std::move(properties));
    }
  }

  // The path of a schema, or of a table or procedure: its schema's and its name.
  std::string pathOf(const ZELObject* object) {
    if (object == nullptr) return "";
    if (object->isInstanceOf(ZEL_ET_PACKAGE)) return paths_.of(object);
    const std::string& owner = paths_.of(object->getOwner());
    return owner.empty() ? text(object->getName()) : owner + "." + text(object->getName());
  }

  // "KIND PATH" of a table, view or procedure: the head "KIND SCHEMA." made
  // once per schema and kind.
  Group groupOf(const char* kind, const ZELObject& object) {
    std::string_view& head = heads_[{object.getOwner(), kind}];
    if (head.data() == nullptr) {
      const std::string& owner = paths_.of(object.getOwner());
      head = pooled(std::string(kind) + " " + (owner.empty() ? owner : owner + "."));
    }
    return {head, pooled(text(object.getName()))};
  }

  // "PATH KEY" of a referenced key, made once however many refer to it.
  std::string_view referenceText(const ZELCandidateKey& key) {
    const auto known = references_.find(&key);
    if (known != references_.end()) return known->second;
    const std::string_view made =
        pooled(pathOf(key.getAssociatedClass()) + " " + text(key.getName()));
    references_.emplace(&key, made);
    return made;
  }

  PackagePaths& paths_;
  TextPool& texts_;
  const CompareOptions& options_;
  std::unordered_map<const ZELCandidateKey*, std::string_view> references_;
  std::map<std::pair<const ZELObject*, std::string_view>, std::string_view> heads_;
  FlatModel flat_;
};

std::vector<PropertyChange> changedProperties(const Properties& before, const Properties& after) {
  std::map<std::string_view, std::string_view> old(before.begin(), before.end());
  std::vector<PropertyChange> changes;
  for (const auto& [name, value] : after) {
    const auto at = old.find(name);
    const std::string_view oldValue = at == old.end() ? std::string_view() : at->second;
    if (oldValue != value) {
      changes.push_back({std::string(name), std::string(oldValue), std::string(value)});
    }
  }
  return changes;
}

}  // namespace

std::vector<ModelChange> diffModels(const ZELModel& before, const ZELModel& after,
                                    const CompareOptions& options) {
  PackagePaths paths;  // one numbering of paths for both models
  TextPool texts;      // and one store of their texts
  const FlatModel oldFlat = Flattener(paths, texts, options).run(before);
  const FlatModel newFlat = Flattener(paths, texts, options).run(after);
  const FlatKeyLess less;
  std::vector<ModelChange> changes;
  auto oldAt = oldFlat.begin();
  auto newAt = newFlat.begin();
  // Both maps are sorted by the same key: one merge pass.
  while (oldAt != oldFlat.end() || newAt != newFlat.end()) {
    if (newAt == newFlat.end() || (oldAt != oldFlat.end() && less(oldAt->first, newAt->first))) {
      changes.push_back({oldAt->first.group.text(),
                         std::string(oldAt->first.object),
                         ModelChange::Kind::kRemoved,
                         {}});
      ++oldAt;
    } else if (oldAt == oldFlat.end() || less(newAt->first, oldAt->first)) {
      ModelChange added{newAt->first.group.text(),
                        std::string(newAt->first.object),
                        ModelChange::Kind::kAdded,
                        {}};
      for (const auto& [name, value] : newAt->second) {
        added.properties.push_back({std::string(name), "", std::string(value)});
      }
      changes.push_back(std::move(added));
      ++newAt;
    } else {
      std::vector<PropertyChange> differences = changedProperties(oldAt->second, newAt->second);
      if (!differences.empty()) {
        changes.push_back({newAt->first.group.text(), std::string(newAt->first.object),
                           ModelChange::Kind::kChanged, std::move(differences)});
      }
      ++oldAt;
      ++newAt;
    }
  }
  return changes;
}

}  // namespace pcd::cli
