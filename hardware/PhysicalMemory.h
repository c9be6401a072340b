#pragma once

#include <pthread.h>

#include <cstdint>
#include <string>

#include "runtime/ProfileFile.h"
#include "util/Export.h"
#include "util/Mutex.h"

/// State shared by the threads that use one device with a descriptor each.
///
/// Two thread-specific values: the first holds the thread's descriptor plus 1, so that an absent
/// one reads back as -1; the second is for a derived class and is cleared with the first.
///
/// Thread-safety: any thread may call any operation. A thread must close its descriptor and clear
/// its values before it ends.
class VARNOCK_EXPORT CDeviceIoExtensionData {
  public:
    /// Creates the keys. Without them no descriptor can be stored.
    CDeviceIoExtensionData();
    /// Deletes the keys. The values belong to the threads.
    virtual ~CDeviceIoExtensionData();
    CDeviceIoExtensionData(const CDeviceIoExtensionData&) = delete;
    CDeviceIoExtensionData& operator=(const CDeviceIoExtensionData&) = delete;

    /// Marks the device as closed.
    void close();
    /// The number of threads with a descriptor; 0 if the mutex cannot be locked.
    unsigned int getConnectCount();
    /// The calling thread's descriptor, or -1.
    int getThreadSpecificValue();
    /// Stores the calling thread's descriptor, and counts the thread if it had none. Returns 0, or
    /// an error number: EINVAL for a negative descriptor or without key or mutex, else that of the
    /// thread library.
    int setThreadSpecificValue(int fd);
    /// Clears the calling thread's values and decrements the count, but not below 0.
    void clearThreadSpecificValue();

  protected:
    pthread_key_t keys_[2] = {};  ///< valid as far as hasKey_ says
    varnock::Mutex mutex_;
    /// Threads that have a descriptor.
    std::uint32_t connectCount_ VARNOCK_GUARDED_BY(mutex_) = 0;
    /// The device is closed.
    bool closed_ VARNOCK_GUARDED_BY(mutex_) = false;

  private:
    bool hasKey_[2] = {};
};

/// A device handle, or one for each thread. Derived classes open them.
///
/// Thread-safety: in per-thread mode each thread may close its own handle at any time; otherwise
/// the object may be used by one thread at a time. Only std::bad_alloc is thrown.
class VARNOCK_EXPORT CDeviceIo : public CSysBase {
  public:
    /// Closed; not per thread.
    CDeviceIo() = default;
    /// Closes the handle unless it is kept open. In per-thread mode the shared data is marked
    /// closed; it is deleted if no thread has a descriptor, otherwise it stays for those threads.
    virtual ~CDeviceIo();
    CDeviceIo(const CDeviceIo&) = delete;
    CDeviceIo& operator=(const CDeviceIo&) = delete;

    /// Closes the handle: the calling thread's in per-thread mode, else the shared one. True if
    /// it was closed or there was none; otherwise lastError_ holds the error.
    bool Close();
    /// Always false: this platform has no pending operations to cancel.
    bool CancelIo();
    /// Does nothing on this platform.
    void DeleteOverlapped();

  protected:
    int handle_ = -1;                                  ///< the shared descriptor; -1 when closed
    std::uint32_t lastError_ = 0;                      ///< errno of the last failure
    bool threadSpecific_ = false;                      ///< each thread has its own handle
    CDeviceIoExtensionData* extensionData_ = nullptr;  ///< owned, see the destructor; may be null
    std::string deviceName_;                           ///< for messages
    bool keepOpen_ = false;                            ///< the destructor leaves the handle open

  private:
    bool closeOfThread();
    bool closeShared();
};

/// Owns the table of PCI slots of a device; derived classes fill it. Not thread-safe.
class VARNOCK_EXPORT CPciSlotMapping {
  public:
    CPciSlotMapping() = default;
    /// Frees the table.
    ~CPciSlotMapping() { delete[] m_pTable; }
    CPciSlotMapping(const CPciSlotMapping&) = delete;
    CPciSlotMapping& operator=(const CPciSlotMapping&) = delete;

    unsigned char* m_pTable = nullptr;  ///< owned, made with array new; may be null
    unsigned int m_nCount = 0;          ///< entries of the table
};

/// A device that can map physical memory. An object may be used by one thread at a time.
class VARNOCK_EXPORT CDeviceBiosBase : public CDeviceIo {
  public:
    CDeviceBiosBase() = default;
    /// Unmaps nothing: a class that maps must unmap in its own destructor.
    ~CDeviceBiosBase() override;

    /// Maps physical memory; see CDeviceBios.
    virtual unsigned char* MapPhysicalMemory(unsigned int reserved, unsigned int address,
                                             unsigned long length) = 0;
    /// Unmaps it; see CDeviceBios.
    virtual bool UnmapPhysicalMemory() = 0;

    /// Unmaps and closes if the device is connected.
    void Disconnect();

  protected:
    CPciSlotMapping slotMapping_;  ///< empty unless a derived class fills it
    bool connected_ = false;       ///< whether Disconnect() has work to do
    std::uint32_t state_ = 0;      ///< for a derived class; cleared by Disconnect()
};

/// Maps a region of physical memory read-only through "/dev/mem", to read the firmware's SMBIOS
/// tables. The process needs the rights to open that device, and the kernel decides which regions
/// are visible.
///
///     CDeviceBios bios;
///     const unsigned char* area = bios.MapPhysicalMemory(0, 0xF0000, 0x10000);
///
/// Thread-safety: an object may be used by one thread at a time. Only std::bad_alloc is thrown.
class VARNOCK_EXPORT CDeviceBios : public CDeviceBiosBase {
  public:
    CDeviceBios() = default;
    /// Unmaps and closes.
    ~CDeviceBios() override;

    /// Maps the physical addresses from `address` on; an existing mapping is removed first. The
    /// first argument is not used. Returns a pointer through which the bytes can be read until they
    /// are unmapped. Returns null and traces the reason if the device cannot be opened, the kernel
    /// refuses, or the region is incomplete (a regular file used as the device is too short).
    ///
    /// Only the low 32 bits of `length` count; together with the offset of `address` in its page of
    /// 4096 bytes they must not exceed 32 bits.
    unsigned char* MapPhysicalMemory(unsigned int reserved, unsigned int address,
                                     unsigned long length) override;
    /// Unmaps the region, if any, and closes the device, if open. Always true.
    bool UnmapPhysicalMemory() override;

  private:
    unsigned char* mapRegion() const;
    void closeDevice();

    unsigned char* mapping_ = nullptr;
    int fd_ = -1;
    std::uint32_t mapBase_ = 0;    ///< kept after unmapping
    std::uint32_t mapLength_ = 0;  ///< kept after unmapping
};
