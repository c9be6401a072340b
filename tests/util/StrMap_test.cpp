#include "util/StrMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "tests/support/EveryAllocation.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"

namespace {

using varnock::test::FailingAllocation;
using varnock::test::FailingCallNumber;
using varnock::test::FailingMalloc;
using varnock::test::forEveryAllocation;
using varnock::test::PosixThread;

/// Gives access to the map's protected operations.
class OpenMap : public CStrMap {
  public:
    using CStrMap::append;
    using CStrMap::appendWithMemory;
    using CStrMap::assocAt;
    using CStrMap::capacity;
    using CStrMap::count;
    using CStrMap::findAssoc;
    using CStrMap::holdsMemory;
    using CStrMap::newAssoc;
    using CStrMap::sortAppended;
};

int slots[300];

void* slot(int index) {
    return &slots[index];
}

std::string numbered(int number) {
    return "key" + std::to_string(number);
}

std::vector<std::string> keysOf(CStrMap& map) {
    std::vector<std::string> keys;
    while (void* key = map.getAt(static_cast<int>(keys.size()), nullptr)) {
        keys.emplace_back(static_cast<const char*>(key));
    }
    return keys;
}

TEST(StrMap, StartsEmpty) {
    OpenMap map;
    EXPECT_EQ(map.count(), 0U);
    EXPECT_EQ(map.capacity(), 0U);
    EXPECT_EQ(map.lookup("fan", nullptr), nullptr);
    EXPECT_EQ(map.remove("fan", nullptr), nullptr);
    EXPECT_EQ(map.findAssoc("fan"), nullptr);
}

TEST(StrMap, FindsValueAndData) {
    CStrMap map;
    EXPECT_EQ(map.add("fan", slot(1), slot(2), nullptr), nullptr);
    void* data = nullptr;
    EXPECT_EQ(map.lookup("fan", &data), slot(1));
    EXPECT_EQ(data, slot(2));
    EXPECT_EQ(map.lookup("fan", nullptr), slot(1));
}

TEST(StrMap, SetsDataToNullForAnUnknownKey) {
    CStrMap map;
    map.add("fan", slot(1), slot(2), nullptr);
    void* data = slot(9);
    EXPECT_EQ(map.lookup("fa", &data), nullptr);
    EXPECT_EQ(data, nullptr);
}

TEST(StrMap, ReplacesAnExistingKey) {
    OpenMap map;
    map.add("fan", slot(1), slot(2), nullptr);
    void* old = nullptr;
    EXPECT_EQ(map.add("fan", slot(3), slot(4), &old), slot(1));
    EXPECT_EQ(old, slot(2));
    EXPECT_EQ(map.count(), 1U);
    void* data = nullptr;
    EXPECT_EQ(map.lookup("fan", &data), slot(3));
    EXPECT_EQ(data, slot(4));
}

TEST(StrMap, ReportsNoOldDataForANewKey) {
    CStrMap map;
    void* old = slot(9);
    EXPECT_EQ(map.add("fan", slot(1), slot(2), &old), nullptr);
    EXPECT_EQ(old, nullptr);
}

TEST(StrMap, IgnoresANullKey) {
    OpenMap map;
    void* data = slot(9);
    EXPECT_EQ(map.add(nullptr, slot(1), slot(2), &data), nullptr);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(map.count(), 0U);
    data = slot(9);
    EXPECT_EQ(map.remove(nullptr, &data), nullptr);
    EXPECT_EQ(data, nullptr);
    data = slot(9);
    EXPECT_EQ(map.lookup(nullptr, &data), nullptr);
    EXPECT_EQ(data, slot(9)) << "a lookup of null leaves the data alone";
    EXPECT_EQ(map.findAssoc(nullptr), nullptr);
}

TEST(StrMap, AcceptsTheEmptyKey) {
    CStrMap map;
    map.add("a", slot(1), nullptr, nullptr);
    map.add("", slot(2), nullptr, nullptr);
    EXPECT_EQ(map.lookup("", nullptr), slot(2));
    EXPECT_STREQ(static_cast<char*>(map.getAt(0, nullptr)), "");
}

TEST(StrMap, OwnsACopyOfTheKey) {
    CStrMap map;
    char key[] = "fan";
    map.add(key, slot(1), nullptr, nullptr);
    key[0] = 'v';
    EXPECT_EQ(map.lookup("fan", nullptr), slot(1));
    EXPECT_EQ(map.lookup("van", nullptr), nullptr);
}

TEST(StrMap, TellsKeysApartByCase) {
    CStrMap map;
    map.add("Fan", slot(1), nullptr, nullptr);
    map.add("fan", slot(2), nullptr, nullptr);
    EXPECT_EQ(map.lookup("Fan", nullptr), slot(1));
    EXPECT_EQ(map.lookup("fan", nullptr), slot(2));
    EXPECT_EQ(map.lookup("FAN", nullptr), nullptr);
}

TEST(StrMap, OrdersKeysByTheirBytes) {
    CStrMap map;
    for (const char* key : {"b", "a", "\xC3\xA4", "B", "", "ab", "a b"}) {
        map.add(key, nullptr, nullptr, nullptr);
    }
    EXPECT_EQ(keysOf(map), (std::vector<std::string>{"", "B", "a", "a b", "ab", "b", "\xC3\xA4"}));
}

TEST(StrMap, KeepsTheOrderThroughInsertionsAndRemovals) {
    std::vector<std::string> keys;
    for (int number = 0; number < 200; ++number) {
        keys.push_back(numbered(number));
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(7));
    CStrMap map;
    for (const std::string& key : keys) {
        map.add(key.c_str(), nullptr, nullptr, nullptr);
    }
    std::vector<std::string> left(keys.begin() + 100, keys.end());
    for (int index = 0; index < 100; ++index) {
        map.remove(keys[static_cast<std::size_t>(index)].c_str(), nullptr);
    }
    std::sort(left.begin(), left.end());
    EXPECT_EQ(keysOf(map), left);
}

TEST(StrMap, GetAtGivesKeyAndData) {
    CStrMap map;
    map.add("b", slot(1), slot(2), nullptr);
    map.add("a", slot(3), slot(4), nullptr);
    void* data = nullptr;
    EXPECT_STREQ(static_cast<char*>(map.getAt(1, &data)), "b");
    EXPECT_EQ(data, slot(2));
}

TEST(StrMap, GetAtOutsideTheMapGivesNullAndLeavesTheDataAlone) {
    CStrMap map;
    map.add("a", slot(1), slot(2), nullptr);
    void* data = slot(9);
    EXPECT_EQ(map.getAt(-1, &data), nullptr);
    EXPECT_EQ(map.getAt(1, &data), nullptr);
    EXPECT_EQ(data, slot(9));
}

TEST(StrMap, RemoveReturnsValueAndData) {
    CStrMap map;
    map.add("a", slot(1), slot(2), nullptr);
    map.add("b", slot(3), slot(4), nullptr);
    void* data = nullptr;
    EXPECT_EQ(map.remove("a", &data), slot(1));
    EXPECT_EQ(data, slot(2));
    EXPECT_EQ(map.lookup("a", nullptr), nullptr);
    EXPECT_EQ(map.lookup("b", nullptr), slot(3));
}

TEST(StrMap, RemoveOfAnUnknownKeyChangesNothing) {
    OpenMap map;
    map.add("a", slot(1), slot(2), nullptr);
    void* data = slot(9);
    EXPECT_EQ(map.remove("b", &data), nullptr);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(map.count(), 1U);
}

TEST(StrMap, KeepsTheArrayWhenTheOnlyEntryIsRemoved) {
    OpenMap map;
    map.add("a", slot(1), nullptr, nullptr);
    map.remove("a", nullptr);
    EXPECT_EQ(map.count(), 0U);
    EXPECT_EQ(map.capacity(), 16U);
    map.add("b", slot(2), nullptr, nullptr);
    EXPECT_EQ(map.capacity(), 16U);
    EXPECT_EQ(keysOf(map), std::vector<std::string>{"b"});
}

TEST(StrMap, ReportsAGrowthOfSixteenAtATime) {
    OpenMap map;
    for (int number = 0; number < 300; ++number) {
        map.add(numbered(number).c_str(), slot(number), nullptr, nullptr);
        EXPECT_EQ(map.capacity(), static_cast<unsigned int>(number / 16 + 1) * 16);
    }
    for (int number = 0; number < 300; ++number) {
        EXPECT_EQ(map.lookup(numbered(number).c_str(), nullptr), slot(number));
    }
}

TEST(StrMap, GrowsFromTheCountAfterRemovals) {
    OpenMap map;
    for (int number = 0; number < 17; ++number) {
        map.add(numbered(number).c_str(), nullptr, nullptr, nullptr);
    }
    for (int number = 0; number < 17; ++number) {
        map.remove(numbered(number).c_str(), nullptr);
    }
    for (int number = 0; number < 33; ++number) {
        map.add(numbered(number).c_str(), nullptr, nullptr, nullptr);
    }
    EXPECT_EQ(map.capacity(), 48U);
}

TEST(StrMap, ComparesNullKeysAsTheLast) {
    char key[] = "a";
    char laterKey[] = "b";
    const CStrMap::Assoc first{key, nullptr, nullptr};
    const CStrMap::Assoc second{laterKey, nullptr, nullptr};
    const CStrMap::Assoc none{};
    EXPECT_EQ(CStrMap::compare(&none, &none), 0);
    EXPECT_GT(CStrMap::compare(&none, &first), 0);
    EXPECT_LT(CStrMap::compare(&first, &none), 0);
    EXPECT_LT(CStrMap::compare(&first, &second), 0);
    EXPECT_GT(CStrMap::compare(&second, &first), 0);
    EXPECT_EQ(CStrMap::compare(&first, &first), 0);
}

TEST(StrMap, ANewEntryIsAllZeroAlsoInAUsedSlot) {
    OpenMap map;
    map.add("a", slot(1), slot(2), nullptr);
    map.remove("a", nullptr);
    CStrMap::Assoc* fresh = map.newAssoc();
    EXPECT_EQ(fresh->key, nullptr);
    EXPECT_EQ(fresh->value, nullptr);
    EXPECT_EQ(fresh->data, nullptr);
    EXPECT_EQ(map.count(), 1U);
}

TEST(StrMap, FindAssocReachesTheEntryItself) {
    OpenMap map;
    map.add("a", slot(1), slot(2), nullptr);
    CStrMap::Assoc* entry = map.findAssoc("a");
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->key, "a");
    entry->value = slot(3);
    EXPECT_EQ(map.lookup("a", nullptr), slot(3));
}

