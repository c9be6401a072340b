#include "hardware/PhysicalMemory.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "runtime/Debug.h"
#include "tests/support/EveryCall.h"
#include "tests/support/FailingCall.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"
#include "tests/support/TraceCapture.h"
#include "tests/support/VirtualSlot.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

template <typename Class>
constexpr bool kIsCopied = std::is_copy_constructible_v<Class> || std::is_copy_assignable_v<Class>;
static_assert(!kIsCopied<CDeviceIo> && !kIsCopied<CDeviceBios> && !kIsCopied<CPciSlotMapping> &&
              !kIsCopied<CDeviceIoExtensionData>);
static_assert(std::is_base_of_v<CSysBase, CDeviceIo>);
static_assert(std::is_abstract_v<CDeviceBiosBase>);

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) >= 0;
}

int openNull() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// The lines of /proc/self/maps that name this file.
std::size_t mappingsOf(const std::string& path) {
    std::ifstream maps("/proc/self/maps");
    std::size_t count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find(path) != line.npos;
    }
    return count;
}

/// A device whose handle the test sets.
class Device : public CDeviceIo {
  public:
    explicit Device(int fd = -1) { handle_ = fd; }
    using CDeviceIo::deviceName_;
    using CDeviceIo::extensionData_;
    using CDeviceIo::handle_;
    using CDeviceIo::keepOpen_;
    using CDeviceIo::lastError_;
    using CDeviceIo::threadSpecific_;
};

/// Records its destruction.
class Shared : public CDeviceIoExtensionData {
  public:
    explicit Shared(bool& destroyed) : destroyed_(destroyed) {}
    ~Shared() override { destroyed_ = true; }
    bool isClosed() {
        const varnock::ScopedLock lock(mutex_);
        return closed_;
    }
    using CDeviceIoExtensionData::keys_;

  private:
    bool& destroyed_;
};

// --- Shared handle ------------------------------------------------------------------------------

TEST(DeviceIo, StartsClosedAndShared) {
    const Device device;
    EXPECT_EQ(device.handle_, -1);
    EXPECT_EQ(device.lastError_, 0U);
    EXPECT_FALSE(device.threadSpecific_);
    EXPECT_EQ(device.extensionData_, nullptr);
    EXPECT_EQ(device.deviceName_, "");
    EXPECT_FALSE(device.keepOpen_);
}

TEST(DeviceIo, ClosesTheHandle) {
    const int fd = openNull();
    Device device(fd);
    device.lastError_ = 5;
    const TraceCapture trace;
    EXPECT_TRUE(device.Close());
    EXPECT_FALSE(isOpen(fd));
    EXPECT_EQ(device.handle_, -1);
    EXPECT_EQ(device.lastError_, 0U);
    EXPECT_THAT(trace.messages(),
                ElementsAre("CDeviceIo::Close: Device closed, fd=" + std::to_string(fd)));
}

TEST(DeviceIo, ClosingNothingSucceedsInSilence) {
    Device device;
    device.lastError_ = 5;
    const TraceCapture trace;
    EXPECT_TRUE(device.Close());
    EXPECT_EQ(device.lastError_, 5U);
    EXPECT_THAT(trace.messages(), IsEmpty());
}

TEST(DeviceIo, AFailedCloseLeavesTheErrorAndNoHandle) {
    const TraceCapture trace(4);
    const int fd = openNull();
    close(fd);
    Device device(fd);
    EXPECT_FALSE(device.Close());
    EXPECT_EQ(device.lastError_, static_cast<unsigned int>(EBADF));
    EXPECT_EQ(device.handle_, -1);
    EXPECT_TRUE(device.Close());
    EXPECT_THAT(trace.messages(), IsEmpty()) << "the text is of level 5";
}

TEST(DeviceIo, TheDestructorClosesUnlessTheHandleIsKept) {
    const int fd = openNull();
    {
        Device device(fd);
        device.keepOpen_ = true;
    }
    EXPECT_TRUE(isOpen(fd));
    { const Device device(fd); }
    EXPECT_FALSE(isOpen(fd));
}

