#include "zel_type_helpers.h"

#include <string_view>
#include <unordered_map>
#include <vector>

#include "zel_fault_injection.h"

namespace {

using NameMap = std::unordered_map<std::string_view, const char*>;

// Native type names of the common relational systems, upper case, inner
// blanks single, each with the host data type it stands for.
const NameMap& nativeTypeNames() {
  static const NameMap names = {
      // Character strings.
      {"CHAR", "CHAR"},
      {"CHARACTER", "CHAR"},
      {"BPCHAR", "CHAR"},
      {"VARCHAR", "VARCHAR"},
      {"VARCHAR2", "VARCHAR"},
      {"CHARACTER VARYING", "VARCHAR"},
      {"CHAR VARYING", "VARCHAR"},
      {"VARYING CHARACTER", "VARCHAR"},
      {"STRING", "VARCHAR"},
      {"SYSNAME", "NVARCHAR"},
      {"TINYTEXT", "VARCHAR"},
      {"TEXT", "LONGVARCHAR"},
      {"MEDIUMTEXT", "LONGVARCHAR"},
      {"LONGTEXT", "LONGVARCHAR"},
      {"CITEXT", "LONGVARCHAR"},
      {"LONG", "LONGVARCHAR"},
      {"LONG VARCHAR", "LONGVARCHAR"},
      {"LVARCHAR", "LONGVARCHAR"},
      {"CLOB", "CLOB"},
      {"CHARACTER LARGE OBJECT", "CLOB"},
      {"CHAR LARGE OBJECT", "CLOB"},
      // National character strings.
      {"NCHAR", "NCHAR"},
      {"NATIONAL CHAR", "NCHAR"},
      {"NATIONAL CHARACTER", "NCHAR"},
      {"GRAPHIC", "NCHAR"},
      {"NVARCHAR", "NVARCHAR"},
      {"NVARCHAR2", "NVARCHAR"},
      {"NCHAR VARYING", "NVARCHAR"},
      {"NATIONAL CHAR VARYING", "NVARCHAR"},
      {"NATIONAL CHARACTER VARYING", "NVARCHAR"},
      {"VARGRAPHIC", "NVARCHAR"},
      {"NTEXT", "LONGNVARCHAR"},
      {"LONG NVARCHAR", "LONGNVARCHAR"},
      {"LONG VARGRAPHIC", "LONGNVARCHAR"},
      {"NCLOB", "NCLOB"},
      {"NATIONAL CHARACTER LARGE OBJECT", "NCLOB"},
      {"NCHAR LARGE OBJECT", "NCLOB"},
      {"DBCLOB", "NCLOB"},
      // Exact numerics.
      {"NUMBER", "NUMERIC"},
      {"NUMERIC", "NUMERIC"},
      {"DECIMAL", "DECIMAL"},
      {"DEC", "DECIMAL"},
      {"DECFLOAT", "DECIMAL"},
      {"MONEY", "DECIMAL"},
      {"SMALLMONEY", "DECIMAL"},
      // Integers.
      {"TINYINT", "TINYINT"},
      {"BYTEINT", "TINYINT"},
      {"TINYINT UNSIGNED", "SMALLINT"},
      {"SMALLINT", "SMALLINT"},
      {"INT2", "SMALLINT"},
      {"SMALLSERIAL", "SMALLINT"},
      {"SERIAL2", "SMALLINT"},
      {"SMALLINT UNSIGNED", "INTEGER"},
      {"INT", "INTEGER"},
      {"INTEGER", "INTEGER"},
      {"INT4", "INTEGER"},
      {"MEDIUMINT", "INTEGER"},
      {"SERIAL", "INTEGER"},
      {"SERIAL4", "INTEGER"},
      {"PLS_INTEGER", "INTEGER"},
      {"BINARY_INTEGER", "INTEGER"},
      {"INT UNSIGNED", "BIGINT"},
      {"INTEGER UNSIGNED", "BIGINT"},
      {"BIGINT", "BIGINT"},
      {"INT8", "BIGINT"},
      {"BIGSERIAL", "BIGINT"},
      {"SERIAL8", "BIGINT"},
      {"BIGINT UNSIGNED", "DECIMAL"},
      // Approximate numerics.
      {"REAL", "REAL"},
      {"FLOAT4", "REAL"},
      {"SMALLFLOAT", "REAL"},
      {"BINARY_FLOAT", "REAL"},
      {"FLOAT", "FLOAT"},
      {"DOUBLE", "DOUBLE"},
      {"DOUBLE PRECISION", "DOUBLE"},
      {"FLOAT8", "DOUBLE"},
      {"BINARY_DOUBLE", "DOUBLE"},
      // Dates and times.
      {"DATE", "DATE"},
      {"TIME", "TIME"},
      {"TIME WITH TIME ZONE", "TIME"},
      {"TIME WITHOUT TIME ZONE", "TIME"},
      {"TIMETZ", "TIME"},
      {"TIMESTAMP", "TIMESTAMP"},
      {"TIMESTAMP WITH TIME ZONE", "TIMESTAMP"},
      {"TIMESTAMP WITH LOCAL TIME ZONE", "TIMESTAMP"},
      {"TIMESTAMP WITHOUT TIME ZONE", "TIMESTAMP"},
      {"TIMESTAMPTZ", "TIMESTAMP"},
      {"DATETIME", "TIMESTAMP"},
      {"SMALLDATETIME", "TIMESTAMP"},
      {"DATETIME2", "TIMESTAMP"},
      {"DATETIMEOFFSET", "TIMESTAMP"},
      {"INTERVAL", "INTERVAL"},
      {"INTERVAL YEAR", "INTERVAL"},
      {"INTERVAL DAY", "INTERVAL"},
      {"INTERVAL YEAR TO MONTH", "INTERVAL"},
      {"INTERVAL DAY TO SECOND", "INTERVAL"},
      // Binary strings.
      {"BINARY", "BINARY"},
      {"VARBINARY", "VARBINARY"},
      {"BINARY VARYING", "VARBINARY"},
      {"RAW", "VARBINARY"},
      {"TINYBLOB", "VARBINARY"},
      {"LONG RAW", "LONGVARBINARY"},
      {"LONG VARBINARY", "LONGVARBINARY"},
      {"BYTEA", "LONGVARBINARY"},
      {"IMAGE", "LONGVARBINARY"},
      {"BLOB", "BLOB"},
      {"MEDIUMBLOB", "BLOB"},
      {"LONGBLOB", "BLOB"},
      {"BINARY LARGE OBJECT", "BLOB"},
      // Truth values.
      {"BIT", "BIT"},
      {"BOOLEAN", "BOOLEAN"},
      {"BOOL", "BOOLEAN"},
      // Row and object identifiers.
      {"ROWID", "ROWID"},
      {"UROWID", "ROWID"},
      {"UNIQUEIDENTIFIER", "GUID"},
      {"UUID", "GUID"},
      // Documents.
      {"XML", "XML"},
      {"XMLTYPE", "XML"},
  };
  return names;
}

// Host data types and their default logical names.
const NameMap& logicalNames() {
  static const NameMap names = {
      {"CHAR", "string"},
      {"VARCHAR", "string"},
      {"LONGVARCHAR", "string"},
      {"CLOB", "string"},
      {"NCHAR", "national string"},
      {"NVARCHAR", "national string"},
      {"LONGNVARCHAR", "national string"},
      {"NCLOB", "national string"},
      {"BINARY", "binary"},
      {"VARBINARY", "binary"},
      {"LONGVARBINARY", "binary"},
      {"BLOB", "binary"},
      {"BIT", "boolean"},
      {"BOOLEAN", "boolean"},
      {"TINYINT", "integer"},
      {"SMALLINT", "integer"},
      {"INTEGER", "integer"},
      {"BIGINT", "integer"},
      {"DECIMAL", "decimal"},
      {"NUMERIC", "decimal"},
      {"REAL", "float"},
      {"FLOAT", "float"},
      {"DOUBLE", "float"},
      {"DATE", "date"},
      {"TIME", "time"},
      {"TIMESTAMP", "timestamp"},
      {"INTERVAL", "interval"},
      {"ROWID", "identifier"},
      {"GUID", "identifier"},
      {"XML", "xml"},
  };
  return names;
}

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

// The longest native name above, with room to spare; longer names are not
// known and need not be normalized.
constexpr unsigned kMaxNativeName = 48;

}  // namespace

