#include "model_diff.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <map>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "catalog_view.h"
#include "model/zel_model.h"
#include "schema_walk.h"
#include "string_bytes.h"

namespace pcd::cli {

namespace {

using writers::bytesOf;

// A text as up to six pieces, compared and shown as their concatenation
// without building it: names stay in the model, numbers and made texts in
// the comparison's scratch store.
class Parts {
 public:
  Parts() = default;
  Parts(std::initializer_list<std::string_view> parts) {
    for (const std::string_view part : parts) add(part);
  }
  Parts& add(std::string_view part) {
    if (!part.empty()) parts_[count_++] = part;
    return *this;
  }
  Parts& add(const Parts& more) {
    for (size_t i = 0; i < more.count_; ++i) add(more.parts_[i]);
    return *this;
  }
  const std::string_view* begin() const { return parts_.data(); }
  const std::string_view* end() const { return parts_.data() + count_; }
  std::string text() const {
    std::string made;
    for (const std::string_view part : *this) made.append(part);
    return made;
  }

 private:
  std::array<std::string_view, 6> parts_;
  size_t count_ = 0;
};

// <0, 0 or >0 as a's concatenation sorts before, equal to or after b's.
int compare(const Parts& a, const Parts& b) {
  const std::string_view *l = a.begin(), *r = b.begin();
  size_t lAt = 0, rAt = 0;
  for (;;) {
    if (l != a.end() && lAt == l->size()) ++l, lAt = 0;
    if (r != b.end() && rAt == r->size()) ++r, rAt = 0;
    if (l == a.end() || r == b.end()) return (l != a.end()) - (r != b.end());
    const size_t common = std::min(l->size() - lAt, r->size() - rAt);
    const int order = std::memcmp(l->data() + lAt, r->data() + rAt, common);
    if (order != 0) return order;
    lAt += common;
    rAt += common;
  }
}

// Texts made during the comparison, kept in place while views refer to them.
class Scratch {
 public:
  std::string_view keep(std::string text) {
    texts_.push_back(std::move(text));
    return texts_.back();
  }
  std::string_view number(long value) { return keep(std::to_string(value)); }
  void clear() { texts_.clear(); }

 private:
  std::deque<std::string> texts_;
};

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

