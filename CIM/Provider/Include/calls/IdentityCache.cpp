#include "CIM/Provider/Include/calls/IdentityCache.h"

#include <utility>

namespace varnock::calls {

bool IdentityCache::keeps(unsigned int componentClass) {
    return componentClass == scsiControllers || componentClass == lanControllers ||
           componentClass == wanControllers;
}

void IdentityCache::add(Classes&& scanned) {
    const ScopedLock lock(mutex_);
    for (auto& [componentClass, objects] : scanned) {
        // Old entries are merged into the new ones: merging keeps existing entries.
        objects.merge(std::move(classes_[componentClass]));
        classes_[componentClass] = std::move(objects);
    }
}

Text IdentityCache::find(unsigned int componentClass, unsigned int object,
                         unsigned int index) const {
    const ScopedLock lock(mutex_);
    const auto objects = classes_.find(componentClass);
    if (objects == classes_.end() || index >= kIdentityTexts) {
        return nothing<Text>();
    }
    const auto texts = objects->second.find(object);
    return texts != objects->second.end() ? propertyOf(texts->second[index]) : nothing<Text>();
}

std::vector<unsigned int> IdentityCache::objects(unsigned int componentClass) const {
    const ScopedLock lock(mutex_);
    std::vector<unsigned int> result;
    if (const auto objects = classes_.find(componentClass); objects != classes_.end()) {
        for (const auto& [object, texts] : objects->second) {
            result.push_back(object);
        }
    }
    return result;
}

}  // namespace varnock::calls
