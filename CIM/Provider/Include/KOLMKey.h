#pragma once

#include "util/Export.h"

namespace provider {

/// The address of a managed object in agent commands. A plain value: copies are independent, and
/// one object may be used by one thread at a time.
struct KOLMKey {
    /// Stores the numbers as they are.
    KOLMKey(unsigned int cabinetNr_, unsigned int objectId_, unsigned int opCodeExt_)
        : cabinetNr(cabinetNr_), objectId(objectId_), opCodeExt(opCodeExt_) {}

    unsigned int cabinetNr;  ///< the node's cabinet or an extension cabinet
    unsigned int objectId;   ///< the object within the cabinet
    unsigned int opCodeExt;  ///< selects the object kind; 0 where there is none
};

}  // namespace provider
