#pragma once

#include <cstdio>

#include <cimple/String.h>

CIMPLE_NAMESPACE_BEGIN

/// A CIM datetime: a timestamp or an interval, in microseconds.
///
/// A timestamp counts from 1970-01-01 00:00:00 UTC. Its offset (minutes) is only stored and
/// printed; the arithmetic ignores it. The digits of a text are local time of the process in both
/// directions, so a text survives a round trip in every time zone, while its `usec` depends on the
/// zone. All arithmetic is unsigned: a time before 1970 wraps around.
///
/// Copies share one state. Distinct objects may be used by distinct threads, except that `usec(x)`
/// and `offset(x)` change all copies.
struct Datetime {
    /// Units in microseconds.
    static const uint64 USEC;
    static const uint64 MSEC;
    static const uint64 SEC;
    static const uint64 MIN;
    static const uint64 HOUR;
    static const uint64 DAY;

    /// The maximum number of bytes that `ascii` writes, including the NUL.
    enum { BUFFER_SIZE = 32 };

    /// The interval 0.
    Datetime() : Datetime(uint64(0)) {}
    Datetime(const Datetime& x) noexcept : rep_(x.rep_) { Atomic_inc(&rep_->refs); }
    /// An interval.
    Datetime(uint64 usec) : rep_(makeRep(usec, 0, false)) {}
    /// A timestamp.
    Datetime(uint64 usec, sint32 offset) : rep_(makeRep(usec, offset, true)) {}
    /// The value of a text; a text that `set` rejects gives the timestamp 0.
    explicit Datetime(const char* s);
    ~Datetime() { release(); }

    Datetime& operator=(const Datetime& x) noexcept;

    void set(uint64 usec, sint32 offset);
    void set(uint64 usec);
    /// Takes `yyyymmddHHMMSS.mmmmmmsutc` or `ddddddddHHMMSS.mmmmmm:000`, 25 characters. The ranges
    /// of the digits are not checked, a date is normalised. For anything else, including CIM
    /// wildcards and null, returns false and leaves the value unchanged.
    bool set(const char* s);
    void clear() { set(uint64(0)); }

    void get_interval(uint32& days, uint32& hours, uint32& minutes, uint32& seconds, uint32& usecs);
    void set_interval(uint32 days, uint32 hours, uint32 minutes, uint32 seconds, uint32 usecs);
    void get_timestamp(uint32& year, uint32& month, uint32& day, uint32& hours, uint32& minutes,
                       uint32& seconds, uint32& usecs, sint32& utc) const;
    void set_timestamp(uint32 year, uint32 month, uint32 day, uint32 hours, uint32 minutes,
                       uint32 seconds, uint32 usecs, sint32 utc);

    bool is_interval() const noexcept { return !rep_->isTimestamp; }
    bool is_timestamp() const noexcept { return rep_->isTimestamp; }

    uint64 usec() const noexcept { return rep_->usec; }
    /// Changes this object and every copy that shares its state.
    void usec(uint64 usec) noexcept { rep_->usec = usec; }
    sint32 offset() const noexcept { return rep_->offset; }
    /// Changes this object and every copy that shares its state.
    void offset(sint32 offset) noexcept { rep_->offset = offset; }

    /// The text, `yyyy/mm/dd HH:MM:SS.mmmmmmsutc` or `dddddddd HH MM SS.mmmmmm:000` if pretty;
    /// truncated to the buffer if a huge year or offset does not fit.
    void ascii(char buffer[BUFFER_SIZE], bool pretty = false) const;
    String ascii(bool pretty = false) const;
    /// Writes the text and a line end.
    void print(FILE* file = stdout, bool pretty = false) const;

    static Datetime now();

  private:
    struct Rep {
        Atomic refs;
        sint32 offset;
        uint64 usec;
        bool isTimestamp;
    };

    static Rep* makeRep(uint64 usec, sint32 offset, bool isTimestamp);
    void release() noexcept {
        if (Atomic_dec_and_test(&rep_->refs)) {
            delete rep_;
        }
    }
    void replace(uint64 usec, sint32 offset, bool isTimestamp);
    int format(char* buffer, size_t size, bool pretty) const;

    Rep* rep_;
};

/// True if microseconds, offset and kind are all the same.
inline bool operator==(const Datetime& a, const Datetime& b) noexcept {
    return a.usec() == b.usec() && a.offset() == b.offset() && a.is_interval() == b.is_interval();
}

inline void __clear(Datetime& value) {
    value.clear();
}

CIMPLE_NAMESPACE_END
