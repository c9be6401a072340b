#pragma once

#include <cstddef>
#include <functional>

#include "runtime/CriticalSection.h"
#include "util/Export.h"

/// Dictionary from texts to two untyped pointers, value and data, ordered by key.
///
/// Keys are compared byte by byte, so case matters; the map owns copies of them. Values and data
/// belong to the user: the map stores and returns them and never dereferences them.
///
///     CStrMap map;
///     map.add("fan", &fan, nullptr, nullptr);
///     Fan* found = static_cast<Fan*>(map.lookup("fan", nullptr));
///
/// A lookup costs O(log n), and O(1) in a large map that has not changed for a while. An insertion
/// or removal costs the same search and moves the following entries. A destroyed map of static
/// lifetime is empty.
///
/// Thread-safety: add(), lookup() and remove() may be called by any thread. getAt() takes no lock,
/// so iterating is safe only while no other thread changes the map. Another thread may remove an
/// entry right after a lookup has returned it. If the map changes, users need their own lock for
/// both cases.
class VARNOCK_EXPORT CStrMap : public CCriticalSection {
  public:
    /// One entry of the map.
    struct Assoc {
        char* key;  ///< owned by the map; one that a derived class enters is made with array new
        void* value;
        void* data;
    };

    CStrMap();
    ~CStrMap();
    CStrMap(const CStrMap&) = delete;
    CStrMap& operator=(const CStrMap&) = delete;

    /// Adds a key, or replaces value and data of an existing one. Returns the previous value, null
    /// for a new key; `oldData`, if given, receives the previous data or null. A null key changes
    /// nothing and returns null. Throws std::bad_alloc and then leaves the map unchanged.
    void* add(const char* key, void* value, void* data, void** oldData);
    /// The value of a key, or null; `data`, if given, receives the data or null. A null key
    /// returns null and leaves `data` unchanged.
    void* lookup(const char* key, void** data);
    /// Removes a key and returns its value, or null; `data`, if given, receives the data or null.
    void* remove(const char* key, void** data);
    /// The key text (a const char*, owned by the map) at `index` in ascending order, and its data
    /// if `data` is given. For an index outside the map returns null and leaves `data` unchanged.
    /// Takes no lock, see above.
    void* getAt(int index, void** data);

    /// Order of two entries (Assoc*) by key, for qsort; null keys come last.
    static int compare(const void* left, const void* right);

  protected:
    /// The entry of a key, or null. Takes no lock.
    Assoc* findAssoc(const char* key);
    /// The entry at an index below count(). Takes no lock.
    Assoc& assocAt(unsigned int index) { return entries_[index]; }
    /// Appends a zeroed entry. Takes no lock. Throws std::bad_alloc.
    Assoc* newAssoc();

    /// Entries in use.
    unsigned int count() const { return count_; }
    /// The reported number of entry slots: 16 more than the entries at each growth. The array
    /// itself grows in larger steps.
    unsigned int capacity() const { return capacity_; }

    /// Adds many keys at the cost of one sort: append() each, equal ones too, then call
    /// sortAppended() once. In between the map is unsorted and must not be used otherwise.
    /// Neither takes the lock: the caller holds it, or is the map's only user.
    /// append() throws std::bad_alloc and then leaves the map unchanged.
    void append(const char* key, void* value, void* data);
    /// The same with a value of `size` uninitialised, unaligned bytes next to the key, so that a
    /// lookup and an access to the value hit the same cache lines. The map owns the memory until
    /// its own destruction, even if the entry is replaced or removed.
    void* appendWithMemory(const char* key, std::size_t size, void* data);
    /// Whether a value is memory of this map, which the user must not free.
    bool holdsMemory(const void* value) const;
    /// Receives value and data of a replaced entry.
    using Discard = std::function<void(void* value, void* data)>;
    /// Restores the order. Of equal keys the last one appended is kept; `discard`, unless null,
    /// receives the others.
    void sortAppended(const Discard& discard);

  private:
    /// The position of an entry in the array.
    struct HashSlot {
        unsigned int hash;
        unsigned int number;  ///< one more than the index; 0: free
    };
    class Blocks;

    unsigned int lowerBound(const char* key) const;
    bool holdsKey(unsigned int index, const char* key) const;
    unsigned int search(const char* key);
    unsigned int searchAll(const char* key);
    void reserveOne();
    void freeKey(char* key);
    bool hasHashIndex();
    [[nodiscard]] bool makeHashIndex();
    unsigned int findHashed(const char* key) const;
    void dropHashIndex();
    void forgetPlaces() {
        searches_ = 0;
        if (hashSlots_ != nullptr) {
            dropHashIndex();
        }
    }

    Assoc* entries_;
    unsigned int capacity_;
    unsigned int count_;
    unsigned int allocated_;   ///< slots of the array, at least capacity_
    unsigned int expected_;    ///< the index after the entry found last
    unsigned int searches_;    ///< since an entry last moved
    unsigned int hashMask_;    ///< number of slots (a power of two) minus one
    unsigned int unexpected_;  ///< searches in a row that did not end at the expected place
    HashSlot* hashSlots_;      ///< index of all entries; null: use a binary search
    Blocks* blocks_;           ///< the memory of append(); may be null
};
