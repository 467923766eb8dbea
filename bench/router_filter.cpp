#include "bench/router_filter.h"

#include <algorithm>
#include <bit>

#include "bench/packets/load.h"

namespace bench {

namespace {

using Words = std::vector<std::string>;

bool is_tool(const std::string &word, std::string_view name)
{
    return word == name || word.ends_with("/" + std::string(name));
}

std::string word_behind(const Words &words, std::string_view option)
{
    const auto place = std::find(words.begin(), words.end(), option);
    return place == words.end() || place + 1 == words.end() ? "" : *(place + 1);
}

void give_tool(packets::Loader &loader, const Words &words, const Root &root, RouterFilter &filter)
{
    const std::string batch = word_behind(words, "-C");
    if (batch.empty()) {
        loader.call(words);
        return;
    }
    filter.batch = root.read(batch).value_or("");
    filter.batch_line = loader.lines() + 1;
    loader.file(filter.batch, batch);
}

int bits_of(packets::Address mask)
{
    return std::popcount(mask);
}

// "route add -net NET netmask MASK gw GATEWAY..."
void take_route(packets::Network &network, const Words &words)
{
    packets::Route route;
    packets::Address net = 0;
    packets::Address mask = 0;
    packets::Address gateway = 0;
    if (std::find(words.begin(), words.end(), "add") == words.end() ||
        !packets::parse_address(word_behind(words, "-net"), net) ||
        !packets::parse_address(word_behind(words, "netmask"), mask) ||
        !packets::parse_address(word_behind(words, "gw"), gateway)) {
        return;
    }
    route.net = {net & mask, mask};
    route.side = packets::side_of(network, gateway);
    network.routes.push_back(route);
}

// The networks behind tunnels, as the filter is told of them: "-A BYPASS_TMSS -d NET/BITS".
void take_tunnel(packets::Network &network, const Words &words)
{
    const std::string text = word_behind(words, "-d");
    const size_t slash = text.find('/');
    packets::Address net = 0;
    if (word_behind(words, "-A") != "BYPASS_TMSS" || !packets::parse_address(text.substr(0, slash), net)) {
        return;
    }
    const int bits = slash == std::string::npos ? 32 : atoi(text.c_str() + slash + 1);
    if (bits < 0 || bits > 32) {
        return;
    }
    network.routes.push_back({packets::net_of(net, bits), packets::Side::kTunnel});
}

bool file_says_1(const Root &root, std::string_view path, bool otherwise)
{
    const std::optional<std::string> text = root.read(path);
    return text ? text->starts_with('1') : otherwise;
}

packets::Network network_of(const Root &root, const std::vector<Interface> &interfaces)
{
    packets::Network network;
    network.lan_if = root.setting("lan_if").value_or("br0");
    network.wan_if = root.setting("wan_ifname").value_or("");
    (void)packets::parse_address(root.setting("lan_ipaddr").value_or("192.168.0.1"), network.lan_address);
    packets::Address mask = 0;
    if (packets::parse_address(root.setting("lan_netmask").value_or("255.255.255.0"), mask)) {
        network.lan_bits = bits_of(mask);
    }
    network.wan_address.reset();
    for (const Interface &interface : interfaces) {
        packets::Address address = 0;
        if (interface.name == network.wan_if && packets::parse_address(interface.address, address)) {
            network.wan_address = address;
            network.wan_bits = interface.bits;
        }
    }
    network.forwards = file_says_1(root, "/proc/sys/net/ipv4/ip_forward", true);
    network.schedule_active = file_says_1(root, "/proc/net/ipt_condition/schedule", false);
    network.triggers = packets::parse_triggers(root.read("/proc/special/pnat").value_or(""));
    return network;
}

}  // namespace

RouterFilter router_filter(const Root &root, const std::vector<Interface> &interfaces,
                           const std::vector<Trace> &traces)
{
    RouterFilter filter;
    filter.network = network_of(root, interfaces);
    packets::Loader loader;
    for (const Trace &trace : traces) {
        for (const Event &event : trace.events) {
            if (event.kind != Kind::kTool || event.words.empty()) {
                continue;
            }
            if (is_tool(event.words[0], "iptables")) {
                give_tool(loader, event.words, root, filter);
                take_tunnel(filter.network, event.words);
            } else if (is_tool(event.words[0], "route")) {
                take_route(filter.network, event.words);
            }
        }
    }
    filter.rules = loader.finish();
    return filter;
}

}  // namespace bench
