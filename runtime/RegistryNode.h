#pragma once

#include <stdio.h>

#include <string>
#include <vector>

#include "util/Export.h"
#include "util/StrMap.h"

namespace varnock {
class LineReader;
}

/// What an entry of a key is; the numbers are those of the registry file's users.
enum RegistryType : unsigned int {
    REGISTRY_STRING = 1,
    REGISTRY_EXPAND = 2,  ///< a string that may hold %NAME% references to the environment
    REGISTRY_BINARY = 3,
    REGISTRY_NUMBER = 4,  ///< 32 bits
    REGISTRY_KEY = 666,   ///< a subkey
};

/// One key of the registry: its values and subkeys by name, in ascending byte order.
///
/// The value slot of the map holds the entry's memory, or the number itself widened with zeros; the
/// data slot holds the type. An entry is there when its type is not 0, whatever its value: the
/// number 0 is a null pointer.
///
/// Values are owned by the key.
///
/// Thread-safety: a key of the tree is used under CRegistry::MSpinlock alone, and its reads take no
/// other lock. A key of the caller's own is for one thread at a time.
class VARNOCK_EXPORT CRegistryNode : public CStrMap {
  public:
    CRegistryNode();
    /// Frees the values and destroys the subkeys, however deep.
    ~CRegistryNode();
    CRegistryNode(const CRegistryNode&) = delete;
    CRegistryNode& operator=(const CRegistryNode&) = delete;

    /// Reads this key and everything below it from a registry file, up to the empty line that ends
    /// it or the end of the file. An entry of a name that is there already replaces it. Lines that
    /// cannot be understood are skipped. Throws std::bad_alloc, with what was read kept.
    void restoreNode(FILE* file);
    /// Writes this key and everything below it. Entries that would not come back as they are (names
    /// or texts with newlines, value names with "=") are left out and traced. Errors show in the
    /// stream.
    void dumpNode(FILE* file);

    /// What restoreNode() and dumpNode() would trace, for a caller that holds locks.
    using Warnings = std::vector<std::string>;
    /// restoreNode() with its warnings put into the list.
    void restore(FILE* file, Warnings& warnings);
    /// dumpNode() with its warnings put into the list.
    void dump(FILE* file, Warnings& warnings);

    /// Destroys the subkeys that were removed or replaced. They stay in memory until the process
    /// ends, because open handles may still name them.
    static void freeDiscarded();

    /// The type of the entry `name`, 0 when there is none; `value` gets its value slot.
    unsigned int find(const char* name, void*& value);
    /// Number of entries.
    unsigned int entries() const { return count(); }
    /// The type of the entry at an index below entries(); `name` and `value` get its name and value
    /// slot.
    unsigned int entryAt(unsigned int index, const char*& name, void*& value);
    /// Enters or replaces an entry; the old value is discarded. Throws std::bad_alloc, and then the
    /// key is as it was and the value still the caller's.
    void put(const char* name, unsigned int type, void* value);
    /// Removes and discards an entry; false when there is none.
    bool erase(const char* name);

    /// Fresh memory for a value of a type: texts with a NUL behind them, binaries with their count.
    /// Null when memory runs out.
    [[nodiscard]] static void* makeValue(unsigned int type, const void* data, unsigned int size);
    /// The size of a value's data: texts with their NUL, binaries without their count, numbers 4.
    static unsigned int valueSize(unsigned int type, const void* value);
    /// The bytes of a value's data; `number` is where those of a number are put.
    static const void* valueData(unsigned int type, const void* value, unsigned int& number);

  private:
    class Output;

    CRegistryNode* takeLine(varnock::LineReader& line, Warnings& warnings);
    void takeValue(char* line);
    void dumpValues(Output& output, Warnings& warnings);
    CRegistryNode* nextSubkey(const char*& name, Warnings& warnings);
    void sortLoaded();
    void freeValue(unsigned int type, void* value) const;
    void discardEntry(void* value, void* type) const;
    void releaseEntries(CRegistryNode*& pending);

    CRegistryNode*
        next_;  ///< in a list of keys to destroy, or the parent during reading and writing
    unsigned int cursor_;  ///< next entry while a file is written
};