ZELString getDataTypeByName(const ZELString& nativeName) {
  // Normalize into a local buffer without allocating: trim blanks, make
  // inner runs of blanks one space, upper-case ASCII letters.
  char normal[kMaxNativeName];
  unsigned length = 0;
  bool pendingBlank = false;
  for (unsigned i = 0; i < nativeName.length(); ++i) {
    char c = nativeName[i];
    if (isBlank(c)) {
      pendingBlank = length != 0;
      continue;
    }
    if (length + (pendingBlank ? 2 : 1) > kMaxNativeName) return ZELString("UNDEFINED");
    if (pendingBlank) normal[length++] = ' ';
    pendingBlank = false;
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    normal[length++] = c;
  }
  const NameMap& names = nativeTypeNames();
  const auto found = names.find(std::string_view(normal, length));
  return ZELString(found != names.end() ? found->second : "UNDEFINED");
}

ZELString getDefaultLogicalName(const ZELString& dataType) {
  const NameMap& names = logicalNames();
  const auto found = names.find(std::string_view(dataType.c_str(), dataType.length()));
  return ZELString(found != names.end() ? found->second : "undefined");
}

ZELBaseType* createBaseType(const ZELString& name) {
  zel_testing::faultPoint();
  auto* type = new ZELBaseType;
  type->setName(name);
  return type;
}

ZELString buildMultiplicity(int lower, int upper) {
  ZELString text(static_cast<long>(lower));
  if (lower == upper) return text;
  text += "..";
  if (upper >= 2147483645) {
    text += "*";
  } else {
    text += ZELString(static_cast<long>(upper));
  }
  return text;
}

