#include "tests/packets/agreement.h"

#include "tests/programs.h"

namespace agreement {

namespace {

using bench::Setting;
using Settings = std::vector<Setting>;
using Texts = std::vector<std::string>;
using packets::Packet;
using packets::Piece;

constexpr const char *kLanHosts[] = {"192.168.0.2",  "192.168.0.9",   "192.168.0.20", "192.168.0.77",
                                     "192.168.0.99", "192.168.0.254", "192.168.0.1"};
constexpr const char *kOutsiders[] = {"198.51.100.7", "198.51.100.30", "203.0.113.10", "192.0.2.1",
                                      "10.20.0.3"};

std::string host(Dice &dice)
{
    return kLanHosts[dice.roll(std::size(kLanHosts))];
}

std::string outsider(Dice &dice)
{
    return kOutsiders[dice.roll(std::size(kOutsiders))];
}

std::string number(uint32_t value)
{
    return std::to_string(value);
}

std::string lan_users(Dice &dice)
{
    const Texts wide = {"0.0.0.0/0",
                        "192.168.0.0/24",
                        "192.168.0.64/26",
                        "192.168.0.2-192.168.0.9",
                        "192.168.0.77-192.168.0.254",
                        "192.168.0.9-192.168.0.2"};
    return dice.one_in(2) ? host(dice) : dice.pick(wide);
}

std::string wan_users(Dice &dice)
{
    const Texts wide = {"0.0.0.0/0", "0.0.0.0/0", "198.51.100.0/24", "198.51.100.7-198.51.100.30",
                        "0.0.0.0/1", "10.0.0.0/8"};
    return dice.one_in(3) ? outsider(dice) : dice.pick(wide);
}

std::string access_rules(Dice &dice, bool inbound)
{
    const Texts services = {"FTP",      "HTTP",      "HTTPS", "DNS",     "SMTP",  "ANY",
                            "VPN-PPTP", "VPN-IPSEC", "GAME",  "Console", "NOSUCH"};
    std::string rules;
    for (uint32_t left = dice.roll(6); left > 0; --left) {
        const std::string lan = inbound && !dice.one_in(4) ? host(dice) : lan_users(dice);
        rules += number(dice.one_in(8) ? 0 : 1) + ":" + dice.pick(services) + ":" + number(dice.roll(4)) +
                 ":" + lan + ":" + wan_users(dice) + ":" + number(dice.roll(4)) + "\x01";
    }
    return rules;
}

std::string triggers(Dice &dice)
{
    const Texts protocols = {"tcp", "udp", "both"};
    const Texts ports = {"6971-6999", "80", "20-21", "2301-2400", "0-65535"};
    std::string list;
    for (uint32_t left = dice.roll(3); left > 0; --left) {
        list += "1:" + number(dice.roll(2)) + ":Voice:udp:6970:" + dice.pick(protocols) + ":" +
                dice.pick(ports) + "\x01";
    }
    return list;
}

std::string servers(Dice &dice)
{
    std::string text;
    for (int i = 0; i < 6; ++i) {
        text += (i == 0 ? "" : ":") + (dice.one_in(4) ? "0" : host(dice));
    }
    return text;
}

void remote_management(Dice &dice, Settings &settings)
{
    settings.push_back({"fw_remote", number(dice.roll(2))});
    settings.push_back({"fw_remote_type", number(1 + dice.roll(5))});
    settings.push_back({"fw_remote_port", dice.pick(Texts{"80", "8080", "8443", "21"})});
    settings.push_back({"fw_remote_single", dice.one_in(8) ? "" : outsider(dice)});
    settings.push_back({"fw_remote_range_start", "198.51.100.7"});
    settings.push_back({"fw_remote_range_end", "198.51.100.20"});
    settings.push_back({"fw_remote_list1_ip1", outsider(dice)});
    settings.push_back({"fw_remote_list1_ip3", outsider(dice)});
}

void tunnels(Dice &dice, Settings &settings)
{
    if (dice.one_in(4)) {
        const auto sample = bench::read_settings_text(built_rc().image / "samples/office.settings");
        settings.insert(settings.end(), sample.begin(), sample.end());
    }
}

// Values that hang together with edges of matches: one of a value, or next to it.
template <typename T>
T near(T value, Dice &dice)
{
    switch (dice.roll(4)) {
        case 0:
            return value + 1;
        case 1:
            return value - 1;
        default:
            return value;
    }
}

const Piece *piece_of(const packets::Space &space, const std::vector<Piece> &pieces, const Packet &packet,
                      size_t &found)
{
    const std::vector<bool> row = space.row(packet);
    const Piece *piece = nullptr;
    found = 0;
    for (const Piece &candidate : pieces) {
        if (candidate.packets.has(row)) {
            piece = &candidate;
            ++found;
        }
    }
    return piece;
}

packets::Endpoint endpoint(const Piece &piece, const Packet &packet)
{
    return {piece.to.address.value_or(packet.destination.address),
            piece.to.port.value_or(packet.destination.port)};
}

// Empty: they agree.
std::string difference(const packets::Walk &walk, const Piece &piece, const Packet &packet)
{
    if (walk.verdict != piece.verdict) {
        return std::string("verdict ") + packets::verdict_name(walk.verdict) + " / " +
               packets::verdict_name(piece.verdict);
    }
    if (walk.hook != piece.hook) {
        return "hook";
    }
    if ((walk.decided == nullptr) != (piece.decided == nullptr) || walk.reason != piece.reason) {
        return "decision \"" + walk.reason + "\" / \"" + piece.reason + "\"";
    }
    if (walk.origin != piece.origin) {
        return "origin " + walk.origin.setting + " / " + piece.origin.setting;
    }
    if (walk.verdict == packets::Verdict::kAccept && walk.out != piece.out) {
        return "way out";
    }
    const bool before = !walk.hook.has_value();
    return before || walk.to == endpoint(piece, packet) ? "" : "destination";
}

}  // namespace

uint32_t Dice::roll(uint32_t sides)
{
    // Mixing by multiplication and shifts (splitmix).
    state_ += 0x9e3779b97f4a7c15U;
    uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebU;
    return static_cast<uint32_t>((mixed ^ (mixed >> 31)) % sides);
}

std::vector<Setting> random_settings(Dice &dice)
{
    Settings settings = {
        {"lan_if", "br0"},
        {"lan_ipaddr", "192.168.0.1"},
        {"lan_netmask", "255.255.255.0"},
        {"wan_ifname", dice.one_in(20) ? "nas0" : "ppp0"},
        {"fw_acc_port", dice.pick(Texts{"80", "80", "8000", "0"})},
        {"fw_nat", number(dice.roll(3))},
        {"fw_spi", number(dice.roll(2))},
        {"fw_disable", number(dice.one_in(5) ? 1 : 0)},
        {"fw_acc_lan", number(dice.roll(2))},
        {"fw_import", number(dice.one_in(3) ? 1 : 0)},
        {"fw_services",
         "GAME:udp:5000-5010\x01"
         "Console:both:3074-3075\x01"},
        {"fw_services_def",
         "FTP:tcp:20-21\x01"
         "HTTP:tcp:80-80\x01"
         "HTTPS:tcp:443-443\x01"
         "DNS:both:53-53\x01"
         "SMTP:tcp:25-25\x01"
         "ANY:any:0-65535\x01"
         "VPN-PPTP:tcp:1723-1723\x01"
         "VPN-IPSEC:udp:500-500\x01"},
        {"fw_in_rules", access_rules(dice, true)},
        {"fw_out_rules", access_rules(dice, false)},
        {"fw_spapp", triggers(dice)},
        {"fw_vs_enableA", number(dice.one_in(2) ? dice.roll(64) : 0)},
        {"fw_vs_serverA", servers(dice)},
        {"fw_dmz_enable", number(dice.roll(2))},
        {"fw_dmz", dice.one_in(8) ? "" : host(dice)},
        {"fw_response_ping", number(dice.roll(2))},
        {"fw_block", number(dice.roll(3))},
        {"fw_block_trust_enable", number(dice.roll(2))},
        {"fw_block_trust", host(dice)},
        {"fw_block_keyword", dice.pick(Texts{"", "casino\x01",
                                             "casino\x01"
                                             "casinos\x01",
                                             "GE\x01two words\x01lottery\x01"})},
        {"fw_schedule", "0111110:8:30-17:0\x01"},
        {"rt_static_route", "workshop:10.20.0.0:255.255.0.0:192.168.0.30:2:1:1\x01"},
    };
    remote_management(dice, settings);
    tunnels(dice, settings);
    return settings;
}

Router::Router() : interfaces_({{"ppp0", "203.0.113.10", 32}})
{
    bench::Setup setup;
    setup.interfaces = interfaces_;
    setup.image_replies = true;
    root_ = std::make_unique<bench::Root>(built_rc(), setup);
}

bench::RouterFilter Router::filter(const std::vector<Setting> &settings)
{
    root_->write("/tmp/nvram", bench::store_bytes(settings));
    bench::Run firewall;
    firewall.words = {"rc", "firewall", "start"};
    firewall.limit = 300;
    bench::Run route;
    route.words = {"rc", "route", "start"};
    route.limit = 300;
    const std::vector<bench::Trace> traces = {root_->run(firewall), root_->run(route)};
    if (traces[0].timed_out || traces[1].timed_out) {
        throw bench::Error("rc was cut off: its rules are not whole");
    }
    return bench::router_filter(*root_, interfaces_, traces);
}

Packets::Packets(const bench::RouterFilter &filter)
    : addresses_({0, 1, 0x7f000001, 0xe0000001, 0xe0000101, 0xefffffff, 0xf0000001, 0xffffffff, 0xc0a80001,
                  0xc0a800ff, 0xc0a80100, 0xcb00710a, 0xc6336407, 0x0a140005, 0x08080808}),
      ports_({0, 1, 67, 80, 40000, 65535}),
      protocols_({packets::kTcp, packets::kTcp, packets::kTcp, packets::kUdp, packets::kUdp, packets::kIcmp,
                  2, 255}),
      texts_({"", "", "", "GET /", "casinos", "POST casino", "HEAD"})
{
    for (const packets::Table *table : {&filter.rules.nat, &filter.rules.filter}) {
        for (const packets::Chain &chain : table->chains) {
            for (const packets::Rule &rule : chain.rules) {
                for (const packets::Match &match : rule.matches) {
                    if (const auto *at = std::get_if<packets::AddressMatch>(&match)) {
                        addresses_.push_back(at->net.address);
                        addresses_.push_back(at->net.address | ~at->net.mask);
                    } else if (const auto *range = std::get_if<packets::RangeMatch>(&match)) {
                        addresses_.push_back(range->first);
                        addresses_.push_back(range->last);
                    } else if (const auto *port = std::get_if<packets::PortMatch>(&match)) {
                        ports_.push_back(port->first);
                        ports_.push_back(port->last);
                    } else if (const auto *protocol = std::get_if<packets::ProtocolMatch>(&match)) {
                        protocols_.push_back(protocol->number);
                    } else if (const auto *text = std::get_if<packets::StringMatch>(&match)) {
                        texts_.push_back("GET x" + text->text);
                        texts_.push_back(text->text);
                    }
                }
                if (rule.target.maps_address) {
                    addresses_.push_back(rule.target.first);
                }
            }
        }
    }
}

packets::Address Packets::address(Dice &dice) const
{
    return dice.one_in(10) ? dice.roll(0xffffffff) : near(dice.pick(addresses_), dice);
}

int Packets::port(Dice &dice) const
{
    return dice.one_in(10) ? static_cast<int>(dice.roll(65536)) : near(dice.pick(ports_), dice) & 65535;
}

Packet Packets::packet(Dice &dice) const
{
    Packet packet;
    packet.from = packets::kSides[dice.one_in(8) ? dice.roll(4) : dice.roll(2)];
    packet.protocol = dice.pick(protocols_);
    packet.protocol = packet.protocol == 0 ? 99 : packet.protocol;
    packet.source.address =
        dice.one_in(2) && packet.from == packets::Side::kLan ? 0xc0a80000 + dice.roll(256) : address(dice);
    packet.destination.address = dice.one_in(3) ? 0xcb00710a : address(dice);
    if (packets::has_ports(packet.protocol)) {
        packet.source.port = dice.one_in(2) ? 40000 : port(dice);
        packet.destination.port = port(dice);
    }
    packet.icmp_type = dice.one_in(2) ? 8 : static_cast<int>(dice.roll(256));
    packet.icmp_code = dice.one_in(2) ? 0 : static_cast<int>(dice.roll(256));
    const std::vector<uint8_t> flags = {packets::kSyn, packets::kSyn, packets::kPsh | packets::kAck,
                                        packets::kAck, static_cast<uint8_t>(dice.roll(64))};
    packet.flags = packet.protocol == packets::kTcp ? dice.pick(flags) : uint8_t{0};
    const std::vector<packets::State> states = {packets::kNew,    packets::kNew,         packets::kNew,
                                                packets::kNew,    packets::kEstablished, packets::kRelated,
                                                packets::kInvalid};
    packet.state = dice.pick(states);
    packet.payload = dice.pick(texts_);
    packet.circumstances = {dice.one_in(2), dice.one_in(3), dice.one_in(4), dice.one_in(3), !dice.one_in(4)};
    return packet;
}

void compare(const bench::RouterFilter &steps, const bench::RouterFilter &sets, size_t packets, Dice &dice,
             Count &count)
{
    const packets::Space space(packets::texts_of({&sets.rules}));
    const std::vector<Piece> pieces = packets::flow(space, sets.rules, sets.network, space.packets());
    const Packets random(steps);
    ++count.rule_sets;
    for (size_t i = 0; i < packets; ++i) {
        const Packet packet = random.packet(dice);
        const packets::Walk walk = packets::walk(steps.rules, steps.network, packet);
        size_t found = 0;
        const Piece *piece = piece_of(space, pieces, packet, found);
        const std::string wrong =
            found == 1 ? difference(walk, *piece, packet) : std::to_string(found) + " pieces";
        if (!wrong.empty()) {
            count.disagreements.push_back(std::string(packets::side_name(packet.from)) + ": " +
                                          packets::packet_text(packet) + ": " + wrong);
        }
        ++count.packets;
        count.accepted += walk.verdict == packets::Verdict::kAccept ? 1 : 0;
        count.translated += walk.to == packet.destination ? 0 : 1;
    }
}

}  // namespace agreement
