// rcbench rules: the packet filter by chain, and what changed settings change in it.

#include <cstdio>

#include "bench/rcbench/runs.h"
#include "bench/rcbench/style.h"
#include "bench/show/filter.h"

namespace rcbench {

namespace {

using forms::usage_error;

struct RulesRequest {
    std::shared_ptr<RouterRequest> router = std::make_shared<RouterRequest>();
    bool diff = false;
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
        {.name = "short",
         .help = "with --diff only the rules that come and go",
         .take = [r](Text) { r->style.quick = true; }},
    };
    // clang-format on
}

bench::FilterChains chains_of(const RouterRequest &router, const bench::Target &target, bool with_changes)
{
    return bench::filter_chains(
        bench::rules_with_origins(target, setup_of(router, target, with_changes), run_like(router)));
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
    request.style = fitted(request.style);
    const bench::Target target = target_of(router);
    note_unknown_keys(router, {});
    const bench::FilterChains chains = chains_of(router, target, true);
    if (!request.diff) {
        bench::print_filter(stdout, chains);
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
