#include "util/StrMap.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "util/TextCopy.h"

namespace {

constexpr unsigned int kCapacityStep = 16;
/// With fewer entries a binary search is as fast.
constexpr unsigned int kSmallestIndexed = 64;
/// Indexing an entry costs a fraction of a binary search.
constexpr unsigned int kEntriesPerSearch = 16;
/// Places in a row that were not expected, after which the names have no order. The names of a
/// numbered sequence, 1 to 100, have up to eight.
constexpr unsigned int kMostUnexpected = 16;
constexpr unsigned int kMaxIndexed = 1U << 30;
/// Maximum distance between the home slot of a key and the slot it occupies. About 50 occurs by
/// chance in a map of millions.
constexpr unsigned int kMostSteps = 250;
/// Step from an occupied slot to the next candidate: it skips the neighbours, which are likely to
/// be occupied too. Odd, so that probing visits every slot.
constexpr unsigned int kProbeStep = 33;

void storeIfGiven(void** out, void* value) {
    if (out != nullptr) {
        *out = value;
    }
}

/// Names that differ only in their last character, which programs often look up in sequence, get
/// adjacent slots.
unsigned int hashOf(std::string_view key) {
    if (key.empty()) {
        return 0;
    }
    const auto last = static_cast<unsigned char>(key.back());
    key.remove_suffix(1);
    return static_cast<unsigned int>(std::hash<std::string_view>()(key)) + last;
}

bool keyLess(const CStrMap::Assoc& left, const CStrMap::Assoc& right) {
    return CStrMap::compare(&left, &right) < 0;
}

/// A store to an object that is being destroyed. Compilers remove plain stores as dead, but late
/// users of a global map rely on finding it empty.
template <typename Field>
void storeLast(Field& field, Field value) {
    *const_cast<volatile Field*>(&field) = value;
}

}  // namespace

/// Memory for many keys and values, in insertion order. All of it is freed together.
class CStrMap::Blocks {
  public:
    char* take(std::size_t size) {
        if (blocks_.empty() || blocks_.back().size - used_ < size) {
            addBlock(size);
        }
        return blocks_.back().memory.get() + std::exchange(used_, used_ + size);
    }
    /// Searches from the last block, which holds half of the memory.
    bool hold(const void* memory) const {
        const std::less<const void*> less;  // a total order of pointers
        return std::any_of(blocks_.rbegin(), blocks_.rend(), [=](const Block& block) {
            const char* const begin = block.memory.get();
            return !less(memory, begin) && less(memory, begin + block.size);
        });
    }

  private:
    struct Block {
        std::unique_ptr<char[]> memory;
        std::size_t size;
    };
    static constexpr std::size_t kFirstSize = 128;

    void addBlock(std::size_t atLeast) {
        const std::size_t usual = blocks_.empty() ? kFirstSize : 2 * blocks_.back().size;
        const std::size_t size = std::max(usual, atLeast);
        blocks_.push_back({std::make_unique_for_overwrite<char[]>(size), size});
        used_ = 0;
    }

    std::vector<Block> blocks_;
    std::size_t used_ = 0;  ///< bytes of the last block
};

CStrMap::CStrMap()
    : entries_(nullptr),
      capacity_(0),
      count_(0),
      allocated_(0),
      expected_(0),
      searches_(0),
      hashMask_(0),
      unexpected_(0),
      hashSlots_(nullptr),
      blocks_(nullptr) {}

CStrMap::~CStrMap() {
    for (const Assoc& entry : std::span(entries_, count_)) {
        freeKey(entry.key);
    }
    delete[] entries_;
    delete[] hashSlots_;
    delete blocks_;
    storeLast<HashSlot*>(hashSlots_, nullptr);
    storeLast<Blocks*>(blocks_, nullptr);
    storeLast<Assoc*>(entries_, nullptr);
    storeLast(capacity_, 0U);
    storeLast(count_, 0U);
    storeLast(allocated_, 0U);
}

