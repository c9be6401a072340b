#include "hardware/CpuInfo.h"

#include <cpuid.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "runtime/Debug.h"
#include "tests/support/EveryCall.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kNotKnown = 0xFFFFFFFF;

static_assert(std::is_empty_v<CCpuInfo>);
static_assert(std::is_base_of_v<CCpuInfo, CCpuInfoOS>);

/// The processors of a file used instead of "/proc/cpuinfo".
class CpuInfo : public testing::Test {
  protected:
    static void use(const std::string& path) { setenv("QX_CPUINFO_FILE", path.c_str(), 1); }
    static CCpuInfoOS recorded(const char* name) {
        use(std::string(VARNOCK_TEST_DATA_DIR "/cpuinfo/") + name);
        return CCpuInfoOS();
    }
    CCpuInfoOS reading(const std::string& text) {
        writeFile(path_, text);
        use(path_);
        return CCpuInfoOS();
    }
    static std::string maker(const CCpuInfoOS& info, unsigned int i) {
        std::string out = "untouched";
        EXPECT_TRUE(info.GetCpuManufacturerFromOS(i, out));
        return out;
    }
    static void expectNothing(const CCpuInfoOS& info, unsigned int i) {
        EXPECT_EQ(info.GetCpuFamilyFromOS(i), kNotKnown);
        EXPECT_EQ(info.GetCpuModelFromOS(i), kNotKnown);
        EXPECT_EQ(info.GetCpuStepFromOS(i), kNotKnown);
        EXPECT_EQ(info.GetCpuSpeedFromOS(i), kNotKnown);
        EXPECT_EQ(info.GetCpuNrCoresFromOS(i), kNotKnown);
        EXPECT_EQ(info.GetCpuApicIdFromOS(i), kNotKnown);
        EXPECT_EQ(info.GetCpuApicIdInitialFromOS(i), kNotKnown);
        EXPECT_EQ(info.GetCpuCacheSizeFromOS(i, 2), kNotKnown);
        std::string out = "untouched";
        EXPECT_FALSE(info.GetCpuManufacturerFromOS(i, out));
        EXPECT_EQ(out, "untouched");
    }

    TemporaryDirectory directory_;
    const std::string path_ = directory_.file("cpuinfo");
};

// --- Records ------------------------------------------------------------------------------------

TEST_F(CpuInfo, ANewRecordIsAllOnesWithoutTexts) {
    const _Cpu_Data_From_OS_ record;
    EXPECT_EQ(record.processor, -1);
    for (const std::uint32_t number :
         {record.family, record.model, record.stepping, record.speed, record.cacheSize,
          record.cores, record.apicId, record.initialApicId, record.reserved[0], record.reserved[1],
          record.reserved[2]}) {
        EXPECT_EQ(number, kNotKnown);
    }
    EXPECT_EQ(record.modelName, "");
    EXPECT_EQ(record.vendorId, "");
}

TEST_F(CpuInfo, RecordsAreCopiedMemberByMember) {
    _Cpu_Data_From_OS_ record;
    record.processor = 3;
    record.reserved[2] = 4;
    record.modelName = "name";
    const _Cpu_Data_From_OS_ copy = record;
    _Cpu_Data_From_OS_ assigned;
    assigned = copy;
    EXPECT_EQ(assigned.processor, 3);
    EXPECT_EQ(assigned.reserved[2], 4U);
    EXPECT_EQ(assigned.modelName, "name");
}

// --- Recorded files -----------------------------------------------------------------------------