TEST(StrMap, LackOfMemoryLeavesTheMapUnchanged) {
    OpenMap map;
    for (int number = 0; number < 16; ++number) {
        map.add(numbered(number).c_str(), slot(number), nullptr, nullptr);
    }
    const std::vector<std::string> before = keysOf(map);
    for (const std::size_t n : {1U, 2U}) {  // the copy of the key, the larger array
        const FailingAllocation failure(n);
        EXPECT_THROW(map.add("one more", slot(99), nullptr, nullptr), std::bad_alloc);
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(keysOf(map), before);
    PosixThread other([&] { map.add("one more", slot(99), nullptr, nullptr); });
    other.join();
    EXPECT_EQ(map.lookup("one more", nullptr), slot(99)) << "the lock is free";
}

TEST(StrMap, EveryOperationSurvivesTheLackOfAnyMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::string big(1000, 'x');
    const std::vector<std::function<void(OpenMap&)>> operations = {
        [](OpenMap& map) { map.add("one more", slot(99), nullptr, nullptr); },
        [&](OpenMap& map) { map.add(big.c_str(), slot(99), nullptr, nullptr); },
        [](OpenMap& map) { map.append("one more", slot(3), slot(4)), map.sortAppended(nullptr); },
        [&](OpenMap& map) {
            map.appendWithMemory(big.c_str(), 1000, nullptr), map.sortAppended(nullptr);
        },
        [](OpenMap& map) {
            for (int i = 0; i < 64; ++i) {
                map.lookup(numbered(i * 7 % 64).c_str(), nullptr);
            }
        },
    };
    std::size_t failures = 0;
    for (const auto& operation : operations) {
        failures += forEveryAllocation([&](const FailingCallNumber& call) {
            auto map = std::make_unique<OpenMap>();
            for (int i = 0; i < 64; ++i) {
                map->add(numbered(i).c_str(), slot(i), nullptr, nullptr);
            }
            FailingMalloc failure(call.n, call.times);
            try {
                operation(*map);
            } catch (const std::bad_alloc&) {
            }
            failure.end();
            map->sortAppended(nullptr);
            for (int i = 0; i < 64; ++i) {
                EXPECT_EQ(map->lookup(numbered(i).c_str(), nullptr), slot(i));
            }
            EXPECT_EQ(map->add("the next", slot(5), nullptr, nullptr), nullptr);
            EXPECT_EQ(map->lookup("the next", nullptr), slot(5));
            map.reset();
            EXPECT_EQ(failure.blocksLeft(), 0u);
            return failure.happened();
        });
    }
    EXPECT_GT(failures, 5u);
}

TEST(StrMap, ReplacingNeedsNoMemory) {
    CStrMap map;
    map.add("a", slot(1), nullptr, nullptr);
    const FailingAllocation failure(1);
    EXPECT_EQ(map.add("a", slot(2), nullptr, nullptr), slot(1));
    EXPECT_FALSE(failure.happened());
}

TEST(StrMap, AppendedEntriesAreFoundAfterSorting) {
    OpenMap map;
    map.add("m", slot(1), slot(2), nullptr);
    for (const char* key : {"z", "a", "q"}) {
        map.append(key, slot(3), slot(4));
    }
    map.sortAppended(nullptr);
    EXPECT_EQ(keysOf(map), (std::vector<std::string>{"a", "m", "q", "z"}));
    EXPECT_EQ(map.lookup("q", nullptr), slot(3));
    EXPECT_EQ(map.lookup("m", nullptr), slot(1));
}

TEST(StrMap, OfEqualAppendedKeysTheLastStays) {
    std::vector<std::pair<void*, void*>> discarded;
    OpenMap map;
    map.add("b", slot(0), slot(10), nullptr);
    map.append("b", slot(1), slot(11));
    map.append("a", slot(2), slot(12));
    map.append("b", slot(3), slot(13));
    map.sortAppended([&](void* value, void* data) { discarded.emplace_back(value, data); });
    EXPECT_EQ(keysOf(map), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(map.lookup("b", nullptr), slot(3));
    EXPECT_EQ(discarded,
              (std::vector<std::pair<void*, void*>>{{slot(0), slot(10)}, {slot(1), slot(11)}}));
}

TEST(StrMap, AppendedAndAddedKeysMayBeRemoved) {
    OpenMap map;
    for (int i = 0; i < 100; ++i) {
        map.append(numbered(i).c_str(), slot(i), nullptr);
    }
    map.append(std::string(5000, 'x').c_str(), slot(100), nullptr);
    map.sortAppended(nullptr);
    for (int i = 101; i < 200; ++i) {
        map.add(numbered(i).c_str(), slot(i), nullptr, nullptr);
    }
    for (int i = 0; i < 200; i += 2) {
        EXPECT_EQ(map.remove(numbered(i).c_str(), nullptr), i == 100 ? nullptr : slot(i));
    }
    for (int i = 1; i < 200; i += 2) {
        EXPECT_EQ(map.lookup(numbered(i).c_str(), nullptr), slot(i));
    }
    EXPECT_EQ(map.remove(std::string(5000, 'x').c_str(), nullptr), slot(100));
    EXPECT_EQ(map.count(), 100U);
}

TEST(StrMap, ValuesMayLieInTheMapsOwnMemory) {
    OpenMap map;
    std::vector<void*> values;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{5000}}) {
        void* const memory = map.appendWithMemory(std::to_string(size).c_str(), size, slot(1));
        std::memset(memory, 'x', size);
        values.push_back(memory);
    }
    map.append("other", slot(2), nullptr);
    map.sortAppended(nullptr);
    EXPECT_EQ(keysOf(map), (std::vector<std::string>{"0", "1", "5000", "other"}));
    EXPECT_EQ(map.remove("5000", nullptr), values[2]);
    EXPECT_EQ(map.add("1", slot(3), nullptr, nullptr), values[1]);
    for (void* const value : values) {
        EXPECT_TRUE(map.holdsMemory(value)) << "as long as the map";
    }
    EXPECT_FALSE(map.holdsMemory(slot(2)));
    EXPECT_FALSE(OpenMap().holdsMemory(slot(2)));
}

