#include "cli/trace/TraceLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <random>
#include <string>
#include <vector>

#include "cli/trace/TraceReader.h"
#include "runtime/Debug.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using varnock::test::readFile;
using varnock::test::TemporaryDirectory;
using varnock::test::writeFile;

// Files composed of parts, for contents that no writer produces intentionally.

std::string field(const std::string& label, const std::string& value) {
    std::string line = label;
    line.resize(33, ' ');
    line += ": " + value;
    line.resize(78, ' ');
    return line + "|\n";
}

std::string number(std::int64_t value) {
    char text[32];
    snprintf(text, sizeof text, "%016lld", static_cast<long long>(value));
    return text;
}

std::string header(std::int64_t wraps, std::int64_t size, std::int64_t position) {
    return field("FilePath", "/var/log/x") + field("FirstOpen", "Tue Nov 14 22:13:20 2023") +
           field("LastOpen", "Wed Nov 15 22:13:20 2023") +
           field("NumberOpens    (decimal)", number(3)) +
           field("WrapCount      (decimal)", number(wraps)) +
           field("RingBufferSize (decimal)", number(size)) +
           field("CurrentWritePosition (dec bytes)", number(position)) + std::string(78, '-') +
           "+\n" + std::string(383, ' ') + "\n";
}

std::string entry(const std::string& message, const std::string& time = "Nov 14 22:13:20") {
    return time + " host App[00000000F7A51740]: " + message + "\n";
}

std::vector<std::string> messagesOf(const TraceLog& log) {
    std::vector<std::string> messages;
    for (const TraceEntry& entry : log.entries()) {
        messages.emplace_back(entry.message);
    }
    return messages;
}

/// Header and body. The position is after `newest`, the size is the total size.
std::string file(std::int64_t wraps, const std::string& newest, const std::string& older) {
    const auto position = static_cast<std::int64_t>(1024 + newest.size());
    const auto size = position + static_cast<std::int64_t>(older.size());
    return header(wraps, size, position) + newest + older;
}

/// An entry of the previous round.
std::string earlier(const std::string& message) {
    return entry(message, "Nov 14 22:13:19");
}

const std::string kDescription = entry("Varnock Agent") + entry("# End of header.");

/// The text between a description and the record boundary at which a round begins.
std::string gapBehind(const std::string& text) {
    const std::size_t begin = 1024 + text.size();
    return std::string((begin + 2048) / 1024 * 1024 - begin - 1, '_') + "\n";
}
const std::string kBeginning = kDescription + gapBehind(kDescription);

TEST(TraceEntry, IsTakenApart) {
    const std::string line = "Nov  4 22:13:20 my-host CIM_Provider[00000000F7A51740]: a [b]: c";
    const auto entry = parseTraceEntry(line);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->time, "Nov  4 22:13:20");
    EXPECT_EQ(entry->host, "my-host");
    EXPECT_EQ(entry->application, "CIM_Provider");
    EXPECT_EQ(entry->thread, "00000000F7A51740");
    EXPECT_EQ(entry->message, "a [b]: c");
    EXPECT_TRUE(parseTraceEntry("Nov 14 22:13:20  App[00000000F7A51740]: "));
    EXPECT_TRUE(parseTraceEntry("mmm dd hh:mm:ss host App[00000000F7A51740]: x"));
}

TEST(TraceEntry, IsNothingElse) {
    for (const char* line :
         {"", "Nov 14 22:13:20", "Nov 14 22:13:20 ", "Nov 14 22:13:20 host App[00000000F7A51740]:",
          "Nov 14 22:13:20 host App[00000000F7A5174]: x", "Nov 14 22:13 20 host App[0]: x",
          "Nox 14 22:13:20 host App[00000000F7A51740]: x",
          "ov 14 22:13:20 host App[00000000F7A51740]: x",
          "Nov 14 22:13:20 host App[00000000f7a51740]: x", "Nov 14 22:13:20 hostApp"}) {
        EXPECT_FALSE(parseTraceEntry(line)) << line;
    }
}

