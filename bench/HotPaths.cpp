// Runs one of the library's hot paths a number of times, for bench/count.
//   hot_paths PATH COUNT
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "bench/support/MinimalAgent.h"
#include "runtime/Debug.h"
#include "runtime/ProfileFile.h"
#include "runtime/Registry.h"
#include "transport/AgentSocket.h"
#include "transport/SipJson.h"
#include "util/UrlString.h"

namespace varnock::bench {
namespace {

constexpr std::size_t kBlockSize = 200'000;
constexpr unsigned int kNoStatus = 0xFFFFFFFF;

/// Ends the program, because a path that fails has another number of instructions.
void require(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

/// The start and the end of the library alone.
void load(long) {}

void smallCall(long count) {
    const MinimalAgent agent;
    const auto client = provider::getKOLMClient("hot_paths");
    const auto calls = provider::newKOLMCalls(client.get());
    for (long i = 0; i < count; ++i) {
        require(calls->getNumberFans(0) == 4, "the call");
    }
}

std::string exported(const std::vector<unsigned char>& block) {
    SipJson record(0x1490, 0, 0, 1, kNoStatus);
    record.SetRequestDataStream(block);
    return record.Export();
}

void blockOut(long count) {
    const std::vector<unsigned char> block(kBlockSize, 123);
    for (long i = 0; i < count; ++i) {
        require(exported(block).size() > kBlockSize, "the export");
    }
}

void blockIn(long count) {
    const std::string text = exported(std::vector<unsigned char>(kBlockSize, 123));
    for (long i = 0; i < count; ++i) {
        SipJson record;
        record.Import(text.c_str());
        std::vector<unsigned char> block;
        require(record.GetDataStream(block) && block.size() == kBlockSize, "the import");
    }
}

void entry(long count) {
    for (long i = 0; i < count; ++i) {
        Debug.Print(1, "KRM_TBL             : %s(): opCodeExt=0x%04x, objectId=%u, status=%d\n",
                    "getFanStatus", 0x0301U, static_cast<unsigned int>(i), 0);
    }
}

void event(long count) {
    const MinimalAgent agent;
    const int channel = RegisterForEvents(nullptr);
    for (long i = 0; i < count; ++i) {
        pollfd watched{channel, POLLIN, 0};
        SipJson received;
        require(poll(&watched, 1, -1) == 1 && GetEventJson(channel, received) == channel,
                "the event");
    }
    UnRegisterForEvents();
}

/// Reads the values of a key in turn, as a program does that keeps its key open.
void lookUp(long count) {
    constexpr int kValues = 256;
    CRegistryNode root;
    auto* const key = new CRegistryNode;
    root.put("Component", REGISTRY_KEY, key);
    std::vector<std::string> names;
    for (int i = 0; i < kValues; ++i) {
        names.push_back("Setting" + std::to_string(i));
        key->put(names.back().c_str(), REGISTRY_STRING,
                 CRegistryNode::makeValue(REGISTRY_STRING, "value", 5));
    }
    CRegistry registry;
    registry.Open("Component", &root);
    std::string text;
    for (long i = 0; i < count; ++i) {
        const auto& name = names[static_cast<std::size_t>(i) % kValues];
        require(registry.QueryValue(text, name.c_str()) == 0, "the look-up");
    }
    registry.Close();
}

void profileString(long count) {
    const char* const directory = getenv("VARNOCK_TEST_DIRECTORY");
    const std::string path = std::string(directory != nullptr ? directory : ".") + "/profile";
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "w"), fclose);
    require(file != nullptr, "the profile file");
    for (int section = 0; section < 20; ++section) {
        fprintf(file.get(), "[section%d]\n", section);
        for (int key = 0; key < 20; ++key) {
            fprintf(file.get(), "key%d=value %d of section %d\n", key, key, section);
        }
    }
    fflush(file.get());
    char value[200];
    for (long i = 0; i < count; ++i) {
        require(GetPrivateProfileString("section19", "key19", "", value, sizeof value,
                                        path.c_str()) != 0,
                "the profile string");
    }
}

void parameterString(long count) {
    for (long i = 0; i < count; ++i) {
        CUrlString url;
        url.Append("?", -1);
        url.SetService("job");
        url.SetParamVal("object", "0x10");
        url.SetParamStringVal("name", "fan & more");
        require(url.GetParamIntVal("object", 0) == 16, "the parameter");
    }
}

/// The difference of two runs leaves out what is done once.
const std::map<std::string, void (*)(long)> kPaths{{"block-in", blockIn},
                                                   {"block-out", blockOut},
                                                   {"entry", entry},
                                                   {"event", event},
                                                   {"load", load},
                                                   {"look-up", lookUp},
                                                   {"parameter-string", parameterString},
                                                   {"profile-string", profileString},
                                                   {"small-call", smallCall}};

}  // namespace
}  // namespace varnock::bench

int main(int argc, char** argv) try {
    const auto path = varnock::bench::kPaths.find(argc == 3 ? argv[1] : "");
    if (path == varnock::bench::kPaths.end()) {
        fputs("usage: hot_paths PATH COUNT\n", stderr);
        return 2;
    }
    path->second(strtol(argv[2], nullptr, 10));
    return 0;
} catch (const std::exception& failure) {
    fprintf(stderr, "hot_paths: %s failed\n", failure.what());
    return 1;
}