TEST(StrMap, AppendingWithMemoryChangesNothingWithoutMemory) {
    for (std::size_t nth = 1;; ++nth) {
        OpenMap map;
        map.add("a", slot(1), nullptr, nullptr);
        const std::string big(1000, 'x');
        bool happened = false;
        try {
            const FailingAllocation failure(nth);
            map.appendWithMemory(big.c_str(), 1000, nullptr);
            happened = failure.happened();
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(keysOf(map), std::vector<std::string>{"a"});
            continue;
        }
        ASSERT_FALSE(happened) << "a failed allocation went unnoticed";
        EXPECT_GT(nth, 1U);
        return;
    }
}

TEST(StrMap, SortsAHundredThousandAppendedKeys) {
    std::vector<std::string> keys;
    for (int number = 0; number < 100'000; ++number) {
        keys.push_back(numbered(number));
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(7));
    OpenMap map;
    for (const std::string& key : keys) {
        map.append(key.c_str(), nullptr, nullptr);
    }
    map.sortAppended(nullptr);
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(keysOf(map), keys);
}

TEST(StrMap, FindsEveryKeyOfALargeMapHoweverOftenItIsAsked) {
    OpenMap map;
    for (int i = 0; i < 300; ++i) {
        map.add(numbered(i).c_str(), slot(i), nullptr, nullptr);
    }
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 300; ++i) {
            EXPECT_EQ(map.lookup(numbered(i).c_str(), nullptr), slot(i)) << i;
        }
        EXPECT_EQ(map.lookup("key", nullptr), nullptr);
        EXPECT_EQ(map.lookup("key300", nullptr), nullptr);
        EXPECT_EQ(map.lookup("", nullptr), nullptr);
    }
}