void setSourceProperty(ZELAssociationRole* source, ZELAssociationRole* target) {
  if (source != nullptr) source->source = true;
  if (target != nullptr) target->source = false;
}

void setAggregationProperty(ZELAssociation* association) {
  if (association == nullptr) return;
  association->aggregation = ZELAssociation::kNone;
  for (ZELAssociationRole* role : association->roles()) {
    if (role->parentSide && role->multiplicity == "1") {
      association->aggregation = ZELAssociation::kComposite;
      return;
    }
  }
}

// ---------------------------------------------------------------------------
// Type factorization

namespace {

// What makes two derived types the same.
struct TypeSignature {
  const ZELDerivedType* type;
  const ZELConcreteType* base;
};

// Hashes the name, length, scale and base only: the name (which mostly
// carries the native type and length) spreads the types well enough, and the
// two other texts are compared, not hashed, to save two string hashes per type.
struct SignatureHash {
  size_t operator()(const TypeSignature& s) const noexcept {
    const ZELDerivedType& t = *s.type;
    size_t h = t.getName().hashCode();
    auto mix = [&h](size_t v) { h ^= v + 0x9e3779b97f4a7c15ULL + (h << 6) + (h >> 2); };
    mix(static_cast<size_t>(static_cast<unsigned>(t.Length)));
    mix(static_cast<size_t>(static_cast<unsigned>(t.Scale)));
    mix(reinterpret_cast<size_t>(s.base));
    return h;
  }
};

struct SignatureEqual {
  bool operator()(const TypeSignature& a, const TypeSignature& b) const noexcept {
    const ZELDerivedType& x = *a.type;
    const ZELDerivedType& y = *b.type;
    return a.base == b.base && x.Length == y.Length && x.Scale == y.Scale &&
           x.getName() == y.getName() && x.DataType == y.DataType &&
           x.NativeDataType == y.NativeDataType;
  }
};

// The first type of each signature, in a flat open-addressing table that
// keeps each hash beside its type: a look-up compares types only when the
// hashes agree, and nothing is allocated per type (a large model has
// millions of derived types, tens of thousands of them distinct).
class KeptTypes {
 public:
  // The kept type equal to `signature`, or null after keeping its type.
  ZELDerivedType* findOrKeep(const TypeSignature& signature) {
    const size_t hash = SignatureHash()(signature);
    size_t at = hash & (slots_.size() - 1);
    for (; slots_[at].type != nullptr; at = (at + 1) & (slots_.size() - 1)) {
      const Slot& slot = slots_[at];
      if (slot.hash == hash && SignatureEqual()(TypeSignature{slot.type, slot.base}, signature)) {
        return slot.type;
      }
    }
    slots_[at] = Slot{hash, const_cast<ZELDerivedType*>(signature.type), signature.base};
    if (++kept_ * 2 > slots_.size()) grow();
    return nullptr;
  }

 private:
  struct Slot {
    size_t hash;
    ZELDerivedType* type;  // null: free
    const ZELConcreteType* base;
  };
  void grow() {
    std::vector<Slot> old(slots_.size() * 2, Slot{0, nullptr, nullptr});
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.type == nullptr) continue;
      size_t at = slot.hash & (slots_.size() - 1);
      while (slots_[at].type != nullptr) at = (at + 1) & (slots_.size() - 1);
      slots_[at] = slot;
    }
  }
  std::vector<Slot> slots_ = std::vector<Slot>(256, Slot{0, nullptr, nullptr});
  size_t kept_ = 0;
};

// One pass over the model's derived types in order; returns true when a
// derived type was re-pointed to a new base, which may make further types
// equal (a type derived from a merged derived type).
bool factorizeOnce(ZELModel* model) {
  std::vector<ZELDerivedType*> derived;
  derived.reserve(static_cast<size_t>(model->types().count()));
  for (ZELType* type : model->types()) {
    if (type->isInstanceOf(ZEL_ET_DERIVED_TYPE)) {
      derived.push_back(static_cast<ZELDerivedType*>(type));
    }
  }
  KeptTypes kept;
  bool basesChanged = false;
  for (ZELDerivedType* type : derived) {
    ZELDerivedType* survivor = kept.findOrKeep({type, type->getDerivedFromConcreteType()});
    if (survivor == nullptr) continue;
    // Re-point every user; set() takes the reference off this type's list.
    while (const ZELReference* first = type->firstReferrer()) {
      auto* reference = const_cast<ZELReference*>(first);
      if (reference->holder()->isInstanceOf(ZEL_ET_DERIVED_TYPE)) basesChanged = true;
      reference->set(survivor);
    }
    delete type;
  }
  return basesChanged;
}

}  // namespace

void factorizeTypes(ZELModel* model) {
  if (model == nullptr) return;
  // Normally one pass; chains of derived types need one more per level.
  while (factorizeOnce(model)) {
  }
}
