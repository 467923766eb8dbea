#include "bench/packets/dialect.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "bench/packets/values.h"
#include "bench/packets/words.h"

namespace packets {

namespace {

constexpr size_t kLongestInterface = 15;
constexpr size_t kLongestChain = 30;
constexpr size_t kLongestPrefix = 29;
constexpr int kMostBurst = 10000;

// clang-format off
constexpr Named kProtocols[] = {
    {"all", 0}, {"icmp", 1}, {"tcp", 6}, {"udp", 17}, {"esp", 50}, {"ah", 51},
};

constexpr Named kFlags[] = {
    {"FIN", kFin}, {"SYN", kSyn}, {"RST", kRst}, {"PSH", kPsh}, {"ACK", kAck}, {"URG", kUrg},
    {"ALL", kAllFlags}, {"NONE", 0},
};

constexpr Named kStates[] = {
    {"NEW", kNew}, {"ESTABLISHED", kEstablished}, {"RELATED", kRelated}, {"INVALID", kInvalid},
};

constexpr Named kIcmpTypes[] = {
    {"any", 255}, {"echo-reply", 0}, {"destination-unreachable", 3}, {"source-quench", 4}, {"redirect", 5},
    {"echo-request", 8}, {"time-exceeded", 11}, {"parameter-problem", 12}, {"timestamp-request", 13},
    {"timestamp-reply", 14},
};

constexpr Named kTargets[] = {
    {"ACCEPT", static_cast<int>(Action::kAccept)},         {"DROP", static_cast<int>(Action::kDrop)},
    {"RETURN", static_cast<int>(Action::kReturn)},         {"REJECT", static_cast<int>(Action::kReject)},
    {"LOG", static_cast<int>(Action::kLog)},               {"TCPMSS", static_cast<int>(Action::kTcpmss)},
    {"PNAT", static_cast<int>(Action::kPnat)},             {"DNAT", static_cast<int>(Action::kDnat)},
    {"REDIRECT", static_cast<int>(Action::kRedirect)},     {"SNAT", static_cast<int>(Action::kSnat)},
    {"MASQUERADE", static_cast<int>(Action::kMasquerade)},
};

constexpr const char *kTables[] = {"filter", "nat", "mangle"};

constexpr const char *kModules[] = {
    "tcp", "udp", "icmp", "state", "limit", "iprange", "string", "mark", "condition", "psd",
};

constexpr const char *kRejectTypes[] = {
    "http-block",             "tcp-reset",           "icmp-net-unreachable", "icmp-host-unreachable",
    "icmp-port-unreachable",  "icmp-proto-unreachable", "icmp-net-prohibited", "icmp-host-prohibited",
    "icmp-admin-prohibited",
};
// clang-format on

// Reads the words of one line from left to right.
class Parser {
  public:
    explicit Parser(const std::vector<std::string> &words) : words_(words) {}

    Command parse();

  private:
    using Handler = void (Parser::*)();

    struct Option {
        const char *name;
        Handler handler;
        bool negatable;
        const char *needs;  // a module or target it belongs to; null: none
    };

    static const Option kOptions[];

    const Option &find_option(const std::string &word) const;
    bool loaded(std::string_view needed) const;
    void take_word(const std::string &word);
    bool is_verb(const std::string &word) const;
    void take_verb(char verb);
    void take_place();
    void check() const;
    void check_hooks() const;
    void check_nat() const;
    void check_modules() const;
    template <typename M>
    bool has_match() const;
    template <typename M>
    void once(const M &match, const char *option);

    std::string argument();            // the word behind the option
    std::string negatable_argument();  // behind the option and any "!"

    void table();
    void in_interface() { interface(false); }
    void out_interface() { interface(true); }
    void interface(bool output);
    void source() { address(false); }
    void destination() { address(true); }
    void address(bool is_destination);
    void protocol();
    void module();
    void target();
    void source_port() { port(false); }
    void destination_port() { port(true); }
    void port(bool is_destination);
    void syn();
    void tcp_flags();
    void icmp_type();
    void state();
    void limit();
    void limit_burst();
    void source_range() { range(false); }
    void destination_range() { range(true); }
    void range(bool is_destination);
    void string();
    void algorithm();
    void mark();
    void condition();
    void to_destination();
    void to_source() { to_destination(); }
    void to_ports();
    void read_ports(const std::string &text);
    void reject_with();
    void log_prefix();
    void log_level();
    void set_mark();
    void clamp_mss() {}

