#pragma once

#include <stdio.h>

#include <cstdint>
#include <string>
#include <vector>

#include "util/Export.h"

/// The operating system's data about one logical processor. An unknown number is all ones
/// (0xFFFFFFFF), an unknown text is empty.
struct _Cpu_Data_From_OS_ {
    std::int32_t processor = -1;               ///< number of the logical processor
    std::uint32_t family = 0xFFFFFFFF;         ///< "cpu family"
    std::uint32_t model = 0xFFFFFFFF;          ///< "model"
    std::uint32_t stepping = 0xFFFFFFFF;       ///< "stepping" or "revision"
    std::uint32_t speed = 0xFFFFFFFF;          ///< "cpu MHz", the integer part
    std::uint32_t cacheSize = 0xFFFFFFFF;      ///< "cache size", in KB on Linux
    std::uint32_t cores = 0xFFFFFFFF;          ///< "cpu cores", of the package
    std::uint32_t apicId = 0xFFFFFFFF;         ///< "apicid"
    std::uint32_t initialApicId = 0xFFFFFFFF;  ///< "initial apicid"
    std::uint32_t reserved[3] = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};  ///< never filled
    std::string modelName;                                             ///< "model name"
    std::string vendorId;                                              ///< "vendor_id" or "vendor"
};

/// Base of the sources of processor data. Thread-safety: nothing to guard.
class VARNOCK_EXPORT CCpuInfo {};

/// Processor data read once from "/proc/cpuinfo". Later changes of the processors are not seen.
///
/// An index counts the records in the order of the file, from 0; it is not the processor's number.
/// Getters of numbers return 0xFFFFFFFF for an index without a record and for data missing in the
/// file.
///
/// Thread-safety: any thread may call the getters of one object, which never changes. Only
/// std::bad_alloc is thrown; the constructor never throws.
class VARNOCK_EXPORT CCpuInfoOS : public CCpuInfo {
  public:
    /// Reads the file. If it is missing or unusable, there are no records.
    CCpuInfoOS();

    /// Appends a record for every processor in the file to `out`. If the file cannot be opened or
    /// lists no processor, traces the reason, leaves `out` unchanged and returns false.
    static bool GetCpuDataFromOS(std::vector<_Cpu_Data_From_OS_>& out);

    /// Reads up to the next line with a key, a ':' and a value, and returns both without the white
    /// space around the ':' and at the end. Lines are read in pieces of at most 511 characters,
    /// each of which counts as a line. Returns 2, or -1 at the end of the file or without a file.
    static int GetAndPrepareLine(FILE* file, std::string& key, std::string& value);

    unsigned int GetSizeOfCpuDataTableFromOS() const;              ///< The number of records.
    unsigned int GetNumberLogicalCPUsFromOS() const;               ///< The same.
    unsigned int GetCpuFamilyFromOS(unsigned int i) const;         ///< The family.
    unsigned int GetCpuModelFromOS(unsigned int i) const;          ///< The model.
    unsigned int GetCpuStepFromOS(unsigned int i) const;           ///< The stepping.
    unsigned int GetCpuSpeedFromOS(unsigned int i) const;          ///< The clock in MHz.
    unsigned int GetCpuNrCoresFromOS(unsigned int i) const;        ///< Cores of the package.
    unsigned int GetCpuApicIdFromOS(unsigned int i) const;         ///< The APIC id.
    unsigned int GetCpuApicIdInitialFromOS(unsigned int i) const;  ///< The APIC id at power-on.

    /// The size of the cache of that level, in KB on Linux. The file lists one cache, which counts
    /// as level 2; a request for another level is traced.
    unsigned int GetCpuCacheSizeFromOS(unsigned int i, unsigned int level) const;

    /// The manufacturer: "Intel", "AMD", "Cyrix" or "unknown". For an index without a record
    /// returns false and leaves `out` unchanged.
    bool GetCpuManufacturerFromOS(unsigned int i, std::string& out) const;

  private:
    unsigned int field(unsigned int i, std::uint32_t _Cpu_Data_From_OS_::*member) const;

    std::vector<_Cpu_Data_From_OS_> records_;
    std::uint32_t count_ = 0;
};

/// The processors of this machine as they were when the library was loaded.
extern VARNOCK_EXPORT CCpuInfoOS CpuInfoFromOS;

/// Executes the CPUID instruction with sub-leaf 0. `*eax` holds the leaf on entry; on return the
/// four numbers hold the registers. Returns 1. For a leaf above the highest of its range it stores
/// four zeros and returns 0, for a null pointer it only returns 0.
///
/// Thread-safety: any thread. The result may differ between processors.
VARNOCK_EXPORT int cpuRawRead(unsigned int* eax, unsigned int* ebx, unsigned int* ecx,
                              unsigned int* edx);