TEST(TraceHeader, HasItsFields) {
    const TraceHeader read = TraceHeader::parse(header(2, 4096, 1500));
    EXPECT_EQ(read.filePath, "/var/log/x");
    EXPECT_EQ(read.firstOpen, "Tue Nov 14 22:13:20 2023");
    EXPECT_EQ(read.lastOpen, "Wed Nov 15 22:13:20 2023");
    EXPECT_EQ(read.opens, 3);
    EXPECT_EQ(read.wraps, 2);
    EXPECT_EQ(read.size, 4096);
    EXPECT_EQ(read.position, 1500);
    EXPECT_TRUE(read.isLabelled);
    const TraceHeader none = TraceHeader::parse("nonsense");
    EXPECT_FALSE(none.isLabelled);
    EXPECT_FALSE(none.position);
}

TEST(TraceHeader, ItsNumbersEndAtABlank) {
    std::string damaged = header(2, 4096, 1500);
    for (const std::size_t line :
         {std::size_t{3}, std::size_t{4}, std::size_t{5}, std::size_t{6}}) {
        damaged.replace(line * 80 + 35 + 17, 7, "damaged");
    }
    EXPECT_EQ(TraceHeader::parse(damaged).opens, 3);
    EXPECT_EQ(TraceHeader::parse(damaged).wraps, 2);
    EXPECT_EQ(TraceHeader::parse(damaged).size, 4096);
    EXPECT_EQ(TraceHeader::parse(damaged).position, 1500);
    damaged[6 * 80 + 35 + 16] = 'x';
    EXPECT_FALSE(TraceHeader::parse(damaged).position);
}

TEST(TraceLog, AFileThatHasNotWrappedStandsInItsOrder) {
    const TraceLog log(
        file(0, kBeginning + entry("one") + entry("two"), std::string(500, '_') + "\n"));
    EXPECT_THAT(messagesOf(log), ElementsAre("Varnock Agent", "# End of header.", "one", "two"));
    EXPECT_EQ(log.tornBytes(), 0);
    EXPECT_THAT(log.problems(), IsEmpty());
}

TEST(TraceLog, TheRoundBeforeComesFirst) {
    const TraceLog log(file(1, kBeginning + entry("three") + entry("four"),
                            "n half\n" + entry("one") + entry("two")));
    EXPECT_THAT(messagesOf(log),
                ElementsAre("one", "two", "Varnock Agent", "# End of header.", "three", "four"));
    EXPECT_EQ(log.tornBytes(), 7);
}

TEST(TraceLog, AnInitialisationThatIsKeptComesFirstOfAll) {
    const TraceLog log(file(
        1, kBeginning + entry("init") + entry("### End of initialization. ###") + entry("three"),
        earlier("one") + entry("two")));
    EXPECT_THAT(messagesOf(log), ElementsAre("init", "### End of initialization. ###", "one", "two",
                                             "Varnock Agent", "# End of header.", "three"));
}

TEST(TraceLog, ADescriptionThatIsBeingWrittenIsTheNewest) {
    const std::string old = "alf\n" + entry("# End of header.") + std::string(1100, '_') + "\n";
    const TraceLog log(file(1, entry("Varnock Agent"), old + entry("one") + entry("two")));
    EXPECT_EQ(messagesOf(log).back(), "Varnock Agent");
    EXPECT_EQ(messagesOf(log).front(), "# End of header.");
    EXPECT_FALSE(log.isPastDescription());
}

TEST(TraceLog, WhatRemainsBehindTheLastEntryOfARoundIsLeftOut) {
    const auto expected = ElementsAre("one", "two", "Varnock Agent", "# End of header.", "three");
    const std::string newest = kBeginning + entry("three");
    EXPECT_THAT(messagesOf(TraceLog(file(2, newest, earlier("one") + entry("two") + "____\n"))),
                expected);
    EXPECT_THAT(messagesOf(TraceLog(file(2, newest, earlier("one") + entry("two") + "\n"))),
                expected);
    // A writer that does not rule off the rest: an earlier entry belongs to an older round.
    EXPECT_THAT(messagesOf(TraceLog(file(
                    2, newest, earlier("one") + entry("two") + entry("x", "Nov 13 01:02:03")))),
                expected);
}

