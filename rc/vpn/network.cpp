// VPN network helpers: the WAN interface and its gateway, addresses, masks, key conversion.
//
// Needs:  /proc/net/route

#include "rc/vpn/internal.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <bit>
#include <cstring>
#include <string_view>

#include "rc/files.h"
#include "rc/interface.h"
#include "rc/record.h"
#include "rc/text.h"

namespace {

constexpr unsigned kGatewayFlag = 2;
constexpr size_t kRouteLine = 256;
constexpr size_t kShortestMask = 7;   // "0.0.0.0"
constexpr size_t kShortestPair = 17;  // "1.1.1.1...2.2.2.2"
constexpr size_t kKeyGroup = 8;       // hexadecimal digits between two "_"

// One address of the interface, as dotted text; nothing is stored in a null `out`.
bool query_address(int fd, unsigned long question, const char *ifname, char *out)
{
    const auto address = interface_address(fd, question, ifname);
    if (address && out != nullptr) {
        copy_text(out, kDottedSize, dotted_text(*address));
    }
    return address.has_value();
}

// The text after the n-th dot, or null when there are fewer dots.
const char *after_dot(const char *text, int n)
{
    for (; n > 0; --n) {
        text = strchr(text, '.');
        if (text == nullptr) {
            return nullptr;
        }
        ++text;
    }
    return text;
}

// Whether `text` may be two addresses with three dots between them.
bool is_pair(const char *text)
{
    return text != nullptr && strlen(text) >= kShortestPair && after_dot(text, 6) != nullptr;
}

// A mask with `bits` leading ones.
uint32_t mask_of(int bits)
{
    if (bits <= 0) {
        return 0;
    }
    return bits >= 32 ? UINT32_MAX : ~(UINT32_MAX >> bits);
}

}  // namespace

DefaultRoute find_default_route(FILE *table, unsigned &gateway)
{
    char line[kRouteLine];
    unsigned flags = 0;
    if (fgets(line, sizeof line, table) == nullptr) {
        return DefaultRoute::kNone;
    }
    while (fgets(line, sizeof line, table) != nullptr) {
        Scan scan = {line + strcspn(line, " \t")};
        unsigned destination = 0;
        flags = 0;
        // A line that does not read to the end keeps no flags, so it is no route through a gateway.
        (void)(scan_hex(scan, destination) && scan_hex(scan, gateway) && scan_hex(scan, flags));
        // Deliberate: whose interface it is does not matter, any default route counts.
        if (destination == 0 && (flags & kGatewayFlag) != 0) {
            return DefaultRoute::kFound;
        }
    }
    return (flags & kGatewayFlag) != 0 ? DefaultRoute::kGateway : DefaultRoute::kNone;
}

int my_get_if(const char *ifname, char *ip, char *netmask, char *broadcast, char *gateway)
{
    const File table = open_file("/proc/net/route", "r");
    const Descriptor query(socket(AF_INET, SOCK_DGRAM, 0));
    if (ifname == nullptr || ip == nullptr || query.fd < 0) {
        return -1;
    }
    if (!query_address(query.fd, SIOCGIFADDR, ifname, ip) ||
        !query_address(query.fd, SIOCGIFNETMASK, ifname, netmask) ||
        !query_address(query.fd, SIOCGIFBRDADDR, ifname, broadcast) || table == nullptr) {
        return -1;
    }
    unsigned printed = 0;
    const DefaultRoute route = find_default_route(table.get(), printed);
    if (route != DefaultRoute::kFound) {
        return route == DefaultRoute::kGateway ? 0 : -1;
    }
    // The kernel prints the address as this processor's number for the four bytes in memory.
    const std::string text = dotted_text(ntohl(printed));
    if (gateway != nullptr) {
        copy_text(gateway, kDottedSize, text);
    }
    (void)printf("gateway==[%s]\n", text.c_str());
    return 0;
}

int tmss_mask2bits(const char *mask)
{
    if (mask == nullptr || strlen(mask) < kShortestMask) {
        return -1;
    }
    return std::countl_one(address_number(mask));
}

int mask2bits(const char *text)
{
    return is_pair(text) ? std::countl_one(address_number(after_dot(text, 6))) : -1;
}

int range2bits(const char *text)
{
    if (!is_pair(text)) {
        return -1;
    }
    const std::string before(text, static_cast<size_t>(after_dot(text, 4) - 1 - text));
    const uint32_t first = address_number(before.c_str());
    const uint32_t last = address_number(after_dot(text, 6));
    return last < first ? -1 : std::countl_zero(first ^ last);
}

char *bits2mask(int bits, char *out)
{
    copy_text(out, kDottedSize, dotted_text(mask_of(bits)));
    return out;
}

char *mask_ip_with_bits(char *addr, int bits)
{
    const unsigned shift = (32U - static_cast<unsigned>(bits)) % 32U;
    copy_text(addr, kDottedSize, dotted_text(address_number(addr) & (UINT32_MAX << shift)));
    return addr;
}

int convert_key(const char *text, char *out, int hexlen)
{
    if (text == nullptr || out == nullptr) {
        return -1;
    }
    const size_t digits = hexlen < 0 ? 0 : static_cast<size_t>(hexlen);
    const std::string_view key(text);
    const bool hexadecimal = key.size() == digits;
    if (!hexadecimal && key.size() != digits / 2) {
        return -1;
    }
    const size_t group = hexadecimal ? kKeyGroup : kKeyGroup / 2;
    std::string result = "0x";
    for (size_t i = 0; i < key.size(); ++i) {
        if (i != 0 && i % group == 0) {
            result += '_';
        }
        if (hexadecimal) {
            result += key[i];
        } else {
            // Deliberate: no zero padding, a character below 16 gives one digit.
            append_format(result, "%hhx", static_cast<unsigned char>(key[i]));
        }
    }
    copy_text(out, digits * 9 / 8 + 3, result);
    return 0;
}
