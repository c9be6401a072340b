// Loading and saving the tree of the registry.
#include "runtime/registry/RegistryTree.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <new>
#include <optional>
#include <string>

#include "runtime/Debug.h"
#include "runtime/Registry.h"
#include "runtime/files/FileStream.h"
#include "runtime/files/PlatformPaths.h"
#include "runtime/process/Clock.h"
#include "runtime/registry/NewRegistryFile.h"
#include "runtime/registry/RegistryFormat.h"
#include "runtime/registry/RegistryWarnings.h"
#include "runtime/threads/Cancellation.h"
#include "runtime/trace/TraceAt.h"

namespace {

using varnock::FileStream;
using varnock::NewRegistryFile;
namespace registryformat = varnock::registryformat;

/// The longest wait for another saver, and the pause between two looks at its file.
constexpr std::chrono::seconds kLongestWait{5};
constexpr std::chrono::milliseconds kPause{10};

constinit std::atomic<bool> hasRegistryEnded{false};

/// Objects read it without the lock.
std::atomic_ref<int> isSetup() {
    return std::atomic_ref<int>(CRegistry::MIsSetup);
}

/// Guarded by CRegistry::MSpinlock.
char currentPath[4096];
char backupPath[4096];
char newPath[4096];
/// UpdateTree() runs: it holds the lock of the file, and saves at its end.
bool updating = false;
/// The error that kept an existing registry file from being read, or 0. After an error the tree is
/// that of the backup, or empty, and must never replace the file.
int unreadError = 0;

struct RootKey {
    const char* name;
    CRegistryNode** key;
};
const RootKey kRootKeys[] = {{registryformat::kLocalMachine, &CRegistry::MLocalMachine},
                             {registryformat::kCurrentUser, &CRegistry::MCurrentUser},
                             {registryformat::kUsers, &CRegistry::MUsers},
                             {registryformat::kClassesRoot, &CRegistry::MClassesRoot},
                             {registryformat::kCurrentConfig, &CRegistry::MCurrentConfig}};

/// A path that is too long becomes empty: cut, it could name another of the three files.
void setPath(char (&path)[4096], const std::string& directory, const char* name) {
    const int length = snprintf(path, sizeof path, "%s/%s", directory.c_str(), name);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof path) {
        path[0] = '\0';
    }
}

void buildPaths() {
    const std::string directory = varnock::systemDirectory();
    setPath(currentPath, directory, registryformat::kFile);
    setPath(backupPath, directory, registryformat::kBackup);
    setPath(newPath, directory, registryformat::kNewFile);
}

void findRootKeys() {
    for (const RootKey& root : kRootKeys) {
        void* node = nullptr;
        const unsigned int type = CRegistry::MRoot.find(root.name, node);
        *root.key = type == REGISTRY_KEY ? static_cast<CRegistryNode*>(node) : nullptr;
    }
}

/// How a load went. Messages are printed without the lock, because standard error may block.
struct LoadResult {
    bool isMissing = false;
    bool isBackupMissing = false;
    char path[4096] = {};
    char backup[4096] = {};
    CRegistryNode::Warnings warnings;
};

void removeAll() {
    while (CRegistry::MRoot.entries() > 0) {
        const char* name = nullptr;
        void* value = nullptr;
        CRegistry::MRoot.entryAt(CRegistry::MRoot.entries() - 1, name, value);
        CRegistry::MRoot.erase(std::string(name).c_str());
    }
}

/// False, with errno, if the file cannot be read to its end. The tree is then empty: a part of a
/// tree must never replace the file.
[[nodiscard]] bool restoreFrom(const char* path, CRegistryNode::Warnings& warnings) {
    const FileStream file = varnock::openRegularFile(path, "re");
    if (!file) {
        return false;
    }
    CRegistry::MRoot.restore(file.get(), warnings);
    if (ferror(file.get()) == 0) {
        return true;
    }
    removeAll();
    errno = EIO;
    return false;
}

/// True if opening failed because the path leads to no regular file.
[[nodiscard]] bool meansNoFile(int error) {
    return error == ENOENT || error == ENOTDIR || error == EINVAL;
}