TEST(TraceLog, AnUnfinishedEntryIsNotTakenForAnOldOne) {
    const TraceLog log(file(0, kBeginning + entry("one"),
                            "Nov 14 22:13:20 host App[00000000F7A51740]: "
                            "half" +
                                std::string(500, '_') + "\n"));
    EXPECT_THAT(messagesOf(log), ElementsAre("Varnock Agent", "# End of header.", "one"));
    EXPECT_GT(log.tornBytes(), 500);
}

TEST(TraceLog, AMessageMayHaveSeveralLines) {
    const TraceLog log(file(0, entry("first\nsecond") + entry("next"), ""));
    EXPECT_THAT(messagesOf(log), ElementsAre("first\nsecond", "next"));
    EXPECT_EQ(log.entries()[0].line,
              entry("first\nsecond").substr(0, entry("first\nsecond").size() - 1));
}

TEST(TraceLog, EntriesBeingWrittenAreLeftOut) {
    std::string older = entry("torn by the writer");
    while (older.size() <= 1300) {
        older += entry("old");
    }
    older += entry("whole");
    const std::string bytes = file(1, kBeginning + entry("new"), older);
    const auto position = *TraceHeader::parse(bytes).position;
    const TraceLog log(bytes, position + 10);
    EXPECT_EQ(messagesOf(log).front(), "old");
    EXPECT_EQ(messagesOf(log).back(), "new");
    EXPECT_LT(log.entries().size(), 10U);
}