TEST(StrMap, ChangesOfALargeMapAreSeenBetweenLookups) {
    OpenMap map;
    std::vector<bool> present(300, false);
    std::mt19937 random(1);
    for (int step = 0; step < 20'000; ++step) {
        const int i = static_cast<int>(random() % 300);
        const std::string key = numbered(i);
        const auto at = static_cast<std::size_t>(i);
        // Long phases without a change, so that both search methods are used.
        const auto action = (step / 500) % 2 == 0 ? random() % 3 : 2;
        if (action == 0) {
            map.add(key.c_str(), slot(i), nullptr, nullptr);
            present[at] = true;
        } else if (action == 1) {
            EXPECT_EQ(map.remove(key.c_str(), nullptr), present[at] ? slot(i) : nullptr);
            present[at] = false;
        }
        ASSERT_EQ(map.lookup(key.c_str(), nullptr), present[at] ? slot(i) : nullptr) << step;
    }
}

// A lookup first tries the entry after the previous one.
TEST(StrMap, FindsNamesAskedForInEveryOrder) {
    for (const int count : {1, 2, 3, 10, 300}) {
        OpenMap map;
        for (int i = 0; i < count; ++i) {
            map.add(numbered(i).c_str(), slot(i), nullptr, nullptr);
        }
        const std::vector<std::string> keys = keysOf(map);
        std::vector<std::string> order;
        for (std::size_t step = 1; step < 5; ++step) {
            for (std::size_t i = 0; i < keys.size(); i += step) {
                order.push_back(keys[i]);
            }
        }
        order.insert(order.end(), keys.rbegin(), keys.rend());
        order.insert(order.end(), 3, keys.back());
        for (const std::string& key : order) {
            const int number = std::stoi(key.substr(3));
            ASSERT_EQ(map.lookup(key.c_str(), nullptr), slot(number)) << count;
            ASSERT_EQ(map.lookup((key + "x").c_str(), nullptr), nullptr) << count;
        }
        for (const std::string& key : keys) {
            EXPECT_NE(map.lookup(key.c_str(), nullptr), nullptr);
            EXPECT_NE(map.remove(key.c_str(), nullptr), nullptr);
            EXPECT_EQ(map.lookup(key.c_str(), nullptr), nullptr) << "removed: " << key;
        }
    }
}

