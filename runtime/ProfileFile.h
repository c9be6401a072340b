#pragma once

#include <stdio.h>

#include <string>
#include <vector>

#include "util/Export.h"

/// Profile files, which are INI-style texts of bracketed section headers and `key=value` lines,
/// with the calls of Windows. docs/profile-file.md describes the format.
///
/// Names are compared exactly, so case matters. A line has at most 1023 characters; the rest of a
/// longer line is ignored. Nothing is cached between calls.
///
/// The functions exist twice: in the global namespace under their Windows names, and as members of
/// CSysBase. If a host defines functions of these names, its own code calls them; the library does
/// not.
///
/// Thread-safety: any thread may call any of them. Two writers of one file at the same time can
/// lose one of their changes, never the rest of the file.

/// The compatibility services of the platform. Static operations only.
class VARNOCK_EXPORT CSysBase {
  public:
    /// Reads a value, or a list of names, into `out` of `size` bytes. Always terminated.
    ///
    /// - section and key given: the value, `defaultValue` (may be null) if there is no such key.
    ///   Returns the characters placed, at most size - 1.
    /// - key null: the keys of the section; section null: the sections of the file. Each name ends
    ///   with a NUL, and the list with one more. Returns the characters placed, with the NUL of
    ///   each name. The result size - 2 means that there may be more.
    ///
    /// Returns 0 when out or fileName is null or size is below 2.
    static unsigned int GetPrivateProfileString(const char* section, const char* key,
                                                const char* defaultValue, char* out,
                                                unsigned int size, const char* fileName);
    /// Sets a key, creating section and file (mode 0644) as needed; a null value deletes the key, a
    /// null key the section. Deleting a missing key or section is success. Returns 1, or 0 when an
    /// argument is missing or holds a newline, or the file cannot be written; the file is then as
    /// it was.
    static int WritePrivateProfileString(const char* section, const char* key, const char* value,
                                         const char* fileName);
    /// Replaces the bytes from offset `from` to offset `to` by a newline if `leadingNewline` is not
    /// 0 and, when key and value are given, by the line "key=value". The file stays open.
    /// Returns 1; 0 when the offsets do not fit the file, the file is 4 GiB or more, or something
    /// cannot be read or written.
    static int WriteLines(FILE* file, unsigned int from, unsigned int to, const char* key,
                          const char* value, int leadingNewline);
    /// The directory of the registry file, cut to size - 1 characters. Returns 1, or 0 for size 0.
    static int GetSystemDirectory(char* buffer, unsigned int size);
    /// Turns a to z into capitals, whatever the locale. Returns its argument; null is allowed.
    static char* StringToUpper(char* text);
    /// Sleeps for that many milliseconds, also when a signal arrives.
    static void Sleep(unsigned int milliseconds);
    /// errno.
    static unsigned int GetLastError();
    /// Closes a file descriptor; 1 on success, else 0.
    static int CloseHandle(int descriptor);
};

VARNOCK_EXPORT unsigned int GetPrivateProfileString(const char* section, const char* key,
                                                    const char* defaultValue, char* out,
                                                    unsigned int size, const char* fileName);
VARNOCK_EXPORT int WritePrivateProfileString(const char* section, const char* key,
                                             const char* value, const char* fileName);
VARNOCK_EXPORT int GetSystemDirectory(char* buffer, unsigned int size);
VARNOCK_EXPORT char* _strupr(char* text);
VARNOCK_EXPORT void Sleep(unsigned int milliseconds);
VARNOCK_EXPORT unsigned int GetLastError();
VARNOCK_EXPORT int CloseHandle(int descriptor);

/// One profile file, with result buffers that grow as needed.
///
/// Not thread-safe: the operations of one object share its buffers.
class VARNOCK_EXPORT CIniFile {
  public:
    /// Keeps a copy of the name. An object with a null or empty name is not valid: its operations
    /// do nothing and return an empty result.
    explicit CIniFile(const char* fileName);
    ~CIniFile();
    CIniFile(const CIniFile&) = delete;
    CIniFile& operator=(const CIniFile&) = delete;

    /// The value of a key, valid until the next GetString(); defaultValue itself when the object is
    /// not valid or the value has more than about 64 KiB.
    const char* GetString(const char* section, const char* key, const char* defaultValue);
    /// The same into `out`. Returns 1, or 0 with `out` unchanged when the object is not valid.
    int GetString(std::string& out, const char* section, const char* key, const char* defaultValue);
    /// The first key of a section; the first section of the file if `section` is null; "" for none.
    const char* GetEnum(const char* section);
    /// The next name of the list of GetEnum(); "" at the end or without a list.
    const char* GetNextEnum();
    /// Replaces the contents of `out` by the whole list.
    void GetEnums(std::vector<std::string>& out, const char* section);
    /// Sets or deletes as WritePrivateProfileString() does; 0 when the object is not valid or the
    /// section is null.
    int SetString(const char* section, const char* key, const char* value);
    /// Sets every key of section `from` in section `to`. Returns 1; 0 when the object is not valid.
    int CopySection(const char* from, const char* to);

  private:
    [[nodiscard]] bool grow(char*& buffer, unsigned int& size);
    unsigned int fill(char*& buffer, unsigned int& size, const char* section, const char* key,
                      const char* defaultValue);

    char* fileName_;
    char* stringBuffer_;
    char* enumBuffer_;
    char* enumCursor_;
    unsigned int stringBufferSize_;
    unsigned int enumBufferSize_;
    unsigned int valid_;
};