TEST_F(CpuInfo, ReadsEveryProcessorOfAnIntelServer) {
    const CCpuInfoOS info = recorded("intel-xeon");
    ASSERT_EQ(info.GetSizeOfCpuDataTableFromOS(), 8U);
    EXPECT_EQ(info.GetNumberLogicalCPUsFromOS(), 8U);
    const std::array<unsigned int, 8> apicIds{0, 2, 16, 18, 1, 3, 17, 19};
    const std::array<unsigned int, 8> speeds{2394, 2400, 1000, 3200, 999, 2394, 2394, 1400};
    for (unsigned int i = 0; i < 8; ++i) {
        EXPECT_EQ(info.GetCpuFamilyFromOS(i), 6U);
        EXPECT_EQ(info.GetCpuModelFromOS(i), 85U);
        EXPECT_EQ(info.GetCpuStepFromOS(i), 7U);
        EXPECT_EQ(info.GetCpuSpeedFromOS(i), speeds[i]);
        EXPECT_EQ(info.GetCpuNrCoresFromOS(i), 2U);
        EXPECT_EQ(info.GetCpuApicIdFromOS(i), apicIds[i]);
        EXPECT_EQ(info.GetCpuApicIdInitialFromOS(i), apicIds[i]);
        EXPECT_EQ(info.GetCpuCacheSizeFromOS(i, 2), 14080U);
        EXPECT_EQ(maker(info, i), "Intel");
    }
    expectNothing(info, 8);
    expectNothing(info, kNotKnown);
}

TEST_F(CpuInfo, ReadsAnAmdServer) {
    const CCpuInfoOS info = recorded("amd-epyc");
    ASSERT_EQ(info.GetNumberLogicalCPUsFromOS(), 2U);
    EXPECT_EQ(info.GetCpuFamilyFromOS(1), 25U);
    EXPECT_EQ(info.GetCpuModelFromOS(1), 1U);
    EXPECT_EQ(info.GetCpuStepFromOS(1), 1U);
    EXPECT_EQ(info.GetCpuSpeedFromOS(1), 3241U);
    EXPECT_EQ(info.GetCpuNrCoresFromOS(1), 64U);
    EXPECT_EQ(info.GetCpuApicIdFromOS(1), 2U);
    EXPECT_EQ(info.GetCpuCacheSizeFromOS(1, 2), 512U);
    EXPECT_EQ(maker(info, 1), "AMD");
}

TEST_F(CpuInfo, KnowsOnlyTheNumbersOfAnArmServer) {
    const CCpuInfoOS info = recorded("arm64-server");
    ASSERT_EQ(info.GetNumberLogicalCPUsFromOS(), 4U);
    EXPECT_EQ(info.GetCpuFamilyFromOS(3), kNotKnown);
    EXPECT_EQ(info.GetCpuStepFromOS(3), kNotKnown) << "\"CPU revision\" is another key";
    EXPECT_EQ(maker(info, 3), "unknown");
    std::vector<_Cpu_Data_From_OS_> records;
    ASSERT_TRUE(CCpuInfoOS::GetCpuDataFromOS(records));
    EXPECT_EQ(records[3].processor, 3);
    EXPECT_EQ(records[3].modelName, "");
}

TEST_F(CpuInfo, KeysAreComparedWithTheirCase) {
    const CCpuInfoOS info = recorded("armv7-board");
    ASSERT_EQ(info.GetNumberLogicalCPUsFromOS(), 2U);
    // The paragraph of the board follows the last processor: its "Model" and "Revision" are
    // ignored.
    EXPECT_EQ(info.GetCpuModelFromOS(1), kNotKnown);
    EXPECT_EQ(info.GetCpuStepFromOS(1), kNotKnown);
}

TEST_F(CpuInfo, ReadsAPowerServerWhoseProcessorNumbersHaveGaps) {
    const CCpuInfoOS info = recorded("power9");
    ASSERT_EQ(info.GetNumberLogicalCPUsFromOS(), 4U);
    EXPECT_EQ(info.GetCpuStepFromOS(0), 2U) << "\"revision\" counts as the stepping";
    EXPECT_EQ(info.GetCpuSpeedFromOS(0), kNotKnown) << "\"clock\" is another key";
    // Lines after the last processor belong to it; "IBM,9009-41A" has no leading number.
    EXPECT_EQ(info.GetCpuModelFromOS(2), kNotKnown);
    EXPECT_EQ(info.GetCpuModelFromOS(3), 0U);
    std::vector<_Cpu_Data_From_OS_> records;
    ASSERT_TRUE(CCpuInfoOS::GetCpuDataFromOS(records));
    EXPECT_EQ(records[3].processor, 24) << "an index is a position, not the number";
}

