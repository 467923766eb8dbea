#include "bench/packets/packet.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <sstream>

#include "bench/packets/words.h"
#include "forms/escapes.h"

namespace packets {

namespace {

constexpr int kUsualPort = 40000;
constexpr Address kOutsider = 0xc6336407;  // 198.51.100.7
constexpr int kUsualHost = 100;

struct NamedNumber {
    const char *name;
    int number;
};

constexpr NamedNumber kProtocols[] = {{"icmp", kIcmp}, {"igmp", 2},   {"tcp", kTcp}, {"udp", kUdp},
                                      {"gre", 47},     {"esp", 50},   {"ah", 51},    {"ospf", 89},
                                      {"ipip", 4},     {"l2tp", 115}, {"sctp", 132}};

constexpr NamedNumber kFlags[] = {{"fin", kFin}, {"syn", kSyn}, {"rst", kRst},
                                  {"psh", kPsh}, {"ack", kAck}, {"urg", kUrg}};

bool to_int(std::string_view text, int least, int most, int &number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number >= least && number <= most;
}

// A half of the packet's text before it has all it needs.
struct Half {
    bool has_address = false;
    bool has_port = false;
    Endpoint at;
};

class PacketReader {
  public:
    PacketReader(std::string_view text, const Network &network, std::optional<Side> from)
        : text_(text), network_(network), from_(from)
    {
        packet().circumstances.schedule = network.schedule_active;
    }

    PacketText read()
    {
        std::istringstream words{std::string(text_)};
        std::string word;
        if (!(words >> word)) {
            fail("empty");
        }
        read_protocol(word);
        std::vector<std::string> before;
        while (words >> word && word != "->") {
            before.push_back(word);
        }
        if (word != "->" || before.size() > 1) {
            fail("no \"->\" behind one source");
        }
        if (!before.empty()) {
            source_ = read_half(before[0]);
        }
        read_rest(words);
        complete();
        return result_;
    }

  private:
    Packet &packet() { return result_.packet; }
    const Packet &packet() const { return result_.packet; }

    [[noreturn]] void fail(const std::string &what) const
    {
        throw Error("packet \"" + cut(text_) + "\": " + what +
                    "; write PROTOCOL SOURCE[:PORT] -> DESTINATION[:PORT] WORDS");
    }

    void read_protocol(const std::string &word)
    {
        packet().protocol = protocol_number(word);
        if (packet().protocol < 0) {
            fail("no protocol \"" + word + "\"");
        }
        packet().flags = packet().protocol == kTcp ? static_cast<uint8_t>(kSyn) : uint8_t{0};
    }

    Half read_half(const std::string &text) const
    {
        Half half;
        const size_t colon = text.find(':');
        const std::string address = text.substr(0, colon);
        if (address == "router") {
            half.at.address = network_.lan_address;
            half.has_address = true;
        } else if (!address.empty()) {
            half.has_address = parse_address(address, half.at.address);
            if (!half.has_address) {
                fail("\"" + address + "\" is no address");
            }
        }
        if (colon != std::string::npos) {
            half.has_port = to_int(std::string_view(text).substr(colon + 1), 0, 65535, half.at.port);
            if (!half.has_port || !has_ports(packet().protocol)) {
                fail("\"" + text.substr(colon + 1) + "\" is no port of " + protocol_name(packet().protocol));
            }
        }
        return half;
    }

    // The destination, if there is one, and the words.
    void read_rest(std::istringstream &words)
    {
        std::string word;
        bool first = true;
        while (words >> word) {
            if (word.starts_with("payload=")) {
                read_payload(words, word);
            } else if (!read_word(word)) {
                if (!first || is_name(word)) {
                    fail("no word \"" + cut(word) +
                         "\": there are syn, ack, fin, rst, psh, urg, new, established, "
                         "related, invalid, reply, for=ADDRESS:PORT, type=N and code=N (of icmp), "
                         "payload=TEXT, "
                         "schedule=on, schedule=off, over, scan, triggered and mark=none");
                }
                destination_ = read_half(word);
            }
            first = false;
        }
    }

