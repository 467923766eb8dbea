// Boot: brings the settings store into being and records the versions the web pages show.
//
// Reads:  restore_default upgrade_default fw_services_def
// Sets:   fw_services_def upgrade_default wifi_present
// Writes: /tmp/nvram /tmp/adslver /etc/svn.info
// Runs:   cp busybox adslctl
//
// rc init runs this once; any other command that finds no working copy runs it again as a safety net.

#include "rc/boot.h"

#include <cstring>

#include "rc/files.h"
#include "rc/frame.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"
#include "rc/wireless/wireless.h"

namespace {

// Takes the predefined services of a new firmware. The flag stays for the next boot where they cannot be read
// or stored.
void take_new_services()
{
    Bytes defaults;
    if (!read_store(kDefaultsPath, defaults)) {
        return;
    }
    const std::string services(store_find(defaults.view(), "fw_services_def").value_or(""));
    nvram_set("fw_services_def", services);
    if (nvram_get_fun("fw_services_def", kStorePath) == services) {
        nvram_set("upgrade_default", "0");
        (void)nvram_commit();
    }
}

}  // namespace

int rc_init()
{
    int loaded = nvram_load();
    if (loaded != 0) {
        // Before the defaults replace what the user set, the flash gets a second chance.
        loaded = nvram_load();
    }
    if (loaded != 0) {
        // Deliberate: the command ends in a line end; the copy below does not, and is busybox's.
        SYSTEM("/bin/cp %s %s\n", kDefaultsPath, kStorePath);
        (void)nvram_commit();
    }
    if (nvram_on("restore_default")) {
        // The flag is not reset: it takes whatever value the defaults hold for it.
        SYSTEM("/bin/busybox cp %s %s", kDefaultsPath, kStorePath);
        (void)nvram_commit();
    }
    if (nvram_on("upgrade_default")) {
        take_new_services();
    }
    nvram_set("wifi_present", wifi_init() == 0 ? "1" : "0");
    return 0;
}

void write_version_records()
{
    char driver[100] = {};
    char firmware[100] = {};
    run("/usr/sbin/adslctl --version 2> /tmp/adslver");
    if (const File output = open_file("/tmp/adslver", "r")) {
        // The second line is the one that counts; with one line only, the first stays. Deliberate: the
        // buffer is not cleared in between, so behind a second line of under ten characters the record
        // shows what is left of the first.
        (void)!fgets(driver, sizeof driver, output.get());
        (void)!fgets(driver, sizeof driver, output.get());
    }
    const size_t lead = strlen("Firmware version: ");
    copy_text(firmware, "Firmware version: ");
    if (const File version = open_file("/etc/version", "r")) {
        (void)!fgets(firmware + lead, static_cast<int>(sizeof firmware - lead), version.get());
    }
    if (const File record = open_file("/etc/svn.info", "a")) {
        (void)fseek(record.get(), 0, SEEK_END);
        (void)fputs("ADSL driver version: ", record.get());
        (void)fputs(driver + 10, record.get());
        (void)fputs(firmware, record.get());
    }
}
