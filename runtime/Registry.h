#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "runtime/CriticalSection.h"
#include "runtime/RegistryNode.h"
#include "util/Export.h"

/// A handle on one key of the file-backed registry: a tree of keys with typed values, named as on
/// Windows. docs/registry-file.md describes the file.
///
/// The whole tree is in memory. The first object of the process loads it from "registry" in the
/// system directory. After the first change, the destruction of every object writes the tree back,
/// and "registry.old" keeps the old file. If neither file can be read, the next object tries again,
/// and nothing is written.
///
/// Paths are walked from key to key: a component ends at the first "\\" of the remaining path, or
/// at its first "/" if the path has no "\\". Names are case-sensitive.
///
/// Results: 0 success; 22 (EINVAL) no key or the wrong kind; 61 (ENODATA) the value is missing or
/// of another type, or an index is past the end. Open() and the later steps of OpenPointerKey()
/// fail with 4294967295, CreateKey() and the first step of OpenPointerKey() with -1.
///
/// Thread-safety: different objects may be used by different threads; one object, by one thread at
/// a time. Two processes that change the tree at the same time do not damage the file: the last
/// save replaces the whole tree.
class VARNOCK_EXPORT CRegistry {
  public:
    /// The root of the tree, whose entries are the root keys, and the root keys themselves. The
    /// pointers are null until the tree is loaded.
    static CRegistryNode MRoot;
    static CRegistryNode* MLocalMachine;
    static CRegistryNode* MCurrentUser;
    static CRegistryNode* MUsers;
    static CRegistryNode* MClassesRoot;
    static CRegistryNode* MCurrentConfig;
    /// 1 once the tree has been loaded.
    static int MIsSetup;
    /// 1 after the first change. It is never cleared: after the first change the destruction of
    /// every object saves. Callers rely on that to save the changes of others.
    static int MIsDirty;
    /// Serialises loading, saving and every operation on the tree. Taken before a key's own lock.
    static CCriticalSection MSpinlock;

    CRegistry();
    /// A handle on an open key. The reference is read after the tree is loaded, so the argument can
    /// be a root key of this class that is still null.
    explicit CRegistry(CRegistryNode*& key);
    /// Opens a path below a key, as Open() does.
    CRegistry(const char* path, CRegistryNode*& root, int access = 0);
    /// A second handle on the same key. An assignment forgets the old key.
    CRegistry(const CRegistry& other);
    /// See the copy constructor.
    CRegistry& operator=(const CRegistry& other);
    /// Saves the tree if it was changed. Prints a failure, and then throws int 0 unless another
    /// exception is in flight.
    ~CRegistry() noexcept(false);

    /// Loads the tree if it is not loaded. Prints failures.
    static void SetupTree();
    /// Writes the tree if it was changed. Prints a failure, keeps the old file, sets errno and
    /// throws int 0. While another process saves, waits for up to five seconds without MSpinlock,
    /// which is a cancellation point; then that is a failure (EWOULDBLOCK).
    static void SaveTree();
    /// Loads the file again, calls `change`, and writes the file if that returns true. No other
    /// process can save in between, so none of their changes is lost; unsaved changes of this
    /// process are lost. Returns false if there is no file. Waits and throws as SaveTree() does,
    /// and throws what `change` throws; the file then stays unchanged. A change that is not saved
    /// is also reverted in memory. A call inside a change is a part of that change.
    static bool UpdateTree(const std::function<bool()>& change);
    /// The same for the text of the file: `change` gets the text of the current file, and what it
    /// leaves is saved as it is, to the byte. The tree in memory is then that of the saved text. A
    /// call inside a change of the tree fails with EDEADLK.
    static bool UpdateText(const std::function<bool(std::string& text)>& change);
    /// Clears the fields and loads the tree; every constructor calls it.
    void InitClass();
    /// Frees what the object owns and saves the tree; the destructor calls it.
    void FreeClass();

    /// The current key, null when none is open.
    operator CRegistryNode*() const { return currentKey_; }
    /// The result of the last Open() or QueryValue().
    long Status() const { return status_; }
    /// Size of the last value read.
    unsigned int ValueSize() const { return valueSize_; }
    /// Type of the last value read, a RegistryType.
    unsigned int ValueType() const { return valueType_; }

