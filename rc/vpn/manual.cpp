// VPN tunnels with their own keys: shell scripts that drive the kernel's IPsec tools, run once and deleted.
//
// Writes: /tmp/manual_up.sh /tmp/manual_route.sh /tmp/manual_down.sh /tmp/manual_unroute.sh
// Runs:   manual_up.sh manual_route.sh manual_down.sh manual_unroute.sh
// Needs:  ipsec0 attached to the WAN interface

#include "rc/vpn/internal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "rc/files.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

constexpr size_t kOptionLength = 9;  // "--client "

// The client of a client argument: what follows the option word, nothing when there is none.
const char *client_of(const char *argument)
{
    return strlen(argument) < kOptionLength ? "" : argument + kOptionLength;
}

std::string esp_algorithm(const VpnPolicy &policy)
{
    std::string text = policy.enc_alg == 0 ? "3des" : policy.enc_alg == 1 ? "des" : "";
    // Deliberate: no authentication is MD5 here as well.
    text += policy.auth_alg == 2 ? "-sha1-96" : "-md5-96";
    return text;
}

bool create_script(const char *path, const std::string &script)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0755);
    if (fd < 0) {
        return false;
    }
    // A full disk shortens the script, without a message.
    (void)write_all(fd, script);
    (void)close(fd);
    return true;
}

// The IP-in-IP and the ESP half of one direction, and their group.
struct Direction {
    unsigned spi;
    const char *from;
    const char *to;
};

void append_setup(std::string &script, const VpnPolicy &policy, const Direction &way)
{
    append_format(script,
                  "ipsec spi --label \"%s\" --af inet --said tun0x%03x@%s \\\n"
                  "        --ip4 --src %s --dst %s &&\n",
                  policy.name, way.spi, way.to, way.from, way.to);
    append_format(script,
                  "ipsec spi --label \"%s\" --af inet --said esp0x%03x@%s \\\n"
                  "        --esp %s --src %s \\\n"
                  "        --authkey %s \\\n"
                  "        --enckey %s &&\n",
                  policy.name, way.spi, way.to, esp_algorithm(policy).c_str(), way.from, policy.auth_key,
                  policy.enc_key);
    append_format(script, "ipsec spigrp --label \"%s\" --said tun0x%03x@%s esp0x%03x@%s &&\n", policy.name,
                  way.spi, way.to, way.spi, way.to);
}

// What undoes a partial setup. Deliberate: these lines print the SPI without leading zeros.
void append_roll_back(std::string &script, const VpnPolicy &policy)
{
    append_format(script,
                  "ipsec eroute --label \"%s\" --eraf inet --del \\\n"
                  "        --src %s --dst %s\n",
                  policy.name, client_of(policy.local_net), client_of(policy.remote_net));
    append_format(script, "ipsec spi --label \"%s\" --af inet --del --said tun0x%x@%s   # outbound\n",
                  policy.name, get_word(policy.spi_out), policy.remote_gw);
    append_format(script,
                  "ipsec spi --label \"%s\" --af inet --del --said tun0x%x@%s   # inbound\n"
                  "} 2>/dev/null\n",
                  policy.name, get_word(policy.spi_in), policy.wan_ip);
}

std::string up_script(const VpnPolicy &policy)
{
    const unsigned spi_out = get_word(policy.spi_out);
    const unsigned spi_in = get_word(policy.spi_in);
    std::string script;
    setup_env_var(script, policy);
    script += "{\n";
    append_setup(script, policy, {spi_out, policy.wan_ip, policy.remote_gw});
    append_setup(script, policy, {spi_in, policy.remote_gw, policy.wan_ip});
    append_format(script,
                  "ipsec eroute --label \"%s\" --eraf inet --replace \\\n"
                  "        --src %s --dst %s --said tun0x%03x@%s &&\n",
                  policy.name, client_of(policy.local_net), client_of(policy.remote_net), spi_out,
                  policy.remote_gw);
    script +=
        "PLUTO_VERB=prepare-host ipsec _updown &&\n"
        "PLUTO_VERB=route-host ipsec _updown &&\n"
        "PLUTO_VERB=up-host ipsec _updown &&\n"
        "true\n"
        "} || {\n"
        "PLUTO_VERB=down-host ipsec _updown\n"
        "# do not delete route\n";
    append_roll_back(script, policy);
    return script;
}

