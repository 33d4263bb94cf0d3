#include "model/zel_element_type.h"

ZELElementType zelParentElementType(ZELElementType type) {
  switch (type) {
    case ZEL_ET_MODEL_OBJECT:
    case ZEL_ET_METADATA_ORIGIN:
      return ZEL_ET_OBJECT;
    case ZEL_ET_MODEL_ELEMENT:
    case ZEL_ET_PACKAGE:
    case ZEL_ET_KEY:
    case ZEL_ET_FEATURE:
    case ZEL_ET_INDEX:
    case ZEL_ET_INDEX_MEMBER:
    case ZEL_ET_ASSOCIATION_ROLE:
    case ZEL_ET_ASSOCIATION_ROLE_NAME_MAP:
    case ZEL_ET_ARGUMENT:
      return ZEL_ET_MODEL_OBJECT;
    case ZEL_ET_CLASSIFIER:
    case ZEL_ET_TYPE:
    case ZEL_ET_ASSOCIATION:
    case ZEL_ET_OPERATION:
      return ZEL_ET_MODEL_ELEMENT;
    case ZEL_ET_MODEL:
    case ZEL_ET_DATA_PACKAGE:
    case ZEL_ET_DESIGN_PACKAGE:
      return ZEL_ET_PACKAGE;
    case ZEL_ET_DATABASE_SCHEMA:
    case ZEL_ET_DATABASE_CATALOG:
      return ZEL_ET_DATA_PACKAGE;
    case ZEL_ET_CANDIDATE_KEY:
    case ZEL_ET_FOREIGN_KEY:
      return ZEL_ET_KEY;
    case ZEL_ET_CLASS:
      return ZEL_ET_CLASSIFIER;
    case ZEL_ET_SQL_VIEW_ENTITY:
      return ZEL_ET_CLASS;
    case ZEL_ET_ATTRIBUTE:
      return ZEL_ET_FEATURE;
    case ZEL_ET_SQL_VIEW_ATTRIBUTE:
      return ZEL_ET_ATTRIBUTE;
    case ZEL_ET_CONCRETE_TYPE:
      return ZEL_ET_TYPE;
    case ZEL_ET_BASE_TYPE:
    case ZEL_ET_DERIVED_TYPE:
      return ZEL_ET_CONCRETE_TYPE;
    case ZEL_ET_STORED_PROCEDURE:
      return ZEL_ET_OPERATION;
    case ZEL_ET_NONE:
    case ZEL_ET_OBJECT:
      return ZEL_ET_NONE;
  }
  return ZEL_ET_NONE;  // a code outside the enumeration
}

bool zelElementTypeIsA(ZELElementType type, ZELElementType ancestor) {
  // The tree is at most six levels deep.
  for (ZELElementType at = type; at != ZEL_ET_NONE; at = zelParentElementType(at)) {
    if (at == ancestor) return true;
  }
  return false;
}

const char* zelElementTypeName(ZELElementType type) {
  switch (type) {
    case ZEL_ET_NONE:
      return "";
    case ZEL_ET_OBJECT:
      return "ZELObject";
    case ZEL_ET_MODEL_OBJECT:
      return "ZELModelObject";
    case ZEL_ET_MODEL_ELEMENT:
      return "ZELModelElement";
    case ZEL_ET_METADATA_ORIGIN:
      return "ZELMetadataOrigin";
    case ZEL_ET_PACKAGE:
      return "ZELPackage";
    case ZEL_ET_MODEL:
      return "ZELModel";
    case ZEL_ET_DATA_PACKAGE:
      return "ZELDataPackage";
    case ZEL_ET_DESIGN_PACKAGE:
      return "ZELDesignPackage";
    case ZEL_ET_KEY:
      return "ZELKey";
    case ZEL_ET_CANDIDATE_KEY:
      return "ZELCandidateKey";
    case ZEL_ET_FOREIGN_KEY:
      return "ZELForeignKey";
    case ZEL_ET_CLASSIFIER:
      return "ZELClassifier";
    case ZEL_ET_CLASS:
      return "ZELClass";
    case ZEL_ET_SQL_VIEW_ENTITY:
      return "ZELSQLViewEntity";
    case ZEL_ET_FEATURE:
      return "ZELFeature";
    case ZEL_ET_ATTRIBUTE:
      return "ZELAttribute";
    case ZEL_ET_SQL_VIEW_ATTRIBUTE:
      return "ZELSQLViewAttribute";
    case ZEL_ET_INDEX:
      return "ZELIndex";
    case ZEL_ET_INDEX_MEMBER:
      return "ZELIndexMember";
    case ZEL_ET_TYPE:
      return "ZELType";
    case ZEL_ET_CONCRETE_TYPE:
      return "ZELConcreteType";
    case ZEL_ET_BASE_TYPE:
      return "ZELBaseType";
    case ZEL_ET_DERIVED_TYPE:
      return "ZELDerivedType";
    case ZEL_ET_DATABASE_SCHEMA:
      return "ZELDatabaseSchema";
    case ZEL_ET_DATABASE_CATALOG:
      return "ZELDatabaseCatalog";
    case ZEL_ET_ASSOCIATION:
      return "ZELAssociation";
    case ZEL_ET_ASSOCIATION_ROLE:
      return "ZELAssociationRole";
    case ZEL_ET_ASSOCIATION_ROLE_NAME_MAP:
      return "ZELAssociationRoleNameMap";
    case ZEL_ET_OPERATION:
      return "ZELOperation";
    case ZEL_ET_STORED_PROCEDURE:
      return "ZELStoredProcedure";
    case ZEL_ET_ARGUMENT:
      return "ZELArgument";
  }
  return "";
}
