// Shows a DHCP lease file of the router as a table: leases show FILE
#include "forms/leases.h"

#include <cstdio>
#include <string>
#include <vector>

#include "forms/escapes.h"
#include "forms/files.h"
#include "forms/program.h"

namespace {

const forms::Program kProgram = {
    .name = "leases",
    .usage = {"show FILE"},
    .about = "Shows a lease file of the router's DHCP server, one record a line. \"-\" is standard input.",
    .more =
        "A record is held, a reservation (made by rc for a year), expired, or unused. The server and rc read "
        "the list up to the first unused record.",
    .no = "shown, but the file is damaged",
};

std::string duration_text(uint32_t seconds)
{
    char text[32];
    const uint32_t days = seconds / 86400;
    const uint32_t hours = seconds / 3600 % 24;
    const uint32_t minutes = seconds / 60 % 60;
    if (days != 0) {
        (void)snprintf(text, sizeof text, "%ud %02u:%02u", days, hours, minutes);
    } else {
        (void)snprintf(text, sizeof text, "%02u:%02u:%02u", hours, minutes, seconds % 60);
    }
    return text;
}

void show(const std::vector<forms::Lease> &leases)
{
    (void)printf("%4s  %-15s  %-17s  %11s  %-11s  %s\n", "no.", "address", "hardware address", "lease time",
                 "state", "name");
    size_t number = 0;
    bool ended = false;
    for (const forms::Lease &lease : leases) {
        if (!ended && lease.state == forms::LeaseState::kUnused) {
            ended = true;
            (void)puts("      end of the list; what follows is not looked at");
        }
        (void)printf("%4zu  %-15s  %-17s  %11s  %-11s  %s\n", number++, lease.address.c_str(),
                     lease.hardware.c_str(), duration_text(lease.seconds).c_str(),
                     forms::state_name(lease.state), forms::escape(lease.name).c_str());
    }
    (void)printf("%zu record%s\n", leases.size(), leases.size() == 1 ? "" : "s");
}

int work(const std::vector<std::string> &arguments)
{
    const std::vector<std::string> words = forms::read_options(kProgram, arguments);
    if (words.size() != 2 || words[0] != "show") {
        throw forms::usage_error("say \"leases show FILE\"");
    }
    const forms::LeaseFile file = forms::read_lease_file(forms::read_input(words[1], forms::kLeasesLimit));
    show(file.leases);
    if (file.rest != 0) {
        throw forms::Failure(forms::kNo, forms::shown(forms::input_name(words[1])) +
                                             ": the last record is cut short, " + std::to_string(file.rest) +
                                             " of its bytes are there");
    }
    return forms::kDone;
}

}  // namespace

int main(int argc, char **argv)
{
    return forms::run_program("leases", argc, argv, work);
}
