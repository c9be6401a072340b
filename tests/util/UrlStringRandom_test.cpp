#include "util/UrlString.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <string_view>

#include "tests/util/UrlStringSupport.h"

namespace varnock::test {
namespace {

/// One parameter as set, and its expected value when read back.
struct Expected {
    bool isNumber;
    int number;
    std::string bytes;
};

/// Sets random parameters and reads them back. Names use capitals, which no value contains, and no
/// name is a prefix of another, so each finds its own value.
class RoundTrip {
  public:
    explicit RoundTrip(unsigned int seed) : random_(seed) {}

    void run() {
        CUrlString url(pick(2) == 0 ? "" : "?");
        url.SetService(text("abcxyz0189/._-", 12).c_str());
        std::map<std::string, Expected> expected;
        for (unsigned int i = pick(7); i > 0; --i) {
            set(url, expected);
        }
        if (pick(4) == 0) {
            url.SetService(text("newservice", 10).c_str());
        }
        for (const auto& [name, value] : expected) {
            check(url, name, value);
        }
    }

  private:
    unsigned int pick(unsigned int below) { return static_cast<unsigned int>(random_() % below); }

    std::string text(std::string_view alphabet, unsigned int most) {
        std::string out;
        for (unsigned int size = pick(most + 1); size > 0; --size) {
            out.push_back(alphabet[pick(static_cast<unsigned int>(alphabet.size()))]);
        }
        return out;
    }
    std::string bytes(unsigned int most) {
        std::string out;
        for (unsigned int size = pick(most + 1); size > 0; --size) {
            out.push_back(static_cast<char>(random_()));
        }
        return out;
    }
    /// Any character allowed in quotes, except the letters of names.
    std::string quotable(unsigned int most) {
        std::string out = bytes(most);
        for (char& c : out) {
            if (c == '\0' || c == '"' || (c >= 'A' && c <= 'Z')) {
                c = "&?:, ,&"[pick(7)];
            }
        }
        return out;
    }
    std::string newName(const std::map<std::string, Expected>& taken) {
        for (;;) {
            const std::string name = "N" + text("ABCDEFGHIJKLMNOPQRSTUVWXYZ", 6);
            const auto collides = [&](const auto& other) {
                return other.first != name &&
                       (name.rfind(other.first, 0) == 0 || other.first.rfind(name, 0) == 0);
            };
            if (std::none_of(taken.begin(), taken.end(), collides)) {
                return name;
            }
        }
    }
    unsigned int size() { return pick(20) == 0 ? 1100 : 40; }

    void set(CUrlString& url, std::map<std::string, Expected>& expected) {
        const std::string name = newName(expected);
        switch (pick(3)) {
            case 0:
                expected[name] = setNumber(url, name);
                break;
            case 1: {
                const std::string value = quotable(size());
                url.SetParamStringVal(name.c_str(), value.c_str());
                expected[name] = {false, 0, value.substr(0, 1024)};
                break;
            }
            default: {
                // 256 bytes always fit.
                const std::string value = bytes(std::min(size(), 256U));
                url.SetParamByteStream(name.c_str(),
                                       reinterpret_cast<const unsigned char*>(value.data()),
                                       static_cast<int>(value.size()));
                expected[name] = {false, 0, value};
                break;
            }
        }
    }
    Expected setNumber(CUrlString& url, const std::string& name) {
        const auto number = static_cast<unsigned int>(random_()) >> pick(32);
        char digits[32];
        static constexpr const char* formats[] = {"%u", "0x%x", "0%o", " \t%u ", "+%u"};
        snprintf(digits, sizeof digits, formats[pick(5)], number);
        url.SetParamVal(name.c_str(), digits);
        return {true, static_cast<int>(number), std::string(1, static_cast<char>(number))};
    }

    void check(CUrlString& url, const std::string& name, const Expected& expected) {
        if (expected.isNumber) {
            ASSERT_EQ(url.GetParamIntVal(name.c_str(), ~expected.number), expected.number)
                << url.GetText();
        }
        const Owned all(url.GetParamStringVal(name.c_str(), nullptr));
        ASSERT_EQ(std::string(all.get(), strlen(all.get())), expected.bytes.c_str())
            << name << " in " << url.GetText();
        const unsigned int skip = pick(static_cast<unsigned int>(expected.bytes.size()) + 3);
        const unsigned int most = pick(1200);
        std::string out(1200, '\0');
        const int count =
            url.GetParamByteStream(name.c_str(), reinterpret_cast<unsigned char*>(out.data()),
                                   static_cast<int>(most), static_cast<int>(skip));
        ASSERT_GE(count, 0);
        const std::string rest =
            skip < expected.bytes.size() ? expected.bytes.substr(skip, most) : "";
        ASSERT_EQ(out.substr(0, static_cast<std::size_t>(count)), rest)
            << name << " in " << url.GetText();
    }

    std::mt19937 random_;
};

// VARNOCK_ROUNDS increases their number.
TEST(UrlString, RandomParametersReadBackAsTheyWereSet) {
    const char* wanted = getenv("VARNOCK_ROUNDS");
    const unsigned long rounds = wanted != nullptr ? strtoul(wanted, nullptr, 10) : 5000;
    RoundTrip trip(20261121);
    for (unsigned long round = 0; round < rounds && !HasFatalFailure(); ++round) {
        trip.run();
    }
}

}  // namespace
}  // namespace varnock::test
