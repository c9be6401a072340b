#pragma once

#include <cstddef>
#include <functional>

#include "runtime/CriticalSection.h"
#include "util/Export.h"

/// Dictionary from texts to two untyped pointers, value and data, ordered by key.
///
/// Keys are compared byte by byte, so case matters; the map owns copies of them. Values and data
/// belong to the user: the map stores and returns them and never looks at what they point to.
///
///     CStrMap map;
///     map.add("fan", &fan, nullptr, nullptr);
///     Fan* found = static_cast<Fan*>(map.lookup("fan", nullptr));
///
/// A lookup costs O(log n), and O(1) in a large map that has not changed for a while. An insertion
/// or a removal costs the same search, and moves the entries behind its place. A destroyed map of
/// static lifetime is empty.
///
/// Thread-safety: add(), lookup() and remove() may be called by any thread. getAt() takes no lock,
/// so iterating is safe only while no other thread changes the map; a user whose map changes
/// iterates under a lock of its own. What a lookup returns may be removed by another thread at
/// once; that too is the user's to prevent.
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

    /// Enters a key, or replaces value and data of an existing one. Returns the value before, null
    /// for a new key; `oldData`, if given, receives the data before or null. A null key changes
    /// nothing and returns null. Throws std::bad_alloc, and then the map is unchanged.
    void* add(const char* key, void* value, void* data, void** oldData);
    /// The value of a key, or null; `data`, if given, receives the data or null. A null key
    /// returns null and leaves `data` alone.
    void* lookup(const char* key, void** data);
    /// Removes a key and returns its value, or null; `data`, if given, receives the data or null.
    void* remove(const char* key, void** data);
    /// The key text (a const char*, owned by the map) at `index` in ascending order, and its data
    /// if `data` is given. Null, with `data` left alone, for an index outside the map. Takes no
    /// lock, see above.
    void* getAt(int index, void** data);

    /// Order of two entries (Assoc*) by key, as qsort wants it; null keys come last.
    static int compare(const void* left, const void* right);

  protected:
    /// The entry of a key, or null. Takes no lock.
    Assoc* findAssoc(const char* key);
    /// The entry at an index below count(). Takes no lock.
    Assoc& assocAt(unsigned int index) { return entries_[index]; }
    /// A fresh entry of zeros behind the last one. Takes no lock. Throws std::bad_alloc.
    Assoc* newAssoc();

    /// Entries in use.
    unsigned int count() const { return count_; }
    /// Entry slots, as they are reported: 16 more than the entries at each growth. The array
    /// itself grows in larger steps.
    unsigned int capacity() const { return capacity_; }

    /// Enters many keys at the cost of one sort: append() each, equal ones too, then call
    /// sortAppended() once. In between the map is out of order and must not be used otherwise.
    /// Neither takes the lock: the caller holds it, or is the map's only user.
    /// append() throws std::bad_alloc, and then leaves the map unchanged.
    void append(const char* key, void* value, void* data);
    /// The same with a value that is fresh memory of `size` bytes, unaligned, beside the key: a
    /// lookup that is followed by a look at the value meets both. The memory is the map's and lives
    /// as long, also when the entry is replaced or removed.
    void* appendWithMemory(const char* key, std::size_t size, void* data);
    /// Whether a value is memory of this map, which is not the user's to free.
    bool holdsMemory(const void* value) const;
    /// What gets value and data of an entry that another one replaces.
    using Discard = std::function<void(void* value, void* data)>;
    /// Restores the order. Of equal keys the one appended last stays; `discard`, unless null, gets
    /// every other.
    void sortAppended(const Discard& discard);

  private:
    /// Where an entry stands in the array.
    struct HashSlot {
        unsigned int hash;
        unsigned int number;  // one more than the index; 0: free
    };
    class Blocks;

    unsigned int lowerBound(const char* key) const;
    bool holdsKey(unsigned int index, const char* key) const;
    unsigned int search(const char* key);
    void reserveOne();
    void freeKey(char* key);
    bool hasHashIndex();
    bool makeHashIndex();
    unsigned int findHashed(const char* key) const;
    void dropHashIndex();
    void forgetPlaces() {
        searches_ = 0;
        if (hashSlots_ != nullptr) dropHashIndex();
    }

    Assoc* entries_;
    unsigned int capacity_;
    unsigned int count_;
    unsigned int allocated_;  // slots of the array, at least capacity_
    unsigned int expected_;   // the place behind that of the entry found last
    unsigned int searches_;   // since an entry last changed its place
    unsigned int hashMask_;   // one less than there are slots, a power of two
    HashSlot* hashSlots_;     // the places of all entries; null: they have to be searched
    Blocks* blocks_;          // the memory of append(); null: there is none
};
