#include "model_diff.h"

#include <map>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "catalog_view.h"
#include "model/zel_model.h"
#include "schema_walk.h"

namespace {

using Properties = std::vector<std::pair<std::string, std::string>>;

// One comparable object: the order key puts a group's own object first.
struct FlatObject {
  std::string group;
  int rank;  // 0: the group's object, 1: columns and arguments, 2: keys, 3: indexes
  std::string object;
  Properties properties;
};

using FlatModel = std::map<std::string, FlatObject>;

std::string text(const ZELString& value) {
  return {value.c_str(), value.length()};
}

std::string nameOf(const ZELObject* object) {
  return object != nullptr ? text(object->getName()) : std::string("(none)");
}

// Paths of catalogs and schemas, CATALOG.SCHEMA[.NESTED...], for both
// models. A path of more than kSchemaPathNames names shows its innermost ones
// after "…#N.", N numbering the whole path (the same in both models when
// the whole paths are), so that a long chain of nested schemas costs linear
// time and space, not quadratic, and still matches only itself.
class PackagePaths {
 public:
  // Shows `package` under `name` instead of its own (catalogs compared
  // without their names).
  void rename(const ZELObject* package, std::string name) { renamed_[package] = std::move(name); }

  const std::string& of(const ZELObject* package) {
    std::vector<const ZELObject*> chain;  // from `package` out to a known one
    const Entry* parent = nullptr;
    for (const ZELObject* at = package; at != nullptr && at->getElementType() != ZEL_ET_MODEL;
         at = at->getOwner()) {
      const auto known = entries_.find(at);
      if (known != entries_.end()) {
        parent = &known->second;
        break;
      }
      chain.push_back(at);
    }
    for (auto at = chain.rbegin(); at != chain.rend(); ++at) {
      const auto renamed = renamed_.find(*at);
      const std::string_view name =
          renamed != renamed_.end()
              ? std::string_view(renamed->second)
              : std::string_view((*at)->getName().c_str(), (*at)->getName().length());
      Entry entry;
      entry.depth = parent != nullptr ? parent->depth + 1 : 1;
      entry.id = ids_.emplace(std::make_pair(parent != nullptr ? parent->id : 0, std::string(name)),
                              ids_.size() + 1)
                     .first->second;
      if (parent != nullptr) entry.tail = parent->tail;
      if (entry.tail.size() == kSchemaPathNames) entry.tail.erase(entry.tail.begin());
      entry.tail.push_back(name);
      if (entry.depth > kSchemaPathNames)
        entry.text = "\xE2\x80\xA6#" + std::to_string(entry.id) + ".";
      for (size_t i = 0; i < entry.tail.size(); ++i) {
        if (i != 0) entry.text += '.';
        entry.text += entry.tail[i];
      }
      parent = &(entries_[*at] = std::move(entry));  // node-based: the reference stays valid
    }
    static const std::string kNone;
    return parent != nullptr ? parent->text : kNone;
  }

 private:
  struct Entry {
    size_t depth = 0;
    size_t id = 0;
    std::vector<std::string_view> tail;  // the innermost names
    std::string text;
  };
  std::map<std::pair<size_t, std::string>, size_t> ids_;  // (parent's id, name) -> id
  std::unordered_map<const ZELObject*, Entry> entries_;
  std::unordered_map<const ZELObject*, std::string> renamed_;
};

void typeProperties(const ZELType* type, Properties& properties, const CompareOptions& options) {
  if (options.ignoreTypes) return;
  if (type == nullptr || !type->isInstanceOf(ZEL_ET_DERIVED_TYPE)) {
    properties.emplace_back("type", "(none)");
    return;
  }
  const auto& derived = static_cast<const ZELDerivedType&>(*type);
  properties.emplace_back("type", text(derived.NativeDataType.length() > 0 ? derived.NativeDataType
                                                                           : derived.getName()));
  properties.emplace_back("length", std::to_string(derived.getLength()));
  properties.emplace_back("scale", std::to_string(derived.getScale()));
}

class Flattener {
 public:
  Flattener(PackagePaths& paths, const CompareOptions& options)
      : paths_(paths), options_(options) {}

