// Text: bounded copies, numbers, addresses, and text filled with values.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

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

// White space as the C library's scanf and strtol skip it.
constexpr bool is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Reads a decimal number as strtoll does: white space, sign, digits, clamped to 64 bits. Null when
// there is no digit, otherwise the place after the last. Not strtoll itself, whose tables for other locales
// cost every run 64 KiB of resident memory.
const char *read_decimal(const char *text, long long &number);

// The number at the start of a text as C's atoi reads it on a 64-bit workstation: white space, sign, digits,
// cut to 32 bits. The same on every processor, whatever the width of its long.
// Choice: a number in a setting or a file is read in 64 bits and cut to 32 (the receive counter stays at
// 64) on every processor, so that an overlong number means the same on the workstation and on the target.
[[nodiscard]] int to_int(const char *text);

inline int to_int(const std::string &text)
{
    return to_int(text.c_str());
}

// A dotted address as a number whose top byte is the first octet, on every processor. Reads what the C
// library's inet_addr reads (short forms, octal and hexadecimal octets too); 0xFFFFFFFF for anything else.
// Choice: text that is no address counts as all ones, as the C library reads it.
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

// An address number as dotted text.
std::string dotted_text(uint32_t address);

// Appends printf-formatted text of any length to `text`.
void append_format(std::string &text, const char *format, ...) __attribute__((format(printf, 2, 3)));
void append_values(std::string &text, const char *format, va_list values)
    __attribute__((format(printf, 2, 0)));
