// Shows a DHCP lease file of the router as a table: leases show FILE
//
// Exit status: 0 shown, 1 shown but the file is damaged, 2 wrong input.
#include "rc/lan/leases.h"

#include <getopt.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr const char *kHelp =
    "usage: leases show FILE\n"
    "Shows a lease file of the router's DHCP server, one record a line.\n"
    "\n"
    "  --help    this text\n"
    "\n"
    "A record is held, a reservation (made by rc for a year), expired, or unused. The server and rc read "
    "the\n"
    "list up to the first unused record. FILE may be \"-\" for standard input.\n";

struct FileCloser {
    void operator()(FILE *file) const { (void)fclose(file); }
};

using File = std::unique_ptr<FILE, FileCloser>;

[[noreturn]] void refuse(const std::string &why)
{
    (void)fprintf(stderr, "leases: %s\n", why.c_str());
    exit(2);
}

// Short printf-formatted text.
__attribute__((format(printf, 1, 2))) std::string format(const char *pattern, ...)
{
    char text[64];
    va_list values;
    va_start(values, pattern);
    (void)vsnprintf(text, sizeof text, pattern, values);
    va_end(values);
    return text;
}

std::string address_text(const unsigned char (&octets)[4])
{
    return format("%u.%u.%u.%u", octets[0], octets[1], octets[2], octets[3]);
}

// The six bytes of an Ethernet address; all sixteen when the others are not zero.
std::string hardware_text(const unsigned char (&bytes)[16])
{
    constexpr unsigned char kZero[10] = {};
    const size_t count = memcmp(bytes + 6, kZero, sizeof kZero) == 0 ? 6 : sizeof bytes;
    std::string text;
    for (size_t i = 0; i < count; i++) {
        text += format(i == 0 ? "%02x" : ":%02x", bytes[i]);
    }
    return text;
}

std::string duration_text(uint32_t seconds)
{
    const uint32_t days = seconds / 86400;
    const uint32_t hours = seconds / 3600 % 24;
    return days != 0 ? format("%ud %02u:%02u", days, hours, seconds / 60 % 60)
                     : format("%02u:%02u:%02u", hours, seconds / 60 % 60, seconds % 60);
}

// The name with bytes that would disturb a terminal as \xHH.
std::string name_text(std::string_view name)
{
    std::string text;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\\') {
            text += "\\\\";
        } else if (byte < 0x20 || byte > 0x7e) {
            text += format("\\x%02x", byte);
        } else {
            text += c;
        }
    }
    return text;
}

const char *state(const LeaseRecord &record)
{
    if (lease_number(record.address) == 0) {
        return "unused";
    }
    if (lease_number(record.seconds) == 0) {
        return "expired";
    }
    return lease_number(record.seconds) == kReservationSeconds ? "reservation" : "held";
}

void show_record(size_t number, const LeaseRecord &record)
{
    const uint32_t seconds = lease_number(record.seconds);
    (void)printf("%4zu  %-15s  %-17s  %11s  %-11s  %s\n", number, address_text(record.address).c_str(),
                 hardware_text(record.hardware).c_str(), duration_text(seconds).c_str(), state(record),
                 name_text(lease_name(record)).c_str());
}

// Reads one record; returns how many of its bytes are there.
size_t read_record(FILE *file, const std::string &path, LeaseRecord &record)
{
    const size_t got = fread(&record, 1, sizeof record, file);
    if (ferror(file) != 0) {
        refuse("cannot read " + path + ": " + strerror(errno));
    }
    return got;
}

// Shows all records; returns the exit status.
int show(FILE *file, const std::string &path)
{
    LeaseRecord record;
    size_t got = read_record(file, path, record);
    (void)printf("%4s  %-15s  %-17s  %11s  %-11s  %s\n", "no.", "address", "hardware address", "lease time",
                 "state", "name");
    size_t count = 0;
    for (bool ended = false; got == sizeof record; got = read_record(file, path, record)) {
        if (!ended && lease_number(record.address) == 0) {
            ended = true;
            (void)puts("      end of the list; what follows is not looked at");
        }
        show_record(count++, record);
    }
    (void)printf("%zu record%s\n", count, count == 1 ? "" : "s");
    if (got != 0) {
        (void)fflush(stdout);
        (void)fprintf(stderr, "leases: %s: the last record is cut short, %zu of %zu bytes are there\n",
                      path.c_str(), got, sizeof record);
        return 1;
    }
    return 0;
}

void read_options(int argc, char **argv)
{
    static const option kLong[] = {{"help", no_argument, nullptr, 'h'}, {nullptr, 0, nullptr, 0}};
    for (int option = 0; (option = getopt_long(argc, argv, "h", kLong, nullptr)) != -1;) {
        if (option != 'h') {
            refuse("see leases --help");
        }
        (void)fputs(kHelp, stdout);
        exit(0);
    }
}

}  // namespace

int main(int argc, char **argv)
{
    read_options(argc, argv);
    char **words = argv + optind;
    if (argc - optind != 2 || strcmp(words[0], "show") != 0) {
        refuse("say \"leases show FILE\"; see leases --help");
    }
    const std::string path = words[1];
    if (path == "-") {
        return show(stdin, "standard input");
    }
    const File file(fopen(path.c_str(), "r"));
    if (!file) {
        refuse("cannot read " + path + ": " + strerror(errno));
    }
    return show(file.get(), path);
}