TEST_F(CpuInfo, ReadsTheKeysOfAnItaniumServer) {
    const CCpuInfoOS info = recorded("ia64");
    ASSERT_EQ(info.GetNumberLogicalCPUsFromOS(), 2U);
    EXPECT_EQ(maker(info, 1), "Intel") << "\"vendor\" counts as the vendor id";
    EXPECT_EQ(info.GetCpuStepFromOS(1), 7U);
    EXPECT_EQ(info.GetCpuSpeedFromOS(1), 1594U);
    EXPECT_EQ(info.GetCpuFamilyFromOS(1), kNotKnown) << "\"family\" is another key";
}

TEST_F(CpuInfo, KnowsCyrix) {
    const CCpuInfoOS info = recorded("cyrix");
    ASSERT_EQ(info.GetNumberLogicalCPUsFromOS(), 1U);
    EXPECT_EQ(maker(info, 0), "Cyrix");
    EXPECT_EQ(info.GetCpuApicIdInitialFromOS(0), kNotKnown) << "the block does not have it";
    EXPECT_EQ(info.GetCpuNrCoresFromOS(0), kNotKnown);
}

TEST_F(CpuInfo, FindsNoProcessorWhereTheKeyHasANumber) {
    const TraceCapture trace;
    const CCpuInfoOS info = recorded("s390x");
    EXPECT_EQ(info.GetNumberLogicalCPUsFromOS(), 0U);
    EXPECT_TRUE(trace.contains("GetCpuDataFromOS: no suitable data found in ")) << trace.text();
}

TEST_F(CpuInfo, ReadsTheFileOfThisMachine) {
    unsetenv("QX_CPUINFO_FILE");
    const CCpuInfoOS info;
    const std::string text = [] {
        std::ifstream file("/proc/cpuinfo");
        return std::string(std::istreambuf_iterator<char>(file), {});
    }();
    unsigned int count = 0;
    for (std::size_t at = text.find("processor\t:"); at != text.npos;
         at = text.find("processor\t:", at + 1)) {
        ++count;
    }
    EXPECT_EQ(info.GetNumberLogicalCPUsFromOS(), count);
}

// --- The file -----------------------------------------------------------------------------------

TEST_F(CpuInfo, AnEmptyFileGivesNothing) {
    const TraceCapture trace(2);
    const CCpuInfoOS info = reading("");
    EXPECT_EQ(info.GetNumberLogicalCPUsFromOS(), 0U);
    EXPECT_EQ(info.GetSizeOfCpuDataTableFromOS(), 0U);
    expectNothing(info, 0);
    EXPECT_THAT(trace.messages(),
                ElementsAre("GetCpuDataFromOS: no suitable data found in " + path_));
}

TEST_F(CpuInfo, AMissingFileIsTracedWithItsError) {
    use(path_);
    const TraceCapture trace(2);
    const CCpuInfoOS info;
    expectNothing(info, 0);
    EXPECT_THAT(trace.messages(), ElementsAre("GetCpuDataFromOS: cannont open " + path_ +
                                              " errno=2, \"No such file or directory\""));
}

TEST_F(CpuInfo, FailuresAreTracedAtLevelTwo) {
    use(path_);
    const TraceCapture trace(1);
    std::vector<_Cpu_Data_From_OS_> records;
    EXPECT_FALSE(CCpuInfoOS::GetCpuDataFromOS(records));
    writeFile(path_, "");
    EXPECT_FALSE(CCpuInfoOS::GetCpuDataFromOS(records));
    EXPECT_THAT(trace.messages(), IsEmpty());
}

