// Shows a DHCP lease file of the router as a table: leases show FILE
//
// Exit status: 0 shown, 1 shown but the file is damaged, 2 wrong input.
#include "rc/lan/leases.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "forms/escapes.h"
#include "tools/viewer.h"

namespace {

using forms::escape;

constexpr const char *kHelp =
    "usage: leases show FILE\n"
    "Shows a lease file of the router's DHCP server, one record a line.\n"
    "\n"
    "  --help    this text\n"
    "\n"
    "A record is held, a reservation (made by rc for a year), expired, or unused. The server and rc read\n"
    "the list up to the first unused record. FILE may be \"-\" for standard input.\n";

constexpr Viewer kViewer = {"leases", kHelp};

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
                 escape(lease_name(record)).c_str());
}

// Shows all records; returns the exit status.
int show(const Input &input)
{
    LeaseRecord record;
    size_t got = read_input(kViewer, input, &record, sizeof record);
    (void)printf("%4s  %-15s  %-17s  %11s  %-11s  %s\n", "no.", "address", "hardware address", "lease time",
                 "state", "name");
    size_t count = 0;
    for (bool ended = false; got == sizeof record; got = read_input(kViewer, input, &record, sizeof record)) {
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
                      input.name.c_str(), got, sizeof record);
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    return show(open_input(kViewer, argc, argv, nullptr));
}
