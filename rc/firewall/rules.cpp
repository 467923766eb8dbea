// The rules file: one line for each command of the packet filter's tool.
//
// A rule set is thousands of short lines. Filling them here, with the three conversions they need, takes
// about a third of the instructions that the C library's formatter takes for them.

#include "rc/firewall/rules.h"

#include <charconv>
#include <cstdarg>
#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view kPrefix = "iptables ";

// The one rules file of this run.
FILE *rules = nullptr;

// A text of bounded length that is being put together.
struct Text {
    char *at;
    char *const end;  // one character stays free behind it
};

void put(Text &text, char character)
{
    if (text.at != text.end) {
        *text.at++ = character;
    }
}

void put(Text &text, std::string_view piece)
{
    const size_t room = static_cast<size_t>(text.end - text.at);
    const size_t length = piece.size() < room ? piece.size() : room;
    memcpy(text.at, piece.data(), length);
    text.at += length;
}

void put(Text &text, int number)
{
    char digits[12];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, number);
    put(text, std::string_view(digits, static_cast<size_t>(result.ptr - digits)));
}

void fill(Text &text, const char *format, va_list arguments)
{
    for (; *format != '\0'; ++format) {
        if (*format != '%') {
            put(text, *format);
            continue;
        }
        ++format;
        if (*format == 's') {
            put(text, std::string_view(va_arg(arguments, const char *)));
        } else if (*format == 'd') {
            put(text, va_arg(arguments, int));
        } else {
            put(text, static_cast<char>(va_arg(arguments, int)));
        }
    }
}

void write_rule(const char *format, va_list arguments)
{
    char line[kPrefix.size() + kRuleSize];
    memcpy(line, kPrefix.data(), kPrefix.size());
    Text text = {line + kPrefix.size(), line + sizeof line - 1};
    fill(text, format, arguments);
    *text.at++ = '\n';
    // A full disk shortens the file, without a message.
    (void)fwrite(line, 1, static_cast<size_t>(text.at - line), rules);
}

// fw_rule without a compiler's look at the format, for formats out of tables.
void write_table_rule(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_rule(format, arguments);
    va_end(arguments);
}

}  // namespace

void fw_rules_to(FILE *file)
{
    rules = file;
}

void fw_rule(const char *format, ...)
{
    if (rules == nullptr) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    write_rule(format, arguments);
    va_end(arguments);
}

void fw_rule_list(const char *const *formats, const char *text)
{
    if (rules == nullptr) {
        return;
    }
    for (; *formats != nullptr; ++formats) {
        write_table_rule(*formats, text);
    }
}

// Written to through a cursor, which the linter does not see.
// NOLINTNEXTLINE(readability-non-const-parameter)
void fw_fill(char *text, size_t size, const char *format, ...)
{
    Text filled = {text, text + size - 1};
    va_list arguments;
    va_start(arguments, format);
    fill(filled, format, arguments);
    va_end(arguments);
    *filled.at = '\0';
}
