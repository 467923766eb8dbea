// rcbench reach: everything that the packet filter lets through, as tables; what a change opens and closes;
// whether promises about it hold; rules that nothing needs.

#include "bench/packets/reach.h"

#include <algorithm>
#include <cstdio>

#include "bench/packets/walk.h"
#include "bench/rcbench/filter.h"
#include "bench/rcbench/pages.h"
#include "bench/rcbench/passing.h"
#include "bench/rcbench/reach_changes.h"
#include "bench/rcbench/reach_tables.h"

namespace rcbench {

namespace {

using packets::Piece;
using packets::Row;
using packets::Sentence;
using packets::Space;
using packets::Verdict;

using Pieces = std::vector<Piece>;
using Rows = std::vector<Row>;

struct ReachRequest {
    std::shared_ptr<FilterRequest> filter = std::make_shared<FilterRequest>();
    bool diff = false;
    bool idle = false;
    std::vector<Sentence> sentences;
};

Sentence sentence(const std::string &text)
{
    try {
        return packets::parse_sentence(text);
    } catch (const packets::Error &error) {
        throw forms::Failure(forms::kUnusable, forms::escape(error.what()));
    }
}

void read_sentences(const std::string &file, std::vector<Sentence> &sentences)
{
    for (const std::string &line : question_lines(file)) {
        sentences.push_back(sentence(line));
    }
}

Options reach_options(const std::shared_ptr<ReachRequest> &r)
{
    using Text = const std::string &;
    // clang-format off
    return {
        {.help = "The question"},
        from_option(r->filter, "only what comes from there: wan, lan, tunnel or router"),
        {.name = "diff",
         .help = "what the --set and --unset options open, close and send elsewhere",
         .take = [r](Text) { r->diff = true; }},
        {.name = "never", .argument = "SENTENCE",
         .help = "whether this holds: 'wan -> router:80', 'wan -> lan unless by fw_in_rules'",
         .take = [r](Text text) { r->sentences.push_back(sentence("never " + text)); }},
        {.name = "always", .argument = "SENTENCE",
         .help = "whether this holds: 'lan -> router:53 udp'",
         .take = [r](Text text) { r->sentences.push_back(sentence("always " + text)); }},
        {.name = "promises", .argument = "FILE",
         .help = "whether the sentences of a file hold, one a line, \"never ...\" or \"always ...\"",
         .take = [r](Text file) { read_sentences(file, r->sentences); }},
        {.name = "idle",
         .help = "rules that are shadowed, redundant or never match, with the lines that cover them",
         .take = [r](Text) { r->idle = true; }},
        quick_option(r->filter),
        json_option(r->filter, "for machines: a list with one object a row"),
    };
    // clang-format on
}

// ---- tables

int answer_tables(const ReachRequest &request, const bench::RouterFilter &filter)
{
    if (request.filter->router->html) {
        write_page(*request.filter->router, "What gets through",
                   "Every connection that the packet filter of this router lets through.",
                   passing_chapters(filter, request.filter->from));
        return forms::kDone;
    }
    const Space space(packets::texts_of({&filter.rules}));
    const std::vector<PassingTable> tables =
        passing_tables(space, filter, request.filter->from, request.filter->json);
    bench::Json json = bench::Json::array();
    for (const PassingTable &table : tables) {
        if (request.filter->json) {
            for (const Row &row : table.rows) {
                json.push_back(json_row(table.side, row));
            }
        } else {
            printf("%s", &table == &tables.front() ? "" : "\n");
            print_rows(table.heading, table.rows);
        }
    }
    if (request.filter->json) {
        (void)fputs(bench::written(json).c_str(), stdout);
    }
    return forms::kDone;
}

int answer_idle(const ReachRequest &request, const bench::RouterFilter &filter)
{
    const Space space(packets::texts_of({&filter.rules}));
    const std::vector<packets::IdleLine> lines = packets::idle_lines(space, filter.rules, filter.network);
    if (request.filter->json) {
        (void)fputs(bench::written(json_idle_lines(lines)).c_str(), stdout);
    } else {
        print_idle_lines(lines);
    }
    return forms::kDone;
}

// ---- differences
// --------------------------------------------------------------------------------------------

int answer_difference(const ReachRequest &request, const bench::RouterFilter &before,
                      const bench::RouterFilter &after)
{
    Changes changes(before, after, {.json = request.filter->json});
    const bool differs = changes.compare(request.filter->from);
    if (request.filter->json) {
        (void)fputs(bench::written(changes.list()).c_str(), stdout);
    } else if (!differs) {
        printf("Nothing changes: the same connections get through to the same ends.\n");
    }
    return differs ? forms::kNo : forms::kDone;
}

// ---- promises
// -----------------------------------------------------------------------------------------------

// A sentence that is about routers without a setting says nothing about one with it.
std::string exempted_by(const Sentence &sentence, const std::vector<bench::Setting> &settings)
{
    for (const packets::Condition &condition : sentence.unless) {
        for (const bench::Setting &setting : settings) {
            if (!condition.by && setting.key == condition.key && setting.value == condition.value) {
                return setting.key + "=" + setting.value;
            }
        }
    }
    return "";
}

struct Promise {
    bool holds = true;
    std::string exempted;  // by this setting
    std::optional<packets::Packet> broken_by;
    std::string how;
};

Promise check(const Sentence &sentence, const Space &space, const bench::RouterFilter &filter)
{
    const packets::Set asked = packets::new_connections(space, sentence.from);
    const Pieces pieces = packets::flow(space, filter.rules, filter.network, asked);
    const packets::Set broken = packets::broken_by(sentence, space, filter.network, pieces);
    Promise promise;
    promise.holds = broken.empty();
    if (!promise.holds) {
        promise.broken_by = space.example(broken, filter.network);
        const packets::Walk walk = packets::walk(filter.rules, filter.network, *promise.broken_by);
        promise.how = walk.verdict == Verdict::kAccept
                          ? "accepted, to " + packets::endpoint_text(walk.to, promise.broken_by->protocol)
                          : std::string(packets::verdict_name(walk.verdict));
        promise.how += " by " + forms::escape(walk.reason) + " [" + origin_text(walk.origin) + "]";
    }
    return promise;
}

void print_promise(const Sentence &sentence, const Promise &promise)
{
    if (!promise.exempted.empty()) {
        printf("exempt  %s\n        %s\n", sentence.text.c_str(), promise.exempted.c_str());
        return;
    }
    printf("%s  %s\n", promise.holds ? "holds " : "broken", sentence.text.c_str());
    if (!promise.holds) {
        printf("        %s: %s\n        %s\n", packets::side_name(promise.broken_by->from),
               packets::packet_text(*promise.broken_by).c_str(), promise.how.c_str());
    }
}

bench::Json json_promise(const Sentence &sentence, const Promise &promise)
{
    return {
        {"sentence", bench::json_text(sentence.text)},
        {"holds", promise.holds},
        {"exempted_by", promise.exempted.empty() ? bench::Json(nullptr) : bench::json_text(promise.exempted)},
        {"packet",
         promise.holds ? bench::Json(nullptr) : bench::json_text(packets::packet_text(*promise.broken_by))},
        {"side", packets::side_name(sentence.from)},
        {"how", promise.holds ? bench::Json(nullptr) : bench::json_text(promise.how)}};
}

int answer_promises(const ReachRequest &request, const bench::RouterFilter &filter,
                    const std::vector<bench::Setting> &settings)
{
    const Space space(packets::texts_of({&filter.rules}));
    bool all_hold = true;
    bench::Json json = bench::Json::array();
    for (const Sentence &sentence : request.sentences) {
        const std::string exempted = exempted_by(sentence, settings);
        Promise promise;
        if (exempted.empty()) {
            promise = check(sentence, space, filter);
        }
        promise.exempted = exempted;
        all_hold = all_hold && promise.holds;
        if (request.filter->json) {
            json.push_back(json_promise(sentence, promise));
        } else {
            print_promise(sentence, promise);
        }
    }
    if (request.filter->json) {
        (void)fputs(bench::written(json).c_str(), stdout);
    }
    return all_hold ? forms::kDone : forms::kNo;
}

// ---- the whole
// ----------------------------------------------------------------------------------------------

std::vector<bench::Setting> settings_of(const RouterRequest &router, const bench::Target &target)
{
    const bench::Setup setup = setup_of(router, target, true);
    return setup.settings.value_or(setup.defaults);
}

void check_request(const ReachRequest &request, const Words &words)
{
    if (!words.empty()) {
        throw forms::usage_error("reach takes no words, only options: " + forms::shown(words[0]));
    }
    if (static_cast<int>(request.diff) + static_cast<int>(request.idle) +
            static_cast<int>(!request.sentences.empty()) >
        1) {
        throw forms::usage_error("--diff, --idle and promises are questions of their own: one at a time");
    }
    const bool asks_for_causes =
        std::any_of(request.sentences.begin(), request.sentences.end(), [](const Sentence &sentence) {
            return std::any_of(sentence.unless.begin(), sentence.unless.end(),
                               [](const packets::Condition &condition) { return condition.by; });
        });
    if (request.filter->quick && asks_for_causes) {
        throw forms::usage_error("\"by KEY\" asks for the settings behind rules: leave out --quick");
    }
    if (request.diff && request.filter->router->set.empty() && request.filter->router->unset.empty()) {
        throw forms::usage_error("--diff needs a --set or --unset to compare with");
    }
}

int work(const ReachRequest &request, const Words &words)
{
    check_request(request, words);
    if (request.filter->router->html &&
        (request.filter->json || request.diff || request.idle || !request.sentences.empty())) {
        throw forms::usage_error("--html cannot be combined with --json or a question");
    }
    const RouterRequest &router = *request.filter->router;
    const bench::Target target = target_of(router);
    note_unknown_keys(router, {});
    const auto filter_with = [&](bool changes) {
        bench::RouterFilter filter = filter_of(router, target, changes);
        if (!request.filter->quick) {
            find_causes(filter, router, target, changes);
        }
        return filter;
    };
    const bench::RouterFilter filter = filter_with(true);
    try {
        if (request.diff) {
            return answer_difference(request, filter_with(false), filter);
        }
        if (request.idle) {
            return answer_idle(request, filter);
        }
        if (!request.sentences.empty()) {
            return answer_promises(request, filter, settings_of(router, target));
        }
        return answer_tables(request, filter);
    } catch (const packets::Error &error) {
        throw forms::Failure(forms::kUnusable, forms::escape(error.what()));
    }
}

constexpr const char *kAbout = R"(
Answers questions about all packets at once, from the packet filter that rc writes for these settings. Without a
question: everything that is let in from the Internet and from tunnels, what is kept from LAN hosts, and the
router's own ports, each row with an example for rcbench packet in --json. The rows together are exactly the
connections that get through; nothing is sampled.
)";

constexpr const char *kMore = R"(
A sentence is SIDE [NET...] -> PLACE[:PORTS] [PROTOCOL] [unless CONDITION, CONDITION...]. SIDE is wan, lan, tunnel or
router, NET an address, subnet or range its packets come from (without one: any that the kernel takes). PLACE is a side or an address: of "never" where a
packet ends, of "always" where it is sent. A CONDITION "by KEY" leaves out what rules of that setting let in,
"KEY=VALUE" leaves the sentence out where the setting has that value; "over", "scan", "triggered", "schedule=on" and
"schedule=off" leave out what is so only then ("unless over the limit or scan seen").
)";

}  // namespace

Command make_reach()
{
    const auto request = std::make_shared<ReachRequest>();
    return {{.name = "rcbench reach",
             .usage = {"[OPTIONS] [--from SIDE]", "[OPTIONS] --diff --set KEY=VALUE...",
                       "[OPTIONS] --never SENTENCE --always SENTENCE --promises FILE", "[OPTIONS] --idle"},
             .about = kAbout,
             .options = joined({router_options(request->filter->router), reach_options(request)}),
             .more = kMore,
             .no = "--diff found differences, a promise is broken"},
            [request](const Words &words) { return work(*request, words); }};
}

}  // namespace rcbench
