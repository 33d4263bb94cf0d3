// Every model object class, in one include.
#pragma once

#include "model/zel_association.h"
#include "model/zel_classifier.h"
#include "model/zel_element_type.h"
#include "model/zel_key.h"
#include "model/zel_metadata_origin.h"
#include "model/zel_model_object.h"
#include "model/zel_object.h"
#include "model/zel_operation.h"
#include "model/zel_package.h"
#include "model/zel_type.h"