std::string down_script(const VpnPolicy &policy)
{
    std::string script;
    setup_env_var(script, policy);
    append_format(script,
                  "{\n"
                  "PLUTO_VERB=down-host ipsec _updown\n"
                  "# do not delete route\n"
                  "ipsec eroute --label \"%s\" --eraf inet --del \\\n",
                  policy.name);
    append_format(script, "        --src %s --dst %s\n", client_of(policy.local_net),
                  client_of(policy.remote_net));
    append_format(script, "ipsec spi --label \"%s\" --af inet --del --said tun0x%03x@%s   # outbound\n",
                  policy.name, get_word(policy.spi_out), policy.remote_gw);
    append_format(script,
                  "ipsec spi --label \"%s\" --af inet --del --said tun0x%03x@%s   # inbound\n"
                  "}\n",
                  policy.name, get_word(policy.spi_in), policy.wan_ip);
    return script;
}

}  // namespace

void setup_env_var(std::string &buf, const VpnPolicy &policy)
{
    buf =
        "PATH=\"/usr/local/sbin:/sbin:/usr/sbin:/usr/local/bin:/bin:/usr/bin\"\n"
        "export PATH\n"
        "PLUTO_VERSION=1.1\n";
    append_format(buf, "PLUTO_CONNECTION=\"%s\"\n", policy.name);
    append_format(buf, "PLUTO_NEXT_HOP=%s\nPLUTO_INTERFACE=ipsec0\n", policy.wan_gateway);
    append_format(buf, "PLUTO_ME=%s\nPLUTO_MY_CLIENT=%s\nPLUTO_MY_CLIENT_NET=%s\nPLUTO_MY_CLIENT_MASK=%s\n",
                  policy.wan_ip, client_of(policy.local_net), policy.local_addr, policy.local_mask);
    if (policy.remote_gw_type == 0) {
        buf +=
            "PLUTO_PEER=0.0.0.0\n"
            "PLUTO_PEER_CLIENT=0.0.0.0/32\n"
            "PLUTO_PEER_CLIENT_NET=0.0.0.0\n"
            "PLUTO_PEER_CLIENT_MASK=255.255.255.255\n";
    } else {
        append_format(
            buf, "PLUTO_PEER=%s\nPLUTO_PEER_CLIENT=%s\nPLUTO_PEER_CLIENT_NET=%s\nPLUTO_PEER_CLIENT_MASK=%s\n",
            policy.remote_gw, client_of(policy.remote_net), policy.remote_addr, policy.remote_mask);
    }
    buf +=
        "export PLUTO_VERSION PLUTO_CONNECTION PLUTO_NEXT_HOP\n"
        "export PLUTO_INTERFACE PLUTO_ME PLUTO_MY_CLIENT\n"
        "export PLUTO_MY_CLIENT_NET PLUTO_MY_CLIENT_MASK PLUTO_PEER\n"
        "export PLUTO_PEER_CLIENT PLUTO_PEER_CLIENT_NET\n"
        "export PLUTO_PEER_CLIENT_MASK\n";
}

int setup_manual_keying(const VpnPolicy &policy)
{
    if (!create_script("/tmp/manual_up.sh", up_script(policy))) {
        return -1;
    }
    run("/tmp/manual_up.sh");
    remove_file("/tmp/manual_up.sh");

    std::string script;
    setup_env_var(script, policy);
    script +=
        "PLUTO_VERB=prepare-host ipsec _updown &&\n"
        "PLUTO_VERB=route-host ipsec _updown\n";
    if (!create_script("/tmp/manual_route.sh", script)) {
        return -1;
    }
    run("/tmp/manual_route.sh");
    remove_file("/tmp/manual_route.sh");
    return 0;
}

int manual_keying_down(const VpnPolicy &policy)
{
    if (!create_script("/tmp/manual_down.sh", down_script(policy))) {
        return -1;
    }
    run("/tmp/manual_down.sh");
    remove_file("/tmp/manual_down.sh");

    std::string script;
    setup_env_var(script, policy);
    script += "PLUTO_VERB=unroute-host ipsec _updown\n";
    if (!create_script("/tmp/manual_unroute.sh", script)) {
        return -1;
    }
    run("/tmp/manual_unroute.sh");
    remove_file("/tmp/manual_unroute.sh");
    return 0;
}