TEST(DeviceIo, HasNothingPendingOnThisPlatform) {
    Device device;
    EXPECT_FALSE(device.CancelIo());
    device.DeleteOverlapped();
}

// --- Handles of threads -------------------------------------------------------------------------

/// A device with a handle per thread.
class ThreadDevice : public testing::Test {
  protected:
    ThreadDevice() {
        device_->threadSpecific_ = true;
        device_->extensionData_ = shared_;
        device_->deviceName_ = "/dev/some";
    }

    bool destroyed_ = false;
    Shared* shared_ = new Shared(destroyed_);
    std::unique_ptr<Device> device_ = std::make_unique<Device>();
};

TEST_F(ThreadDevice, ClosesTheHandleOfTheCallingThread) {
    const int mine = openNull();
    const int others = openNull();
    ASSERT_EQ(shared_->setThreadSpecificValue(mine), 0);
    PosixThread([&] {
        EXPECT_EQ(shared_->getThreadSpecificValue(), -1);
        EXPECT_EQ(shared_->setThreadSpecificValue(others), 0);
        EXPECT_EQ(shared_->getConnectCount(), 2U);
        const TraceCapture trace;
        EXPECT_TRUE(device_->Close());
        EXPECT_THAT(trace.messages(),
                    ElementsAre("CDeviceIo::Close (ts): Device /dev/some closed, fd=" +
                                std::to_string(others)));
        EXPECT_EQ(shared_->getThreadSpecificValue(), -1);
        EXPECT_EQ(shared_->getConnectCount(), 1U);
    }).join();
    EXPECT_FALSE(isOpen(others));
    EXPECT_TRUE(isOpen(mine));
    EXPECT_EQ(shared_->getThreadSpecificValue(), mine);
    device_.reset();
    EXPECT_FALSE(isOpen(mine));
    EXPECT_TRUE(destroyed_);
}

TEST_F(ThreadDevice, AThreadWithoutAHandleHasNothingToClose) {
    const TraceCapture trace;
    EXPECT_TRUE(device_->Close());
    EXPECT_THAT(trace.messages(), IsEmpty());
}

TEST_F(ThreadDevice, AFailedCloseKeepsTheThreadsHandle) {
    const int fd = openNull();
    close(fd);
    ASSERT_EQ(shared_->setThreadSpecificValue(fd), 0);
    EXPECT_FALSE(device_->Close());
    EXPECT_EQ(device_->lastError_, static_cast<unsigned int>(EBADF));
    EXPECT_EQ(shared_->getThreadSpecificValue(), fd);
    EXPECT_EQ(shared_->getConnectCount(), 1U);
    shared_->clearThreadSpecificValue();
}

TEST_F(ThreadDevice, SharedDataStaysForTheThreadsThatStillHaveAHandle) {
    const int fd = openNull();
    PosixThread([&] { EXPECT_EQ(shared_->setThreadSpecificValue(fd), 0); }).join();
    device_.reset();
    EXPECT_FALSE(destroyed_);
    EXPECT_TRUE(shared_->isClosed());
    EXPECT_TRUE(isOpen(fd));
    close(fd);
    delete shared_;
}

TEST_F(ThreadDevice, AKeptHandleIsNotClosedButTheSharedDataIs) {
    const int fd = openNull();
    ASSERT_EQ(shared_->setThreadSpecificValue(fd), 0);
    device_->keepOpen_ = true;
    device_.reset();
    EXPECT_TRUE(isOpen(fd));
    EXPECT_FALSE(destroyed_);
    EXPECT_TRUE(shared_->isClosed());
    close(fd);
    delete shared_;
}

TEST(DeviceIo, WorksPerThreadWithoutSharedData) {
    Device device;
    device.threadSpecific_ = true;
    EXPECT_TRUE(device.Close());
}

