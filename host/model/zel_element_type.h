// Element types: the host's integer code for each kind of model object.
#pragma once

enum ZELElementType : int {
  ZEL_ET_NONE = 0,
  ZEL_ET_OBJECT = 1,
  ZEL_ET_MODEL_OBJECT = 2,
  ZEL_ET_MODEL_ELEMENT = 3,
  ZEL_ET_METADATA_ORIGIN = 5,
  ZEL_ET_PACKAGE = 10,
  ZEL_ET_MODEL = 11,
  ZEL_ET_DATA_PACKAGE = 12,
  ZEL_ET_DESIGN_PACKAGE = 13,
  ZEL_ET_KEY = 20,
  ZEL_ET_CANDIDATE_KEY = 21,
  ZEL_ET_FOREIGN_KEY = 22,
  ZEL_ET_CLASSIFIER = 30,
  ZEL_ET_CLASS = 31,
  ZEL_ET_SQL_VIEW_ENTITY = 32,
  ZEL_ET_FEATURE = 40,
  ZEL_ET_ATTRIBUTE = 41,
  ZEL_ET_SQL_VIEW_ATTRIBUTE = 42,
  ZEL_ET_INDEX = 51,
  ZEL_ET_INDEX_MEMBER = 52,
  ZEL_ET_TYPE = 60,
  ZEL_ET_CONCRETE_TYPE = 61,
  ZEL_ET_BASE_TYPE = 62,
  ZEL_ET_DERIVED_TYPE = 63,
  ZEL_ET_DATABASE_SCHEMA = 72,
  ZEL_ET_DATABASE_CATALOG = 74,
  ZEL_ET_ASSOCIATION = 80,
  ZEL_ET_ASSOCIATION_ROLE = 81,
  ZEL_ET_ASSOCIATION_ROLE_NAME_MAP = 82,
  ZEL_ET_OPERATION = 90,
  ZEL_ET_STORED_PROCEDURE = 91,
  ZEL_ET_ARGUMENT = 92,
};

// The element type a type directly specialises (ZEL_ET_NONE for ZEL_ET_OBJECT
// and for unknown codes).
ZELElementType zelParentElementType(ZELElementType type);
// True when `type` is `ancestor` or specialises it.
bool zelElementTypeIsA(ZELElementType type, ZELElementType ancestor);
// The class name of an element type ("ZELForeignKey"); "" for unknown codes.
const char* zelElementTypeName(ZELElementType type);
