// Text, record and file helpers that every service uses.

#include <arpa/inet.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "rc/rc.h"

namespace {

// White space as the C library's scanf and strtol skip it.
bool is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

const char *after_space(const char *text)
{
    while (is_space(*text)) {
        ++text;
    }
    return text;
}

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// Reads a decimal number as strtoll does: white space, sign, digits, held at the ends of 64 bits. Null when
// there is no digit, else the place after the last. Not strtoll itself, whose tables for other locales cost
// every run 64 KiB of resident memory.
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

// Takes `length` characters at the scan's place into the destination, as many as fit, and moves past all.
void take(Scan &scan, size_t length, char *destination, size_t size)
{
    copy_text(destination, size, std::string_view(scan.at, length));
    scan.at += length;
}

}  // namespace

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
    const in_addr_t address = inet_addr(dotted);
    unsigned char octets[4];
    static_assert(sizeof address == sizeof octets);
    memcpy(octets, &address, sizeof octets);
    return static_cast<uint32_t>(octets[0]) << 24 | static_cast<uint32_t>(octets[1]) << 16 |
           static_cast<uint32_t>(octets[2]) << 8 | octets[3];
}

void append_format(std::string &text, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (length > 0) {
        const size_t old = text.size();
        text.resize(old + static_cast<size_t>(length));
        (void)vsnprintf(text.data() + old, static_cast<size_t>(length) + 1, format, again);
    }
    va_end(again);
}

std::string nvram_text(const char *key)
{
    return nvram_get(key).value_or(std::string());
}

int nvram_int(const char *key)
{
    return to_int(nvram_text(key));
}

char nvram_first(const char *key)
{
    return nvram_text(key).c_str()[0];
}

bool scan_text(Scan &scan, char *destination, size_t size, char stop)
{
    const char *end = strchr(scan.at, stop);
    const size_t length = end == nullptr ? strlen(scan.at) : static_cast<size_t>(end - scan.at);
    if (length == 0) {
        return false;
    }
    take(scan, length, destination, size);
    return true;
}

bool scan_word(Scan &scan, char *destination, size_t size)
{
    scan.at = after_space(scan.at);
    size_t length = 0;
    while (scan.at[length] != '\0' && !is_space(scan.at[length])) {
        ++length;
    }
    if (length == 0) {
        return false;
    }
    take(scan, length, destination, size);
    return true;
}

bool scan_int(Scan &scan, int &number)
{
    long long value = 0;
    const char *end = read_decimal(scan.at, value);
    if (end == nullptr) {
        return false;
    }
    number = static_cast<int>(value);
    scan.at = end;
    return true;
}

bool scan_hex(Scan &scan, unsigned &number)
{
    char *end = nullptr;
    const unsigned long long value = strtoull(scan.at, &end, 16);
    if (end == scan.at) {
        return false;
    }
    number = static_cast<unsigned>(value);
    scan.at = end;
    return true;
}

bool scan_char(Scan &scan, char expected)
{
    if (*scan.at != expected) {
        return false;
    }
    ++scan.at;
    return true;
}

bool next_record(std::string_view &list, std::string_view &record)
{
    if (list.empty()) {
        return false;
    }
    size_t length = 0;
    while (length < list.size() && static_cast<unsigned char>(list[length]) >= 2) {
        ++length;
    }
    record = list.substr(0, length);
    list.remove_prefix(length < list.size() ? length + 1 : length);
    return true;
}

File open_file(const char *path, const char *mode)
{
    return File(fopen(path, mode));
}

Descriptor::~Descriptor()
{
    if (fd >= 0) {
        (void)close(fd);
    }
}

bool file_exists(const char *path)
{
    return access(path, F_OK) == 0;
}

bool file_missing(const char *path)
{
    return access(path, F_OK) != 0 && errno == ENOENT;
}

bool write_all(int fd, std::string_view data)
{
    while (!data.empty()) {
        const ssize_t put = write(fd, data.data(), data.size());
        if (put > 0) {
            data.remove_prefix(static_cast<size_t>(put));
        } else if (put == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

long long read_number(FILE *file)
{
    long long number = 0;
    (void)!fscanf(file, "%lld", &number);
    return number;
}

void remove_file(const char *path)
{
    // A file that is not there needs no removing.
    (void)unlink(path);
}

char version_letter()
{
    const File version = open_file("/etc/version", "r");
    if (!version) {
        return '\0';
    }
    const int letter = fgetc(version.get());
    return letter == EOF ? '\0' : static_cast<char>(letter);
}