TEST(DeviceIo, SharedDataOfASharedHandleIsNotItsOwn) {
    bool destroyed = false;
    Shared shared(destroyed);
    {
        Device device;
        device.extensionData_ = &shared;
    }
    EXPECT_FALSE(destroyed);
    EXPECT_FALSE(shared.isClosed());
}

TEST(DeviceIoExtensionData, StoresADescriptorPlusOneUnderItsFirstKey) {
    bool destroyed = false;
    Shared shared(destroyed);
    EXPECT_EQ(shared.getThreadSpecificValue(), -1);
    EXPECT_EQ(shared.setThreadSpecificValue(0), 0);
    EXPECT_EQ(shared.getThreadSpecificValue(), 0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pthread_getspecific(shared.keys_[0])), 1U);
    EXPECT_EQ(shared.setThreadSpecificValue(7), 0);
    EXPECT_EQ(shared.getThreadSpecificValue(), 7);
    EXPECT_EQ(shared.getConnectCount(), 1U) << "the thread is counted once";
}

TEST(DeviceIoExtensionData, ClearsBothValuesAndNeverCountsBelowZero) {
    bool destroyed = false;
    Shared shared(destroyed);
    shared.setThreadSpecificValue(3);
    pthread_setspecific(shared.keys_[1], &shared);
    shared.clearThreadSpecificValue();
    EXPECT_EQ(shared.getThreadSpecificValue(), -1);
    EXPECT_EQ(pthread_getspecific(shared.keys_[1]), nullptr);
    EXPECT_EQ(shared.getConnectCount(), 0U);
    shared.clearThreadSpecificValue();
    EXPECT_EQ(shared.getConnectCount(), 0U);
}

TEST(DeviceIoExtensionData, StoresNoNegativeDescriptor) {
    CDeviceIoExtensionData shared;
    EXPECT_EQ(shared.setThreadSpecificValue(-1), EINVAL);
    EXPECT_EQ(shared.getConnectCount(), 0U);
}

TEST(DeviceIoExtensionData, ChangesNothingWithoutItsMutex) {
    bool destroyed = false;
    Shared shared(destroyed);
    shared.setThreadSpecificValue(3);
    {
        const FailingCall failure(PlatformCall::MutexLock, EAGAIN, 1, 4);
        EXPECT_EQ(shared.getConnectCount(), 0U);
        EXPECT_EQ(shared.setThreadSpecificValue(4), EINVAL);
        shared.close();
        shared.clearThreadSpecificValue();
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_FALSE(shared.isClosed());
    EXPECT_EQ(shared.getConnectCount(), 1U);
    EXPECT_EQ(shared.getThreadSpecificValue(), -1) << "the values are the thread's own";
}

TEST(DeviceIoExtensionData, StoresNothingWithoutItsKeys) {
    for (const unsigned int n : {1U, 2U}) {
        const FailingCall failure(PlatformCall::KeyCreate, EAGAIN, n);
        CDeviceIoExtensionData shared;
        EXPECT_TRUE(failure.happened());
        EXPECT_EQ(shared.getThreadSpecificValue(), -1);
        EXPECT_EQ(shared.setThreadSpecificValue(3), n == 1 ? EINVAL : 0);
        EXPECT_EQ(shared.getConnectCount(), n - 1);
        shared.clearThreadSpecificValue();
        EXPECT_EQ(shared.getThreadSpecificValue(), -1);
    }
}

TEST(DeviceIoExtensionData, GivesItsKeysBack) {
    const auto available = [] {
        std::vector<pthread_key_t> keys;
        for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) {
            keys.push_back(key);
        }
        for (const pthread_key_t key : keys) {
            pthread_key_delete(key);
        }
        return keys.size();
    };
    const std::size_t before = available();
    { const CDeviceIoExtensionData shared; }
    EXPECT_EQ(available(), before);
}