TEST_F(CpuInfo, DoesNotReadWhatIsNoFile) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    for (const std::string& path : {path_, directory_.path().string(), std::string("/dev/zero")}) {
        use(path);
        const TraceCapture trace(2);
        EXPECT_EQ(CCpuInfoOS().GetNumberLogicalCPUsFromOS(), 0U);
        EXPECT_THAT(trace.messages(),
                    ElementsAre("GetCpuDataFromOS: no suitable data found in " + path));
    }
}

TEST_F(CpuInfo, AppendsAndLeavesTheRecordsAloneOnFailure) {
    std::vector<_Cpu_Data_From_OS_> records(1);
    records[0].modelName = "mine";
    use(path_);
    EXPECT_FALSE(CCpuInfoOS::GetCpuDataFromOS(records));
    EXPECT_EQ(records.size(), 1U);
    writeFile(path_, "processor: 5\n");
    EXPECT_TRUE(CCpuInfoOS::GetCpuDataFromOS(records));
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].modelName, "mine");
    EXPECT_EQ(records[1].processor, 5);
}

TEST_F(CpuInfo, IgnoresWhatStandsBeforeTheFirstProcessor) {
    const CCpuInfoOS info = reading("model: 9\nstepping: 9\nprocessor: 0\nmodel: 1\n");
    ASSERT_EQ(info.GetNumberLogicalCPUsFromOS(), 1U);
    EXPECT_EQ(info.GetCpuModelFromOS(0), 1U);
    EXPECT_EQ(info.GetCpuStepFromOS(0), kNotKnown);
}

TEST_F(CpuInfo, BlocksEndWhereTheNextProcessorBegins) {
    const CCpuInfoOS info = reading("processor: 0\nmodel: 1\nprocessor: 1\nprocessor: 1\nmodel: 3");
    ASSERT_EQ(info.GetNumberLogicalCPUsFromOS(), 3U);
    EXPECT_EQ(info.GetCpuModelFromOS(0), 1U);
    EXPECT_EQ(info.GetCpuModelFromOS(1), kNotKnown);
    EXPECT_EQ(info.GetCpuModelFromOS(2), 3U) << "the last line has no newline";
}

TEST_F(CpuInfo, ReadsTheLeadingIntegerOfEveryNumber) {
    const CCpuInfoOS info = reading(
        "processor: 0\ncpu MHz: 2394.999\ncache size: 512 KB\nmodel: x\nstepping: -1\n"
        "cpu cores: 99999999999999999999\napicid: 0x10\ninitial apicid: 4294967298\n");
    EXPECT_EQ(info.GetCpuSpeedFromOS(0), 2394U);
    EXPECT_EQ(info.GetCpuCacheSizeFromOS(0, 2), 512U);
    EXPECT_EQ(info.GetCpuModelFromOS(0), 0U);
    EXPECT_EQ(info.GetCpuStepFromOS(0), kNotKnown);
    EXPECT_EQ(info.GetCpuNrCoresFromOS(0), kNotKnown) << "the largest number, cut to 32 bits";
    EXPECT_EQ(info.GetCpuApicIdFromOS(0), 0U) << "decimal only";
    EXPECT_EQ(info.GetCpuApicIdInitialFromOS(0), 2U);
}

TEST_F(CpuInfo, KeepsWholeTexts) {
    const std::string name = "A name: with a colon";
    writeFile(path_, "processor: 0\nmodel name \t: \t" + name + " \t\r\nvendor_id: Some Body\n");
    use(path_);
    std::vector<_Cpu_Data_From_OS_> records;
    ASSERT_TRUE(CCpuInfoOS::GetCpuDataFromOS(records));
    EXPECT_EQ(records[0].modelName, name);
    EXPECT_EQ(records[0].vendorId, "Some Body");
    EXPECT_EQ(maker(CCpuInfoOS(), 0), "unknown");
}