int CStrMap::compare(const void* left, const void* right) {
    const char* leftKey = static_cast<const Assoc*>(left)->key;
    const char* rightKey = static_cast<const Assoc*>(right)->key;
    if (leftKey == nullptr || rightKey == nullptr) {
        return static_cast<int>(leftKey == nullptr) - static_cast<int>(rightKey == nullptr);
    }
    return std::strcmp(leftKey, rightKey);
}

unsigned int CStrMap::lowerBound(const char* key) const {
    const std::span<const Assoc> entries(entries_, count_);
    const auto place = std::lower_bound(
        entries.begin(), entries.end(), key,
        [](const Assoc& entry, const char* wanted) { return std::strcmp(entry.key, wanted) < 0; });
    return static_cast<unsigned int>(place - entries.begin());
}

bool CStrMap::holdsKey(unsigned int index, const char* key) const {
    return index < count_ && std::strcmp(entries_[index].key, key) == 0;
}

CStrMap::Assoc* CStrMap::findAssoc(const char* key) {
    if (key == nullptr) {
        return nullptr;
    }
    const unsigned int place = search(key);
    if (place == count_) {
        return nullptr;
    }
    expected_ = place + 1;
    return &entries_[place];
}

/// The index of a key, count_ if absent. Programs often look up names in order, or skip one. While
/// they do not, the expected places are left alone: the processor rarely has them in its cache.
unsigned int CStrMap::search(const char* key) {
    if (unexpected_ < kMostUnexpected) {
        for (const unsigned int place : {expected_, expected_ + 1}) {
            if (holdsKey(place, key)) {
                unexpected_ = 0;
                return place;
            }
        }
    }
    const unsigned int place = searchAll(key);
    const bool isExpected = place == expected_ || place == expected_ + 1;
    unexpected_ = isExpected ? 0 : unexpected_ + 1;
    return place;
}

unsigned int CStrMap::searchAll(const char* key) {
    if (hasHashIndex()) {
        return findHashed(key);
    }
    const unsigned int place = lowerBound(key);
    return holdsKey(place, key) ? place : count_;
}

/// An index of all entries is built once the number of searches justifies its cost.
bool CStrMap::hasHashIndex() {
    if (hashSlots_ != nullptr) {
        return true;
    }
    if (count_ < kSmallestIndexed || ++searches_ < count_ / kEntriesPerSearch) {
        return false;
    }
    searches_ = 0;
    return makeHashIndex();
}

/// Open addressing, at most half full, valid until an entry moves. False without memory, or if too
/// many keys collide.
bool CStrMap::makeHashIndex() {
    if (count_ > kMaxIndexed) {
        return false;
    }
    const unsigned int size = std::bit_ceil(2 * count_);
    std::unique_ptr<HashSlot[]> slots(new (std::nothrow) HashSlot[size]());
    if (slots == nullptr) {
        return false;
    }
    const unsigned int mask = size - 1;
    for (unsigned int place = 0; place < count_; ++place) {
        const unsigned int hash = hashOf(entries_[place].key);
        unsigned int at = hash & mask;
        for (unsigned int steps = 0; slots[at].number != 0; at = (at + kProbeStep) & mask) {
            if (++steps > kMostSteps) {
                return false;
            }
        }
        slots[at] = {hash, place + 1};
    }
    hashMask_ = mask;
    hashSlots_ = slots.release();
    return true;
}

unsigned int CStrMap::findHashed(const char* key) const {
    const unsigned int hash = hashOf(key);
    for (unsigned int at = hash & hashMask_;; at = (at + kProbeStep) & hashMask_) {
        const HashSlot slot = hashSlots_[at];
        if (slot.number == 0) {
            return count_;
        }
        if (slot.hash == hash && holdsKey(slot.number - 1, key)) {
            return slot.number - 1;
        }
    }
}

void CStrMap::dropHashIndex() {
    delete[] hashSlots_;
    hashSlots_ = nullptr;
}

