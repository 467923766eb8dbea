// Records of settings, read as scanf templates read them.
#pragma once

#include <cstddef>
#include <string_view>

// A place in a record that is being read from left to right. Each scan_... function reads one item of a
// scanf template and moves on; it returns false at the first mismatch, where the template stops, and
// leaves its destination as it was. Fields between equal separators are read by scan_fields.
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
//
// Choice: a hexadecimal number "0x" without a digit is 0 and read whole, as scanf of the C library reads it.
[[nodiscard]] bool scan_hex(Scan &scan, unsigned &number);

// A literal character of the template.
[[nodiscard]] bool scan_char(Scan &scan, char expected);

// One field of scan_fields: a number, or text up to the separator.
[[nodiscard]] inline bool scan_field(Scan &scan, char /*separator*/, int &number)
{
    return scan_int(scan, number);
}

template <size_t N>
[[nodiscard]] bool scan_field(Scan &scan, char separator, char (&text)[N])
{
    return scan_text(scan, text, separator);
}

// Fields with a separator between them. The number of fields set; those behind the first mismatch keep what
// they held.
template <typename... Fields>
int scan_fields(Scan &scan, char separator, Fields &...fields)
{
    int set = 0;
    const auto next = [&](auto &field) {
        if ((set > 0 && !scan_char(scan, separator)) || !scan_field(scan, separator, field)) {
            return false;
        }
        ++set;
        return true;
    };
    (void)(next(fields) && ...);
    return set;
}

// The next record of a list: sets `record` to the text before the next byte below 2 and moves `list` to
// just past that byte. False when nothing is left. An empty record between two separators is a record.
[[nodiscard]] bool next_record(std::string_view &list, std::string_view &record);
