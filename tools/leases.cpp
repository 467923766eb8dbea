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

int work(const std::vector<std::string> &arguments)
{
    const std::vector<std::string> words = forms::read_options(kProgram, arguments);
    if (words.size() != 2 || words[0] != "show") {
        throw forms::usage_error("say \"leases show FILE\"");
    }
    const forms::LeaseFile file = forms::read_lease_file(forms::read_input(words[1], forms::kLeasesLimit));
    for (const std::string &line : forms::lease_lines(file.leases)) {
        (void)puts(line.c_str());
    }
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
