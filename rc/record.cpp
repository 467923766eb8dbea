// Records of settings: cut out of their lists, and read field by field.

#include "rc/record.h"

#include <cstdlib>
#include <cstring>

#include "rc/text.h"

namespace {

// Takes `length` characters at the scan's place into the destination, as many as fit, and moves past all.
void take(Scan &scan, size_t length, char *destination, size_t size)
{
    copy_text(destination, size, std::string_view(scan.at, length));
    scan.at += length;
}

// Whether a number that ends at `end` is the 0 of a "0x" without a digit behind it, which scanf reads whole.
bool is_lone_prefix(const char *number, const char *end)
{
    while (is_space(*number) || *number == '-' || *number == '+') {
        ++number;
    }
    return end == number + 1 && *number == '0' && (*end == 'x' || *end == 'X');
}

}  // namespace

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
    while (is_space(*scan.at)) {
        ++scan.at;
    }
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
    scan.at = is_lone_prefix(scan.at, end) ? end + 1 : end;
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
