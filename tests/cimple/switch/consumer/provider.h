#pragma once

#include <cimple/cimple.h>

#include "KRM_TBLConcreteJob.h"

cimple::Ref<cimple::KRM_TBLConcreteJob> makeJob();