TEST(StrMap, FindsKeysThatFallOnOnePlace) {
    constexpr std::size_t places = 1024;  // enough for 400 keys at most half full
    std::vector<std::string> keys;
    for (int i = 0; keys.size() < 400; ++i) {
        const std::string key = numbered(i);
        if (std::hash<std::string>()(key) % places == 0) {
            keys.push_back(key + "x");
        }
    }
    OpenMap map;
    for (const std::string& key : keys) {
        map.add(key.c_str(), slot(static_cast<int>(key.size())), nullptr, nullptr);
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(3));
    for (int round = 0; round < 2; ++round) {
        for (const std::string& key : keys) {
            ASSERT_EQ(map.lookup(key.c_str(), nullptr), slot(static_cast<int>(key.size()))) << key;
        }
        EXPECT_EQ(map.lookup("key", nullptr), nullptr);
    }
}

TEST(StrMap, ReplacedValuesAreFoundInALargeMap) {
    OpenMap map;
    for (int i = 0; i < 300; ++i) {
        map.add(numbered(i).c_str(), slot(i), nullptr, nullptr);
    }
    for (int i = 0; i < 300; ++i) {
        map.lookup(numbered(i).c_str(), nullptr);
    }
    EXPECT_EQ(map.add("key7", slot(8), slot(9), nullptr), slot(7));
    void* data = nullptr;
    EXPECT_EQ(map.lookup("key7", &data), slot(8));
    EXPECT_EQ(data, slot(9));
}

