#include "hardware/PhysicalMemory.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <chrono>
#include <memory>
#include <utility>

#include "runtime/Debug.h"
#include "runtime/SyncWrappers.h"
#include "runtime/files/PlatformPaths.h"
#include "runtime/process/Clock.h"
#include "runtime/threads/Cancellation.h"

namespace {

using varnock::CancellationGuard;
using varnock::ScopedLock;

/// A fixed page size, independent of the system's.
constexpr std::uint64_t kPageSize = 4096;
constexpr auto kPendingWork = std::chrono::milliseconds(100);

void* toValue(int fd) {
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(fd) + 1);
}
int toDescriptor(void* value) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(value) - 1);
}

std::uint32_t lastSystemError() {
    return static_cast<std::uint32_t>(errno);
}

/// A mapping beyond the end of a regular file succeeds, and reading it ends the process with
/// SIGBUS.
bool endsBefore(int fd, std::uint64_t end) {
    struct stat status {};
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    const std::uint64_t pages =
        (static_cast<std::uint64_t>(status.st_size) + kPageSize - 1) / kPageSize;
    return end > pages * kPageSize;
}

}  // namespace

// --- CDeviceIoExtensionData ---------------------------------------------------------------------

CDeviceIoExtensionData::CDeviceIoExtensionData()
    : hasKey_{pthread_key_create(&keys_[0], nullptr) == 0,
              pthread_key_create(&keys_[1], nullptr) == 0} {}

CDeviceIoExtensionData::~CDeviceIoExtensionData() {
    for (const int i : {0, 1}) {
        if (hasKey_[i]) {
            pthread_key_delete(keys_[i]);
        }
    }
}

void CDeviceIoExtensionData::close() {
    const ScopedLock guard(mutex_);
    if (guard.owns()) {
        closed_ = true;
    }
}

unsigned int CDeviceIoExtensionData::getConnectCount() {
    const ScopedLock guard(mutex_);
    return guard.owns() ? connectCount_ : 0;
}

int CDeviceIoExtensionData::getThreadSpecificValue() {
    return hasKey_[0] ? toDescriptor(pthread_getspecific(keys_[0])) : -1;
}

int CDeviceIoExtensionData::setThreadSpecificValue(int fd) {
    if (fd < 0 || !hasKey_[0]) {
        return EINVAL;
    }
    const ScopedLock guard(mutex_);
    if (!guard.owns()) {
        return EINVAL;
    }
    const bool isNew = getThreadSpecificValue() < 0;
    const int error = pthread_setspecific(keys_[0], toValue(fd));
    if (error == 0 && isNew) {
        ++connectCount_;
    }
    return error;
}

void CDeviceIoExtensionData::clearThreadSpecificValue() {
    const ScopedLock guard(mutex_);
    if (guard.owns() && connectCount_ > 0) {
        --connectCount_;
    }
    for (const int i : {0, 1}) {
        if (hasKey_[i]) {
            pthread_setspecific(keys_[i], nullptr);
        }
    }
}

// --- CDeviceIo ----------------------------------------------------------------------------------

CDeviceIo::~CDeviceIo() {
    const CancellationGuard wholeEnd;
    if (!keepOpen_) {
        Close();
    }
    if (!threadSpecific_ || extensionData_ == nullptr) {
        return;
    }
    extensionData_->close();
    if (extensionData_->getConnectCount() == 0) {
        delete extensionData_;
    }
}

bool CDeviceIo::Close() {
    const CancellationGuard wholeClose;
    return threadSpecific_ ? closeOfThread() : closeShared();
}

bool CDeviceIo::closeOfThread() {
    const int fd = extensionData_ != nullptr ? extensionData_->getThreadSpecificValue() : -1;
    if (fd < 0) {
        return true;
    }
    if (Debug.IsOn(5)) {
        Debug.Print(5, "\nCDeviceIo::Close (ts): Device %s closed, fd=%d", deviceName_.c_str(), fd);
    }
    const bool closed = CloseHandle(fd) == 1;
    if (closed) {
        extensionData_->clearThreadSpecificValue();
    } else {
        // Other threads may fail at the same time.
        __atomic_store_n(&lastError_, lastSystemError(), __ATOMIC_RELAXED);
    }
    return closed;
}