TEST_F(CpuInfo, KnowsMakersByTheirWholeVendorId) {
    const CCpuInfoOS info = reading(
        "processor: 0\nvendor_id: GenuineIntel\nprocessor: 1\nvendor_id: genuineintel\n"
        "processor: 2\nvendor_id: GenuineIntel2\nprocessor: 3\n");
    EXPECT_EQ(maker(info, 0), "Intel");
    EXPECT_EQ(maker(info, 1), "unknown");
    EXPECT_EQ(maker(info, 2), "unknown");
    EXPECT_EQ(maker(info, 3), "unknown");
}

TEST_F(CpuInfo, KnowsOnlyTheCacheOfLevelTwo) {
    const CCpuInfoOS info = reading("processor: 0\ncache size: 512 KB\n");
    const TraceCapture trace(3);
    EXPECT_EQ(info.GetCpuCacheSizeFromOS(0, 2), 512U);
    EXPECT_EQ(info.GetCpuCacheSizeFromOS(1, 2), kNotKnown);
    EXPECT_EQ(info.GetCpuCacheSizeFromOS(1, 3), kNotKnown);
    EXPECT_THAT(trace.messages(), IsEmpty());
    EXPECT_EQ(info.GetCpuCacheSizeFromOS(0, 3), kNotKnown);
    EXPECT_EQ(info.GetCpuCacheSizeFromOS(0, 0), kNotKnown);
    EXPECT_THAT(trace.messages(),
                ElementsAre("GetCpuCacheSizeFromOS:  : No data for CPU 0 CacheLevel 3",
                            "GetCpuCacheSizeFromOS:  : No data for CPU 0 CacheLevel 0"));
}

TEST_F(CpuInfo, TheCacheTextIsOfLevelThree) {
    const CCpuInfoOS info = reading("processor: 0\n");
    const TraceCapture trace(2);
    EXPECT_EQ(info.GetCpuCacheSizeFromOS(0, 3), kNotKnown);
    EXPECT_THAT(trace.messages(), IsEmpty());
}

TEST_F(CpuInfo, ReadsFourThousandProcessors) {
    std::string text;
    for (unsigned int i = 0; i < 4096; ++i) {
        text += "processor\t: " + std::to_string(i) +
                "\nvendor_id\t: GenuineIntel\nmodel\t\t: " + std::to_string(i % 256) +
                "\nflags\t\t: " + std::string(1500, 'f') +
                "\napicid\t\t: " + std::to_string(2 * i) + "\n\n";
    }
    const CCpuInfoOS info = reading(text);
    ASSERT_EQ(info.GetNumberLogicalCPUsFromOS(), 4096U);
    for (unsigned int i = 0; i < 4096; ++i) {
        ASSERT_EQ(info.GetCpuModelFromOS(i), i % 256);
        ASSERT_EQ(info.GetCpuApicIdFromOS(i), 2 * i);
    }
    expectNothing(info, 4096);
}

TEST_F(CpuInfo, NothingEscapesFromTheConstructorWithoutMemory) {
    writeFile(path_, "processor: 0\nmodel name: a name that does not fit into a short string\n");
    use(path_);
    std::size_t n = 1;
    for (;; ++n) {
        const FailingAllocation failure(n);
        const unsigned int count = CCpuInfoOS().GetNumberLogicalCPUsFromOS();
        if (!failure.happened()) {
            break;
        }
        EXPECT_EQ(count, 0U);
    }
    EXPECT_GT(n, 2U);
}

// --- Lines --------------------------------------------------------------------------------------

class CpuInfoLines : public CpuInfo {
  protected:
    /// Every pair of the text as "key=value".
    std::vector<std::string> pairs(const std::string& text) {
        writeFile(path_, text);
        const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path_.c_str(), "r"), fclose);
        std::vector<std::string> found;
        std::string key;
        std::string value;
        int result;
        while ((result = CCpuInfoOS::GetAndPrepareLine(file.get(), key, value)) == 2) {
            found.push_back(key + "=" + value);
        }
        EXPECT_EQ(result, -1);
        return found;
    }
};