    // What begins as no address does, but for the router's own.
    static bool is_name(const std::string &word)
    {
        return isalpha(static_cast<unsigned char>(word[0])) != 0 &&
               word.substr(0, word.find(':')) != "router";
    }

    bool read_word(const std::string &word)
    {
        for (const NamedNumber &flag : kFlags) {
            if (word == flag.name) {
                set_flag(static_cast<uint8_t>(flag.number));
                return true;
            }
        }
        const size_t equals = word.find('=');
        return equals == std::string::npos ? read_state(word) || read_circumstance(word)
                                           : read_value(word.substr(0, equals), word.substr(equals + 1));
    }

    void set_flag(uint8_t flag)
    {
        if (packet().protocol != kTcp) {
            fail("TCP flags for " + protocol_name(packet().protocol));
        }
        packet().flags = static_cast<uint8_t>((flags_given_ ? packet().flags : 0) | flag);
        flags_given_ = true;
    }

    bool read_state(const std::string &word)
    {
        if (word == "new") {
            packet().state = kNew;
        } else if (word == "established" || word == "reply") {
            packet().state = kEstablished;
            packet().reply = packet().reply || word == "reply";
        } else if (word == "related") {
            packet().state = kRelated;
        } else if (word == "invalid") {
            packet().state = kInvalid;
        } else {
            return false;
        }
        return true;
    }

    bool read_circumstance(const std::string &word)
    {
        Circumstances &now = packet().circumstances;
        if (word == "over") {
            now.over_limit = true;
        } else if (word == "scan") {
            now.scan = true;
        } else if (word == "triggered") {
            now.triggered = true;
        } else {
            return false;
        }
        return true;
    }

    bool read_value(const std::string &name, const std::string &value)
    {
        if (name == "schedule" && (value == "on" || value == "off")) {
            packet().circumstances.schedule = value == "on";
            result_.names_schedule = true;
            return true;
        }
        if (name == "mark" && value == "none") {
            packet().circumstances.web_mark = false;
            return true;
        }
        if (name == "for") {
            const Half half = read_half(value);
            packet().has_owner = half.has_address;
            packet().owner = half.at;
            owner_port_ = half.has_port;
            return half.has_address;
        }
        int &field = name == "type" ? packet().icmp_type : packet().icmp_code;
        return (name == "type" || name == "code") && packet().protocol == kIcmp &&
               to_int(value, 0, 255, field);
    }

    // The text goes on to the end: blanks are part of it.
    void read_payload(std::istringstream &words, const std::string &word)
    {
        std::string text = word.substr(word.find('=') + 1);
        std::string rest;
        std::getline(words, rest);
        std::string why;
        if (!forms::unescape(text + rest, packet().payload, why)) {
            fail("payload: " + why);
        }
    }

    void complete()
    {
        packet().from = from_.value_or(guess_side());
        fill_source();
        fill_destination();
        if (packet().protocol == kTcp && !flags_given_ && packet().state != kNew) {
            packet().flags = kAck;
        }
        if (packet().has_owner && !owner_port_) {
            packet().owner.port = packet().destination.port;
        }
    }

    Side guess_side() const
    {
        return source_.has_address ? side_of(network_, source_.at.address) : Side::kWan;
    }

    Address router_address(Side side) const
    {
        return side == Side::kWan && network_.wan_address ? *network_.wan_address : network_.lan_address;
    }

    void fill_source()
    {
        packet().source = source_.at;
        if (!source_.has_address) {
            packet().source.address = some_source();
            result_.filled.push_back("from " + address_text(packet().source.address) + ", " +
                                     some_source_name());
        }
        if (has_ports(packet().protocol) && !source_.has_port) {
            packet().source.port = kUsualPort;
        }
    }