void CStrMap::reserveOne() {
    if (count_ < capacity_) {
        return;
    }
    const unsigned int reported = count_ + kCapacityStep;
    if (reported > allocated_) {
        const unsigned int wanted = std::max(reported, 2 * count_);
        Assoc* grown = new Assoc[wanted];
        std::copy_n(entries_, count_, grown);
        delete[] entries_;
        entries_ = grown;
        allocated_ = wanted;
    }
    capacity_ = reported;
}

CStrMap::Assoc* CStrMap::newAssoc() {
    reserveOne();
    forgetPlaces();
    Assoc* fresh = &entries_[count_++];
    *fresh = Assoc{};
    return fresh;
}

bool CStrMap::holdsMemory(const void* value) const {
    return blocks_ != nullptr && blocks_->hold(value);
}

void CStrMap::freeKey(char* key) {
    if (!holdsMemory(key)) {
        delete[] key;
    }
}

void CStrMap::append(const char* key, void* value, void* data) {
    appendWithMemory(key, 0, data);
    entries_[count_ - 1].value = value;
}

void* CStrMap::appendWithMemory(const char* key, std::size_t size, void* data) {
    if (blocks_ == nullptr) {
        blocks_ = new Blocks;
    }
    const std::size_t keySize = std::strlen(key) + 1;
    // At least a byte, so that the value lies inside its block.
    char* const copy = blocks_->take(keySize + std::max<std::size_t>(size, 1));
    std::memcpy(copy, key, keySize);
    void* const memory = copy + keySize;
    *newAssoc() = Assoc{copy, memory, data};
    return memory;
}

void* CStrMap::add(const char* key, void* value, void* data, void** oldData) {
    storeIfGiven(oldData, nullptr);
    if (key == nullptr) {
        return nullptr;
    }
    const CriticalSectionGuard guard(*this);
    const unsigned int index = lowerBound(key);
    if (!holdsKey(index, key)) {
        std::unique_ptr<char[]> copy = varnock::copyText(key);
        Assoc* const last = newAssoc();
        *last = Assoc{copy.release(), value, data};
        std::rotate(&entries_[index], last, last + 1);
        return nullptr;
    }
    Assoc& entry = entries_[index];
    storeIfGiven(oldData, entry.data);
    void* const oldValue = entry.value;
    entry.value = value;
    entry.data = data;
    return oldValue;
}

void* CStrMap::lookup(const char* key, void** data) {
    if (key == nullptr) {
        return nullptr;
    }
    Assoc found{};
    {
        const CriticalSectionGuard guard(*this);
        if (const Assoc* entry = findAssoc(key)) {
            found = *entry;
        }
    }
    storeIfGiven(data, found.data);
    return found.value;
}

void* CStrMap::remove(const char* key, void** data) {
    storeIfGiven(data, nullptr);
    if (key == nullptr) {
        return nullptr;
    }
    const CriticalSectionGuard guard(*this);
    Assoc* entry = findAssoc(key);
    if (entry == nullptr) {
        return nullptr;
    }
    const Assoc removed = *entry;
    forgetPlaces();
    std::copy(entry + 1, entries_ + count_, entry);
    entries_[--count_] = Assoc{};
    freeKey(removed.key);
    storeIfGiven(data, removed.data);
    return removed.value;
}

void* CStrMap::getAt(int index, void** data) {
    if (index < 0 || static_cast<unsigned int>(index) >= count_) {
        return nullptr;
    }
    const Assoc& entry = entries_[index];
    storeIfGiven(data, entry.data);
    return entry.key;
}

void CStrMap::sortAppended(const Discard& discard) {
    forgetPlaces();
    const std::span<Assoc> entries(entries_, count_);
    if (!std::is_sorted(entries.begin(), entries.end(), keyLess)) {
        std::stable_sort(entries.begin(), entries.end(), keyLess);
    }
    unsigned int kept = 0;
    for (unsigned int index = 0; index < count_; ++index) {
        const Assoc entry = entries_[index];
        if (index + 1 < count_ && std::strcmp(entry.key, entries_[index + 1].key) == 0) {
            freeKey(entry.key);
            if (discard != nullptr) {
                discard(entry.value, entry.data);
            }
        } else {
            entries_[kept++] = entry;
        }
    }
    count_ = kept;
}