TEST_F(CpuInfoLines, TrimsTheKeyAtItsEndAndTheValueAtBothEnds) {
    EXPECT_THAT(pairs("a b \t\v\f\r: \t c  d \t\r\n  key:value\n"),
                ElementsAre("a b=c  d", "  key=value"));
}

TEST_F(CpuInfoLines, CutsAtTheFirstColon) {
    EXPECT_THAT(pairs("a:b:c\n:d\na::\n"), ElementsAre("a=b:c", "=d", "a=:"));
}

TEST_F(CpuInfoLines, SkipsLinesWithoutColonOrValue) {
    EXPECT_THAT(pairs("\nno colon\nempty:\nblank: \t \npower management:\na:b"),
                ElementsAre("a=b"));
}

TEST_F(CpuInfoLines, ReadsLongLinesInPiecesOf511Characters) {
    // The first piece ends after 511 characters; the second has its own key.
    const std::string first = "flags: " + std::string(504, 'x');
    EXPECT_THAT(pairs(first + "tail: y\nnext: z\n"),
                ElementsAre("flags=" + std::string(504, 'x'), "tail=y", "next=z"));
    EXPECT_THAT(pairs(first + std::string(5000, 'x') + "\nnext: z\n"),
                ElementsAre("flags=" + std::string(504, 'x'), "next=z"));
    EXPECT_THAT(pairs(std::string(510, 'k') + ":v\n"), IsEmpty())
        << "the value stands in the next piece, which has no colon";
    EXPECT_THAT(pairs(first + "\nnext: z\n"),
                ElementsAre("flags=" + std::string(504, 'x'), "next=z"))
        << "the newline alone is the second piece";
}

TEST_F(CpuInfoLines, EndsALineAtItsNul) {
    EXPECT_THAT(pairs(std::string("a:b\0c:d\n\0e:f\ng:h\n", 17)), ElementsAre("a=b", "g=h"));
}

TEST_F(CpuInfoLines, BytesAboveAsciiAreNoWhiteSpace) {
    EXPECT_THAT(pairs("a\xA0:\x85 b\xFF\n"), ElementsAre("a\xA0=\x85 b\xFF"));
}

TEST_F(CpuInfoLines, ThereIsNothingToReadWithoutAFile) {
    std::string key = "k";
    std::string value = "v";
    EXPECT_EQ(CCpuInfoOS::GetAndPrepareLine(nullptr, key, value), -1);
    EXPECT_EQ(key + value, "kv");
}

// --- CPUID --------------------------------------------------------------------------------------

using Registers = std::array<unsigned int, 4>;

/// A thread pinned to one processor: some leaves identify the processor.
class CpuRawRead : public testing::Test {
  protected:
    CpuRawRead() {
        sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t here;
        CPU_ZERO(&here);
        CPU_SET(static_cast<unsigned int>(sched_getcpu()), &here);
        sched_setaffinity(0, sizeof here, &here);
    }
    ~CpuRawRead() override { sched_setaffinity(0, sizeof before_, &before_); }

    static std::pair<int, Registers> read(unsigned int leaf) {
        Registers r{leaf, 0x55, 0xFFFFFFFF, 0x55};
        const int result = cpuRawRead(&r[0], &r[1], &r[2], &r[3]);
        return {result, r};
    }
    static Registers intrinsic(unsigned int leaf) {
        Registers r{};
        __cpuid_count(leaf, 0, r[0], r[1], r[2], r[3]);
        return r;
    }

  private:
    cpu_set_t before_;
};