    Address some_source() const
    {
        switch (packet().from) {
            case Side::kLan:
                return net_of(network_.lan_address, network_.lan_bits).address + kUsualHost;
            case Side::kRouter:
                return router_address(destination_.has_address ? side_of(network_, destination_.at.address)
                                                               : Side::kLan);
            default:
                return kOutsider;
        }
    }

    const char *some_source_name() const
    {
        switch (packet().from) {
            case Side::kLan:
                return "a host of the LAN";
            case Side::kRouter:
                return "the router's own address";
            default:
                return "a host outside";
        }
    }

    void fill_destination()
    {
        packet().destination = destination_.at;
        if (!destination_.has_address) {
            packet().destination.address = router_address(packet().from);
            result_.filled.push_back("to " + address_text(packet().destination.address) +
                                     ", the router's own address");
        }
        if (has_ports(packet().protocol) && !destination_.has_port) {
            fail("no port to go to");
        }
    }

    std::string_view text_;
    const Network &network_;
    std::optional<Side> from_;
    PacketText result_;
    Half source_;
    Half destination_;
    bool flags_given_ = false;
    bool owner_port_ = false;
};

void append_words(std::string &text, const Packet &packet)
{
    const uint8_t usual = packet.state == kNew ? kSyn : kAck;
    if (packet.protocol == kTcp && packet.flags != usual) {
        for (const NamedNumber &flag : kFlags) {
            text += (packet.flags & flag.number) != 0 ? std::string(" ") + flag.name : "";
        }
    }
    if (packet.protocol == kIcmp) {
        text += " type=" + std::to_string(packet.icmp_type);
        text += packet.icmp_code != 0 ? " code=" + std::to_string(packet.icmp_code) : "";
    }
    switch (packet.state) {
        case kEstablished:
            text += packet.reply ? " reply" : " established";
            break;
        case kRelated:
            text += " related";
            break;
        case kInvalid:
            text += " invalid";
            break;
        default:
            break;
    }
    if (packet.has_owner) {
        text += " for=" + endpoint_text(packet.owner, packet.protocol);
    }
}

void append_circumstances(std::string &text, const Packet &packet)
{
    const Circumstances &now = packet.circumstances;
    text += now.schedule ? " schedule=on" : " schedule=off";
    text += now.over_limit ? " over" : "";
    text += now.scan ? " scan" : "";
    text += now.triggered ? " triggered" : "";
    text += now.web_mark ? "" : " mark=none";
    if (!packet.payload.empty()) {
        text += " payload=" + forms::escape(packet.payload);
    }
}

}  // namespace

bool has_ports(int protocol)
{
    return protocol == kTcp || protocol == kUdp;
}

std::string protocol_name(int protocol)
{
    for (const NamedNumber &row : kProtocols) {
        if (row.number == protocol) {
            return row.name;
        }
    }
    return "protocol " + std::to_string(protocol);
}

int protocol_number(std::string_view text)
{
    for (const NamedNumber &row : kProtocols) {
        if (text == row.name) {
            return row.number;
        }
    }
    int number = 0;
    return to_int(text, 1, 255, number) ? number : -1;
}

PacketText parse_packet(std::string_view text, const Network &network, std::optional<Side> from)
{
    return PacketReader(text, network, from).read();
}

std::string endpoint_text(const Endpoint &endpoint, int protocol)
{
    return address_text(endpoint.address) + (has_ports(protocol) ? ":" + std::to_string(endpoint.port) : "");
}

std::string packet_text(const Packet &packet)
{
    std::string text = protocol_name(packet.protocol);
    if (text.starts_with("protocol ")) {
        text = std::to_string(packet.protocol);
    }
    text += " " + endpoint_text(packet.source, packet.protocol) + " -> " +
            endpoint_text(packet.destination, packet.protocol);
    append_words(text, packet);
    append_circumstances(text, packet);
    return text;
}

}  // namespace packets
