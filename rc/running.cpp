// Running markers and the WAN address: what separate runs of rc know of each other.
//
// Reads:  wan_ifname
// Writes: /var/run/rc.%s.run /tmp/wan_ipaddr
// Runs:   cp
//
// Neither is locked: two runs that look for a marker at the same moment both go ahead.

#include "rc/running.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstring>

#include "rc/files.h"
#include "rc/interface.h"
#include "rc/nvram.h"
#include "rc/shell.h"
#include "rc/text.h"

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
    // Deliberate: a raw socket, which only root may have.
    const Descriptor query(socket(AF_INET, SOCK_RAW, 255));
    if (query.fd < 0) {
        perror("socket creating failed");
        return std::nullopt;
    }
    const auto address = interface_address(query.fd, SIOCGIFADDR, ifname);
    if (!address) {
        return std::nullopt;
    }
    return dotted_text(*address);
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