TEST(TraceLog, APositionThatMeansNothingIsSaid) {
    for (const std::int64_t position : {0LL, 1023LL, 99'999LL}) {
        const std::string body = entry("one") + entry("two");
        const TraceLog log(header(0, 1024 + static_cast<std::int64_t>(body.size()), position) +
                           body);
        EXPECT_THAT(messagesOf(log), ElementsAre("one", "two"));
        EXPECT_EQ(log.problems().size(), 1U);
        EXPECT_EQ(log.end(), (TracePlace{0, 1024}));
    }
}

TEST(TraceLog, WhatRemainsInTheGapBehindTheDescriptionIsLeftOut) {
    std::string remains = earlier("older");
    while (remains.size() < gapBehind(kDescription).size()) {
        remains += earlier("older still");
    }
    remains.resize(gapBehind(kDescription).size() - 1);  // the last one is cut
    const TraceLog log(file(2, kDescription + remains + "x" + entry("one"), ""));
    EXPECT_THAT(messagesOf(log), ElementsAre("Varnock Agent", "# End of header.", "one"));
}

TEST(TraceLog, ARoundThatEndsBeforeItsFirstBoundaryHasNoGap) {
    const std::string newest = kDescription + entry("one") + entry("two");
    const TraceLog log(file(1, newest, std::string(500, '_') + "\n" + earlier("older")));
    EXPECT_THAT(messagesOf(log),
                ElementsAre("older", "Varnock Agent", "# End of header.", "one", "two"));
}

TEST(TraceLog, ATruncatedFileGivesTheRest) {
    std::string bytes = file(1, kBeginning + entry("new"), earlier("one") + entry("two"));
    bytes.resize(bytes.size() - 10);
    const TraceLog cut(bytes);
    EXPECT_EQ(messagesOf(cut).front(), "one");
    EXPECT_EQ(messagesOf(cut).back(), "new");
    EXPECT_EQ(cut.problems().size(), 1U);
    bytes.resize(1024 + entry("Varnock Agent").size());
    EXPECT_THAT(messagesOf(TraceLog(bytes)), ElementsAre("Varnock Agent"));
    EXPECT_THAT(messagesOf(TraceLog("")), IsEmpty());
}

TEST(TraceLog, AnyBytesAreReadWithoutHarm) {
    std::mt19937 random(7);
    const std::string good = file(3, kBeginning + entry("new"), entry("one") + entry("two"));
    for (int round = 0; round < 2000; ++round) {
        std::string bytes = good;
        for (int i = 0; i < 20; ++i) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        bytes.resize(random() % (bytes.size() + 1));
        const TraceLog log(std::move(bytes), static_cast<std::int64_t>(random() % 5000));
        EXPECT_LT(log.entries().size(), 100U);
    }
}

TEST(TraceLog, KeepsOnlyTheSelectedEntries) {
    const std::string bytes = file(0,
                                   entry("Process PID                : 7") + entry("one") +
                                       entry("two", "Nov 14 22:13:21") + entry("ones"),
                                   "");
    const TraceLog log(TraceBytes(bytes), std::nullopt, {.passes = [](const TraceEntry& each) {
                           return each.message.starts_with("one");
                       }});
    EXPECT_THAT(messagesOf(log), ElementsAre("one", "ones"));
    EXPECT_EQ(log.entries()[1].process, 7);
    EXPECT_EQ(log.count(), 4U);
    EXPECT_EQ(log.oldestTime(), "Nov 14 22:13:20");
    EXPECT_EQ(log.newestTime(), "Nov 14 22:13:20");
    EXPECT_THAT(messagesOf(TraceLog(TraceBytes(bytes), std::nullopt, {.last = 2})),
                ElementsAre("two", "ones"));
}

TEST(TraceLog, KeepsTheNewestOfThoseThatAProcessWrote) {
    const std::string cycle = "### Start of work cycle. (00000001) ###";
    const auto ofProcess = [&](int process) {
        return entry(cycle) + entry("Process PID                : " + std::to_string(process)) +
               entry("# End of header.");
    };
    const std::string bytes =
        file(0, ofProcess(7) + entry("one") + entry("two") + ofProcess(8) + entry("other"), "");
    TraceSelection selection{
        .passes = [](const TraceEntry& each) { return each.message.size() < 6; },
        .passesNamed = [](const TraceEntry& each) { return each.process == 7; }};
    EXPECT_THAT(messagesOf(TraceLog(TraceBytes(bytes), std::nullopt, selection)),
                ElementsAre("one", "two"));
    selection.last = 1;
    EXPECT_THAT(messagesOf(TraceLog(TraceBytes(bytes), std::nullopt, selection)),
                ElementsAre("two"));
}

TEST(TraceLog, BytesLostBeforeAnEntryThatIsLeftOutAreThoseOfTheNext) {
    const std::string bytes = file(
        0,
        entry("one") + "torn\n\n" + std::string(1200, 'x') + "\n" + entry("two") + entry("three"),
        "");
    const TraceLog all{bytes};
    ASSERT_THAT(messagesOf(all), testing::SizeIs(3));
    ASSERT_GT(all.entries()[1].lostBefore, 0);
    const TraceLog log(TraceBytes(bytes), std::nullopt, {.passesNamed = [](const TraceEntry& each) {
                           return each.message == "three";
                       }});
    ASSERT_THAT(messagesOf(log), ElementsAre("three"));
    EXPECT_EQ(log.entries()[0].lostBefore, all.entries()[1].lostBefore);
}

TEST(TraceLog, GivesEachEntryAsSoonAsItIsRead) {
    const std::string bytes = file(0, entry("one") + entry("two") + entry("three"), "");
    std::vector<std::string> messages;
    const auto take = [&](const TraceEntry& each) {
        messages.emplace_back(each.message);
        return each.message != "two";
    };
    const TraceLog all(
        TraceBytes(bytes), std::nullopt,
        {.passes = [](const TraceEntry& each) { return each.message != "two"; }, .each = take});
    EXPECT_THAT(messages, ElementsAre("one", "three"));
    EXPECT_THAT(all.entries(), IsEmpty());
    EXPECT_EQ(all.count(), 3U);
    messages.clear();
    const TraceLog some(TraceBytes(bytes), std::nullopt, {.each = take});
    EXPECT_THAT(messages, ElementsAre("one", "two"));
}

TEST(TraceLog, SkipsWhatIsOlderThanItsBegin) {
    const std::string bytes = file(1,
                                   kBeginning + entry("new one") + "torn\n\n" +
                                       std::string(1200, 'x') + "\n" + entry("new two"),
                                   earlier("old one") + entry("old two"));
    const TraceLog all{bytes};
    ASSERT_EQ(all.count(), 6U);
    for (std::size_t first = 0; first < all.count(); ++first) {
        const TracePlace begin = all.entries()[first].place;
        const TraceLog log(TraceBytes(bytes), std::nullopt,
                           {.begin = [&](const TraceLog&) { return begin; }, .skipsOlder = true});
        ASSERT_EQ(log.count(), all.count() - first);
        for (std::size_t i = 0; i < log.count(); ++i) {
            EXPECT_EQ(log.entries()[i].message, all.entries()[first + i].message);
            EXPECT_EQ(log.entries()[i].place, all.entries()[first + i].place);
        }
        EXPECT_EQ(log.entries().back().lostBefore,
                  first + 1 < all.count() ? all.entries().back().lostBefore : 0);
    }
    const TraceLog none(
        TraceBytes(bytes), std::nullopt,
        {.begin = [](const TraceLog& log) { return log.end(); }, .skipsOlder = true});
    EXPECT_EQ(none.count(), 0U);
}

TEST(TraceLog, WhatIsOverwrittenBeforeItIsReadIsLost) {
    const std::string old = earlier("old one") + entry("old two") + entry("old three");
    const std::string bytes = file(1, kBeginning + entry("new"), old);
    const auto read = [&](std::int64_t offset, char* to, std::size_t length) {
        return bytes.copy(to, length, static_cast<std::size_t>(offset));
    };
    const auto position = static_cast<std::int64_t>(bytes.find(earlier("old one")));
    const auto second = static_cast<std::int64_t>(bytes.find(entry("old two")));
    std::vector<std::string> messages;
    std::int64_t lost = 0;
    const auto show = [&](TracePlace overwritten) {
        messages.clear();
        const TraceLog log(TraceBytes(read, static_cast<std::int64_t>(bytes.size())), std::nullopt,
                           {.each =
                                [&](const TraceEntry& each) {
                                    messages.emplace_back(each.message);
                                    lost += each.lostBefore;
                                    return true;
                                }},
                           [&] { return overwritten; });
        lost = log.tornBytes();
    };
    show({0, position});
    EXPECT_THAT(messages, testing::SizeIs(6));
    EXPECT_EQ(lost, 0);
    // In the middle of the second entry: it is lost as a whole.
    show({0, second + 5});
    EXPECT_THAT(messages, ElementsAre("old three", "Varnock Agent", "# End of header.", "new"));
    EXPECT_EQ(lost, static_cast<std::int64_t>(earlier("old one").size() + entry("old two").size()));
    // The writer has wrapped, and is in the description.
    show({1, TraceLog::kEntriesBegin + 5});
    EXPECT_THAT(messages, ElementsAre("# End of header.", "new"));
    show({2, 0});
    EXPECT_THAT(messages, IsEmpty());
}

TEST(TraceLog, AnInitialisationThatIsKeptIsNotLost) {
    const std::string bytes = file(
        1, kBeginning + entry("init") + entry("### End of initialization. ###") + entry("three"),
        earlier("one") + entry("two"));
    const auto read = [&](std::int64_t offset, char* to, std::size_t length) {
        return bytes.copy(to, length, static_cast<std::size_t>(offset));
    };
    std::vector<std::string> messages;
    const TraceLog log(TraceBytes(read, static_cast<std::int64_t>(bytes.size())), std::nullopt,
                       {.each =
                            [&](const TraceEntry& each) {
                                messages.emplace_back(each.message);
                                return true;
                            }},
                       [] {
                           return TracePlace{2, 0};
                       });
    EXPECT_THAT(messages, ElementsAre("init", "### End of initialization. ###"));
}

// Files written by the library: numbered entries of any length in small files.

class WrittenTrace : public testing::Test {
  protected:
    WrittenTrace() { open(64 * 1024); }

    void open(long size) { ASSERT_EQ(Debug.InitRingBuffer(path_.c_str(), size), 1); }

    void write() {
        std::string text;
        const std::size_t length = random_() % 8 == 0 ? random_() % 1000 : random_() % 60;
        for (std::size_t i = 0; i < length; ++i) {
            text += static_cast<char>(random_() % 40 == 0 ? '\n' : 'a' + random_() % 26);
        }
        // An empty last line of a message is dropped, like every last newline.
        Debug.PrintIt(2, "n=%d %s.", ++last_, text.c_str());
    }

    /// The numbers of the entries in the order of the log.
    static std::vector<int> numbersOf(const TraceLog& log) {
        std::vector<int> numbers;
        for (const TraceEntry& entry : log.entries()) {
            int number = 0;
            if (sscanf(std::string(entry.message.substr(0, 20)).c_str(), "n=%d ", &number) == 1) {
                numbers.push_back(number);
            }
        }
        return numbers;
    }

    void expectInOrder(const TraceLog& log, std::size_t initialisation = 0) {
        EXPECT_THAT(log.problems(), IsEmpty());
        for (const TraceEntry& entry : log.entries()) {
            const bool isWhole = !entry.message.starts_with("n=") || entry.message.ends_with('.');
            ASSERT_TRUE(isWhole) << entry.message;
        }
        std::vector<int> numbers = numbersOf(log);
        for (std::size_t i = 0; i < initialisation; ++i) {
            ASSERT_EQ(numbers.front(), static_cast<int>(i + 1));
            numbers.erase(numbers.begin());
        }
        ASSERT_FALSE(numbers.empty());
        ASSERT_EQ(numbers.back(), last_);
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            ASSERT_EQ(numbers[i], last_ - static_cast<int>(numbers.size() - 1 - i));
        }
    }

    TemporaryDirectory directory_;
    std::string path_ = directory_.file("log");
    std::mt19937 random_{11};
    int last_ = 0;
};

