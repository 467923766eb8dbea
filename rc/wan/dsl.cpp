// DSL line and ATM circuits: trains the line, tells whether it carries data, keeps the circuit table.
//
// Reads:  wan_dslmode
// Writes: /tmp/vcc
// Runs:   atmctl adslctl
// Needs:  /etc/version
//
// The line is started once at boot and trains in the background; whatever needs it asks later whether it is
// up. Nothing here stops it.

#include "rc/wan/internal.h"

#include <unistd.h>

#include <cstring>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/record.h"
#include "rc/text.h"
#include "rc/wan/wan.h"

namespace {

constexpr size_t kModulationSize = 8;

struct Modulation {
    const char *setting;
    char word[kModulationSize];  // in the modem tool's own vocabulary
};

constexpr Modulation kModulations[] = {
    {"A2PMOD", "epm"},
    {"GDMT", "edm"},
    {"A2MOD", "e2m"},
};

constexpr char kMultimode[kModulationSize] = "dlp2tem";

const char *modulation_word(const std::string &setting)
{
    for (const Modulation &modulation : kModulations) {
        if (setting == modulation.setting) {
            return modulation.word;
        }
    }
    return kMultimode;
}

// Deletes the circuit that a line of the listing begins with, if it begins with one.
void delete_circuit(const char *line)
{
    char circuit[16];
    Scan scan = {line};
    if (scan_word(scan, circuit) && strchr(circuit, '.') != nullptr) {
        SYSTEM("/usr/sbin/atmctl operate vcc --delete %s", circuit);
    }
}

}  // namespace

int check_wan_status()
{
    std::string status;
    (void)myPipe("/usr/sbin/adslctl info", status);
    return contains(status, "Showtime") ? 1 : 0;
}

void clean_vc_table()
{
    run("/usr/sbin/atmctl operate vcc --show > /tmp/vcc");
    const File listing = open_file("/tmp/vcc", "r");
    char line[128];
    // The listing's header.
    if (!listing || fgets(line, sizeof line, listing.get()) == nullptr) {
        return;
    }
    // Deliberate: a last line without a line end is left out.
    while (fgets(line, sizeof line, listing.get()) != nullptr && feof(listing.get()) == 0) {
        delete_circuit(line);
    }
}

void add_wan_circuit(int vpi, int vci)
{
    SYSTEM("/usr/sbin/atmctl operate vcc --add 0.%d.%d aal5 1 unknown --addq 0.%d.%d 64 0", vpi, vci, vpi,
           vci);
    (void)usleep(10);
}

int wait_ppp(unsigned seconds)
{
    // A signal cuts a sleep short.
    do {
        seconds = sleep(seconds);
    } while (seconds > 0);
    return file_exists("/tmp/wan_uptime") ? 0 : -1;
}

int start_adsl()
{
    const std::string mode = nvram_text("wan_dslmode");
    // Boards of this letter need the option; on the others its space stays.
    const char *margin = version_letter() == 'B' ? "--CoMinMgn" : "";
    run("/usr/sbin/atmctl stop");
    SYSTEM("/usr/sbin/adslctl configure --mod %s --bitswap on --sra on --lpair i %s", modulation_word(mode),
           margin);
    run("/usr/sbin/adslctl connection --up");
    run("/usr/sbin/atmctl start --pqs 125");
    return 0;
}
