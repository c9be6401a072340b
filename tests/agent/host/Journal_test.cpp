#include "agent/host/Journal.h"

#include <gtest/gtest.h>
#include <systemd/sd-journal.h>

#include <cerrno>

#include "tests/agent/host/FakeJournal.h"

struct sd_journal {
    std::size_t position = 0;
    std::string field = {};
};

namespace varnock::agent {
namespace {

FakeJournal* installedJournal = nullptr;

}  // namespace

FakeJournal::FakeJournal() {
    installedJournal = this;
}
FakeJournal::~FakeJournal() {
    installedJournal = nullptr;
}
FakeJournal* FakeJournal::current() {
    return installedJournal;
}

}  // namespace varnock::agent

using varnock::agent::FakeJournal;

extern "C" {

int sd_journal_open_directory(sd_journal** journal, const char* path, int) {
    if (FakeJournal::current() == nullptr) {
        return -ENOENT;
    }
    *journal = new sd_journal;
    FakeJournal::current()->directory = path;
    ++FakeJournal::current()->open;
    return 0;
}

int sd_journal_open(sd_journal** journal, int) {
    return sd_journal_open_directory(journal, "/", 0);
}

void sd_journal_close(sd_journal* journal) {
    delete journal;
    --FakeJournal::current()->open;
}

int sd_journal_seek_tail(sd_journal* journal) {
    journal->position = FakeJournal::current()->entries.size();
    return FakeJournal::current()->seeks ? 0 : -EIO;
}

int sd_journal_previous(sd_journal* journal) {
    return journal->position > 0 ? (--journal->position, 1) : 0;
}

int sd_journal_get_data(sd_journal* journal, const char* name, const void** data,
                        std::size_t* size) {
    const auto& fields = FakeJournal::current()->entries.at(journal->position).fields;
    const auto found = fields.find(name);
    if (found == fields.end()) {
        return -ENOENT;
    }
    journal->field = found->first + "=" + found->second;
    *data = journal->field.data();
    *size = journal->field.size();
    return 0;
}

int sd_journal_get_realtime_usec(sd_journal* journal, std::uint64_t* time) {
    *time = FakeJournal::current()->entries.at(journal->position).microseconds;
    return FakeJournal::current()->hasTimes ? 0 : -EBADMSG;
}

}  // extern "C"

namespace varnock::agent {
namespace {

TEST(Journal, IsMissingIfItCannotBeReadOrLooksEmpty) {
    EXPECT_EQ(readJournal("/", 9), std::nullopt);
    FakeJournal journal;
    EXPECT_EQ(readJournal("/", 9), std::nullopt);
    journal.entries.push_back({0, {{"MESSAGE", "x"}}});
    journal.seeks = false;
    EXPECT_EQ(readJournal("/", 9), std::nullopt);
    journal.seeks = true;
    journal.hasTimes = false;
    EXPECT_EQ(readJournal("/", 9), std::nullopt);
    EXPECT_EQ(journal.open, 0);
}

TEST(Journal, ReadsEntriesAsLinesOfASystemLog) {
    FakeJournal journal;
    journal.entries = {
        {5000000, {{"MESSAGE", "started"}, {"PRIORITY", "3"}, {"SYSLOG_IDENTIFIER", "sshd"}}},
        {6999999, {{"MESSAGE", "a=b"}, {"PRIORITY", "x"}}},
        {7000000, {{"MESSAGE", "alone"}}}};
    EXPECT_EQ(readJournal("/", 9), (LogEntries{{1, 5000000, 3, "sshd: started"},
                                               {2, 6999999, 5, "a=b"},
                                               {3, 7000000, 5, "alone"}}));
    EXPECT_EQ(journal.open, 0);
}

TEST(Journal, ReadsTheNewestEntriesThatHaveAMessage) {
    FakeJournal journal;
    for (unsigned i = 0; i < 5; ++i) {
        journal.entries.push_back({0, {{"MESSAGE", std::to_string(i)}}});
    }
    journal.entries[3].fields.clear();
    EXPECT_EQ(readJournal("/", 2), (LogEntries{{1, 0, 5, "2"}, {2, 0, 5, "4"}}));
}

TEST(Journal, SearchesBelowTheRoot) {
    const FakeJournal journal;
    EXPECT_EQ(readJournal("/another", 9), std::nullopt);
    EXPECT_EQ(journal.directory, "/another");
}

}  // namespace
}  // namespace varnock::agent