TEST_F(WrittenTrace, IsOrderedAtAnyPointOfManyRounds) {
    for (int step = 0; step < 400; ++step) {
        for (std::size_t count = random_() % 80 + 1; count > 0; --count) {
            write();
        }
        const auto log = TraceReader(path_).read();
        expectInOrder(*log);
        // After a wrap everything is present but the description, two gaps and torn entries.
        std::size_t bytes = 0;
        for (const TraceEntry& entry : log->entries()) {
            bytes += entry.line.size() + 1;
        }
        if (log->header().wraps > 0) {
            EXPECT_GT(bytes, 64U * 1024 - 1024 - 3 * 2048 - 2 * 1184);
        }
    }
    EXPECT_GT(TraceReader(path_).read()->header().wraps, 30);
}

TEST_F(WrittenTrace, IsOrderedAcrossReopenings) {
    for (int step = 0; step < 200; ++step) {
        for (std::size_t count = random_() % 200 + 1; count > 0; --count) {
            write();
        }
        open(64 * 1024);
        expectInOrder(*TraceReader(path_).read());
    }
}

TEST_F(WrittenTrace, IsOrderedWithAnInitialisationThatIsKept) {
    path_ = directory_.file("large");
    open(3 * 1024 * 1024);
    for (int i = 0; i < 500; ++i) {
        write();
    }
    Debug.SetApplInitDone();
    for (int step = 0; step < 10; ++step) {
        for (std::size_t count = random_() % 8000 + 1; count > 0; --count) {
            write();
        }
        const auto log = TraceReader(path_).read();
        expectInOrder(*log, log->header().wraps > 0 ? 500 : 0);
    }
    // A process that keeps no initialisation overwrites it.
    open(3 * 1024 * 1024);
    for (int i = 0; i < 30'000; ++i) {
        write();
    }
    expectInOrder(*TraceReader(path_).read());
}