    const std::vector<std::string> &words_;
    size_t at_ = 0;
    bool negated_ = false;
    bool has_target_ = false;
    int protocol_ = 0;
    std::vector<std::string> modules_;
    std::string target_name_;
    Command command_;
};

// clang-format off
const Parser::Option Parser::kOptions[] = {
    {"-t",               &Parser::table,             false, nullptr},
    {"-i",               &Parser::in_interface,      true,  nullptr},
    {"-o",               &Parser::out_interface,     true,  nullptr},
    {"-s",               &Parser::source,            true,  nullptr},
    {"-d",               &Parser::destination,       true,  nullptr},
    {"-p",               &Parser::protocol,          true,  nullptr},
    {"-m",               &Parser::module,            false, nullptr},
    {"-j",               &Parser::target,            false, nullptr},
    {"--sport",          &Parser::source_port,       true,  "tcp udp"},
    {"--dport",          &Parser::destination_port,  true,  "tcp udp"},
    {"--syn",            &Parser::syn,               true,  "tcp"},
    {"--tcp-flags",      &Parser::tcp_flags,         true,  "tcp"},
    {"--icmp-type",      &Parser::icmp_type,         true,  "icmp"},
    {"--state",          &Parser::state,             true,  "state"},
    {"--limit",          &Parser::limit,             false, "limit"},
    {"--limit-burst",    &Parser::limit_burst,       false, "limit"},
    {"--src-range",      &Parser::source_range,      true,  "iprange"},
    {"--dst-range",      &Parser::destination_range, true,  "iprange"},
    {"--string",         &Parser::string,            true,  "string"},
    {"--algo",           &Parser::algorithm,         false, "string"},
    {"--mark",           &Parser::mark,              true,  "mark"},
    {"--condition",      &Parser::condition,         true,  "condition"},
    {"--to",             &Parser::to_destination,    false, "DNAT SNAT"},
    {"--to-destination", &Parser::to_destination,    false, "DNAT"},
    {"--to-source",      &Parser::to_source,         false, "SNAT"},
    {"--to-ports",       &Parser::to_ports,          false, "REDIRECT MASQUERADE"},
    {"--reject-with",    &Parser::reject_with,       false, "REJECT"},
    {"--log-prefix",     &Parser::log_prefix,        false, "LOG"},
    {"--log-level",      &Parser::log_level,         false, "LOG"},
    {"--set-mark",       &Parser::set_mark,          false, "PNAT"},
    {"--clamp-mss-to-pmtu", &Parser::clamp_mss,      false, "TCPMSS"},
};
// clang-format on

const Parser::Option &Parser::find_option(const std::string &word) const
{
    for (const Option &option : kOptions) {
        if (word == option.name) {
            if (option.needs != nullptr && !loaded(option.needs)) {
                refuse("", word, " without its match or target");
            }
            return option;
        }
    }
    unknown("option", word);
}

bool Parser::loaded(std::string_view needed) const
{
    for (const std::string &name : split_at(needed, ' ')) {
        if (name == target_name_ || has(modules_, name)) {
            return true;
        }
    }
    return false;
}

std::string Parser::argument()
{
    if (at_ == words_.size()) {
        refuse("the last option has no value");
    }
    return words_[at_++];
}

std::string Parser::negatable_argument()
{
    std::string word = argument();
    if (word != "!") {
        return word;
    }
    if (negated_) {
        refuse("two \"!\" for one option");
    }
    negated_ = true;
    command_.rule.old_negation = true;
    return argument();
}

bool Parser::is_verb(const std::string &word) const
{
    return word.size() == 2 && word[0] == '-' && strchr("AIDFNXP", word[1]) != nullptr;
}

void Parser::take_word(const std::string &word)
{
    if (word == "!") {
        if (negated_) {
            refuse("two \"!\" for one option");
        }
        negated_ = true;
        return;
    }
    if (is_verb(word)) {
        take_verb(word[1]);
        return;
    }
    if (word.size() < 2 || word[0] != '-') {
        refuse("\"", word, "\" is a word too many");
    }
    const Option &option = find_option(word);
    if (negated_ && !option.negatable) {
        refuse("\"!\" before ", word, "");
    }
    (this->*option.handler)();
    negated_ = false;
}

void Parser::take_verb(char verb)
{
    if (command_.verb != '\0') {
        refuse("two commands in one line");
    }
    command_.verb = verb;
    const bool may_be_alone = verb == 'F' || verb == 'X';
    if (may_be_alone && (at_ == words_.size() || words_[at_][0] == '-')) {
        return;
    }
    command_.chain = argument();
    if (command_.chain.empty() || command_.chain[0] == '-' || command_.chain.size() > kLongestChain) {
        refuse_value(command_.chain, "chain name");
    }
    take_place();
    if (verb == 'P') {
        const std::string policy = argument();
        if (policy != "ACCEPT" && policy != "DROP") {
            refuse_value(policy, "policy");
        }
        command_.drops = policy == "DROP";
    }
}

void Parser::take_place()
{
    const bool may_have = command_.verb == 'I' || command_.verb == 'D';
    if (may_have && at_ < words_.size() && words_[at_][0] != '-' && words_[at_][0] != '!') {
        command_.place = static_cast<size_t>(number_of(argument(), 1, 1000000, "rule number"));
    }
}

template <typename M>
bool Parser::has_match() const
{
    return std::any_of(command_.rule.matches.begin(), command_.rule.matches.end(),
                       [](const Match &match) { return std::holds_alternative<M>(match); });
}

template <typename M>
void Parser::once(const M &match, const char *option)
{
    for (const Match &other : command_.rule.matches) {
        const M *same = std::get_if<M>(&other);
        if constexpr (requires { match.destination; }) {
            same = same != nullptr && same->destination == match.destination ? same : nullptr;
        }
        if constexpr (requires { match.output; }) {
            same = same != nullptr && same->output == match.output ? same : nullptr;
        }
        if (same != nullptr) {
            refuse("", option, " is given twice");
        }
    }
    command_.rule.matches.emplace_back(match);
}

void Parser::table()
{
    command_.table = argument();
    if (command_.table == "raw") {
        unknown("table", command_.table);
    }
    if (!has(kTables, command_.table)) {
        refuse("there is no table ", command_.table, "");
    }
}

void Parser::interface(bool output)
{
    const std::string name = negatable_argument();
    if (name.empty() || name.size() > kLongestInterface) {
        refuse_value(name, "interface name");
    }
    once(InterfaceMatch{output, name, negated_}, output ? "-o" : "-i");
}

void Parser::address(bool is_destination)
{
    const std::string text = negatable_argument();
    once(AddressMatch{is_destination, network_of(text), negated_}, is_destination ? "-d" : "-s");
}

void Parser::protocol()
{
    const std::string name = negatable_argument();
    const Named *row = find(kProtocols, name);
    const int number = row != nullptr ? row->number : number_of(name, 0, 255, "protocol");
    if (number == 0 && negated_) {
        refuse("no packet has no protocol");
    }
    once(ProtocolMatch{number, negated_}, "-p");
    if (!negated_) {
        protocol_ = number;
        modules_.emplace_back(number == kTcp    ? "tcp"
                              : number == kUdp  ? "udp"
                              : number == kIcmp ? "icmp"
                                                : "");
    }
}

void Parser::module()
{
    const std::string name = argument();
    if (name.empty() || name[0] == '-') {
        refuse("-m without a name");
    }
    if (!has(kModules, name)) {
        unknown("match", name);
    }
    modules_.push_back(name);
    if (name == "psd") {
        command_.rule.matches.emplace_back(ScanMatch{});
    } else if (name == "limit") {
        command_.rule.matches.emplace_back(LimitMatch{});
    }
}

void Parser::target()
{
    if (has_target_) {
        refuse("-j is given twice");
    }
    has_target_ = true;
    target_name_ = argument();
    const Named *row = find(kTargets, target_name_);
    if (row != nullptr) {
        command_.rule.target.action = static_cast<Action>(row->number);
        command_.rule.target.reject = target_name_ == "REJECT" ? "icmp-port-unreachable" : "";
        return;
    }
    if (target_name_.empty() || target_name_[0] == '-') {
        refuse("-j without a name");
    }
    command_.rule.target.action = Action::kJump;
    command_.rule.target.chain = target_name_;
}

void Parser::port(bool is_destination)
{
    const Numbers ports = ports_of(negatable_argument());
    once(PortMatch{is_destination, ports.first, ports.last, negated_},
         is_destination ? "--dport" : "--sport");
}

void Parser::syn()
{
    once(FlagMatch{kSyn | kRst | kAck | kFin, kSyn, negated_}, "--syn");
}

void Parser::tcp_flags()
{
    const uint8_t looked_at = bits_of(kFlags, negatable_argument(), "TCP flag");
    const uint8_t set = bits_of(kFlags, argument(), "TCP flag");
    once(FlagMatch{looked_at, set, negated_}, "--tcp-flags");
}

void Parser::icmp_type()
{
    const std::string text = negatable_argument();
    const size_t slash = text.find('/');
    const std::string name = text.substr(0, slash);
    const Named *row = find(kIcmpTypes, name);
    IcmpMatch match = {row != nullptr ? row->number : number_of(name, 0, 255, "ICMP type"), 0, 255, negated_};
    if (slash != std::string::npos) {
        match.first_code = match.last_code = number_of(text.substr(slash + 1), 0, 255, "ICMP code");
    }
    once(match, "--icmp-type");
}

void Parser::state()
{
    const uint8_t states = bits_of(kStates, negatable_argument(), "connection state");
    once(StateMatch{states, negated_}, "--state");
}

void Parser::limit()
{
    const std::string text = argument();
    const size_t slash = text.find('/');
    (void)number_of(text.substr(0, slash), 1, kMostBurst, "rate");
    const std::string unit = slash == std::string::npos ? "second" : text.substr(slash + 1);
    const std::array<std::string_view, 4> units = {"second", "minute", "hour", "day"};
    if (unit.empty() ||
        std::none_of(units.begin(), units.end(), [&](auto u) { return u.starts_with(unit); })) {
        refuse_value(text, "rate");
    }
    for (Match &match : command_.rule.matches) {
        if (auto *rate = std::get_if<LimitMatch>(&match)) {
            rate->rate = text;
        }
    }
}

void Parser::limit_burst()
{
    const int burst = number_of(argument(), 0, kMostBurst, "burst");
    for (Match &match : command_.rule.matches) {
        if (auto *rate = std::get_if<LimitMatch>(&match)) {
            rate->burst = burst;
        }
    }
}

void Parser::range(bool is_destination)
{
    const Addresses range = range_of(negatable_argument());
    once(RangeMatch{is_destination, range.first, range.last, negated_},
         is_destination ? "--dst-range" : "--src-range");
}

void Parser::string()
{
    const std::string text = negatable_argument();
    if (text.empty()) {
        refuse("--string with an empty text");
    }
    once(StringMatch{text, negated_}, "--string");
}

void Parser::algorithm()
{
    const std::string name = argument();
    if (name != "bm" && name != "kmp") {
        refuse_value(name, "way to search");
    }
    command_.rule.has_algorithm = true;
}

void Parser::mark()
{
    const std::string text = negatable_argument();
    const size_t slash = text.find('/');
    MarkMatch match = {mark_of(text.substr(0, slash)), 0xffffffff, negated_};
    if (slash != std::string::npos) {
        match.mask = mark_of(text.substr(slash + 1));
    }
    once(match, "--mark");
}

void Parser::condition()
{
    const std::string name = negatable_argument();
    if (name != "schedule") {
        unknown("condition", name);
    }
    once(ScheduleMatch{negated_}, "--condition");
}

// "ADDRESS[-ADDRESS][:PORT[-PORT]]"
void Parser::to_destination()
{
    Target &target = command_.rule.target;
    const std::string text = argument();
    const size_t colon = text.find(':');
    if (colon != std::string::npos) {
        read_ports(text.substr(colon + 1));
    }
    const std::string addresses = text.substr(0, colon);
    if (addresses.empty() && colon != std::string::npos) {
        return;
    }
    const Addresses range = range_of(addresses);
    target.maps_address = true;
    target.first = range.first;
    target.last = range.last;
}

void Parser::to_ports()
{
    read_ports(argument());
}

void Parser::read_ports(const std::string &text)
{
    Target &target = command_.rule.target;
    if (protocol_ != kTcp && protocol_ != kUdp) {
        refuse("a port without -p tcp or -p udp");
    }
    const Numbers ports = new_ports_of(text);
    target.maps_port = true;
    target.first_port = ports.first;
    target.last_port = ports.last;
}

void Parser::reject_with()
{
    const std::string type = argument();
    if (!has(kRejectTypes, type)) {
        unknown("reject type", type);
    }
    command_.rule.target.reject = type;
}

void Parser::log_prefix()
{
    command_.rule.target.prefix = argument();
    if (command_.rule.target.prefix.size() > kLongestPrefix) {
        throw Refused{Why::kLongPrefix,
                      "the log prefix has more than " + std::to_string(kLongestPrefix) + " characters"};
    }
}

void Parser::log_level()
{
    command_.rule.target.level = std::to_string(number_of(argument(), 0, 7, "log level"));
}

void Parser::set_mark()
{
    command_.rule.target.mark = mark_of(argument());
}

// ---- what only the whole line shows ---------------------------------------------------------------------

void Parser::check_hooks() const
{
    const std::string &chain = command_.chain;
    for (const Match &match : command_.rule.matches) {
        const auto *interface = std::get_if<InterfaceMatch>(&match);
        if (interface == nullptr) {
            continue;
        }
        const bool in_only = chain == "PREROUTING" || chain == "INPUT";
        const bool out_only = chain == "POSTROUTING" || chain == "OUTPUT";
        if (interface->output ? in_only : out_only) {
            refuse(interface->output ? "-o in chain " : "-i in chain ", chain, "");
        }
    }
}

void Parser::check_nat() const
{
    const Action action = command_.rule.target.action;
    const bool destination = action == Action::kDnat || action == Action::kRedirect;
    const bool source = action == Action::kSnat || action == Action::kMasquerade;
    const std::string &chain = command_.chain;
    if ((destination || source) && command_.table != "nat") {
        refuse("", target_name_, " outside table nat");
    }
    if (action == Action::kReject && command_.table != "filter") {
        refuse("REJECT outside table filter");
    }
    if ((destination && chain == "POSTROUTING") || (source && (chain == "PREROUTING" || chain == "OUTPUT"))) {
        refuse("", target_name_, (" in chain " + chain).c_str());
    }
    const Target &target = command_.rule.target;
    if ((action == Action::kDnat || action == Action::kSnat) && !target.maps_address && !target.maps_port) {
        refuse("", target_name_, " without --to");
    }
}

void Parser::check_modules() const
{
    const auto needs = [&](const char *module, bool given) {
        if (!given && loaded(module)) {
            refuse("-m ", module, " without its option");
        }
    };
    needs("state", has_match<StateMatch>());
    needs("iprange", has_match<RangeMatch>());
    needs("string", has_match<StringMatch>());
    needs("mark", has_match<MarkMatch>());
    needs("condition", has_match<ScheduleMatch>());
}

void Parser::check() const
{
    if (command_.verb == '\0') {
        refuse("no command");
    }
    if (negated_) {
        refuse("\"!\" with nothing behind it");
    }
    const bool has_rule =
        command_.verb == 'A' || command_.verb == 'I' || (command_.verb == 'D' && command_.place == 0);
    if (!has_rule) {
        if (has_target_ || !command_.rule.matches.empty()) {
            refuse("a rule behind -", std::string(1, command_.verb), "");
        }
        return;
    }
    check_hooks();
    check_nat();
    check_modules();
}

Command Parser::parse()
{
    while (at_ < words_.size()) {
        take_word(words_[at_++]);
    }
    check();
    return command_;
}

}  // namespace

Parsed parse_command(const std::vector<std::string> &words)
{
    Parsed parsed;
    try {
        parsed.command = Parser(words).parse();
    } catch (const Refused &refused) {
        parsed.why = refused.why;
        parsed.reason = refused.reason;
    }
    return parsed;
}

}  // namespace packets
