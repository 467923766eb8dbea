#include "bench/rcbench/filter.h"

#include "bench/packets/load.h"
#include "bench/rcbench/runs.h"
#include "bench/rule_origins.h"
#include "forms/files.h"
#include "forms/nearest.h"

namespace rcbench {

namespace {

// A chain is deleted before it is made and a rule before it is inserted; on a fresh router neither is there.
bool is_routine(const packets::Refusal &refusal)
{
    return refusal.why == packets::Why::kMissingChain || refusal.why == packets::Why::kNoSuchRule;
}

// Names and addresses that lines of the framework are filled with are no reason for them.
bool is_only_filled_in(const std::string &setting)
{
    return setting == "lan_if" || setting == "wan_ifname" || setting == "lan_ipaddr" || setting == "wan_mode";
}

packets::Origin origin_of(const bench::RuleOrigin &origin)
{
    std::string settings;
    for (const std::string &setting : origin.settings) {
        if (!is_only_filled_in(setting)) {
            settings += (settings.empty() ? "" : ", ") + setting;
        }
    }
    return {settings, origin.record};
}

// What port triggering marks, and what the firewall gives the tool beside its file: the VPN's lines.
void put_special_origin(packets::Rule &rule, const bench::RouterFilter &filter, size_t lines)
{
    if (rule.text.find(" --mark 0x2511 ") != std::string::npos) {
        rule.origin = {"fw_spapp", 0};
    } else if (rule.line < filter.batch_line || rule.line >= filter.batch_line + lines) {
        rule.origin = {"vpn", 0};
    }
}

void put_origins(bench::RouterFilter &filter, const bench::RulesFile &file)
{
    std::vector<packets::Origin> origins(filter.batch_line - 1);
    if (file.text == filter.batch) {
        for (const bench::RuleOrigin &origin : file.origins) {
            origins.push_back(origin_of(origin));
        }
    }
    packets::set_origins(filter.rules, origins);
    for (packets::Table *table : {&filter.rules.nat, &filter.rules.filter}) {
        for (packets::Chain &chain : table->chains) {
            for (packets::Rule &rule : chain.rules) {
                put_special_origin(rule, filter, file.origins.size());
            }
        }
    }
}

}  // namespace

forms::Option from_option(const std::shared_ptr<FilterRequest> &request, const char *help)
{
    return {.name = "from", .argument = "SIDE", .help = help, .take = [request](const std::string &side) {
                request->from = side_of("--from", side);
            }};
}

forms::Option quick_option(const std::shared_ptr<FilterRequest> &request)
{
    return {.name = "quick",
            .help =
                "without the settings behind rules, which are found by running rc many times; all rules "
                "are the framework's then",
            .take = [request](const std::string &) { request->quick = true; }};
}

forms::Option json_option(const std::shared_ptr<FilterRequest> &request, const char *help)
{
    return {.name = "json", .help = help, .take = [request](const std::string &) { request->json = true; }};
}

bench::RouterFilter filter_of_runs(const bench::Root &root, const std::vector<bench::Interface> &interfaces,
                                   const std::vector<bench::Trace> &traces)
{
    try {
        bench::RouterFilter filter = bench::router_filter(root, interfaces, traces);
        for (const packets::Refusal &refusal : filter.rules.refused) {
            if (!is_routine(refusal)) {
                forms::note("the filter tool refuses \"" + forms::shown(refusal.text) +
                            "\": " + forms::shown(refusal.reason));
            }
        }
        return filter;
    } catch (const packets::Error &error) {
        throw forms::Failure(forms::kUnusable, forms::shown(error.what()));
    }
}

bench::RouterFilter filter_of(const RouterRequest &request, const bench::Target &target, bool with_changes)
{
    const bench::Setup setup = setup_of(request, target, with_changes);
    bench::Root root(target, setup);
    std::vector<bench::Trace> traces;
    for (const char *service : {"firewall", "route"}) {
        int64_t clock = first_clock(request);
        traces.push_back(run_in(root, request, {{}, {"rc", service, "start"}}, clock));
    }
    return filter_of_runs(root, setup.interfaces, traces);
}

void find_causes(bench::RouterFilter &filter, const RouterRequest &request, const bench::Target &target,
                 bool with_changes)
{
    const bench::Setup setup = setup_of(request, target, with_changes);
    put_origins(filter, bench::rules_with_origins(target, setup, run_like(request)));
}

std::vector<std::string> question_lines(const std::string &file)
{
    std::vector<std::string> lines(1);
    for (const char c : forms::read_input(file, forms::kFileLimit)) {
        if (c == '\n') {
            lines.emplace_back();
        } else {
            lines.back() += c;
        }
    }
    std::erase_if(lines, [](const std::string &line) {
        return line.find_first_not_of(" \t\r") == std::string::npos || line[0] == '#';
    });
    return lines;
}

packets::Side side_of(const std::string &option, const std::string &name)
{
    std::vector<std::string> names;
    for (const packets::Side side : packets::kSides) {
        names.emplace_back(packets::side_name(side));
        if (name == names.back()) {
            return side;
        }
    }
    throw forms::usage_error(option + " " + forms::shown(name) + ": no such side" +
                             forms::did_you_mean(name, names) + "; take wan, lan, tunnel or router");
}

std::string origin_text(const packets::Origin &origin)
{
    if (origin.setting.empty()) {
        return "framework";
    }
    return origin.setting + (origin.record == 0 ? "" : ", record " + std::to_string(origin.record));
}

void put_origin(bench::Json &json, const packets::Origin &origin)
{
    json["setting"] = origin.setting.empty() ? bench::Json(nullptr) : bench::json_text(origin.setting);
    json["record"] = origin.record == 0 ? bench::Json(nullptr) : bench::Json(origin.record);
}

}  // namespace rcbench
