#include "util/StrMap.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <span>
#include <string_view>

#include "util/TextCopy.h"

namespace {

constexpr unsigned int growthStep = 16;
/// Fewer entries are found as fast by a binary search.
constexpr unsigned int smallestIndexed = 64;
/// To enter an entry in the index costs a fraction of a binary search.
constexpr unsigned int entriesPerSearch = 16;
constexpr unsigned int maxIndexed = 1U << 30;

void storeIfGiven(void** out, void* value) {
    if (out != nullptr) *out = value;
}

unsigned int hashOf(const char* key) {
    return static_cast<unsigned int>(std::hash<std::string_view>()(key));
}

bool keyLess(const CStrMap::Assoc& left, const CStrMap::Assoc& right) {
    return CStrMap::compare(&left, &right) < 0;
}

/// A store into an object that is being destroyed. Compilers drop plain ones as dead, but late
/// users of a global map rely on finding it empty.
template <typename Field>
void storeLast(Field& field, Field value) {
    *const_cast<volatile Field*>(&field) = value;
}

}  // namespace

CStrMap::CStrMap()
    : entries_(nullptr),
      capacity_(0),
      count_(0),
      allocated_(0),
      searches_(0),
      hashMask_(0),
      hashSlots_(nullptr) {}

CStrMap::~CStrMap() {
    for (const Assoc& entry : std::span(entries_, count_)) {
        delete[] entry.key;
    }
    delete[] entries_;
    delete[] hashSlots_;
    storeLast<HashSlot*>(hashSlots_, nullptr);
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
    if (key == nullptr) return nullptr;
    if (hasHashIndex()) return findHashed(key);
    const unsigned int index = lowerBound(key);
    return holdsKey(index, key) ? &entries_[index] : nullptr;
}

// An index of all entries is made once there have been searches enough to pay for it.
bool CStrMap::hasHashIndex() {
    if (hashSlots_ != nullptr) return true;
    if (count_ < smallestIndexed || ++searches_ < count_ / entriesPerSearch) return false;
    searches_ = 0;
    return makeHashIndex();
}

// Open addressing, at most half full, valid until an entry moves. False without memory for it.
bool CStrMap::makeHashIndex() {
    if (count_ > maxIndexed) return false;
    const unsigned int size = std::bit_ceil(2 * count_);
    auto* slots = new (std::nothrow) HashSlot[size]();
    if (slots == nullptr) return false;
    hashMask_ = size - 1;
    for (unsigned int place = 0; place < count_; ++place) {
        const unsigned int hash = hashOf(entries_[place].key);
        unsigned int at = hash & hashMask_;
        while (slots[at].key != nullptr) at = (at + 1) & hashMask_;
        slots[at] = {entries_[place].key, hash, place};
    }
    hashSlots_ = slots;
    return true;
}

CStrMap::Assoc* CStrMap::findHashed(const char* key) {
    const unsigned int hash = hashOf(key);
    for (unsigned int at = hash & hashMask_; hashSlots_[at].key != nullptr;
         at = (at + 1) & hashMask_) {
        const HashSlot& slot = hashSlots_[at];
        if (slot.hash != hash) continue;
        // Large maps live outside of the caches: fetch the entry while the key is compared.
        __builtin_prefetch(&entries_[slot.place]);
        if (std::strcmp(slot.key, key) == 0) return &entries_[slot.place];
    }
    return nullptr;
}

void CStrMap::forgetPlaces() {
    delete[] hashSlots_;
    hashSlots_ = nullptr;
    searches_ = 0;
}

void CStrMap::reserveOne() {
    if (count_ < capacity_) return;
    const unsigned int reported = count_ + growthStep;
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

void CStrMap::append(const char* key, void* value, void* data) {
    std::unique_ptr<char[]> copy = varnock::copyText(key);
    Assoc* fresh = newAssoc();
    *fresh = Assoc{copy.release(), value, data};
}

void* CStrMap::add(const char* key, void* value, void* data, void** oldData) {
    storeIfGiven(oldData, nullptr);
    if (key == nullptr) return nullptr;
    const CriticalSectionGuard guard(*this);
    const unsigned int index = lowerBound(key);
    if (!holdsKey(index, key)) {
        append(key, value, data);
        Assoc* last = &entries_[count_ - 1];
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
    if (key == nullptr) return nullptr;
    Assoc found{};
    {
        const CriticalSectionGuard guard(*this);
        if (const Assoc* entry = findAssoc(key)) found = *entry;
    }
    storeIfGiven(data, found.data);
    return found.value;
}

void* CStrMap::remove(const char* key, void** data) {
    storeIfGiven(data, nullptr);
    if (key == nullptr) return nullptr;
    const CriticalSectionGuard guard(*this);
    Assoc* entry = findAssoc(key);
    if (entry == nullptr) return nullptr;
    const Assoc removed = *entry;
    forgetPlaces();
    std::copy(entry + 1, entries_ + count_, entry);
    entries_[--count_] = Assoc{};
    delete[] removed.key;
    storeIfGiven(data, removed.data);
    return removed.value;
}

void* CStrMap::getAt(int index, void** data) {
    if (index < 0 || static_cast<unsigned int>(index) >= count_) return nullptr;
    const Assoc& entry = entries_[index];
    storeIfGiven(data, entry.data);
    return entry.key;
}

void CStrMap::sortAppended(void (*discard)(void* value, void* data)) {
    forgetPlaces();
    const std::span<Assoc> entries(entries_, count_);
    if (!std::is_sorted(entries.begin(), entries.end(), keyLess)) {
        std::stable_sort(entries.begin(), entries.end(), keyLess);
    }
    unsigned int kept = 0;
    for (unsigned int index = 0; index < count_; ++index) {
        const Assoc entry = entries_[index];
        if (index + 1 < count_ && std::strcmp(entry.key, entries_[index + 1].key) == 0) {
            delete[] entry.key;
            if (discard != nullptr) discard(entry.value, entry.data);
        } else {
            entries_[kept++] = entry;
        }
    }
    count_ = kept;
}
