#include "CIM/Provider/Include/calls/IdentityCache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace varnock::calls {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

IdentityCache::Texts textsOf(const char* prefix) {
    IdentityCache::Texts texts;
    for (size_t index = 0; index < texts.size(); ++index) {
        texts[index] = (prefix + std::to_string(index)).c_str();
    }
    return texts;
}

std::string found(const IdentityCache& cache, unsigned int componentClass, unsigned int object,
                  unsigned int index) {
    const Text text = cache.find(componentClass, object, index);
    return text.null != 0 ? "null" : text.value.c_str();
}

TEST(IdentityCache, KeepsThreeClasses) {
    EXPECT_FALSE(IdentityCache::keeps(11));
    EXPECT_TRUE(IdentityCache::keeps(12));
    EXPECT_TRUE(IdentityCache::keeps(13));
    EXPECT_TRUE(IdentityCache::keeps(14));
    EXPECT_FALSE(IdentityCache::keeps(15));
    EXPECT_FALSE(IdentityCache::keeps(0x10C));
}

TEST(IdentityCache, FindsATextByClassObjectAndIndex) {
    IdentityCache cache;
    cache.add({{12, {{1, textsOf("a")}, {2, textsOf("b")}}}, {13, {{1, textsOf("c")}}}});
    EXPECT_EQ(found(cache, 12, 1, 0), "a0");
    EXPECT_EQ(found(cache, 12, 2, 9), "b9");
    EXPECT_EQ(found(cache, 13, 1, 5), "c5");
    EXPECT_EQ(found(cache, 13, 2, 5), "null");
    EXPECT_EQ(found(cache, 14, 1, 5), "null");
    EXPECT_EQ(found(cache, 12, 1, 10), "null");
    EXPECT_EQ(found(cache, 12, 1, 0xFFFFFFFF), "null");
}

TEST(IdentityCache, AddsToWhatIsThereAndReplacesTheSameObject) {
    IdentityCache cache;
    cache.add({{12, {{1, textsOf("a")}, {2, textsOf("b")}}}});
    cache.add({{12, {{2, textsOf("new")}, {3, textsOf("c")}}}});
    EXPECT_THAT(cache.objects(12), ElementsAre(1u, 2u, 3u));
    EXPECT_EQ(found(cache, 12, 1, 0), "a0");
    EXPECT_EQ(found(cache, 12, 2, 0), "new0");
    EXPECT_THAT(cache.objects(13), IsEmpty());
}

}  // namespace
}  // namespace varnock::calls