void restoreTree(LoadResult& result) {
    unreadError = 0;
    if (!restoreFrom(currentPath, result.warnings)) {
        unreadError = meansNoFile(errno) ? 0 : errno;
        result.isMissing = true;
        memcpy(result.path, currentPath, sizeof currentPath);
        if (!restoreFrom(backupPath, result.warnings)) {
            result.isBackupMissing = true;
            memcpy(result.backup, backupPath, sizeof backupPath);
            return;
        }
    }
    findRootKeys();
    isSetup().store(1);
}

void load(LoadResult& result) {
    const CriticalSectionGuard guard(CRegistry::MSpinlock);
    if (isSetup().load() != 0) {
        return;
    }
    const varnock::CancellationGuard wholeTree;
    buildPaths();
    restoreTree(result);
}

/// For file systems without hard links. The old file comes back if the second rename fails.
[[nodiscard]] bool replaceByRenames(NewRegistryFile& file) {
    if (rename(currentPath, backupPath) != 0) {
        return false;
    }
    if (file.renameTo(currentPath)) {
        return true;
    }
    const int error = errno;
    rename(backupPath, currentPath);
    errno = error;
    return false;
}

/// Puts the new file in place and keeps the old one as the backup. With a link, the name "registry"
/// exists all the time.
[[nodiscard]] bool replaceTree(NewRegistryFile& file) {
    if (access(currentPath, F_OK) == 0) {
        unlink(backupPath);
        if (link(currentPath, backupPath) != 0) {
            return replaceByRenames(file);
        }
    }
    return file.renameTo(currentPath);
}

[[nodiscard]] bool dumpTree(NewRegistryFile& file, CRegistryNode::Warnings& warnings) try {
    CRegistry::MRoot.dump(file.stream(), warnings);
    return file.finish();
} catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return false;
}

[[nodiscard]] bool writeText(NewRegistryFile& file, const std::string& text) {
    static_cast<void>(fwrite(text.data(), 1, text.size(), file.stream()));
    return file.finish();
}

/// Renames the file if it has been written. The stream holds the lock meanwhile.
[[nodiscard]] bool install(NewRegistryFile& file, bool isWritten) {
    if (!isWritten || !replaceTree(file)) {
        return false;
    }
    // The file is in place: a failed sync matters only if the power fails.
    static_cast<void>(varnock::syncDirectoryOf(currentPath));
    return true;
}

[[nodiscard]] bool writeTree(NewRegistryFile& file, CRegistryNode::Warnings& warnings) {
    return install(file, dumpTree(file, warnings));
}

