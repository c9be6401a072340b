#pragma once

#include <stdio.h>

#include <string>
#include <vector>

#include "util/Export.h"
#include "util/StrMap.h"

namespace varnock {
class LineReader;
}

/// The type of an entry of a key. Callers pass these numbers.
enum RegistryType : unsigned int {
    REGISTRY_STRING = 1,
    REGISTRY_EXPAND = 2,  ///< a string that may hold %NAME% references to the environment
    REGISTRY_BINARY = 3,
    REGISTRY_NUMBER = 4,  ///< 32 bits
    REGISTRY_KEY = 666,   ///< a subkey
};

/// One key of the registry: its values and subkeys by name, in ascending byte order.
///
/// The value slot of the map holds the memory of the entry, or the number itself, widened with
/// zeros. The data slot holds the type. An entry exists if its type is not 0; its value may be
/// null, as the number 0 is.
///
/// The key owns its values.
///
/// Thread-safety: a key of the tree may be used only under CRegistry::MSpinlock; reads take no
/// other lock. A key of the caller's own may be used by one thread at a time.
class VARNOCK_EXPORT CRegistryNode : public CStrMap {
  public:
    CRegistryNode();
    /// Frees the values and destroys the subkeys, at any depth.
    ~CRegistryNode();
    CRegistryNode(const CRegistryNode&) = delete;
    CRegistryNode& operator=(const CRegistryNode&) = delete;

    /// Reads this key and everything below it from a registry file, up to the empty line at its end
    /// or the end of the file. A new entry replaces one of the same name. Invalid lines are
    /// skipped. Throws std::bad_alloc, and keeps the entries read so far.
    void restoreNode(FILE* file);
    /// Writes this key and everything below it. Entries that the file cannot represent (names or
    /// texts with newlines, value names with "=") are skipped and traced. The stream records
    /// errors.
    void dumpNode(FILE* file);

    /// The trace texts of restoreNode() and dumpNode(), for a caller that holds locks.
    using Warnings = std::vector<std::string>;
    /// restoreNode() that adds its warnings to the list.
    void restore(FILE* file, Warnings& warnings);
    /// dumpNode() that adds its warnings to the list.
    void dump(FILE* file, Warnings& warnings);

    /// Destroys the subkeys that were removed or replaced. They stay in memory until the process
    /// ends, because open handles may refer to them.
    static void freeDiscarded();

    /// The type of the entry `name`, or 0 if it does not exist; `value` gets its value slot.
    unsigned int find(const char* name, void*& value);
    /// Number of entries.
    unsigned int entries() const { return count(); }
    /// The type of the entry at an index below entries(); `name` and `value` get its name and value
    /// slot.
    unsigned int entryAt(unsigned int index, const char*& name, void*& value);
    /// Enters or replaces an entry; the old value is discarded. Throws std::bad_alloc; the key is
    /// then unchanged, and the caller still owns the value.
    void put(const char* name, unsigned int type, void* value);
    /// Removes and discards an entry; false if it does not exist.
    bool erase(const char* name);

    /// New memory for a value of a type: texts with a NUL at the end, binaries with their count at
    /// the start. Null without memory.
    [[nodiscard]] static void* makeValue(unsigned int type, const void* data, unsigned int size);
    /// The size of a value's data: texts with their NUL, binaries without their count, numbers 4.
    static unsigned int valueSize(unsigned int type, const void* value);
    /// The bytes of a value's data; those of a number are stored in `number`.
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
