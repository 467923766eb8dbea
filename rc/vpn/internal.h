// IPsec VPN: what its own files and the tests call in each other.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "rc/vpn/policy.h"

constexpr const char *kVpnConfPath = "/var/tmp/vpn.conf";

// ---- network.cpp: interface, addresses, masks, keys ------------------------------------------------------

// A dotted text with its NUL byte needs this much room.
constexpr size_t kDottedSize = 16;

// Result of looking for the default route.
enum class DefaultRoute {
    kFound,    // the gateway is set
    kGateway,  // not found, but the last line was a route through a gateway
    kNone,
};

// Looks for the first default route in an open route table; `gateway` is the number as the kernel prints it.
// Choice: route flags are hexadecimal; a line that does not read to its end carries none.
[[nodiscard]] DefaultRoute find_default_route(FILE *table, unsigned &gateway);

// Address, netmask, broadcast address of an interface and the default gateway, as dotted texts (each output
// holds kDottedSize bytes). 0, or -1 when `ifname` or `ip` is null, a query fails or there is no default
// route. Deliberate: a route table without default route whose last line is a route through a gateway
// counts as success and leaves `gateway` as it was.
[[nodiscard]] int my_get_if(const char *ifname, char *ip, char *netmask, char *broadcast, char *gateway);

// Prefix length of a mask; -1 for null or fewer than 7 characters.
[[nodiscard]] int tmss_mask2bits(const char *mask);

// Prefix length of "address...mask"; -1 for null, fewer than 17 characters or fewer than six dots.
[[nodiscard]] int mask2bits(const char *text);

// Number of leading bits in which the two addresses of "first...last" agree; -1 as mask2bits, and when
// last is below first.
[[nodiscard]] int range2bits(const char *text);

// Writes the mask with `bits` leading ones to `out` (kDottedSize bytes) and returns it.
char *bits2mask(int bits, char *out);

// Clears all but the first `bits` bits of the dotted text in `addr` (kDottedSize bytes) and returns it.
// Deliberate: the shift count is taken modulo 32, so 0 bits leaves the address whole.
char *mask_ip_with_bits(char *addr, int bits);

// Converts a key of `hexlen` hexadecimal digits or hexlen / 2 characters to 0x and groups of eight digits
// joined by "_"; `out` holds hexlen * 9 / 8 + 3 bytes. 0, or -1 for a null pointer or any other length.
[[nodiscard]] int convert_key(const char *text, char *out, int hexlen);

// ---- policy.cpp ------------------------------------------------------------------------------------------

// Fills a cleared table from the settings. 0, or the negative number of what was wrong;
// what was parsed until then stays in the table, but the record that failed is switched off.
// Choice: a record that fails to parse is switched off: its `enabled` byte becomes 0, whatever it was, and
// the rest of it stays as read so far. The enabled records before it come up; nothing comes up without
// one.
// Choice: a setting without any byte 0x01 has no records.
// Choice: a record ends at the next byte 0x01, even inside a text. An empty text ends its scan and the
// rest stays zero; an over-long one is cut at its width, skipped to its end, and the scan goes on. The
// keys as typed are forgotten between records.
// Choice: a WAN interface name of more than five characters is cut in the record and its address is not
// asked for (-2): another interface may have the name that is left.
[[nodiscard]] int parse_conf(VpnTable &table);

// ---- automatic.cpp ---------------------------------------------------------------------------------------

// Brings up every enabled policy. Always 0.
// Choice: text that is no address counts as all ones, as the C library reads it: an any-address peer
// ("%any") that is itself the far network triggers on 255.255.255.255.
// Choice: numbers outside the algorithm tables give an empty word.
// Choice: every command of the VPN is run whole, however long, through `run` or `run_filled`.
int vpn_up(const VpnTable &table);

// ---- manual.cpp ------------------------------------------------------------------------------------------

// Replaces `buf` by the shell lines that set the environment of the up/down hook.
void setup_env_var(std::string &buf, const VpnPolicy &policy);

// Sets up or takes down one tunnel with its own keys. 0, or -1 when a script could not be created.
// Choice: with keys of its own, every cipher except 3DES takes a key of 16 digits.
int setup_manual_keying(const VpnPolicy &policy);
int manual_keying_down(const VpnPolicy &policy);

// ---- filter.cpp, teardown.cpp ----------------------------------------------------------------------------

// Whether a start brings anything up, and a stop takes it down. Deliberate: a policy counts here when
// `enabled` is exactly 1; its own steps ask whether it is not 0.
[[nodiscard]] bool any_enabled(const VpnTable &table);

// Closes the packet filter. The status of its last command, or 1 when it has already run in this process.
int stop_vpn_fw();

// Shuts the tunnels of a table (null: none) and the IKE daemon down. Always 0.
int vpn_down(const VpnTable *table);
