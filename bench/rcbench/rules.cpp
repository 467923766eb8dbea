// rcbench rules: the packet filter by chain, and what changed settings change in it.

#include <algorithm>
#include <array>
#include <cstdio>

#include "bench/rcbench/pages.h"
#include "bench/rcbench/runs.h"
#include "bench/rcbench/style.h"
#include "bench/show/filter.h"
#include "bench/show/json.h"

namespace rcbench {

namespace {

using forms::usage_error;

struct RulesRequest {
    std::shared_ptr<RouterRequest> router = std::make_shared<RouterRequest>();
    bool diff = false;
    bool json = false;
    std::optional<std::string> svg;
    bench::Style style;
};

Options rules_options(const std::shared_ptr<RulesRequest> &r)
{
    using Text = const std::string &;
    // clang-format off
    return {
        {.help = "What is shown"},
        {.name = "diff",
         .help = "what the --set and --unset options change in the rules",
         .take = [r](Text) { r->diff = true; }},
        {.name = "json",
         .help = "for machines: a list with one object a chain",
         .take = [r](Text) { r->json = true; }},
        {.name = "svg", .argument = "FILE",
         .help = "a picture of the chains, in place of text",
         .take = [r](Text file) { r->svg = file; }},
        {.name = "short",
         .help = "with --diff only the rules that come and go",
         .take = [r](Text) { r->style.quick = true; }},
    };
    // clang-format on
}

bench::Json json_chains(const bench::FilterChains &chains)
{
    bench::Json list = bench::Json::array();
    for (const bench::FilterChain &chain : chains) {
        bench::Json rules = bench::Json::array();
        for (const bench::FilterRule &rule : chain.rules) {
            const bench::RuleOrigin &origin = rule.origin;
            rules.push_back(
                {{"text", bench::json_text(rule.text)},
                 {"settings", origin.settings},
                 {"record", origin.record == 0 ? bench::Json(nullptr) : bench::Json(origin.record)}});
        }
        list.push_back(
            {{"table", chain.table},
             {"chain", bench::json_text(chain.name)},
             {"policy", chain.policy.empty() ? bench::Json(nullptr) : bench::json_text(chain.policy)},
             {"rules", rules}});
    }
    return list;
}

bench::FilterChains chains_of(const RouterRequest &router, const bench::Target &target, bool with_changes)
{
    return bench::filter_chains(
        bench::rules_with_origins(target, setup_of(router, target, with_changes), run_like(router)));
}

void show_chains(const RulesRequest &request, const bench::FilterChains &chains)
{
    if (request.router->html) {
        write_page(*request.router, "rc's packet filter",
                   "Chain by chain in the kernel's order, with the settings behind each rule.",
                   {page::filter_chapter(chains, {})});
    } else if (request.svg) {
        write_picture(*request.svg, page::chains_picture(chains, {}));
    } else if (request.json) {
        (void)fputs(bench::written(json_chains(chains)).c_str(), stdout);
    } else {
        bench::print_filter(stdout, chains);
    }
}

int work(RulesRequest &request, const Words &words)
{
    const RouterRequest &router = *request.router;
    if (!words.empty()) {
        throw usage_error("rules takes no words, only options: " + forms::shown(words[0]));
    }
    if (request.diff && router.set.empty() && router.unset.empty()) {
        throw usage_error("--diff needs a --set or --unset to compare with");
    }
    const std::array<bool, 4> shapes = {request.diff, request.json, request.svg.has_value(),
                                        router.html.has_value()};
    if (std::count(shapes.begin(), shapes.end(), true) > 1) {
        throw usage_error("only one of --diff, --json, --svg and --html can be asked for");
    }
    request.style = fitted(request.style);
    const bench::Target target = target_of(router);
    note_unknown_keys(router, {});
    const bench::FilterChains chains = chains_of(router, target, true);
    if (!request.diff) {
        show_chains(request, chains);
        return forms::kDone;
    }
    const bool differs =
        bench::print_filter_difference(stdout, chains_of(router, target, false), chains, request.style);
    return differs ? forms::kNo : forms::kDone;
}

constexpr const char *kAbout = R"(
Prints the packet filter that rc writes for these settings, chain by chain in the order in which packets meet
the rules, with the settings behind each rule.
)";

}  // namespace

Command make_rules()
{
    const auto request = std::make_shared<RulesRequest>();
    return {{.name = "rcbench rules",
             .usage = {"[OPTIONS]", "[OPTIONS] --diff --set KEY=VALUE..."},
             .about = kAbout,
             .options = joined({router_options(request->router), rules_options(request)}),
             .no = "--diff found differences"},
            [request](const Words &words) { return work(*request, words); }};
}

}  // namespace rcbench