/// Enters the missing root keys with their pointers, which are null after a failed load. True if
/// the local machine was missing.
[[nodiscard]] bool enterMissingRoots() try {
    const CriticalSectionGuard guard(CRegistry::MSpinlock);
    void* node = nullptr;
    if (CRegistry::MRoot.find(kRootKeys[0].name, node) == REGISTRY_KEY) {
        return false;
    }
    for (const RootKey& root : kRootKeys) {
        if (CRegistry::MRoot.find(root.name, node) != REGISTRY_KEY) {
            CRegistry::MRoot.put(root.name, REGISTRY_KEY, *root.key);
        }
    }
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

enum class SaveResult { done, cannotOpen, cannotWrite };

/// How a save went. Messages are printed without the locks.
struct Save {
    SaveResult result = SaveResult::done;
    int error = 0;  ///< errno of a failure
    char path[4096] = {};
    CRegistryNode::Warnings warnings;

    void fail(SaveResult how) {
        error = errno;
        result = how;
    }
    void failUnread() {
        errno = unreadError;
        fail(SaveResult::cannotWrite);
    }
};

/// Waits for another saver to finish, without a lock and open to cancellation.
class SaverWait {
  public:
    /// False, with errno, once the wait has been long enough.
    [[nodiscard]] bool pause() {
        varnock::Clock& clock = varnock::Clock::instance();
        const auto now = clock.monotonicTime();
        if (pauses_ == 0) {
            begin_ = now;
        }
        if (pauses_ == kMostPauses || now - begin_ >= kLongestWait) {
            errno = EWOULDBLOCK;
            return false;
        }
        ++pauses_;
        clock.sleepFor(kPause);
        return true;
    }

  private:
    static constexpr int kMostPauses = kLongestWait / kPause;

    int pauses_ = 0;
    std::chrono::nanoseconds begin_{0};
};

/// Calls `attempt` until no other saver has the file. Returns the first other result; without one,
/// `saved` has the failure.
template <typename Attempt>
auto waitForSavers(Save& saved, Attempt attempt) {
    SaverWait wait;
    for (;;) {
        auto result = attempt();
        if (result) {
            return result;
        }
        if (!wait.pause()) {
            saved.fail(SaveResult::cannotWrite);
            return result;
        }
    }
}

void failToOpen(Save& saved, const NewRegistryFile& file) {
    const bool isOpenFailure = file.state() == NewRegistryFile::State::cannotOpen;
    saved.fail(isOpenFailure ? SaveResult::cannotOpen : SaveResult::cannotWrite);
}

/// False while another saver has the file.
[[nodiscard]] bool trySave(Save& saved) {
    const CriticalSectionGuard guard(CRegistry::MSpinlock);
    // After a failed load the tree is empty. It must never replace a good file.
    if (updating || CRegistry::MIsDirty == 0 || CRegistry::MIsSetup == 0) {
        return true;
    }
    memcpy(saved.path, newPath, sizeof newPath);
    if (unreadError != 0) {
        saved.failUnread();
        return true;
    }
    NewRegistryFile file(newPath);
    if (file.state() == NewRegistryFile::State::busy) {
        return false;
    }
    if (file.state() != NewRegistryFile::State::open) {
        failToOpen(saved, file);
    } else if (!writeTree(file, saved.warnings)) {
        saved.fail(SaveResult::cannotWrite);
    }
    return true;
}

struct UpdatingMark {
    UpdatingMark() { updating = true; }
    ~UpdatingMark() { updating = false; }
};

/// Replaces the tree in memory by that of the file. Handles on the old tree stay valid. Without
/// memory or file there is no tree afterwards.
void reload(LoadResult& result) {
    isSetup().store(0);
    removeAll();
    restoreTree(result);
}

/// Returns 0 or an errno value.
[[nodiscard]] int errorOfOpening(const char* path) {
    return varnock::openRegularFile(path, "re") != nullptr ? 0 : errno;
}

/// Reverts a change that was not saved, so that a later save does not write it.
struct UnsavedChange {
    const int dirtyBefore = CRegistry::MIsDirty;
    bool armed = true;
    ~UnsavedChange() {
        if (!armed) {
            return;
        }
        CRegistry::MIsDirty = dirtyBefore;
        try {
            LoadResult alreadyTold;
            reload(alreadyTold);
        } catch (const std::bad_alloc&) {
            // There is no tree now. The next object loads it.
        }
    }
};

enum class Update { noTree, tried };

/// The text of the file that the tree was loaded from. Nothing, with errno, if it cannot be read to
/// its end.
[[nodiscard]] std::optional<std::string> textOfFile(const LoadResult& loaded) {
    const FileStream file =
        varnock::openRegularFile(loaded.isMissing ? backupPath : currentPath, "re");
    if (!file) {
        return std::nullopt;
    }
    std::string text;
    char bytes[16384];
    while (const std::size_t count = fread(bytes, 1, sizeof bytes, file.get())) {
        text.append(bytes, count);
    }
    if (ferror(file.get()) != 0) {
        errno = EIO;
        return std::nullopt;
    }
    return text;
}

/// Changes the tree, or the text of the file if `text` is not null.
struct Change {
    const std::function<bool()>* tree = nullptr;
    const std::function<bool(std::string&)>* text = nullptr;
};

void makeTreeChange(const std::function<bool()>& change, NewRegistryFile& file, Save& saved) {
    UnsavedChange unsaved;
    if (!change()) {
        return;
    }
    unsaved.armed = !writeTree(file, saved.warnings);
    if (unsaved.armed) {
        saved.fail(SaveResult::cannotWrite);
    }
}

/// Calls the change and saves what it leaves.
void makeChange(const Change& change, NewRegistryFile& file, LoadResult& loaded, Save& saved) {
    if (change.tree != nullptr) {
        makeTreeChange(*change.tree, file, saved);
        return;
    }
    auto text = textOfFile(loaded);
    if (text && !(*change.text)(*text)) {
        return;
    }
    if (text && install(file, writeText(file, *text))) {
        reload(loaded);
    } else {
        saved.fail(SaveResult::cannotWrite);
    }
}

/// A change inside a change: the outer call, of the same thread, saves.
void makeInnerChange(const Change& change, Save& saved) {
    if (change.tree != nullptr) {
        (*change.tree)();
        return;
    }
    errno = EDEADLK;
    saved.fail(SaveResult::cannotWrite);
}

/// Nothing while another saver has the file.
[[nodiscard]] std::optional<Update> tryUpdate(const Change& change, LoadResult& loaded,
                                              Save& saved) {
    const CriticalSectionGuard guard(CRegistry::MSpinlock);
    const varnock::CancellationGuard wholeFile;
    if (updating) {
        makeInnerChange(change, saved);
        return Update::tried;
    }
    const UpdatingMark mark;
    buildPaths();
    memcpy(saved.path, newPath, sizeof newPath);
    int error = errorOfOpening(currentPath);
    if (meansNoFile(error)) {
        error = errorOfOpening(backupPath);
    }
    if (meansNoFile(error)) {
        return Update::noTree;
    }
    if (error != 0) {
        errno = error;
        saved.fail(SaveResult::cannotWrite);
        return Update::tried;
    }
    NewRegistryFile file(newPath);
    if (file.state() == NewRegistryFile::State::busy) {
        return std::nullopt;
    }
    if (file.state() != NewRegistryFile::State::open) {
        failToOpen(saved, file);
        return Update::tried;
    }
    reload(loaded);
    if (unreadError != 0) {
        saved.failUnread();
        return Update::tried;
    }
    if (loaded.isBackupMissing) {
        return Update::noTree;
    }
    makeChange(change, file, loaded, saved);
    return Update::tried;
}

/// Prints how a save went. Throws if it failed.
void report(const Save& saved) {
    varnock::traceWarnings(saved.warnings);
    if (saved.result == SaveResult::done) {
        return;
    }
    Debug.PrintAlways(0,
                      saved.result == SaveResult::cannotOpen
                          ? "CRegistry: ERROR: Cannot open \"%s\" for writing\n"
                          : "CRegistry: ERROR: Cannot write \"%s\"\n",
                      saved.path);
    errno = saved.error;
    throw int{0};
}

/// False if there is no file. Throws int after a failure.
bool update(const Change& change) {
    if (hasRegistryEnded) {
        return false;
    }
    LoadResult loaded;
    Save saved;
    const auto updated = waitForSavers(saved, [&] { return tryUpdate(change, loaded, saved); });
    varnock::traceWarnings(loaded.warnings);  // SetupTree() has printed which files are missing
    report(saved);
    return updated != Update::noTree;
}

}  // namespace