TEST_F(WrittenTrace, IsShownHonestlyWhileItIsOverwritten) {
    path_ = directory_.file("large");
    constexpr long kSize = 18L * 1024 * 1024;
    open(kSize);
    const std::string filling(900, 'x');
    const auto writeRounds = [&](double rounds) {
        for (auto count = static_cast<int>(rounds * kSize / 960); count > 0; --count) {
            Debug.PrintIt(2, "n=%d %s.", ++last_, filling.c_str());
        }
    };
    for (const double during : {0.0, 0.02, 0.4, 0.9, 1.5, 2.5}) {
        writeRounds(1.3);
        const int begun = last_;
        std::vector<int> numbers;
        std::size_t gaps = 0;
        bool isWhole = true;
        const auto take = [&](const TraceEntry& entry) {
            int number = 0;
            if (sscanf(std::string(entry.message.substr(0, 20)).c_str(), "n=%d ", &number) == 1) {
                gaps += !numbers.empty() && number != numbers.back() + 1 ? 1U : 0U;
                isWhole = isWhole && entry.message.ends_with("x.") &&
                          (numbers.empty() || number > numbers.back());
                numbers.push_back(number);
                if (numbers.size() == 1) {
                    writeRounds(during);
                }
            }
            return true;
        };
        const auto log = TraceReader(path_).read({.each = take});
        EXPECT_TRUE(isWhole) << during;
        EXPECT_THAT(log->problems(), IsEmpty());
        ASSERT_FALSE(numbers.empty());
        EXPECT_LE(numbers.back(), begun);
        const bool isLost = gaps > 0 || numbers.back() < begun;
        // A little is overwritten behind the reader only.
        EXPECT_EQ(isLost, during > 0.1) << during;
        EXPECT_EQ(isLost, log->tornBytes() > 100'000) << log->tornBytes();
    }
}

TEST_F(WrittenTrace, IsTheSameThroughAWindow) {
    path_ = directory_.file("large");
    open(3 * 1024 * 1024);
    for (const int count : {5'000, 60'000}) {
        for (int i = 0; i < count; ++i) {
            write();
        }
        std::string bytes = readFile(path_);
        for (int round = 0; round < 5; ++round) {
            const auto read = [&](std::int64_t offset, char* to, std::size_t length) {
                return bytes.copy(to, length, static_cast<std::size_t>(offset));
            };
            const TraceLog window(TraceBytes(read, static_cast<std::int64_t>(bytes.size())));
            const TraceLog copy(bytes);
            EXPECT_GT(window.count(), 1'000U);
            EXPECT_EQ(messagesOf(window), messagesOf(copy));
            EXPECT_EQ(window.tornBytes(), copy.tornBytes());
            for (int i = 0; i < 1'000; ++i) {
                bytes[random_() % bytes.size()] = '\n';
            }
            for (int i = 0; i < 5; ++i) {
                bytes[random_() % 1024] = '0';
            }
        }
    }
}

TEST_F(WrittenTrace, IsReadUpToTheLastWholeEntryWhereverTheWriterStopped) {
    for (int i = 0; i < 2000; ++i) {
        write();
    }
    const std::string before = readFile(path_);
    const int lastBefore = last_;
    const auto position = static_cast<std::size_t>(*TraceHeader::parse(before).position);
    write();
    const std::string after = readFile(path_);
    const auto end = static_cast<std::size_t>(*TraceHeader::parse(after).position);
    ASSERT_GT(end, position);
    // The entry is copied before the position is stored: every state in between.
    for (std::size_t copied = position; copied <= end; ++copied) {
        const TraceLog log(before.substr(0, position) + after.substr(position, copied - position) +
                           before.substr(copied));
        const std::vector<int> numbers = numbersOf(log);
        ASSERT_EQ(numbers.back(), lastBefore);
    }
}

TEST_F(WrittenTrace, CanBeTakenIntoUseAgainAfterAnyDamage) {
    for (int i = 0; i < 1000; ++i) {
        write();
    }
    const std::string whole = readFile(path_);
    for (int round = 0; round < 100; ++round) {
        std::string damaged = whole;
        for (int i = 0; i < 30; ++i) {
            damaged[random_() % 1024] = static_cast<char>(random_());
        }
        if (round % 2 == 1) {
            damaged.resize(random_() % damaged.size());
        }
        Debug.InitRingBuffer(directory_.file("other").c_str(), 64 * 1024);
        writeFile(path_, damaged);
        open(64 * 1024);
        last_ = 0;
        for (int i = 0; i < 3; ++i) {
            write();
        }
        const auto numbers = numbersOf(*TraceReader(path_).read());
        ASSERT_GE(numbers.size(), 3U);
        // If the damaged position is still valid, more old entries may follow it.
        EXPECT_THAT(numbers, testing::IsSupersetOf({1, 2, 3}));
    }
}

}  // namespace
}  // namespace varnockctl