    /// Opens a key below `root`, or below the root of the tree if that is null. A null or empty
    /// path is the key `root` itself. The current key is closed first, also on failure.
    long Open(const char* path, CRegistryNode* root = nullptr, int access = 0);
    /// Opens a key and creates the missing keys of the path. A null `root` is the current key.
    long CreateKey(CRegistryNode* root, const char* path, int = 0, int = 0);
    /// Forgets the current key; 1 if one was open.
    int Close();
    /// Returns the current key and forgets it.
    CRegistryNode* KeepKeyHandle();
    /// Removes a subkey of the current key, with everything below it. Handles on it stay valid.
    long DeleteKey(const char* name);
    /// Removes an entry of the current key; a subkey too.
    long DeleteValue(const char* name);
    /// Counts the subkeys of the current key.
    long NoOfSubKeys(unsigned int* count);
    /// The name of the subkey at an index. *nameLen is the size of `name` going in and the length
    /// of the name coming out; the result is cut to fit and terminated. Keys have no class: `cls`
    /// becomes empty if it has room.
    long EnumKey(char* name, unsigned int* nameLen, unsigned int index, char* cls,
                 unsigned int* clsLen);
    /// The same with plain lengths.
    long EnumKey(char* name, unsigned int nameLen, unsigned int index, char* cls,
                 unsigned int clsLen);
    /// The value at an index among the values; `type` is not used. Up to *dataLen bytes of its data
    /// are copied, and *dataLen becomes its full size as GetValueSize() gives it. Texts are
    /// terminated, also when cut, and not expanded.
    long EnumVal(char* name, unsigned int* nameLen, unsigned int index, unsigned int type,
                 unsigned char* data, unsigned int* dataLen);
    /// The same with plain lengths.
    long EnumVal(char* name, unsigned int nameLen, unsigned int index, unsigned int type,
                 unsigned char* data, unsigned int dataLen);

    /// Sets a value of a key (null: the current one) from `size` bytes; a number has 4. Returns 1,
    /// or 0 without key, name, data or memory, or for an invalid type.
    int SetValue(const char* name, const unsigned char* data, unsigned int size, unsigned int type,
                 CRegistryNode* key = nullptr);
    /// Sets a text of the current key. Returns 0 or 22.
    long SetValue(const char* name, const char* text);
    /// Sets a number of the current key. Returns 0 or 22.
    long SetValue(const char* name, unsigned int number);

    /// The size of a value's data: texts with their NUL, numbers 4; 0 when it is missing.
    unsigned int GetValueSize(const char* name, CRegistryNode* key = nullptr);
    /// A copy of a value's data that is valid until the next read; null when it is missing.
    /// References to the environment in expandable texts are replaced.
    char* GetValue(const char* name, CRegistryNode* key = nullptr);
    /// A text.
    long QueryValue(std::string& out, const char* name, CRegistryNode* key = nullptr);
    /// A text into a buffer of *size bytes, cut to fit and terminated; *size becomes the bytes
    /// placed, the NUL included.
    long QueryValue(char* out, const char* name, unsigned int* size, CRegistryNode* key = nullptr);
    /// The same with a plain size.
    long QueryValue(char* out, const char* name, unsigned int size, CRegistryNode* key = nullptr);
    /// A number.
    long QueryValue(unsigned int* out, const char* name, CRegistryNode* key = nullptr);

    /// Opens the key whose whole path, root key included, stands in a text value of another key.
    /// The root key's name may be written in small letters.
    long OpenPointerKey(const char* keyPath, const char* valueName, CRegistryNode* root = nullptr,
                        int access = 0);
    /// OpenPointerKey() with the key under which the products' pointers stand.
    long OpenUUIDPointer(const char* valueName, CRegistryNode* root = nullptr, int access = 0,
                         const char* = nullptr, int = 0);
    /// The text value of that key below the local machine; false if it is missing.
    static bool GetProductRegistryRoot(std::string& out, const char* valueName);

  private:
    [[nodiscard]] long openPath(const char* path, CRegistryNode* root);
    template <typename Take>
    [[nodiscard]] bool read(const char* name, CRegistryNode* key, Take take);
    template <typename Take>
    [[nodiscard]] long query(const char* name, CRegistryNode* key, Take take);

    long status_;
    unsigned int valueSize_;
    unsigned int valueType_;
    unsigned int expand_;
    CRegistryNode* currentKey_;
    std::string valueBuffer_;
    std::string openedPath_;
    unsigned int enumeration_[3];
    unsigned int spare_;
};
