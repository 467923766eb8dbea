// Shell helpers: running commands, running markers, interface address, WAN address check.
//
// Reads:  wan_ifname
// Writes: /var/run/rc.%s.run /tmp/wan_ipaddr /tmp/mac /proc/ticfg/env
// Runs:   cp
// Needs:  -
//
// Separate runs of rc meet only through the markers and the address record kept here. Neither is locked:
// two runs that look for a marker at the same moment both go ahead.

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "rc/frame.h"
#include "rc/rc.h"

namespace {

constexpr const char *kUptime = "/proc/uptime";
constexpr const char *kWanAddressRecord = "/tmp/wan_ipaddr";
constexpr uint32_t kMarkerSeconds = 10;

struct MarkerPath {
    char text[128];
};

MarkerPath marker_path(const char *name)
{
    MarkerPath path;
    (void)snprintf(path.text, sizeof path.text, "/var/run/rc.%s.run", name);
    return path;
}

// The whole number at the start of a file, cut to 32 bits; 0 when there is none.
uint32_t first_number(FILE *file)
{
    return static_cast<uint32_t>(read_number(file));
}

// Copies the uptime to the marker's own path, for a tree whose /var does not live under /tmp.
void write_marker_directly(const char *path)
{
    const File uptime = open_file(kUptime, "r");
    if (!uptime) {
        return;
    }
    char text[128];
    const size_t length = fread(text, 1, sizeof text, uptime.get());
    if (const File marker = open_file(path, "w")) {
        (void)fwrite(text, 1, length, marker.get());
    }
}

}  // namespace

void run(const char *command)
{
    // No caller asks how the command ended: success shows later, in files.
    (void)!system(command);
}

int SYSTEM(const char *format, ...)
{
    char command[kCommandSize] = {};
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    run(command);
    // Deliberate: yields to the daemon just started.
    (void)usleep(1);
    return 0;
}

int MY_SYSTEM(const char *format, ...)
{
    char command[kCommandSize] = {};
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    (void)puts(command);
    return system(command);
}

int myPipe(const char *command, std::string &out)
{
    out.clear();
    FILE *output = popen(command, "r");
    if (output == nullptr) {
        return 0;
    }
    char line[4096];
    while (fgets(line, sizeof line, output) != nullptr) {
        out += line;
    }
    return pclose(output);
}

int rc_add_running(const char *name)
{
    if (name == nullptr) {
        return 0;
    }
    const MarkerPath path = marker_path(name);
    if (file_exists(path.text)) {
        const File uptime = open_file(kUptime, "r");
        const File marker = open_file(path.text, "r");
        if (!uptime || !marker) {
            return 0;
        }
        const uint32_t now = first_number(uptime.get());
        const uint32_t then = first_number(marker.get());
        // Deliberate: a stale marker is neither refreshed nor removed, so until the action ends and
        // removes it, no further run is held off.
        return then + kMarkerSeconds >= now ? 1 : 0;
    }
    // Deliberate: the copy goes to /tmp and the full marker path behind it, which is the marker itself
    // where /var is a link to tmp/var.
    SYSTEM("/bin/cp /proc/uptime /tmp/%s", path.text);
    if (!file_exists(path.text)) {
        write_marker_directly(path.text);
    }
    return 0;
}

int rc_del_running(const char *name)
{
    if (name != nullptr) {
        remove_file(marker_path(name).text);
    }
    return 0;
}

std::optional<std::string> getIPAddress(const char *ifname)
{
    const Descriptor query(socket(AF_INET, SOCK_RAW, 255));
    if (query.fd < 0) {
        perror("socket creating failed");
        return std::nullopt;
    }
    ifreq request = {};
    copy_text(request.ifr_name, ifname);
    if (ioctl(query.fd, SIOCGIFADDR, &request) < 0) {
        return std::nullopt;
    }
    sockaddr_in address;
    memcpy(&address, &request.ifr_addr, sizeof address);
    return inet_ntoa(address.sin_addr);
}

int check_wanIp()
{
    char current[18] = "";
    if (const auto address = getIPAddress(nvram_text("wan_ifname").c_str())) {
        copy_text(current, *address);
    }
    const File record = open_file(kWanAddressRecord, file_exists(kWanAddressRecord) ? "r+" : "w+");
    if (!record) {
        return -1;
    }
    char recorded[16] = "";
    (void)!fgets(recorded, sizeof recorded, record.get());
    if (strcmp(current, recorded) == 0 && strlen(recorded) >= 5) {
        return 0;
    }
    // Deliberate: the record is not truncated, so a shorter address leaves the tail of a longer one
    // behind and the next comparison reports a change again.
    (void)fseek(record.get(), 0, SEEK_SET);
    (void)fputs(current, record.get());
    return 1;
}

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