TEST(DeviceIoExtensionData, CountsThreadsThatComeAndGoTogether) {
    CDeviceIoExtensionData shared;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&shared, i] {
            for (int round = 0; round < 200; ++round) {
                ASSERT_EQ(shared.setThreadSpecificValue(i), 0);
                ASSERT_EQ(shared.getThreadSpecificValue(), i);
                ASSERT_GE(shared.getConnectCount(), 1U);
                shared.clearThreadSpecificValue();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(shared.getConnectCount(), 0U);
}

// --- Mapping ------------------------------------------------------------------------------------

#ifdef VARNOCK_HAS_VIRTUAL_SLOTS
TEST(DeviceBios, KeepsTheOrderOfItsVirtualOperations) {
    // The destructor occupies the first two slots.
    EXPECT_EQ(virtualSlot(&CDeviceBiosBase::MapPhysicalMemory), 2U);
    EXPECT_EQ(virtualSlot(&CDeviceBiosBase::UnmapPhysicalMemory), 3U);
    EXPECT_EQ(virtualSlot(&CDeviceBios::MapPhysicalMemory), 2U);
    EXPECT_EQ(virtualSlot(&CDeviceBios::UnmapPhysicalMemory), 3U);
    EXPECT_EQ(virtualSlot(&CDeviceBiosBase::Disconnect), kNotVirtual);
    EXPECT_EQ(virtualSlot(&CDeviceIo::Close), kNotVirtual);
}
#endif

TEST(PciSlotMapping, FreesItsTable) {
    CPciSlotMapping mapping;
    EXPECT_EQ(mapping.m_pTable, nullptr);
    EXPECT_EQ(mapping.m_nCount, 0U);
    mapping.m_pTable = new unsigned char[3];
}

/// A regular file of one mebibyte replaces the device: each byte identifies its position.
class PhysicalMemory : public testing::Test {
  protected:
    static constexpr unsigned int kSize = 0x100000;

    PhysicalMemory() {
        std::string memory(kSize, '\0');
        for (unsigned int i = 0; i < kSize; ++i) {
            memory[i] = static_cast<char>(byteAt(i));
        }
        writeFile(path_, memory);
        use(path_);
    }
    static void use(const std::string& path) { setenv("QX_MEMORY_DEVICE", path.c_str(), 1); }
    static unsigned char byteAt(unsigned int address) {
        return static_cast<unsigned char>(address * 31 + address / 4096);
    }
    static void expectRegion(const unsigned char* region, unsigned int address,
                             unsigned int length) {
        ASSERT_NE(region, nullptr);
        for (unsigned int i = 0; i < length; ++i) {
            ASSERT_EQ(region[i], byteAt(address + i)) << i;
        }
    }

    TemporaryDirectory directory_;
    const std::string path_ = directory_.file("memory");
};

TEST_F(PhysicalMemory, MapsTheWholePagesAroundTheRegion) {
    const TraceCapture trace(3);
    CDeviceBios bios;
    const unsigned char* region = bios.MapPhysicalMemory(0, 0xF0010, 0x20);
    expectRegion(region, 0xF0010, 0x20);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(region) % 4096, 0x10U);
    ASSERT_EQ(trace.messages().size(), 2U) << trace.text();
    EXPECT_THAT(trace.messages()[0],
                MatchesRegex("CDeviceBios \\(Map\\) : opened DMI device " + path_ + " on [0-9]+"));
    char expected[100];
    snprintf(expected, sizeof expected, "CDeviceBios (Map) : mapped 0x30 bytes at 0xf0000 to 0x%p",
             static_cast<const void*>(region - 0x10));
    EXPECT_EQ(trace.messages()[1], expected);
}

TEST_F(PhysicalMemory, UnmapsTheRegionAndClosesTheDevice) {
    const std::size_t descriptors = openDescriptors();
    CDeviceBios bios;
    ASSERT_NE(bios.MapPhysicalMemory(0, 0xF0010, 0x20), nullptr);
    EXPECT_EQ(openDescriptors(), descriptors + 1);
    EXPECT_EQ(mappingsOf(path_), 1U);
    const TraceCapture trace(3);
    EXPECT_TRUE(bios.UnmapPhysicalMemory());
    EXPECT_THAT(trace.messages(),
                ElementsAre(MatchesRegex("CDeviceBios \\(Unmap\\) : unmapped 0x30 bytes at 0xf0000 "
                                         "from 0x0x[0-9a-f]+ on [0-9]+\\.\\.\\.")));
    EXPECT_EQ(mappingsOf(path_), 0U);
    EXPECT_EQ(openDescriptors(), descriptors + 2) << "the capture has two of its own";
}