/// Fills a map and looks up every key.
void fillAndSearch(OpenMap& map) {
    for (int i = 0; i < 300; ++i) {
        map.add(numbered(i).c_str(), slot(i), nullptr, nullptr);
    }
    for (int i = 0; i < 300; ++i) {
        map.lookup(numbered(i).c_str(), nullptr);
    }
}

TEST(StrMap, EntriesChangedInPlaceAreFoundInALargeMap) {
    OpenMap map;
    fillAndSearch(map);
    map.findAssoc("key7")->value = slot(8);
    EXPECT_EQ(map.lookup("key7", nullptr), slot(8));
    fillAndSearch(map);
    for (unsigned int i = 0; i < map.count(); ++i) {
        map.assocAt(i).value = slot(9);
    }
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(map.lookup(numbered(i).c_str(), nullptr), slot(9));
    }
}

TEST(StrMap, RemovedKeysAreNotFoundInALargeMap) {
    OpenMap map;
    fillAndSearch(map);
    EXPECT_EQ(map.remove("key7", nullptr), slot(7));
    fillAndSearch(map);
    EXPECT_EQ(map.remove("key7", nullptr), slot(7));
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(map.lookup(numbered(i).c_str(), nullptr), i == 7 ? nullptr : slot(i));
    }
    EXPECT_EQ(map.remove("key7", nullptr), nullptr);
}

