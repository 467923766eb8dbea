// Shared declarations: service rows, shell helpers, running markers, small text and file helpers.
//
// Everything a service file needs beside the settings store (nvram.h). Nothing here allocates without
// bound but the texts that commands print; no function throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "nvram.h"

// One operation of a service: no arguments; a negative result is failure, anything else success.
using Operation = int (*)();

// One row of a service table. A table ends with a row whose name is null; an operation that a service
// does not have is null, and such a row is passed over as if its name did not match.
struct Service {
    const char *name;
    Operation start;
    Operation stop;
    Operation create;
};

// ---- running commands ------------------------------------------------------------------------------

// A command built by SYSTEM or MY_SYSTEM holds at most this many characters; the rest is cut, silently.
constexpr size_t kCommandSize = 1024;

// Formats a command (printf conventions, at most 1023 characters), runs it through the shell and yields
// for one microsecond. The command's status is discarded; always 0.
int SYSTEM(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The same, but the command is first printed as a line of its own, nothing is yielded, and the status of
// system() is the result. The wireless services use it, where the echo is wanted.
int MY_SYSTEM(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Runs a command of fixed text, or of any length, as it stands; its status is not looked at, no yield.
void run(const char *command);

// Runs a command and collects all of its standard output (text up to the first NUL byte of each piece
// read). Result: the status from pclose, or 0 when the command could not be started; `out` is then empty.
int myPipe(const char *command, std::string &out);

// ---- running markers and the WAN address -------------------------------------------------------------

// Marks a service as running. 1: a marker of at most 10 seconds' age exists, another run is at work;
// 0: go ahead (always for a null name, which is never marked).
[[nodiscard]] int rc_add_running(const char *name);

// Removes the service's marker; nothing for a null name. Always 0.
int rc_del_running(const char *name);

// The interface's IPv4 address in dotted form, or none when it has none.
std::optional<std::string> getIPAddress(const char *ifname);

// Compares the address of `wan_ifname` with /tmp/wan_ipaddr and records it there.
// 1: changed (and recorded), 0: unchanged, -1: the record could not be opened.
[[nodiscard]] int check_wanIp();

// ---- text -----------------------------------------------------------------------------------------------

// Copies `source` (null: nothing) up to, not including, the first `stop` character into `destination`,
// which holds `size` bytes (at least 1): what does not fit is cut, the result is always terminated.
void strccpy(char *destination, size_t size, const char *source, char stop);

// Copies as much of `text` as fits and terminates it; `size` counts the terminator and is at least 1.
void copy_text(char *destination, size_t size, std::string_view text);

template <size_t N>
void copy_text(char (&destination)[N], std::string_view text)
{
    copy_text(destination, N, text);
}

// The number at the start of a text as C's atoi reads it on a 64-bit workstation: blanks, sign, digits,
// cut to 32 bits. The same on every processor, whatever the width of its long.
[[nodiscard]] int to_int(const char *text);

inline int to_int(const std::string &text)
{
    return to_int(text.c_str());
}

// A dotted address as a number whose top byte is the first octet, on every processor. Reads what the C
// library's inet_addr reads (short forms, octal and hexadecimal octets too); 0xFFFFFFFF for anything else.
[[nodiscard]] uint32_t address_number(const char *dotted);

inline uint32_t address_number(const std::string &dotted)
{
    return address_number(dotted.c_str());
}

// Minutes as seconds; an absurd number wraps around at 32 bits instead of overflowing.
[[nodiscard]] constexpr int minutes_as_seconds(int minutes)
{
    return static_cast<int>(static_cast<unsigned>(minutes) * 60U);
}

inline bool contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

// Appends printf-formatted text of any length to `text`.
void append_format(std::string &text, const char *format, ...) __attribute__((format(printf, 2, 3)));

// ---- settings with the defaults most callers use ----------------------------------------------------------

// The setting's text, empty when missing.
std::string nvram_text(const char *key);

// The setting as a number (to_int), 0 when missing.
[[nodiscard]] int nvram_int(const char *key);

// The setting's first character, NUL when missing or empty.
[[nodiscard]] char nvram_first(const char *key);

// The usual yes/no test: the setting begins with "1".
inline bool nvram_on(const char *key)
{
    return nvram_first(key) == '1';
}

// ---- reading records as scanf templates read them -------------------------------------------------------

// A place in a record that is being read from left to right. Each scan_... function reads one item of a
// scanf template and moves on; it returns false at the first mismatch, where the template stops, and
// leaves its destination as it was. Chain them with && in the order of the template.
struct Scan {
    const char *at;
};

// "%[^x]": one or more characters other than `stop`. Keeps the first size - 1 of them, skips the rest.
[[nodiscard]] bool scan_text(Scan &scan, char *destination, size_t size, char stop);

template <size_t N>
[[nodiscard]] bool scan_text(Scan &scan, char (&destination)[N], char stop)
{
    return scan_text(scan, destination, N, stop);
}

// "%s": skips white space, then one or more characters that are not white space, bounded as scan_text.
[[nodiscard]] bool scan_word(Scan &scan, char *destination, size_t size);

template <size_t N>
[[nodiscard]] bool scan_word(Scan &scan, char (&destination)[N])
{
    return scan_word(scan, destination, N);
}

// "%d": skips white space; a decimal number, cut to 32 bits.
[[nodiscard]] bool scan_int(Scan &scan, int &number);

// "%x": skips white space; a hexadecimal number with or without 0x, cut to 32 bits.
[[nodiscard]] bool scan_hex(Scan &scan, unsigned &number);

// A literal character of the template.
[[nodiscard]] bool scan_char(Scan &scan, char expected);

// The next record of a list: sets `record` to the text before the next byte below 2 and moves `list` to
// just past that byte. False when nothing is left. An empty record between two separators is a record.
[[nodiscard]] bool next_record(std::string_view &list, std::string_view &record);

// ---- files ------------------------------------------------------------------------------------------------

struct FileCloser {
    void operator()(FILE *file) const
    {
        // Written by design without a check: a full disk shortens the file, nobody is told.
        (void)fclose(file);
    }
};

// An open stream that closes itself; null when it could not be opened.
using File = std::unique_ptr<FILE, FileCloser>;

// fopen with the stream handed to a File.
[[nodiscard]] File open_file(const char *path, const char *mode);

// A socket's descriptor that closes itself; negative when it could not be made.
struct Descriptor {
    int fd;

    explicit Descriptor(int opened) : fd(opened) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor();
};

[[nodiscard]] bool file_exists(const char *path);

// Whether there is no such file: not that it cannot be looked at for another reason.
[[nodiscard]] bool file_missing(const char *path);

// Writes all of `data`; false when the file does not take it whole.
[[nodiscard]] bool write_all(int fd, std::string_view data);

// The decimal number that stands next in the file, read in 64 bits on every processor; 0 when there is none.
[[nodiscard]] long long read_number(FILE *file);

// Deletes a file; one that is not there is no error.
void remove_file(const char *path);

// The first character of /etc/version (its board letter), NUL when the file is missing or empty.
[[nodiscard]] char version_letter();
