// rcbench packet: whether a packet gets through the packet filter, and by which rules.

#include <cstdio>
#include <map>

#include "bench/packets/walk.h"
#include "bench/rcbench/filter.h"
#include "bench/rcbench/pages.h"

namespace rcbench {

namespace {

using packets::Packet;
using packets::PacketText;
using packets::Verdict;
using packets::Walk;

struct PacketRequest {
    std::shared_ptr<FilterRequest> filter = std::make_shared<FilterRequest>();
    std::optional<std::string> svg;
};

Options packet_options(const std::shared_ptr<PacketRequest> &r)
{
    return {
        {.help = "The packet"},
        from_option(
            r->filter,
            "where it comes from: wan, lan, tunnel or router; without it the side of its source, or wan"),
        quick_option(r->filter),
        json_option(r->filter, "for machines: a list with one object a packet"),
        {.name = "svg",
         .argument = "FILE",
         .help = "a picture of one packet's way through the chains, in place of text",
         .take = [r](const std::string &file) { r->svg = file; }},
    };
}

// ---- questions
// ----------------------------------------------------------------------------------------------

std::vector<std::string> packet_texts(const Words &words)
{
    std::vector<std::string> texts;
    for (const std::string &word : words) {
        if (word == "-" || word.starts_with('@')) {
            const std::vector<std::string> lines = question_lines(word == "-" ? word : word.substr(1));
            texts.insert(texts.end(), lines.begin(), lines.end());
        } else {
            texts.push_back(word);
        }
    }
    if (texts.empty()) {
        throw forms::usage_error("no packet");
    }
    return texts;
}

std::vector<PacketText> parse(const std::vector<std::string> &texts, const packets::Network &network,
                              std::optional<packets::Side> from)
{
    try {
        std::vector<PacketText> asked;
        asked.reserve(texts.size());
        for (const std::string &text : texts) {
            asked.push_back(packets::parse_packet(text, network, from));
        }
        return asked;
    } catch (const packets::Error &error) {
        throw forms::Failure(forms::kUnusable, forms::escape(error.what()));
    }
}

// ---- answers
// ------------------------------------------------------------------------------------------------

std::string verdict_text(const Walk &walk, const Packet &packet)
{
    if (walk.verdict != Verdict::kAccept) {
        return std::string(walk.verdict == Verdict::kDrop ? "dropped" : "rejected") +
               (walk.hook ? std::string(" in ") + packets::hook_name(*walk.hook) : ", before the filter");
    }
    std::string text = "accepted, to " + packets::endpoint_text(walk.to, packet.protocol);
    if (walk.out == packets::Side::kRouter) {
        text += ", the router itself";
    } else if (walk.out == packets::Side::kWan && packet.from == packets::Side::kWan) {
        text += ", back to the Internet";
    }
    if (walk.from != packet.source) {
        text += ", as coming from " + packets::endpoint_text(walk.from, packet.protocol);
    }
    return text;
}

// The schedule's state, and where it comes from: the packet's words or the clock.
std::string schedule_text(const PacketText &asked, const RouterRequest &router)
{
    const std::string state =
        asked.packet.circumstances.schedule ? "the schedule is active" : "the schedule is not active";
    if (asked.names_schedule) {
        return state + ", as asked";
    }
    return state + " on " + clock_text(first_clock(router)) +
           "; --clock or schedule=on, schedule=off asks for another time";
}

// The circumstances that the answer rests on, as sentences.
std::vector<std::string> circumstances(const Walk &walk, const PacketText &asked, const RouterRequest &router)
{
    const packets::Circumstances &now = asked.packet.circumstances;
    std::vector<std::string> texts;
    if (walk.asked.schedule) {
        texts.push_back(schedule_text(asked, router));
    }
    if (walk.asked.limit) {
        texts.emplace_back(now.over_limit ? "over the limit" : "within the limit");
    }
    if (walk.asked.scan) {
        texts.emplace_back(now.scan ? "a scan has been seen" : "no scan seen");
    }
    if (walk.asked.trigger) {
        texts.emplace_back(now.triggered ? "port triggering has opened the port"
                                         : "port triggering has not opened the port");
    }
    if (walk.asked.web_mark) {
        texts.emplace_back(now.web_mark ? "the platform has marked it as web traffic to the router"
                                        : "the platform has not marked it as web traffic to the router");
    }
    return texts;
}

// A call of a chain in which nothing matched says nothing.
bool is_idle_call(const std::vector<packets::Step> &steps, size_t i)
{
    const packets::Target &target = steps[i].rule->target;
    const bool entered =
        i + 1 < steps.size() && steps[i + 1].hook == steps[i].hook && steps[i + 1].chain == target.chain;
    return target.action == packets::Action::kJump && !entered;
}

void print_answer(const PacketText &asked, const Walk &walk, const RouterRequest &router)
{
    const Packet &packet = asked.packet;
    printf("%s: %s\n", packets::side_name(packet.from), packets::packet_text(packet).c_str());
    printf("%s\n", verdict_text(walk, packet).c_str());
    for (size_t i = 0; i < walk.steps.size(); ++i) {
        const packets::Step &step = walk.steps[i];
        if (is_idle_call(walk.steps, i)) {
            continue;
        }
        printf("  %-11s %-13s %s  [%s]\n", packets::hook_name(step.hook), step.chain.c_str(),
               forms::escape(step.rule->text).c_str(), origin_text(step.rule->origin).c_str());
    }
    printf("  decided by  %s  [%s]\n", forms::escape(walk.reason).c_str(), origin_text(walk.origin).c_str());
    for (const std::string &text : circumstances(walk, asked, router)) {
        printf("  taken       %s\n", text.c_str());
    }
    for (const std::string &text : asked.filled) {
        printf("  filled in   %s\n", text.c_str());
    }
    for (const std::string &text : walk.notes) {
        printf("  note        %s\n", text.c_str());
    }
}

bench::Json json_end(const packets::Endpoint &end, int protocol)
{
    return {{"address", packets::address_text(end.address)},
            {"port", packets::has_ports(protocol) ? bench::Json(end.port) : bench::Json(nullptr)}};
}

bench::Json json_texts(const std::vector<std::string> &texts)
{
    bench::Json list = bench::Json::array();
    for (const std::string &text : texts) {
        list.push_back(bench::json_text(text));
    }
    return list;
}

bench::Json json_rules(const Walk &walk)
{
    bench::Json rules = bench::Json::array();
    for (const packets::Step &step : walk.steps) {
        bench::Json rule = {{"hook", packets::hook_name(step.hook)},
                            {"chain", step.chain},
                            {"text", bench::json_text(step.rule->text)}};
        put_origin(rule, step.rule->origin);
        rules.push_back(rule);
    }
    return rules;
}

bench::Json json_answer(const PacketText &asked, const Walk &walk, const RouterRequest &router)
{
    const Packet &packet = asked.packet;
    const bool before = !walk.hook.has_value();
    const auto end = [&](const packets::Endpoint &endpoint) {
        return before ? bench::Json(nullptr) : json_end(endpoint, packet.protocol);
    };
    bench::Json json = {{"packet", bench::json_text(packets::packet_text(packet))},
                        {"side", packets::side_name(packet.from)},
                        {"verdict", packets::verdict_name(walk.verdict)},
                        {"hook", before ? bench::Json(nullptr) : bench::Json(packets::hook_name(*walk.hook))},
                        {"to", end(walk.to)},
                        {"from", end(walk.from)},
                        {"out", walk.verdict == Verdict::kAccept ? bench::Json(packets::side_name(walk.out))
                                                                 : bench::Json(nullptr)},
                        {"reason", bench::json_text(walk.reason)}};
    put_origin(json, walk.origin);
    json["rules"] = json_rules(walk);
    json["taken"] = json_texts(circumstances(walk, asked, router));
    json["filled_in"] = json_texts(asked.filled);
    json["notes"] = json_texts(walk.notes);
    return json;
}

// The rules that matched on the way, each as the picture names it.
std::vector<std::string> way_of(const packets::RuleSet &rules, const Walk &walk)
{
    std::map<const packets::Rule *, std::string> names;
    for (const packets::Table *table : {&rules.nat, &rules.filter}) {
        for (const packets::Chain &chain : table->chains) {
            for (const packets::Rule &rule : chain.rules) {
                names[&rule] = table->name + " " + chain.name + " " + rule.text;
            }
        }
    }
    std::vector<std::string> way;
    for (const packets::Step &step : walk.steps) {
        if (const auto found = names.find(step.rule); found != names.end()) {
            way.push_back(found->second);
        }
    }
    return way;
}

void write_way(const PacketRequest &request, const bench::RouterFilter &filter, const PacketText &asked,
               const Walk &walk)
{
    const bench::FilterChains chains = chains_of(filter.rules);
    const std::vector<std::string> way = way_of(filter.rules, walk);
    if (request.svg) {
        write_picture(*request.svg, page::chains_picture(chains, page::met_chains(chains, way)));
    }
    if (!request.filter->router->html) {
        return;
    }
    std::vector<std::vector<std::string>> rows;
    for (const packets::Step &step : walk.steps) {
        rows.push_back(
            {packets::hook_name(step.hook), step.chain, step.rule->text, origin_text(step.rule->origin)});
    }
    rows.push_back({"decided by", "", walk.reason, origin_text(walk.origin)});
    const std::string packet =
        std::string(packets::side_name(asked.packet.from)) + ": " + packets::packet_text(asked.packet);
    write_page(*request.filter->router, packet, verdict_text(walk, asked.packet),
               {{"way", "Its way", page::table({"Where", "Chain", "Rule", "Because of"}, rows)},
                page::filter_chapter(chains, way)});
}

int work(const PacketRequest &asked_for, const Words &words)
{
    const FilterRequest &request = *asked_for.filter;
    const std::vector<std::string> texts = packet_texts(words);
    const bool drawn = request.router->html || asked_for.svg;
    if (drawn && (request.json || texts.size() != 1)) {
        throw forms::usage_error("--html and --svg show the way of one packet, and not with --json");
    }
    const bench::Target target = target_of(*request.router);
    note_unknown_keys(*request.router, {});
    bench::RouterFilter filter = filter_of(*request.router, target, true);
    const std::vector<PacketText> all = parse(texts, filter.network, request.from);
    if (!request.quick) {
        find_causes(filter, *request.router, target, true);
    }
    bool all_accepted = true;
    bench::Json answers = bench::Json::array();
    for (const PacketText &asked : all) {
        const Walk walk = packets::walk(filter.rules, filter.network, asked.packet);
        all_accepted = all_accepted && walk.verdict == Verdict::kAccept;
        if (drawn) {
            write_way(asked_for, filter, asked, walk);
        } else if (request.json) {
            answers.push_back(json_answer(asked, walk, *request.router));
        } else {
            printf("%s", &asked == &all.front() ? "" : "\n");
            print_answer(asked, walk, *request.router);
        }
    }
    if (request.json) {
        (void)fputs(bench::written(answers).c_str(), stdout);
    }
    return all_accepted ? forms::kDone : forms::kNo;
}

constexpr const char *kAbout = R"(
Takes packets through the packet filter that rc writes for these settings, one step at a time as the kernel does:
the verdict first, then each rule that matched with the setting and record behind it, then what decided.

A packet is PROTOCOL SOURCE[:PORT] -> DESTINATION[:PORT] and words. Addresses may be left out; the router's own or
those of a usual host are filled in and said.
)";

constexpr const char *kMore = R"(
Words behind the destination: syn ack fin rst psh urg (TCP flags), established related invalid (its connection;
otherwise it opens one), reply and for=ADDRESS:PORT (an answer to that host), type=N code=N (ICMP),
schedule=on schedule=off (in place of --clock), over (more than the rate limits allow), scan (scan seen),
triggered (port triggering has opened the port), mark=none (the platform has not marked web traffic),
payload=TEXT (up to the end). @FILE takes packets from a file, one a line, and - from standard input.
)";

}  // namespace

Command make_packet()
{
    const auto request = std::make_shared<PacketRequest>();
    return {{.name = "rcbench packet",
             .usage = {"[OPTIONS] 'tcp 198.51.100.7 -> 203.0.113.10:443'...", "[OPTIONS] @FILE"},
             .about = kAbout,
             .options = joined({router_options(request->filter->router), packet_options(request)}),
             .more = kMore,
             .no = "a packet is not accepted"},
            [request](const Words &words) { return work(*request, words); }};
}

}  // namespace rcbench
