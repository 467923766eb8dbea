#include "bench/packets/restore.h"

#include <cstdio>

namespace packets {

namespace {

constexpr const char *kDropChain = "ROUTER_DROP";
constexpr const char *kDropMark = "0x44524f50";

// No bit is looked at, and the value is not 0.
constexpr const char *kNever = " -m mark --mark 0x1/0x0";

std::string hexadecimal(uint32_t number)
{
    char text[16];
    (void)snprintf(text, sizeof text, "0x%x", number);
    return text;
}

std::string net_text(const Net &net)
{
    return address_text(net.address) + (net.mask == ~Address{0} ? "" : "/" + address_text(net.mask));
}

std::string no(bool negated)
{
    return negated ? " !" : "";
}

std::string quoted(const std::string &text)
{
    std::string out = "\"";
    for (const char c : text) {
        out += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return out + "\"";
}

template <typename Flags>
std::string flag_list(Flags flags)
{
    constexpr const char *kNames[] = {"FIN", "SYN", "RST", "PSH", "ACK", "URG"};
    std::string list;
    for (size_t i = 0; i < std::size(kNames); ++i) {
        list += (flags >> i & 1) != 0 ? (list.empty() ? "" : ",") + std::string(kNames[i]) : "";
    }
    return list.empty() ? "NONE" : list;
}

class Writer {
  public:
    Writer(const RuleSet &rules, const Network &network, const Circumstances &now)
        : rules_(rules), network_(network), now_(now)
    {
    }

    Restore write()
    {
        const std::string nat = table(rules_.nat);
        std::string filter = table(rules_.filter);
        result_.text = "*nat\n" + nat + "COMMIT\n*filter\n" + filter + "COMMIT\n";
        if (now_.web_mark) {
            result_.text +=
                "*mangle\n-A INPUT -p tcp --dport 80 -m conntrack --ctstate DNAT -j MARK --set-mark " +
                hexadecimal(kWebMark) + "\nCOMMIT\n";
        }
        return result_;
    }

  private:
    std::string table(const Table &table)
    {
        const bool nat = &table == &rules_.nat;
        std::string names;
        std::string lines;
        for (const Chain &chain : table.chains) {
            names +=
                ":" + chain.name + (chain.built_in ? chain.drops ? " DROP" : " ACCEPT" : " -") + " [0:0]\n";
            if (!nat && drops_in_nat_ && (chain.name == "INPUT" || chain.name == "FORWARD")) {
                lines += "-A " + chain.name + " -m mark --mark " + kDropMark + " -j DROP\n";
            }
            for (const Rule &rule : chain.rules) {
                add_rule(chain.name, rule, nat, lines);
            }
        }
        if (nat && drops_in_nat_) {
            names += std::string(":") + kDropChain + " - [0:0]\n";
            lines += std::string("-A ") + kDropChain + " -j MARK --set-mark " + kDropMark + "\n-A " +
                     kDropChain + " -j ACCEPT\n";
        }
        return names + lines;
    }

    void add_rule(const std::string &chain, const Rule &rule, bool nat, std::string &lines)
    {
        line_ = rule.line;
        std::string words;
        for (const Match &match : rule.matches) {
            words += std::visit([&](const auto &m) { return text(m); }, match);
        }
        if (rule.target.action == Action::kPnat) {
            triggered(chain, words, rule.target, lines);
            return;
        }
        lines += "-A " + chain + words + target(rule.target, nat) + "\n";
    }

    void triggered(const std::string &chain, const std::string &words, const Target &target,
                   std::string &lines)
    {
        note(Foreign::kPnat);
        for (const Trigger &trigger : network_.triggers) {
            for (const char *protocol : {"tcp", "udp"}) {
                const bool meant = std::string(protocol) == "tcp" ? trigger.tcp : trigger.udp;
                if (meant && now_.triggered) {
                    lines += "-A " + chain + words + " -i " + network_.wan_if + " -p " + protocol +
                             " --dport " + std::to_string(trigger.first_port) + ":" +
                             std::to_string(trigger.last_port) + " -j MARK --set-mark " +
                             hexadecimal(target.mark) + "\n";
                }
            }
        }
    }

    void note(Foreign foreign) { result_.foreign.push_back({line_, foreign}); }

    std::string decided(Foreign foreign, bool holds)
    {
        note(foreign);
        return holds ? "" : kNever;
    }

    // ---- matches ----------------------------------------------------------------------------------------

    std::string text(const InterfaceMatch &m)
    {
        return no(m.negated) + (m.output ? " -o " : " -i ") + m.name;
    }
    std::string text(const AddressMatch &m)
    {
        return no(m.negated) + (m.destination ? " -d " : " -s ") + net_text(m.net);
    }
    std::string text(const ProtocolMatch &m) { return no(m.negated) + " -p " + std::to_string(m.number); }

    std::string text(const PortMatch &m)
    {
        return no(m.negated) + (m.destination ? " --dport " : " --sport ") + std::to_string(m.first) + ":" +
               std::to_string(m.last);
    }

    std::string text(const IcmpMatch &m)
    {
        if (m.type == 255) {
            return no(m.negated) + " --icmp-type any";
        }
        const std::string code = m.first_code == m.last_code ? "/" + std::to_string(m.first_code) : "";
        return no(m.negated) + " --icmp-type " + std::to_string(m.type) + code;
    }

    std::string text(const FlagMatch &m)
    {
        return no(m.negated) + " --tcp-flags " + flag_list(m.looked_at) + " " + flag_list(m.set);
    }

    std::string text(const StateMatch &m)
    {
        constexpr const char *kNames[] = {"NEW", "ESTABLISHED", "RELATED", "INVALID"};
        std::string list;
        for (size_t i = 0; i < std::size(kNames); ++i) {
            list += (m.states >> i & 1) != 0 ? (list.empty() ? "" : ",") + std::string(kNames[i]) : "";
        }
        return " -m state" + no(m.negated) + " --state " + list;
    }

    std::string text(const LimitMatch &) { return decided(Foreign::kLimit, !now_.over_limit); }

    std::string text(const RangeMatch &m)
    {
        return " -m iprange" + no(m.negated) + (m.destination ? " --dst-range " : " --src-range ") +
               address_text(m.first) + "-" + address_text(m.last);
    }

    std::string text(const StringMatch &m)
    {
        return " -m string --algo bm" + no(m.negated) + " --string " + quoted(m.text);
    }

    std::string text(const MarkMatch &m)
    {
        return " -m mark" + no(m.negated) + " --mark " + hexadecimal(m.value) + "/" + hexadecimal(m.mask);
    }

    std::string text(const ScheduleMatch &m)
    {
        return decided(Foreign::kSchedule, now_.schedule != m.negated);
    }
    std::string text(const ScanMatch &) { return decided(Foreign::kScan, now_.scan); }

    // ---- targets ----------------------------------------------------------------------------------------

    static std::string translation(const Target &target)
    {
        std::string to;
        if (target.maps_address) {
            to = address_text(target.first) +
                 (target.first == target.last ? "" : "-" + address_text(target.last));
        }
        if (target.maps_port) {
            to += ":" + std::to_string(target.first_port) + "-" + std::to_string(target.last_port);
        }
        return to;
    }

    static std::string ports(const Target &target)
    {
        return target.maps_port ? " --to-ports " + std::to_string(target.first_port) + "-" +
                                      std::to_string(target.last_port)
                                : "";
    }

    std::string drop(bool nat)
    {
        if (!nat) {
            return " -j DROP";
        }
        note(Foreign::kNatDrop);
        drops_in_nat_ = true;
        return std::string(" -j ") + kDropChain;
    }

    std::string reject(const Target &target)
    {
        if (target.reject != "http-block") {
            return " -j REJECT --reject-with " + target.reject;
        }
        note(Foreign::kHttpBlock);
        return " -j REJECT --reject-with tcp-reset";
    }

    std::string log(const Target &target)
    {
        return std::string(" -j LOG") + (target.level.empty() ? "" : " --log-level " + target.level) +
               (target.prefix.empty() ? "" : " --log-prefix " + quoted(target.prefix));
    }

    std::string target(const Target &target, bool nat)
    {
        switch (target.action) {
            case Action::kNothing:
            case Action::kPnat:
                return "";
            case Action::kAccept:
                return " -j ACCEPT";
            case Action::kDrop:
                return drop(nat);
            case Action::kReturn:
                return " -j RETURN";
            case Action::kReject:
                return reject(target);
            case Action::kJump:
                return " -j " + target.chain;
            case Action::kLog:
                return log(target);
            case Action::kTcpmss:
                return " -j TCPMSS --clamp-mss-to-pmtu";
            case Action::kDnat:
                return " -j DNAT --to-destination " + translation(target);
            case Action::kRedirect:
                return " -j REDIRECT" + ports(target);
            case Action::kSnat:
                return " -j SNAT --to-source " + translation(target);
            case Action::kMasquerade:
                return " -j MASQUERADE" + ports(target);
        }
        return "";
    }

    const RuleSet &rules_;
    const Network &network_;
    const Circumstances &now_;
    Restore result_;
    size_t line_ = 0;
    bool drops_in_nat_ = false;
};

}  // namespace

const char *foreign_name(Foreign foreign)
{
    switch (foreign) {
        case Foreign::kScan:
            return "match psd";
        case Foreign::kSchedule:
            return "match condition";
        case Foreign::kLimit:
            return "match limit";
        case Foreign::kPnat:
            return "target PNAT";
        case Foreign::kHttpBlock:
            return "reject type http-block";
        case Foreign::kNatDrop:
            return "drop in nat";
    }
    return "";
}

Restore restore_file(const RuleSet &rules, const Network &network, const Circumstances &now)
{
    return Writer(rules, network, now).write();
}

}  // namespace packets