bool CDeviceIo::closeShared() {
    if (handle_ < 0) {
        return true;
    }
    if (CancelIo()) {
        varnock::Clock::instance().sleepFor(kPendingWork);
    }
    const bool closed = CloseHandle(handle_) == 1;
    lastError_ = closed ? 0 : lastSystemError();
    if (Debug.IsOn(5)) {
        Debug.Print(5, "\nCDeviceIo::Close: Device closed, fd=%d", handle_);
    }
    handle_ = -1;
    return closed;
}

bool CDeviceIo::CancelIo() {
    return false;
}

void CDeviceIo::DeleteOverlapped() {}

// --- CDeviceBiosBase ----------------------------------------------------------------------------

CDeviceBiosBase::~CDeviceBiosBase() {
    const CancellationGuard wholeEnd;
    if (Debug.IsOn(4)) {
        Debug.Print(4, "\nCDeviceBiosBase     : ~CDeviceBiosBase()");
    }
}

void CDeviceBiosBase::Disconnect() {
    if (!connected_) {
        return;
    }
    const CancellationGuard wholeDisconnect;
    UnmapPhysicalMemory();
    Close();
    connected_ = false;
    state_ = 0;
}

// --- CDeviceBios --------------------------------------------------------------------------------

CDeviceBios::~CDeviceBios() {
    const CancellationGuard wholeEnd;
    if (Debug.IsOn(5)) {
        Debug.Print(5, "\nCDeviceBios         : ~CDeviceBios()");
    }
    Disconnect();
}

unsigned char* CDeviceBios::MapPhysicalMemory(unsigned int, unsigned int address,
                                              unsigned long length) {
    const CancellationGuard wholeMapping;
    if (mapping_ != nullptr) {
        if (Debug.IsOn(2)) {
            Debug.Print(2,
                        "\nCDeviceBios (Map)   : ## WARNING! Mapped physical memory already "
                        "existing, will be unmapped!");
        }
        UnmapPhysicalMemory();
        mapping_ = nullptr;
    }
    // A derived class may have unmapped it by other means.
    closeDevice();
    const std::string path = varnock::memoryDevice();
    fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd_ < 0) {
        if (Debug.IsOn(1)) {
            Debug.Print(1, "\nERROR: Opening of /dev/mem failed\n");
        }
        return nullptr;
    }
    if (Debug.IsOn(3)) {
        Debug.Print(3, "CDeviceBios (Map) : opened DMI device %s on %d\n", path.c_str(), fd_);
    }
    const auto offset = static_cast<std::uint32_t>(address % kPageSize);
    mapBase_ = address - offset;
    mapLength_ = static_cast<std::uint32_t>(length) + offset;
    // An overflowing sum would map less than requested.
    mapping_ = mapLength_ >= offset ? mapRegion() : nullptr;
    if (mapping_ == nullptr) {
        if (Debug.IsOn(1)) {
            Debug.Print(1, "\nERROR: mapping of the SMBIOS memory failed\n");
        }
        closeDevice();
        return nullptr;
    }
    connected_ = true;
    if (Debug.IsOn(3)) {
        Debug.Print(3, "CDeviceBios (Map) : mapped 0x%x bytes at 0x%x to 0x%p\n", mapLength_,
                    mapBase_, static_cast<void*>(mapping_));
    }
    return mapping_ + offset;
}

unsigned char* CDeviceBios::mapRegion() const {
    if (endsBefore(fd_, std::uint64_t{mapBase_} + mapLength_)) {
        return nullptr;
    }
    void* region = mmap(nullptr, mapLength_, PROT_READ, MAP_SHARED, fd_, off_t{mapBase_});
    return region != MAP_FAILED ? static_cast<unsigned char*>(region) : nullptr;
}

void CDeviceBios::closeDevice() {
    if (fd_ >= 0) {
        CloseHandle(std::exchange(fd_, -1));
    }
}

bool CDeviceBios::UnmapPhysicalMemory() {
    const CancellationGuard wholeUnmapping;
    if (mapping_ != nullptr) {
        munmap(mapping_, mapLength_);
        if (Debug.IsOn(3)) {
            Debug.Print(3, "CDeviceBios (Unmap) : unmapped 0x%x bytes at 0x%x from 0x%p on %d...\n",
                        mapLength_, mapBase_, static_cast<void*>(mapping_), fd_);
        }
        mapping_ = nullptr;
    }
    closeDevice();
    return true;
}