  // The path of a schema, or of a table or procedure: its schema's and its name.
  Parts objectPath(const ZELObject* object) {
    if (object == nullptr) return {};
    if (object->isInstanceOf(ZEL_ET_PACKAGE)) return {of(object)};
    const std::string& owner = of(object->getOwner());
    return owner.empty() ? Parts{bytesOf(object->getName())}
                         : Parts{owner, ".", bytesOf(object->getName())};
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

// What a group gathers: a catalog and its schemas, or a table, view or
// procedure and its parts.
enum class GroupKind { kCatalog, kTable, kView, kProcedure };

// One group of a model: "catalog NAME", or "KIND SCHEMA." and "NAME" (the
// head made once per schema and kind, the name the model's own).
struct Group {
  std::string_view head, tail;
  const ZELObject* object;  // the table, view or procedure; null for a catalog
  size_t catalog;           // a catalog group's index in Model::catalogs
  GroupKind kind;
};

struct Catalog {
  const ZELDatabaseCatalog* catalog;
  std::string_view name;
  std::vector<const ZELPackage*> schemas;  // later ones stand where paths are shared
};

// A model's catalogs and its groups sorted by text: all the comparison keeps
// of a model beyond the model itself.
struct Model {
  std::vector<Catalog> catalogs;
  std::vector<Group> groups;
};

// A group's text followed by the separator that ends it: groups sort as
// their objects' keys GROUP \x1f RANK \x1f OBJECT do.
Parts groupKey(const Group& group) {
  return {group.head, group.tail, "\x1f"};
}

bool isTableLike(const ZELModelObject& object) {
  return object.getElementType() == ZEL_ET_CLASS ||
         object.getElementType() == ZEL_ET_SQL_VIEW_ENTITY;
}

// An object of a group: rank 0 the group's own object, 1 columns, arguments
// and schemas, 2 keys, 3 indexes; its text PREFIX NAME.
struct Member {
  enum Kind { kCatalog, kSchema, kTable, kProcedure, kColumn, kArgument, kKey, kIndex };
  int rank;
  Parts object;
  const ZELObject* source;
  Kind kind;
};

struct Property {
  std::string_view name;
  Parts value;
};

class Comparison {
 public:
  explicit Comparison(const CompareOptions& options) : options_(options) {}

  // Reads a model's catalogs and schemas and numbers their paths as they
  // are first asked for: catalogs in order, each catalog's schemas in the
  // reverse of the order the walk leaves them, each schema, then the
  // tables' referenced tables. Where objects share a path (names compared
  // as "*"), the last one in this order stands.
  Model index(const ZELModel& model) {
    Model indexed;
    for (const ZELPackage* package : model.childPackages()) {
      if (!writers::isCatalog(*package)) continue;
      // Without catalog names every catalog is one: schemas are matched by
      // their own names, whichever catalog holds them.
      const std::string_view name =
          options_.ignoreCatalogNames ? std::string_view("*") : bytesOf(package->getName());
      indexed.catalogs.push_back({static_cast<const ZELDatabaseCatalog*>(package), name, {}});
      Catalog& catalog = indexed.catalogs.back();
      paths_.addCatalog(*package, std::string(name));
      writers::forEachSchemaOf(
          *package,
          [&](const writers::SchemaPath& path, const ZELPackage& schema) {
            paths_.addSchema(path, schema, options_.ignoreSchemas);
          },
          [&](const ZELPackage& schema) { catalog.schemas.push_back(&schema); });
      std::reverse(catalog.schemas.begin(), catalog.schemas.end());
    }
    for (size_t at = 0; at < indexed.catalogs.size(); ++at) {
      const Catalog& catalog = indexed.catalogs[at];
      indexed.groups.push_back(
          {keep("catalog " + std::string(catalog.name)), {}, nullptr, at, GroupKind::kCatalog});
      for (const ZELPackage* schema : catalog.schemas) {
        paths_.of(schema);
        if (!schema->isInstanceOf(ZEL_ET_DATA_PACKAGE)) continue;
        for (const ZELModelObject* object :
             static_cast<const ZELDataPackage&>(*schema).modelObjects()) {
          const auto type = object->getElementType();
          const GroupKind kind = type == ZEL_ET_CLASS              ? GroupKind::kTable
                                 : type == ZEL_ET_SQL_VIEW_ENTITY  ? GroupKind::kView
                                 : type == ZEL_ET_STORED_PROCEDURE ? GroupKind::kProcedure
                                                                   : GroupKind::kCatalog;
          if (kind == GroupKind::kCatalog) continue;
          indexed.groups.push_back(
              {head(kind, *object), bytesOf(object->getName()), object, 0, kind});
          if (!isTableLike(*object)) continue;
          for (const ZELKey* key : static_cast<const ZELClass&>(*object).keys()) {
            if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
            const ZELCandidateKey* referenced =
                static_cast<const ZELForeignKey*>(key)->getCandidateKey();
            if (referenced != nullptr) paths_.objectPath(referenced->getAssociatedClass());
          }
        }
      }
    }
    std::stable_sort(
        indexed.groups.begin(), indexed.groups.end(),
        [](const Group& a, const Group& b) { return compare(groupKey(a), groupKey(b)) < 0; });
    return indexed;
  }

  // Walks both models' sorted groups at once and, in each group, both
  // sides' objects sorted by rank and text, keeping only what differs.
  std::vector<ModelChange> run(const Model& before, const Model& after) {
    std::vector<ModelChange> changes;
    auto oldAt = before.groups.begin(), newAt = after.groups.begin();
    const auto oldEnd = before.groups.end(), newEnd = after.groups.end();
    while (oldAt != oldEnd || newAt != newEnd) {
      const int order = oldAt == oldEnd   ? 1
                        : newAt == newEnd ? -1
                                          : compare(groupKey(*oldAt), groupKey(*newAt));
      const auto runEnd = [](auto at, auto end) {
        auto last = at;
        while (last != end && compare(groupKey(*last), groupKey(*at)) == 0) ++last;
        return last;
      };
      const auto oldRun = order <= 0 ? runEnd(oldAt, oldEnd) : oldAt;
      const auto newRun = order >= 0 ? runEnd(newAt, newEnd) : newAt;
      scratch_.clear();
      oldMembers_.clear();
      newMembers_.clear();
      for (auto at = oldAt; at != oldRun; ++at) gather(before, *at, oldMembers_);
      for (auto at = newAt; at != newRun; ++at) gather(after, *at, newMembers_);
      const Group& group = order <= 0 ? *oldAt : *newAt;
      compareMembers(Parts{group.head, group.tail}, changes);
      oldAt = oldRun;
      newAt = newRun;
    }
    return changes;
  }

 private:
  std::string_view keep(std::string text) {
    heads_.push_back(std::move(text));
    return heads_.back();
  }

  // "KIND SCHEMA." of a table, view or procedure, made once per schema and kind.
  std::string_view head(GroupKind kind, const ZELObject& object) {
    std::string_view& made = headsOf_[{object.getOwner(), kind}];
    if (made.data() == nullptr) {
      const std::string& owner = paths_.of(object.getOwner());
      made = keep(std::string(kindWord(kind)) + " " + (owner.empty() ? owner : owner + "."));
    }
    return made;
  }

  static const char* kindWord(GroupKind kind) {
    return kind == GroupKind::kTable ? "table" : kind == GroupKind::kView ? "view" : "procedure";
  }

  // The objects of `group`, in the model's order.
  void gather(const Model& model, const Group& group, std::vector<Member>& members) {
    if (group.kind == GroupKind::kCatalog) {
      const Catalog& catalog = model.catalogs[group.catalog];
      members.push_back({0, {"catalog ", catalog.name}, catalog.catalog, Member::kCatalog});
      for (const ZELPackage* schema : catalog.schemas)
        members.push_back({1, {"schema ", paths_.of(schema)}, schema, Member::kSchema});
      return;
    }
    const std::string_view kind = kindWord(group.kind);
    if (group.kind == GroupKind::kProcedure) {
      const auto& procedure = static_cast<const ZELStoredProcedure&>(*group.object);
      members.push_back({0, {kind, " ", group.tail}, &procedure, Member::kProcedure});
      for (const ZELArgument* argument : procedure.arguments())
        members.push_back(
            {1, {"argument ", bytesOf(argument->getName())}, argument, Member::kArgument});
      return;
    }
    const auto& table = static_cast<const ZELClass&>(*group.object);
    members.push_back({0, {kind, " ", group.tail}, &table, Member::kTable});
    for (const ZELFeature* feature : table.features()) {
      if (feature->isInstanceOf(ZEL_ET_ATTRIBUTE))
        members.push_back({1, {"column ", bytesOf(feature->getName())}, feature, Member::kColumn});
    }
    for (const ZELKey* key : table.keys()) {
      const bool foreign = key->isInstanceOf(ZEL_ET_FOREIGN_KEY);
      Parts name{foreign ? "foreign key " : "key "};
      if (!options_.ignoreKeyNames) {
        name.add(bytesOf(key->getName()));
      } else {
        // Without key names a key is known by its columns (and what it
        // references).
        name.add("(").add(scratch_.keep(writers::keyColumnNames(*key))).add(")");
        if (foreign) name.add(scratch_.keep(" -> " + referencedTable(*key).text()));
      }
      members.push_back({2, name, key, Member::kKey});
    }
    // A key's own index changes with its key, which is listed.
    for (const ZELIndex* index : writers::catalogIndexes(table)) {
      // Matched by columns where index names are not comparable (engines
      // that name them per schema, or make up names).
      const Parts name =
          options_.ignoreIndexNames
              ? Parts{"index on (", scratch_.keep(writers::indexMemberNames(*index)), ")"}
              : Parts{"index ", bytesOf(index->getName())};
      members.push_back({3, name, index, Member::kIndex});
    }
  }

  Parts referencedTable(const ZELKey& key) {
    const ZELCandidateKey* referenced = static_cast<const ZELForeignKey&>(key).getCandidateKey();
    return referenced == nullptr ? Parts{"(none)"}
                                 : paths_.objectPath(referenced->getAssociatedClass());
  }

  static Parts yesNo(bool value) { return {value ? "yes" : "no"}; }

  static std::string_view nameOf(const ZELObject* object) {
    return object != nullptr ? bytesOf(object->getName()) : std::string_view("(none)");
  }

  void description(const ZELString& value, std::vector<Property>& properties) {
    if (!options_.ignoreDescriptions) properties.push_back({"description", {bytesOf(value)}});
  }

  void typeProperties(const ZELType* type, std::vector<Property>& properties) {
    if (options_.ignoreTypes) return;
    if (type == nullptr || !type->isInstanceOf(ZEL_ET_DERIVED_TYPE)) {
      properties.push_back({"type", {"(none)"}});
      return;
    }
    const auto& derived = static_cast<const ZELDerivedType&>(*type);
    properties.push_back({"type",
                          {bytesOf(derived.NativeDataType.length() > 0 ? derived.NativeDataType
                                                                       : derived.getName())}});
    properties.push_back({"length", {scratch_.number(derived.getLength())}});
    properties.push_back({"scale", {scratch_.number(derived.getScale())}});
  }

  // The compared properties of `member`, in the order they are listed.
  void propertiesOf(const Member& member, std::vector<Property>& properties) {
    properties.clear();
    switch (member.kind) {
      case Member::kCatalog: {
        if (options_.ignoreServer) break;
        const auto& catalog = static_cast<const ZELDatabaseCatalog&>(*member.source);
        properties.push_back({"serverTypeName", {bytesOf(catalog.getServerTypeName())}});
        properties.push_back({"serverTypeText", {bytesOf(catalog.getServerTypeText())}});
        properties.push_back(
            {"serverTypeNumber", {scratch_.number(catalog.getServerTypeNumber())}});
        break;
      }
      case Member::kSchema:
        break;
      case Member::kTable: {
        const auto& table = static_cast<const ZELClass&>(*member.source);
        description(table.getDescription(), properties);
        const ZELKey* primary = table.getPrimaryKey();
        properties.push_back(
            {"primaryKey",
             !options_.ignoreKeyNames ? Parts{nameOf(primary)}
             : primary == nullptr
                 ? Parts{"(none)"}
                 : Parts{"(", scratch_.keep(writers::keyColumnNames(*primary)), ")"}});
        break;
      }
      case Member::kProcedure:
        description(static_cast<const ZELStoredProcedure&>(*member.source).getDescription(),
                    properties);
        break;
      case Member::kColumn: {
        const auto& column = static_cast<const ZELAttribute&>(*member.source);
        properties.push_back({"position", {scratch_.number(column.getPosition())}});
        typeProperties(column.getType(), properties);
        properties.push_back({"optional", yesNo(column.isOptional())});
        description(column.getDescription(), properties);
        break;
      }
      case Member::kArgument: {
        const auto& argument = static_cast<const ZELArgument&>(*member.source);
        properties.push_back({"position", {scratch_.number(argument.getPosition())}});
        typeProperties(argument.getType(), properties);
        description(argument.getDescription(), properties);
        break;
      }
      case Member::kKey: {
        const auto& key = static_cast<const ZELKey&>(*member.source);
        properties.push_back({"columns", {scratch_.keep(writers::keyColumnNames(key))}});
        if (key.isInstanceOf(ZEL_ET_CANDIDATE_KEY)) {
          properties.push_back(
              {"unique", yesNo(static_cast<const ZELCandidateKey&>(key).uniqueKey)});
        }
        if (key.isInstanceOf(ZEL_ET_FOREIGN_KEY)) {
          const ZELCandidateKey* referenced =
              static_cast<const ZELForeignKey&>(key).getCandidateKey();
          Parts value = referencedTable(key);
          if (referenced != nullptr && !options_.ignoreKeyNames)
            value.add(" ").add(bytesOf(referenced->getName()));
          properties.push_back({"references", value});
        }
        break;
      }
      case Member::kIndex: {
        const auto& index = static_cast<const ZELIndex&>(*member.source);
        properties.push_back({"columns", {scratch_.keep(writers::indexMemberNames(index))}});
        properties.push_back({"unique", yesNo(index.indexFlag1)});
        properties.push_back({"clustered", yesNo(index.indexFlag2)});
        break;
      }
    }
  }

  // Sorts `members` by rank and text; of those that share both, the last
  // gathered stands (moved to the run's front, the rest dropped).
  static void sortMembers(std::vector<Member>& members) {
    std::stable_sort(members.begin(), members.end(), [](const Member& a, const Member& b) {
      return a.rank != b.rank ? a.rank < b.rank : compare(a.object, b.object) < 0;
    });
    size_t kept = 0;
    for (size_t at = 0; at < members.size(); ++kept) {
      size_t last = at;
      while (last + 1 < members.size() && members[last + 1].rank == members[at].rank &&
             compare(members[last + 1].object, members[at].object) == 0)
        ++last;
      members[kept] = members[last];
      at = last + 1;
    }
    members.resize(kept);
  }

  // Adds the changes between the members gathered for one group, named
  // `groupName` (its text made only for a change).
  void compareMembers(const Parts& groupName, std::vector<ModelChange>& changes) {
    std::string group;
    const auto change = [&](const Member& member, ModelChange::Kind kind) -> ModelChange& {
      if (group.empty()) group = groupName.text();
      changes.push_back({group, member.object.text(), kind, {}});
      return changes.back();
    };
    sortMembers(oldMembers_);
    sortMembers(newMembers_);
    auto oldAt = oldMembers_.begin(), newAt = newMembers_.begin();
    while (oldAt != oldMembers_.end() || newAt != newMembers_.end()) {
      const int order = oldAt == oldMembers_.end()   ? 1
                        : newAt == newMembers_.end() ? -1
                        : oldAt->rank != newAt->rank ? oldAt->rank - newAt->rank
                                                     : compare(oldAt->object, newAt->object);
      if (order < 0) {
        change(*oldAt, ModelChange::Kind::kRemoved);
        ++oldAt;
        continue;
      }
      propertiesOf(*newAt, newProperties_);
      if (order > 0) {
        ModelChange& added = change(*newAt, ModelChange::Kind::kAdded);
        for (const Property& property : newProperties_)
          added.properties.push_back({std::string(property.name), "", property.value.text()});
        ++newAt;
        continue;
      }
      propertiesOf(*oldAt, oldProperties_);
      std::vector<PropertyChange> differences;
      for (const Property& property : newProperties_) {
        const auto old = std::find_if(oldProperties_.begin(), oldProperties_.end(),
                                      [&](const Property& p) { return p.name == property.name; });
        const Parts oldValue = old == oldProperties_.end() ? Parts{} : old->value;
        if (compare(oldValue, property.value) != 0) {
          differences.push_back(
              {std::string(property.name), oldValue.text(), property.value.text()});
        }
      }
      if (!differences.empty())
        change(*newAt, ModelChange::Kind::kChanged).properties = std::move(differences);
      ++oldAt;
      ++newAt;
    }
  }

  const CompareOptions& options_;
  PackagePaths paths_;             // one numbering of paths for both models
  std::deque<std::string> heads_;  // the groups' made texts, for both models
  std::map<std::pair<const ZELObject*, GroupKind>, std::string_view> headsOf_;
  Scratch scratch_;  // texts made for one group's comparison
  std::vector<Member> oldMembers_, newMembers_;
  std::vector<Property> oldProperties_, newProperties_;
};

}  // namespace

std::vector<ModelChange> diffModels(const ZELModel& before, const ZELModel& after,
                                    const CompareOptions& options) {
  Comparison comparison(options);
  const Model oldModel = comparison.index(before);
  const Model newModel = comparison.index(after);
  return comparison.run(oldModel, newModel);
}

}  // namespace pcd::cli
