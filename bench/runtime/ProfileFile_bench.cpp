#include "runtime/ProfileFile.h"

#include <benchmark/benchmark.h>
#include <ini.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <string>

namespace varnock::bench {
namespace {

constexpr int kSections = 100;
constexpr int kKeysEach = 99;  // 10,000 lines with the headers

/// The file of a measurement. The key that is looked up is in its last line.
class ProfileFile {
  public:
    ProfileFile() {
        FILE* file = fdopen(mkstemp(path_.data()), "w");
        for (int section = 0; section < kSections; ++section) {
            fprintf(file, "[section%d]\n", section);
            for (int key = 0; key < kKeysEach; ++key) {
                fprintf(file, "key%d=value %d of section %d\n", key, key, section);
            }
        }
        fclose(file);
    }
    ~ProfileFile() { unlink(path_.c_str()); }
    ProfileFile(const ProfileFile&) = delete;
    ProfileFile& operator=(const ProfileFile&) = delete;
    const char* path() const { return path_.c_str(); }

  private:
    std::string path_ = "/tmp/varnock-bench-XXXXXX";
};

const std::string lastSection = "section" + std::to_string(kSections - 1);
const std::string lastKey = "key" + std::to_string(kKeysEach - 1);

void readString(benchmark::State& state) {
    const ProfileFile file;
    char value[200];
    for (auto _ : state) {
        if (GetPrivateProfileString(lastSection.c_str(), lastKey.c_str(), "", value, sizeof value,
                                    file.path()) == 0) {
            state.SkipWithError("not found");
        }
    }
}
BENCHMARK(readString)->Name("ProfileString10000Lines/ours");

struct Wanted {
    char value[200] = {};
};

int take(void* user, const char* section, const char* name, const char* value) {
    if (lastSection == section && lastKey == name) {
        strncpy(static_cast<Wanted*>(user)->value, value, sizeof Wanted::value - 1);
    }
    return 1;
}

void readWithInih(benchmark::State& state) {
    const ProfileFile file;
    for (auto _ : state) {
        Wanted wanted;
        if (ini_parse(file.path(), take, &wanted) != 0 || wanted.value[0] == '\0') {
            state.SkipWithError("not found");
        }
    }
}
BENCHMARK(readWithInih)->Name("ProfileString10000Lines/peer");

}  // namespace
}  // namespace varnock::bench