TEST_F(PhysicalMemory, UnmappingNothingDoesNothing) {
    const std::size_t descriptors = openDescriptors();
    CDeviceBios bios;
    const TraceCapture trace;
    EXPECT_TRUE(bios.UnmapPhysicalMemory());
    ASSERT_NE(bios.MapPhysicalMemory(0, 0, 1), nullptr);
    EXPECT_TRUE(bios.UnmapPhysicalMemory());
    const std::size_t count = trace.messages().size();
    EXPECT_TRUE(bios.UnmapPhysicalMemory());
    EXPECT_EQ(trace.messages().size(), count);
    EXPECT_EQ(openDescriptors(), descriptors + 2) << "the capture has two of its own";
}

TEST_F(PhysicalMemory, MappingTwiceUnmapsTheFirstRegionWithAWarning) {
    CDeviceBios bios;
    ASSERT_NE(bios.MapPhysicalMemory(0, 0x1000, 0x10), nullptr);
    TraceCapture trace(3);
    const std::size_t descriptors = openDescriptors();
    expectRegion(bios.MapPhysicalMemory(0, 0x3000, 0x20), 0x3000, 0x20);
    const auto messages = trace.messages();
    ASSERT_EQ(messages.size(), 4U) << trace.text();
    EXPECT_EQ(messages[0],
              "CDeviceBios (Map)   : ## WARNING! Mapped physical memory already existing, will be "
              "unmapped!");
    EXPECT_THAT(messages[1], HasSubstr("(Unmap) : unmapped 0x10 bytes at 0x1000 from "));
    EXPECT_THAT(messages[2], HasSubstr("opened DMI device"));
    EXPECT_THAT(messages[3], HasSubstr("mapped 0x20 bytes at 0x3000 to "));
    EXPECT_EQ(mappingsOf(path_), 1U);
    trace.clear();
    trace.setLevel(1);
    ASSERT_NE(bios.MapPhysicalMemory(0, 0x3000, 0x20), nullptr);
    EXPECT_THAT(trace.messages(), IsEmpty()) << "the warning is of level 2";
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(PhysicalMemory, DoesNotLookAtTheFirstArgument) {
    CDeviceBios bios;
    expectRegion(bios.MapPhysicalMemory(0xFFFFFFFF, 0x2345, 0x4000), 0x2345, 0x4000);
}

TEST_F(PhysicalMemory, CountsOnlyTheLow32BitsOfTheLength) {
    CDeviceBios bios;
    const TraceCapture trace(3);
    expectRegion(bios.MapPhysicalMemory(0, 0xF0010, 0x700000020UL), 0xF0010, 0x20);
    EXPECT_TRUE(trace.contains("mapped 0x30 bytes at 0xf0000")) << trace.text();
}

TEST_F(PhysicalMemory, ADeviceThatCannotBeOpenedIsTraced) {
    use(directory_.file("missing"));
    const TraceCapture trace(1);
    CDeviceBios bios;
    EXPECT_EQ(bios.MapPhysicalMemory(0, 0xF0000, 0x10), nullptr);
    EXPECT_THAT(trace.messages(), ElementsAre("ERROR: Opening of /dev/mem failed"));
    EXPECT_TRUE(bios.UnmapPhysicalMemory());
}

/// Regions that cannot be mapped.
class UnmappableMemory : public PhysicalMemory {
  protected:
    void expectFailure(unsigned int address, unsigned long length) {
        SCOPED_TRACE(address);
        CDeviceBios bios;
        const std::size_t descriptors = openDescriptors();
        const TraceCapture trace(1);
        EXPECT_EQ(bios.MapPhysicalMemory(0, address, length), nullptr);
        EXPECT_THAT(trace.messages(), ElementsAre("ERROR: mapping of the SMBIOS memory failed"));
        EXPECT_EQ(openDescriptors(), descriptors + 2) << "the capture has two of its own";
        EXPECT_EQ(mappingsOf(path_), 0U);
        EXPECT_TRUE(bios.UnmapPhysicalMemory());
    }
};

TEST_F(UnmappableMemory, IsOneWhoseLengthOverflowsWithItsOffset) {
    expectFailure(0x1010, 0xFFFFFFF0);
    expectFailure(0x1FFF, 0xFFFFFFFF);
}

TEST_F(UnmappableMemory, IsAnEmptyOne) {
    expectFailure(0x1000, 0);
    expectFailure(0x1000, 0x100000000UL);
}

TEST_F(UnmappableMemory, IsOneBeyondTheEndOfAFile) {
    expectFailure(kSize - 0x10, 0x11);
    expectFailure(kSize, 1);
    expectFailure(0xFFFFF000, 0x1000);
    expectFailure(0, 0xFFFFFFFF);
    CDeviceBios bios;
    EXPECT_NE(bios.MapPhysicalMemory(0, kSize - 0x10, 0x10), nullptr);
}

TEST_F(UnmappableMemory, IsADirectoryOrAPipe) {
    use(directory_.path().string());
    expectFailure(0, 0x10);
    ASSERT_EQ(mkfifo(directory_.file("pipe").c_str(), 0600), 0);
    use(directory_.file("pipe"));
    expectFailure(0, 0x10);
}

TEST_F(PhysicalMemory, ReadsTheLastPageOfAFileToItsEnd) {
    std::filesystem::resize_file(path_, 0x1801);
    CDeviceBios bios;
    const unsigned char* region = bios.MapPhysicalMemory(0, 0x1800, 0x800);
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(region[0], byteAt(0x1800));
    EXPECT_EQ(std::count(region + 1, region + 0x800, 0), 0x7FF);
}

TEST_F(PhysicalMemory, AFailedMappingLeavesAnObjectThatWorks) {
    CDeviceBios bios;
    ASSERT_NE(bios.MapPhysicalMemory(0, 0, 0x10), nullptr);
    EXPECT_EQ(bios.MapPhysicalMemory(0, kSize, 0x10), nullptr);
    EXPECT_EQ(mappingsOf(path_), 0U);
    expectRegion(bios.MapPhysicalMemory(0, 0x5000, 0x10), 0x5000, 0x10);
}

TEST_F(PhysicalMemory, TheDestructorReleasesEverything) {
    const std::size_t descriptors = openDescriptors();
    auto bios = std::make_unique<CDeviceBios>();
    ASSERT_NE(bios->MapPhysicalMemory(0, 0xF0000, 0x10), nullptr);
    {
        const TraceCapture trace(5);
        bios.reset();
        EXPECT_THAT(trace.messages(),
                    ElementsAre("CDeviceBios         : ~CDeviceBios()",
                                HasSubstr("CDeviceBios (Unmap) : unmapped 0x10 bytes at 0xf0000"),
                                "CDeviceBiosBase     : ~CDeviceBiosBase()"));
    }
    EXPECT_EQ(mappingsOf(path_), 0U);
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(PhysicalMemory, TheTextsOfTheDestructorsHaveTheirLevels) {
    auto bios = std::make_unique<CDeviceBios>();
    const TraceCapture trace(4);
    bios.reset();
    EXPECT_THAT(trace.messages(), ElementsAre("CDeviceBiosBase     : ~CDeviceBiosBase()"));
    const TraceCapture less(3);
    std::make_unique<CDeviceBios>().reset();
    EXPECT_THAT(less.messages(), IsEmpty());
}

TEST_F(PhysicalMemory, ItsDescriptorIsNotInherited) {
    CDeviceBios bios;
    TraceCapture trace(3);
    ASSERT_NE(bios.MapPhysicalMemory(0, 0, 1), nullptr);
    const std::string opened = trace.messages()[0];
    const int fd = std::stoi(opened.substr(opened.rfind(' ') + 1));
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(PhysicalMemory, AThreadThatIsCancelledReleasesItsMapping) {
    const std::size_t descriptors = openDescriptors();
    PosixThread thread([] {
        CDeviceBios bios;
        EXPECT_NE(bios.MapPhysicalMemory(0, 0, 0x10), nullptr);
        pthread_cancel(pthread_self());
        // Neither of these is interrupted.
        EXPECT_NE(bios.MapPhysicalMemory(0, 0x1000, 0x10), nullptr);
        EXPECT_TRUE(bios.UnmapPhysicalMemory());
        EXPECT_NE(bios.MapPhysicalMemory(0, 0x2000, 0x10), nullptr);
        pthread_testcancel();
        ADD_FAILURE() << "not cancelled";
    });
    EXPECT_TRUE(thread.join());
    EXPECT_EQ(mappingsOf(path_), 0U);
    EXPECT_EQ(openDescriptors(), descriptors);
}

// --- Disconnecting ------------------------------------------------------------------------------

/// A device that counts its unmap calls and closes its handle normally.
class Counting : public CDeviceBiosBase {
  public:
    unsigned char* MapPhysicalMemory(unsigned int, unsigned int, unsigned long) override {
        connected_ = true;
        return nullptr;
    }
    bool UnmapPhysicalMemory() override {
        ++unmapped;
        return true;
    }
    using CDeviceBiosBase::connected_;
    using CDeviceBiosBase::handle_;
    using CDeviceBiosBase::slotMapping_;
    using CDeviceBiosBase::state_;
    int unmapped = 0;
};

TEST(DeviceBiosBase, DisconnectsWhenItIsConnected) {
    Counting device;
    device.handle_ = openNull();
    device.state_ = 9;
    device.Disconnect();
    EXPECT_EQ(device.unmapped, 0);
    EXPECT_TRUE(isOpen(device.handle_));
    EXPECT_EQ(device.state_, 9U);

    const int fd = device.handle_;
    device.MapPhysicalMemory(0, 0, 0);
    device.Disconnect();
    EXPECT_EQ(device.unmapped, 1);
    EXPECT_FALSE(isOpen(fd));
    EXPECT_EQ(device.handle_, -1);
    EXPECT_FALSE(device.connected_);
    EXPECT_EQ(device.state_, 0U);
    device.Disconnect();
    EXPECT_EQ(device.unmapped, 1);
}

TEST(DeviceBiosBase, ItsDestructorUnmapsNothingAndFreesTheSlots) {
    int unmapped = 0;
    struct Watched : Counting {
        explicit Watched(int& count) : count_(count) {}
        bool UnmapPhysicalMemory() override {
            ++count_;
            return true;
        }
        int& count_;
    };
    {
        Watched device(unmapped);
        device.MapPhysicalMemory(0, 0, 0);
        device.slotMapping_.m_pTable = new unsigned char[16];
        device.slotMapping_.m_nCount = 16;
    }
    EXPECT_EQ(unmapped, 0);
}

TEST_F(PhysicalMemory, EverySystemCallOfAMappingMayFail) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    const std::size_t faults = forEveryFaultOf([](const TracedPart& part, const Fault& fault) {
        const auto before = openDescriptors();
        {
            CDeviceBios bios;
            part.begin();
            const unsigned char* region = bios.MapPhysicalMemory(0, 0xF0010, 0x20);
            if (region != nullptr) {
                expectRegion(region, 0xF0010, 0x20);
            }
            part.end();
            EXPECT_TRUE(region != nullptr || !fault.isHarmless());
            expectRegion(bios.MapPhysicalMemory(0, 0xF0010, 0x20), 0xF0010, 0x20);
        }
        EXPECT_EQ(openDescriptors(), before);
    });
    EXPECT_GT(faults, 4u);
}

}  // namespace
}  // namespace varnock::test
