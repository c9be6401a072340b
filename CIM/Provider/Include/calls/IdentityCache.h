#pragma once

#include <cimple/String.h>

#include <array>
#include <map>
#include <vector>

#include "CIM/Provider/Include/calls/Decoding.h"
#include "util/Mutex.h"

namespace varnock::calls {

/// The identity texts of one component.
inline constexpr size_t kIdentityTexts = 10;

/// The component classes whose identity texts are kept.
enum ControllerClass : unsigned int {
    scsiControllers = 12,
    lanControllers = 13,
    wanControllers = 14
};

/// The identity texts of the controllers that were read, by class and object. Entries are never
/// removed.
///
/// Thread-safety: any thread may call any operation.
class IdentityCache {
  public:
    using Texts = std::array<cimple::String, kIdentityTexts>;
    using Objects = std::map<unsigned int, Texts>;
    using Classes = std::map<unsigned int, Objects>;

    static bool keeps(unsigned int componentClass);

    /// Adds the controllers of one scan; the texts of an existing object are replaced.
    void add(Classes&& scanned);
    /// A text of an object; null if the object was not read or lacks the text.
    Text find(unsigned int componentClass, unsigned int object, unsigned int index) const;
    /// The objects of a class, in their order.
    std::vector<unsigned int> objects(unsigned int componentClass) const;

  private:
    mutable Mutex mutex_;
    Classes classes_ VARNOCK_GUARDED_BY(mutex_);
};

}  // namespace varnock::calls