TEST(StrMap, FindsKeysThatLookAlikeInALargeMap) {
    OpenMap map;
    std::vector<std::string> keys{""};
    for (int first = 1; first < 256; ++first) {
        keys.push_back(std::string(1, static_cast<char>(first)));
        keys.push_back(std::string(1, static_cast<char>(first)) + "a");
        keys.push_back("a" + std::string(1, static_cast<char>(first)));
    }
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        map.add(keys[i].c_str(), slot(static_cast<int>(i % 300)), nullptr, nullptr);
    }
    for (int round = 0; round < 2; ++round) {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            EXPECT_EQ(map.lookup(keys[i].c_str(), nullptr), slot(static_cast<int>(i % 300)));
        }
    }
    EXPECT_EQ(map.lookup("aaa", nullptr), nullptr);
}

TEST(StrMap, FindsEveryKeyOfALargeMapWithoutMemoryForMore) {
    OpenMap map;
    for (int i = 0; i < 300; ++i) {
        map.add(numbered(i).c_str(), slot(i), nullptr, nullptr);
    }
    std::vector<std::string> keys;
    for (int i = 0; i < 300; ++i) {
        keys.push_back(numbered(i));
    }
    std::vector<void*> found(300);
    {
        const FailingAllocation failure(1);
        for (std::size_t i = 0; i < 300; ++i) {
            found[i] = map.lookup(keys[i].c_str(), nullptr);
        }
    }
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(found[static_cast<std::size_t>(i)], slot(i));
    }
}

TEST(StrMap, SortingAnEmptyMapDoesNothing) {
    OpenMap map;
    map.sortAppended(nullptr);
    EXPECT_EQ(map.count(), 0U);
}

TEST(StrMap, ADestroyedMapIsEmpty) {
    alignas(OpenMap) std::array<unsigned char, sizeof(OpenMap)> storage{};
    OpenMap* map = new (storage.data()) OpenMap;
    map->add("a", slot(1), slot(2), nullptr);
    map->~OpenMap();
    EXPECT_TRUE(std::all_of(storage.begin() + sizeof(CCriticalSection), storage.end(),
                            [](unsigned char byte) { return byte == 0; }));
    EXPECT_EQ(map->lookup("a", nullptr), nullptr);
    EXPECT_EQ(map->getAt(0, nullptr), nullptr);
    EXPECT_EQ(map->remove("a", nullptr), nullptr);
}

TEST(StrMap, MayBeChangedByManyThreads) {
    OpenMap map;
    std::atomic<int> mismatches = 0;
    const auto work = [&](int first) {
        for (int number = first; number < 300; number += 3) {
            const std::string key = numbered(number);
            map.add(key.c_str(), slot(number), slot(first), nullptr);
            void* data = nullptr;
            if (map.lookup(key.c_str(), &data) != slot(number) || data != slot(first)) {
                ++mismatches;
            }
            if (number % 2 == 0 && map.remove(key.c_str(), nullptr) != slot(number)) {
                ++mismatches;
            }
        }
    };
    {
        PosixThread first([&] { work(0); });
        PosixThread second([&] { work(1); });
        PosixThread third([&] { work(2); });
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(map.count(), 150U);
}

TEST(StrMap, CanBeLockedAroundSeveralOperations) {
    CStrMap map;
    map.Enter();
    map.add("a", slot(1), nullptr, nullptr);
    EXPECT_EQ(map.lookup("a", nullptr), slot(1));
    map.Leave();
    PosixThread other([&] { map.add("b", slot(2), nullptr, nullptr); });
    other.join();
    EXPECT_EQ(map.lookup("b", nullptr), slot(2));
}

}  // namespace
