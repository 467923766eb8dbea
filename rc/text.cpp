// Text helpers that every service uses.

#include "rc/text.h"

#include <arpa/inet.h>

#include <climits>
#include <cstdio>
#include <cstring>

namespace {

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

const char *after_space(const char *text)
{
    while (is_space(*text)) {
        ++text;
    }
    return text;
}

}  // namespace

const char *read_decimal(const char *text, long long &number)
{
    text = after_space(text);
    const bool negative = *text == '-';
    if (negative || *text == '+') {
        ++text;
    }
    if (!is_digit(*text)) {
        return nullptr;
    }
    long long value = 0;  // counted downwards, where the range is wider by one
    bool held = false;
    for (; is_digit(*text); ++text) {
        held = held || __builtin_mul_overflow(value, 10, &value) ||
               __builtin_sub_overflow(value, *text - '0', &value);
    }
    if (negative) {
        number = held ? LLONG_MIN : value;
    } else {
        number = held || value == LLONG_MIN ? LLONG_MAX : -value;
    }
    return text;
}

void copy_text(char *destination, size_t size, std::string_view text)
{
    const size_t length = text.size() < size ? text.size() : size - 1;
    memcpy(destination, text.data(), length);
    destination[length] = '\0';
}

void strccpy(char *destination, size_t size, const char *source, char stop)
{
    const std::string_view text = source == nullptr ? "" : source;
    copy_text(destination, size, text.substr(0, text.find(stop)));
}

int to_int(const char *text)
{
    long long number = 0;
    (void)read_decimal(text, number);
    return static_cast<int>(number);
}

uint32_t address_number(const char *dotted)
{
    return ntohl(inet_addr(dotted));
}

void append_values(std::string &text, const char *format, va_list values)
{
    va_list measured;
    va_copy(measured, values);
    const int length = vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length > 0) {
        const size_t old = text.size();
        text.resize(old + static_cast<size_t>(length));
        (void)vsnprintf(text.data() + old, static_cast<size_t>(length) + 1, format, values);
    }
}

void append_format(std::string &text, const char *format, ...)
{
    va_list values;
    va_start(values, format);
    append_values(text, format, values);
    va_end(values);
}

std::string dotted_text(uint32_t address)
{
    std::string text;
    append_format(text, "%u.%u.%u.%u", address >> 24, address >> 16 & 255, address >> 8 & 255, address & 255);
    return text;
}