void varnock::endRegistry() {
    hasRegistryEnded = true;
    CRegistryNode::freeDiscarded();
}

void CRegistry::SetupTree() {
    if (hasRegistryEnded) {
        return;
    }
    LoadResult result;
    try {
        load(result);
    } catch (const std::bad_alloc&) {
        Debug.PrintAlways(0, "CRegistry: ERROR: no memory for the registry tree\n");
    }
    varnock::traceWarnings(result.warnings);
    if (result.isMissing) {
        Debug.PrintAlways(0, "CRegistry: WARNING: Could not find \"%s\", trying backup\n",
                          result.path);
    }
    if (result.isBackupMissing) {
        Debug.PrintAlways(0, "CRegistry: ERROR: Could not find \"%s\"\n", result.backup);
    }
}

void CRegistry::SaveTree() {
    if (hasRegistryEnded) {
        return;
    }
    Save saved;
    waitForSavers(saved, [&] { return trySave(saved); });
    report(saved);
}

bool CRegistry::UpdateTree(const std::function<bool()>& change) {
    return update({.tree = &change});
}

bool CRegistry::UpdateText(const std::function<bool(std::string& text)>& change) {
    return update({.text = &change});
}

void CRegistry::InitClass() {
    status_ = 0;
    valueSize_ = 0;
    valueType_ = 0;
    expand_ = 1;
    currentKey_ = nullptr;
    valueBuffer_.clear();
    openedPath_.clear();
    for (unsigned int& word : enumeration_) {
        word = 0;
    }
    spare_ = 0;
    if (isSetup().load() == 0) {
        SetupTree();
    }
    if (!hasRegistryEnded && enterMissingRoots()) {
        Debug.PrintAlways(0, "CRegistry::InitClass() : re-initialize the registry-tree\n");
    }
}
