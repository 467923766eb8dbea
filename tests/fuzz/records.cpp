// Items of records, numbers and addresses against the C library's scanf, atoi and inet_addr; lists against
// a model of their separators.
#include <arpa/inet.h>

#include <cstring>
#include <string>

#include "rc/record.h"
#include "rc/text.h"
#include "tests/fuzz/fuzz.h"

namespace {

constexpr char kOld[] = "old";

void check_text(const std::string &text, char stop)
{
    char mine[12] = "old";
    char theirs[12] = "old";
    char format[16];
    int moved = -1;
    (void)snprintf(format, sizeof format, "%%11[^%c]", stop);
    Scan scan = {text.c_str()};
    const bool done = scan_text(scan, mine, stop);
    const int items = sscanf(text.c_str(), format, theirs);
    MUST(done == (items == 1));
    MUST(strcmp(mine, theirs) == 0);
    // Without a width scanf goes on as far as the program.
    (void)snprintf(format, sizeof format, "%%*[^%c]%%n", stop);
    (void)sscanf(text.c_str(), format, &moved);
    MUST(!done || scan.at == text.c_str() + moved);
    MUST(done || strcmp(mine, kOld) == 0);
}

void check_word(const std::string &text)
{
    char mine[8] = "old";
    char theirs[8] = "old";
    Scan scan = {text.c_str()};
    const bool done = scan_word(scan, mine);
    MUST(done == (sscanf(text.c_str(), "%7s", theirs) == 1));
    MUST(strcmp(mine, theirs) == 0);
}

void check_numbers(const std::string &text)
{
    int mine = 7;
    long theirs = 7;
    int moved = -1;
    Scan scan = {text.c_str()};
    const bool done = scan_int(scan, mine);
    MUST(done == (sscanf(text.c_str(), "%ld%n", &theirs, &moved) == 1));
    MUST(mine == static_cast<int>(theirs));
    MUST(!done || scan.at == text.c_str() + moved);
    MUST(to_int(text) == static_cast<int>(strtol(text.c_str(), nullptr, 10)));
    unsigned hex = 7;
    unsigned long theirs_hex = 7;
    scan = {text.c_str()};
    const bool is_hex = scan_hex(scan, hex);
    MUST(is_hex == (sscanf(text.c_str(), "%lx%n", &theirs_hex, &moved) == 1));
    MUST(hex == static_cast<unsigned>(theirs_hex));
    MUST(!is_hex || scan.at == text.c_str() + moved);
}

void check_list(std::string_view list)
{
    size_t at = 0;
    std::string_view left = list;
    std::string_view record;
    while (next_record(left, record)) {
        MUST(at < list.size());
        size_t end = at;
        while (end < list.size() && static_cast<unsigned char>(list[end]) >= 2) {
            ++end;
        }
        MUST(record == list.substr(at, end - at));
        at = end < list.size() ? end + 1 : end;
        MUST(left.size() == list.size() - at);
    }
    MUST(at == list.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view input = input_of(data, size);
    check_list(input);
    const std::string text(input.substr(0, input.find('\0')));
    for (const char stop : {':', ',', '/', '\x02'}) {
        check_text(text, stop);
    }
    check_word(text);
    check_numbers(text);
    MUST(address_number(text) == ntohl(inet_addr(text.c_str())));
    return 0;
}