  FlatModel run(const ZELModel& model) {
    renamePackages(model);
    for (const ZELPackage* package : model.childPackages()) {
      if (package->getElementType() != ZEL_ET_DATABASE_CATALOG) continue;
      const auto& catalog = static_cast<const ZELDatabaseCatalog&>(*package);
      // Without catalog names every catalog is one: schemas are matched by
      // their own names, whichever catalog holds them.
      const std::string name = options_.ignoreCatalogNames ? "*" : text(catalog.getName());
      const std::string group = "catalog " + name;
      Properties properties;
      if (!options_.ignoreServer) {
        properties = {{"serverTypeName", text(catalog.getServerTypeName())},
                      {"serverTypeText", text(catalog.getServerTypeText())},
                      {"serverTypeNumber", std::to_string(catalog.getServerTypeNumber())}};
      }
      add(group, 0, "catalog " + name, std::move(properties));
      schemas(group, catalog.childPackages());
    }
    return std::move(flat_);
  }

 private:
  // Names left aside are "*" in every path, given before any path is made
  // (a foreign key's reference makes the path of another schema's table).
  void renamePackages(const ZELModel& model) {
    if (!options_.ignoreCatalogNames && !options_.ignoreSchemas) return;
    for (const ZELPackage* catalog : model.childPackages()) {
      if (catalog->getElementType() != ZEL_ET_DATABASE_CATALOG) continue;
      if (options_.ignoreCatalogNames) paths_.rename(catalog, "*");
      if (!options_.ignoreSchemas) continue;
      std::vector<const ZELPackage*> pending(catalog->childPackages().begin(),
                                             catalog->childPackages().end());
      while (!pending.empty()) {
        const ZELPackage* schema = pending.back();
        pending.pop_back();
        paths_.rename(schema, "*");
        for (const ZELPackage* child : schema->childPackages()) pending.push_back(child);
      }
    }
  }

  void add(const std::string& group, int rank, const std::string& object, Properties properties) {
    const std::string key = group + '\x1f' + std::to_string(rank) + '\x1f' + object;
    flat_[key] = {group, rank, object, std::move(properties)};
  }

