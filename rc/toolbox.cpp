// Toolbox: operations that no command reaches.
//
// Writes: /tmp/mac /proc/ticfg/env

#include "rc/toolbox.h"

#include <cstring>

#include "rc/files.h"
#include "rc/record.h"

int set_boot_env(const char *name, const char *value)
{
    const File environment = open_file("/proc/ticfg/env", "r+");
    if (!environment) {
        return 1;
    }
    char text[1024 + 1] = {};
    (void)!fread(text, 1, sizeof text - 1, environment.get());
    if (const char *place = strstr(text, name)) {
        char word[sizeof text] = "";
        char current[sizeof text] = "";
        Scan scan = {place};
        (void)(scan_word(scan, word) && scan_word(scan, current));
        if (strcasecmp(current, value) == 0) {
            return 0;
        }
    }
    (void)fseek(environment.get(), 0, SEEK_SET);
    (void)fprintf(environment.get(), "%s %s\n", name, value);
    return 0;
}

int read_factory_data()
{
    constexpr long kPlace = 1708;
    char text[16 + 1] = {};
    const File flash = open_file("/dev/mtdblock/2", "r");
    if (!flash) {
        return 0;
    }
    if (fseek(flash.get(), kPlace, SEEK_SET) == 0) {
        (void)!fread(text, 1, sizeof text - 1, flash.get());
    }
    if (const File mac = open_file("/tmp/mac", "a")) {
        (void)fprintf(mac.get(), "-%s", text);
    }
    (void)fwrite(text, 1, sizeof text - 1, stdout);
    (void)putchar('\n');
    return 0;
}