TEST_F(CpuRawRead, SaysInEveryLeafWhatTheCompilersIntrinsicSays) {
    for (const unsigned int range : {0U, 0x80000000U}) {
        const unsigned int highest = static_cast<unsigned int>(__get_cpuid_max(range, nullptr));
        ASSERT_GE(highest, range);
        for (unsigned int leaf = range; leaf <= highest && leaf < range + 0x40; ++leaf) {
            const auto [result, registers] = read(leaf);
            EXPECT_EQ(result, 1) << std::hex << leaf;
            EXPECT_EQ(registers, intrinsic(leaf)) << std::hex << leaf;
        }
    }
}

TEST_F(CpuRawRead, AgreesWithTheCompilersOwnQuestions) {
    __builtin_cpu_init();
    const auto [result, first] = read(1);
    ASSERT_EQ(result, 1);
    EXPECT_EQ((first[3] & bit_SSE2) != 0, __builtin_cpu_supports("sse2") != 0);
    EXPECT_EQ((first[2] & bit_SSE4_2) != 0, __builtin_cpu_supports("sse4.2") != 0);
    EXPECT_EQ((first[2] & bit_POPCNT) != 0, __builtin_cpu_supports("popcnt") != 0);
    const auto [vendorResult, vendor] = read(0);
    ASSERT_EQ(vendorResult, 1);
    EXPECT_EQ(vendor[1] == signature_INTEL_ebx && vendor[2] == signature_INTEL_ecx &&
                  vendor[3] == signature_INTEL_edx,
              __builtin_cpu_is("intel") != 0);
    EXPECT_EQ(vendor[1] == signature_AMD_ebx && vendor[2] == signature_AMD_ecx &&
                  vendor[3] == signature_AMD_edx,
              __builtin_cpu_is("amd") != 0);
}

TEST_F(CpuRawRead, GivesZerosAboveTheHighestLeafOfEachRange) {
    for (const unsigned int range : {0U, 0x80000000U}) {
        const unsigned int above = static_cast<unsigned int>(__get_cpuid_max(range, nullptr)) + 1;
        EXPECT_EQ(read(above), std::pair(0, Registers{})) << std::hex << above;
    }
    EXPECT_EQ(read(0x7FFFFFFF), std::pair(0, Registers{}));
    EXPECT_EQ(read(0xFFFFFFFF), std::pair(0, Registers{}));
    EXPECT_EQ(read(0x40000000), std::pair(0, Registers{})) << "hypervisors' range is not asked";
}

TEST_F(CpuRawRead, NeverChoosesASubLeafByWhatStandsInEcx) {
    if (__get_cpuid_max(0, nullptr) < 4) {
        GTEST_SKIP() << "this processor has no CPUID leaf 4, the first one with sub-leaves";
    }
    EXPECT_EQ(read(4).second, intrinsic(4));
}

TEST_F(CpuRawRead, NeedsAllFourPlaces) {
    unsigned int number = 0;
    EXPECT_EQ(cpuRawRead(nullptr, &number, &number, &number), 0);
    EXPECT_EQ(cpuRawRead(&number, nullptr, &number, &number), 0);
    EXPECT_EQ(cpuRawRead(&number, &number, nullptr, &number), 0);
    EXPECT_EQ(cpuRawRead(&number, &number, &number, nullptr), 0);
    EXPECT_EQ(number, 0U);
}

TEST_F(CpuInfo, EverySystemCallOfReadingTheFileMayFail) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    const unsigned int all = recorded("intel-xeon").GetSizeOfCpuDataTableFromOS();
    const std::size_t faults = forEveryFaultOf([&](const TracedPart& part, const Fault& fault) {
        part.begin();
        const CCpuInfoOS info;
        part.end();
        const unsigned int found = info.GetSizeOfCpuDataTableFromOS();
        EXPECT_LE(found, all);
        EXPECT_TRUE(found == all || !fault.isHarmless()) << found;
        EXPECT_EQ(CCpuInfoOS().GetSizeOfCpuDataTableFromOS(), all);
    });
    EXPECT_GT(faults, 4u);
}

}  // namespace
}  // namespace varnock::test
