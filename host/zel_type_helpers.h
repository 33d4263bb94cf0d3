// Host helpers for data types and associations.
#pragma once

#include "model/zel_model.h"

// The host's data type name for a native type name of a relational system
// ("varchar2" -> "VARCHAR"), matched without regard to case and to blanks
// around the name. Names the host does not know give "UNDEFINED". The caller
// cuts a length or precision in parentheses off first.
ZELString getDataTypeByName(const ZELString& nativeName);
// The default logical name of a host data type ("VARCHAR" -> "string");
// "undefined" for any name that is not a host data type.
ZELString getDefaultLogicalName(const ZELString& dataType);
// A new base type of that name, owned by the caller until linked to a model.
ZELBaseType* createBaseType(const ZELString& name);

// Merges the model's derived types that agree in name, length, scale, data
// type, native data type and base type: the first of them in the model's
// order is kept in its place, every user of another one (features,
// arguments, derived types) is pointed at the one kept, and the others are
// deleted. Linear in the number of types and users.
void factorizeTypes(ZELModel* model);

// Multiplicity text: "L" when both bounds are equal, "L..*" when the upper
// bound is 2147483645 or more, "L..U" otherwise.
ZELString buildMultiplicity(int lower, int upper);
// Marks `source` as the source end of its association and `target` as not.
void setSourceProperty(ZELAssociationRole* source, ZELAssociationRole* target);
// Sets the association's aggregation from its roles: composite when a parent
// side role has multiplicity "1", none otherwise.
void setAggregationProperty(ZELAssociation* association);