  // Schemas nest to any depth: an explicit stack, not recursion.
  void schemas(const std::string& catalogGroup, const ZELOwnedList<ZELPackage>& top) {
    std::vector<const ZELPackage*> pending(top.begin(), top.end());
    while (!pending.empty()) {
      const ZELPackage* schema = pending.back();
      pending.pop_back();
      add(catalogGroup, 1, "schema " + pathOf(schema), {});
      for (const ZELPackage* child : schema->childPackages()) pending.push_back(child);
      if (!schema->isInstanceOf(ZEL_ET_DATA_PACKAGE)) continue;
      for (const ZELModelObject* object :
           static_cast<const ZELDataPackage&>(*schema).modelObjects()) {
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
  }

  void table(const ZELClass& table, const char* kind) {
    const std::string group = std::string(kind) + " " + pathOf(&table);
    Properties tableProperties;
    description(table.getDescription(), tableProperties);
    if (options_.ignoreKeyNames) {
      const ZELKey* primary = table.getPrimaryKey();
      tableProperties.emplace_back(
          "primaryKey", primary == nullptr ? "(none)" : "(" + keyColumnNames(*primary) + ")");
    } else {
      tableProperties.emplace_back("primaryKey", nameOf(table.getPrimaryKey()));
    }
    add(group, 0, std::string(kind) + " " + text(table.getName()), std::move(tableProperties));
    for (const ZELFeature* feature : table.features()) {
      if (!feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) continue;
      const auto& column = static_cast<const ZELAttribute&>(*feature);
      Properties properties{{"position", std::to_string(column.getPosition())}};
      typeProperties(column.getType(), properties, options_);
      properties.emplace_back("optional", column.isOptional() ? "yes" : "no");
      description(column.getDescription(), properties);
      add(group, 1, "column " + text(column.getName()), std::move(properties));
    }
    for (const ZELKey* key : table.keys()) keyOf(group, *key);
    // A key's own index changes with its key, which is listed.
    for (const ZELIndex* index : catalogIndexes(table)) {
      const std::string members = indexMemberNames(*index);
      // Matched by columns where index names are not comparable (engines
      // that name them per schema, or make up names).
      add(group, 3,
          options_.ignoreIndexNames ? "index on (" + members + ")"
                                    : "index " + text(index->getName()),
          {{"columns", members},
           {"unique", index->indexFlag1 ? "yes" : "no"},
           {"clustered", index->indexFlag2 ? "yes" : "no"}});
    }
  }

  void keyOf(const std::string& group, const ZELKey& key) {
    const bool foreign = key.isInstanceOf(ZEL_ET_FOREIGN_KEY);
    Properties properties{{"columns", keyColumnNames(key)}};
    if (key.isInstanceOf(ZEL_ET_CANDIDATE_KEY)) {
      properties.emplace_back("unique",
                              static_cast<const ZELCandidateKey&>(key).uniqueKey ? "yes" : "no");
    }
    std::string referencedTable;
    if (foreign) {
      const ZELCandidateKey* referenced = static_cast<const ZELForeignKey&>(key).getCandidateKey();
      referencedTable =
          referenced == nullptr ? std::string("(none)") : pathOf(referenced->getAssociatedClass());
      properties.emplace_back("references",
                              referenced == nullptr ? referencedTable
                              : options_.ignoreKeyNames
                                  ? referencedTable
                                  : referencedTable + " " + text(referenced->getName()));
    }
    // Without key names a key is known by its columns (and what it
    // references).
    const std::string name =
        options_.ignoreKeyNames
            ? "(" + keyColumnNames(key) + ")" + (foreign ? " -> " + referencedTable : std::string())
            : text(key.getName());
    add(group, 2, std::string(foreign ? "foreign key " : "key ") + name, std::move(properties));
  }

  void procedure(const ZELStoredProcedure& procedure) {
    const std::string group = "procedure " + pathOf(&procedure);
    Properties procedureProperties;
    description(procedure.getDescription(), procedureProperties);
    add(group, 0, "procedure " + text(procedure.getName()), std::move(procedureProperties));
    for (const ZELArgument* argument : procedure.arguments()) {
      Properties properties{{"position", std::to_string(argument->getPosition())}};
      typeProperties(argument->getType(), properties, options_);
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

  void description(const ZELString& value, Properties& properties) const {
    if (!options_.ignoreDescriptions) properties.emplace_back("description", text(value));
  }

  PackagePaths& paths_;
  const CompareOptions& options_;
  FlatModel flat_;
};

std::vector<PropertyChange> changedProperties(const Properties& before, const Properties& after) {
  std::map<std::string, std::string> old(before.begin(), before.end());
  std::vector<PropertyChange> changes;
  for (const auto& [name, value] : after) {
    const auto at = old.find(name);
    const std::string oldValue = at == old.end() ? std::string() : at->second;
    if (oldValue != value) changes.push_back({name, oldValue, value});
  }
  return changes;
}

}  // namespace

std::vector<ModelChange> diffModels(const ZELModel& before, const ZELModel& after,
                                    const CompareOptions& options) {
  PackagePaths paths;  // one numbering of paths for both models
  const FlatModel oldFlat = Flattener(paths, options).run(before);
  const FlatModel newFlat = Flattener(paths, options).run(after);
  std::vector<ModelChange> changes;
  auto oldAt = oldFlat.begin();
  auto newAt = newFlat.begin();
  // Both maps are sorted by the same key: one merge pass.
  while (oldAt != oldFlat.end() || newAt != newFlat.end()) {
    if (newAt == newFlat.end() || (oldAt != oldFlat.end() && oldAt->first < newAt->first)) {
      changes.push_back(
          {oldAt->second.group, oldAt->second.object, ModelChange::Kind::kRemoved, {}});
      ++oldAt;
    } else if (oldAt == oldFlat.end() || newAt->first < oldAt->first) {
      ModelChange added{newAt->second.group, newAt->second.object, ModelChange::Kind::kAdded, {}};
      for (const auto& [name, value] : newAt->second.properties) {
        added.properties.push_back({name, "", value});
      }
      changes.push_back(std::move(added));
      ++newAt;
    } else {
      std::vector<PropertyChange> differences =
          changedProperties(oldAt->second.properties, newAt->second.properties);
      if (!differences.empty()) {
        changes.push_back({newAt->second.group, newAt->second.object, ModelChange::Kind::kChanged,
                           std::move(differences)});
      }
      ++oldAt;
      ++newAt;
    }
  }
  return changes;
}
