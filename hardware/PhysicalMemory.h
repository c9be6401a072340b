#pragma once

#include <pthread.h>

#include <cstdint>
#include <string>

#include "runtime/ProfileFile.h"
#include "util/Export.h"

/// What the threads that use one device share when each has a descriptor of its own.
///
/// Two thread-specific values: the first holds the thread's descriptor plus 1, so that an absent
/// one reads back as -1; the second is for a derived class and is cleared with the first.
///
/// Thread-safety: any thread may call any operation. A thread closes its descriptor and clears its
/// values before it ends; nothing does it for it.
class VARNOCK_EXPORT CDeviceIoExtensionData {
  public:
    /// Makes the keys. Without them no descriptor can be stored.
    CDeviceIoExtensionData();
    /// Removes the keys. The values are the threads' own.
    virtual ~CDeviceIoExtensionData();
    CDeviceIoExtensionData(const CDeviceIoExtensionData&) = delete;
    CDeviceIoExtensionData& operator=(const CDeviceIoExtensionData&) = delete;

    /// Notes that the device is gone.
    void close();
    /// How many threads have a descriptor; 0 when the mutex cannot be taken.
    unsigned int getConnectCount();
    /// The calling thread's descriptor, or -1.
    int getThreadSpecificValue();
    /// Stores the calling thread's descriptor, and counts the thread if it had none. Returns 0, or
    /// an error number: EINVAL for a negative descriptor or without key or mutex, else that of the
    /// thread library.
    int setThreadSpecificValue(int fd);
    /// Forgets the calling thread's values and counts it no more. The count never goes below 0.
    void clearThreadSpecificValue();

  protected:
    pthread_key_t keys_[2] = {};                         ///< valid as far as hasKey_ says
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;  ///< guards what follows
    std::uint32_t connectCount_ = 0;                     ///< threads that have a descriptor
    bool closed_ = false;                                ///< the device is gone

  private:
    bool hasKey_[2] = {};
};

/// A device handle, or one for each thread. Derived classes open them.
///
/// Thread-safety: in per-thread mode each thread may close its own handle at any time; everything
/// else belongs to one thread at a time. Nothing throws but std::bad_alloc.
class VARNOCK_EXPORT CDeviceIo : public CSysBase {
  public:
    /// Closed; not per thread.
    CDeviceIo() = default;
    /// Closes the handle unless it is to be kept open. In per-thread mode the shared data is marked
    /// closed, and deleted when no thread has a descriptor any more; else it stays for them.
    virtual ~CDeviceIo();
    CDeviceIo(const CDeviceIo&) = delete;
    CDeviceIo& operator=(const CDeviceIo&) = delete;

    /// Closes the handle: the calling thread's in per-thread mode, else the shared one. True when
    /// it was closed or there was none; else lastError_ holds the error.
    bool Close();
    /// Always false: on this platform nothing is pending that could be cancelled.
    bool CancelIo();
    /// Does nothing on this platform.
    void DeleteOverlapped();

  protected:
    int handle_ = -1;                                  ///< the shared descriptor; -1 when closed
    std::uint32_t lastError_ = 0;                      ///< errno of the last failure
    bool threadSpecific_ = false;                      ///< each thread has a handle of its own
    CDeviceIoExtensionData* extensionData_ = nullptr;  ///< owned, see the destructor; may be null
    std::string deviceName_;                           ///< for texts
    bool keepOpen_ = false;                            ///< the destructor leaves the handle open

  private:
    bool closeOfThread();
    bool closeShared();
};

/// Owns the table of PCI slots of a device. Nothing here fills it. Thread-safety: none.
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

/// A device that can map physical memory. Thread-safety: an object belongs to one thread at a time.
class VARNOCK_EXPORT CDeviceBiosBase : public CDeviceIo {
  public:
    CDeviceBiosBase() = default;
    /// Unmaps nothing: what maps, unmaps in its own destructor.
    ~CDeviceBiosBase() override;

    /// Maps physical memory; see CDeviceBios.
    virtual unsigned char* MapPhysicalMemory(unsigned int reserved, unsigned int address,
                                             unsigned long length) = 0;
    /// Releases it; see CDeviceBios.
    virtual bool UnmapPhysicalMemory() = 0;

    /// Unmaps and closes if the device is connected.
    void Disconnect();

  protected:
    CPciSlotMapping slotMapping_;  ///< empty unless a derived class fills it
    bool connected_ = false;       ///< there is something for Disconnect() to do
    std::uint32_t state_ = 0;      ///< for a derived class; cleared by Disconnect()
};

/// Maps a region of physical memory through "/dev/mem", read-only: the way to the firmware's
/// SMBIOS tables. It needs the rights to open that device, and the kernel decides which regions it
/// shows.
///
///     CDeviceBios bios;
///     const unsigned char* area = bios.MapPhysicalMemory(0, 0xF0000, 0x10000);
///
/// Thread-safety: an object belongs to one thread at a time. Nothing throws but std::bad_alloc.
class VARNOCK_EXPORT CDeviceBios : public CDeviceBiosBase {
  public:
    CDeviceBios() = default;
    /// Unmaps and closes.
    ~CDeviceBios() override;

    /// Maps the physical addresses from `address` on; a region that is mapped already is unmapped
    /// first. The first argument is not used. Returns a pointer through which the bytes can be read
    /// until they are unmapped, or null, with the reason traced: the device cannot be opened, the
    /// kernel refuses, or there is not all of the region (an ordinary file that stands in for the
    /// device ends before).
    ///
    /// Only the low 32 bits of `length` count; together with the offset of `address` in its page of
    /// 4096 bytes they must not exceed 32 bits.
    unsigned char* MapPhysicalMemory(unsigned int reserved, unsigned int address,
                                     unsigned long length) override;
    /// Unmaps the region and closes the device, as far as there is one. Always true.
    bool UnmapPhysicalMemory() override;

  private:
    unsigned char* mapRegion();
    void closeDevice();

    unsigned char* mapping_ = nullptr;
    int fd_ = -1;
    std::uint32_t mapBase_ = 0;    // stays when unmapped
    std::uint32_t mapLength_ = 0;  // stays when unmapped
};
