// VPN network helpers: the WAN interface and its gateway, addresses, masks, key conversion.
//
// Reads:  -
// Writes: -
// Runs:   -
// Needs:  /proc/net/route
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <bit>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "rc/rc.h"
#include "rc/vpn/internal.h"

namespace {

constexpr unsigned kGatewayFlag = 2;
constexpr size_t kRouteLine = 256;
constexpr size_t kShortestMask = 7;   // "0.0.0.0"
constexpr size_t kShortestPair = 17;  // "1.1.1.1...2.2.2.2"
constexpr size_t kKeyGroup = 8;       // hexadecimal digits between two "_"

uint32_t number_of(const in_addr &address)
{
    uint8_t bytes[4];
    std::memcpy(bytes, &address.s_addr, sizeof(bytes));
    return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
           uint32_t{bytes[3]};
}

// One address of the interface, as dotted text; nothing is stored in a null `out`.
bool query_interface(int fd, unsigned query, const char *ifname, char *out)
{
    ifreq request = {};
    copy_text(request.ifr_name, ifname);
    if (ioctl(fd, query, &request) < 0) {
        return false;
    }
    sockaddr_in address;
    static_assert(sizeof(address) == sizeof(request.ifr_addr));
    std::memcpy(&address, &request.ifr_addr, sizeof(address));
    if (out != nullptr) {
        dotted_text(number_of(address.sin_addr), out);
    }
    return true;
}

// The text after the n-th dot, or null when there are fewer dots.
const char *after_dot(const char *text, int n)
{
    for (; n > 0; n--) {
        text = std::strchr(text, '.');
        if (text == nullptr) {
            return nullptr;
        }
        text++;
    }
    return text;
}

// Whether `text` may be two addresses with three dots between them.
bool is_pair(const char *text)
{
    return text != nullptr && std::strlen(text) >= kShortestPair && after_dot(text, 6) != nullptr;
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

void dotted_text(uint32_t address, char *out)
{
    snprintf(out, kDottedSize, "%u.%u.%u.%u", address >> 24, (address >> 16) & 0xFF, (address >> 8) & 0xFF,
             address & 0xFF);
}

DefaultRoute find_default_route(FILE *table, unsigned &gateway)
{
    char line[kRouteLine];
    unsigned flags = 0;
    if (fgets(line, sizeof(line), table) == nullptr) {
        return DefaultRoute::kNone;
    }
    while (fgets(line, sizeof(line), table) != nullptr) {
        Scan scan = {line + std::strcspn(line, " \t")};
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
    if (!query_interface(query.fd, SIOCGIFADDR, ifname, ip) ||
        !query_interface(query.fd, SIOCGIFNETMASK, ifname, netmask) ||
        !query_interface(query.fd, SIOCGIFBRDADDR, ifname, broadcast) || table == nullptr) {
        return -1;
    }
    unsigned printed = 0;
    const DefaultRoute route = find_default_route(table.get(), printed);
    if (route != DefaultRoute::kFound) {
        return route == DefaultRoute::kGateway ? 0 : -1;
    }
    // The kernel prints the address as this processor's number for the four bytes in memory.
    in_addr address;
    address.s_addr = printed;
    char text[kDottedSize];
    dotted_text(number_of(address), text);
    if (gateway != nullptr) {
        copy_text(gateway, kDottedSize, text);
    }
    printf("gateway==[%s]\n", text);
    return 0;
}

int tmss_mask2bits(const char *mask)
{
    if (mask == nullptr || std::strlen(mask) < kShortestMask) {
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
    dotted_text(mask_of(bits), out);
    return out;
}

char *mask_ip_with_bits(char *addr, int bits)
{
    const unsigned shift = (32U - static_cast<unsigned>(bits)) % 32U;
    dotted_text(address_number(addr) & (UINT32_MAX << shift), addr);
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
    for (size_t i = 0; i < key.size(); i++) {
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

void run_filled(const char *format, ...)
{
    va_list values;
    va_start(values, format);
    char *command = nullptr;
    const int length = vasprintf(&command, format, values);
    va_end(values);
    if (length >= 0) {
        run(command);
        std::free(command);
    }
}
