// rcbench live: a router with real tools in a network of its own, and packets that show what its settings do.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench/live/story.h"
#include "bench/rcbench/pages.h"
#include "bench/rcbench/router_options.h"
#include "bench/rcbench/runs.h"
#include "bench/show/json.h"
#include "forms/escapes.h"

namespace rcbench {

namespace {

using forms::usage_error;

struct LiveRequest {
    RouterRequest router;
    std::string steps;
    int pauses = 20;
    bool stays = false;
    bool tells = false;
    bool json = false;
};

int divisor_of(const std::string &text)
{
    const std::string number = text.starts_with("1/") ? text.substr(2) : text == "1" ? "1" : "";
    const int divisor = atoi(number.c_str());
    if (divisor < 1 || divisor > 1000 || std::to_string(divisor) != number) {
        throw usage_error("--pauses: " + forms::shown(text) + " is not 1 or 1/N with N up to 1000");
    }
    return divisor;
}

Options live_options(const std::shared_ptr<LiveRequest> &r)
{
    using Text = const std::string &;
    // clang-format off
    return {
        {.help = "The router"},
        {.name = "set", .argument = "KEY=VALUE",
         .help = "a setting; @FILE: those of a settings file",
         .take = [r](Text text) { add_settings("--set", text, r->router.set); }},
        {.name = "unset", .argument = "KEY",
         .help = "leaves a setting out",
         .take = [r](Text key) { r->router.unset.push_back(key); }},
        {.name = "emulate",
         .help = "the target's program, under emulation",
         .take = [r](Text) { r->router.emulate = true; }},
        {.name = "program", .argument = "FILE",
         .help = "another rc program",
         .take = [r](Text program) { r->router.program = program; }},
        {.name = "pauses", .argument = "1/N",
         .help = "rc's pauses, shortened; 1: as they are (default 1/20)",
         .take = [r](Text text) { r->pauses = divisor_of(text); }},
        {.help = "What is done with it"},
        {.name = "steps", .argument = "FILE",
         .help = "runs a file of steps and sentences, as in tests/live",
         .take = [r](Text file) { r->steps = file; }},
        {.name = "tell",
         .help = "with --steps: shows each step when it is done",
         .take = [r](Text) { r->tells = true; }},
        {.name = "stay",
         .help = "says how to enter each place, and stays until Ctrl-C",
         .take = [r](Text) { r->stays = true; }},
        {.help = "What is shown"},
        {.name = "json",
         .help = "for machines: one object",
         .take = [r](Text) { r->json = true; }},
        {.name = "html", .argument = "FILE",
         .help = "a page for a browser in place of text",
         .take = [r](Text file) { r->router.html = file; }},
        {.name = "secrets",
         .help = "pages and JSON with keys and passwords, which are masked otherwise",
         .take = [r](Text) { r->router.secrets = true; }},
    };
    // clang-format on
}

live::RouterChoice choice_of(const LiveRequest &request)
{
    live::RouterChoice choice;
    choice.target = target_of(request.router);
    choice.pauses = request.pauses;
    choice.settings = bench::image_settings(choice.target.image);
    for (const bench::Setting &own : bench::read_settings_text(choice.target.image / "live/settings")) {
        bench::set_entry(choice.settings, own);
    }
    for (const bench::Setting &setting : request.router.set) {
        bench::set_entry(choice.settings, setting);
    }
    std::erase_if(choice.settings, [&](const bench::Setting &one) {
        return std::find(request.router.unset.begin(), request.router.unset.end(), one.key) !=
               request.router.unset.end();
    });
    return choice;
}

// The runs of rc asked for, "firewall restart , wan stop".
std::vector<std::string> runs_of(const Words &words)
{
    std::vector<std::string> runs;
    bool begins = true;
    for (const std::string &word : words) {
        if (word == ",") {
            begins = true;
            continue;
        }
        refuse_stuck_comma(word);
        if (begins) {
            runs.emplace_back();
        }
        runs.back() += (begins ? "" : " ") + word;
        begins = false;
    }
    return runs;
}

void say_where(const live::Network &network)
{
    const std::string enter =
        "nsenter -t " + std::to_string(live::first_process()) + " -U -m -p -n --preserve-credentials ";
    puts("\nTo enter a place, from another terminal (tcpdump, busybox wget, rc firewall restart...):");
    for (const live::Place *place : {&network.lan1, &network.lan2, &network.internet, &network.provider}) {
        printf("  %-9s %sip netns exec %s sh\n", (place->name + ":").c_str(), enter.c_str(),
               place->name.c_str());
    }
    printf("  %-9s %snsenter -t %d -m -n -p -u chroot %s /bin/sh\n", "router:", enter.c_str(),
           static_cast<int>(network.router.keeper), live::kRouterRoot);
    puts("Ctrl-C ends it all.");
}

// What no kernel of today has, and what becomes of it.
constexpr const char *kNotToBeHad[] = {
    "scan detection: the match psd never matches",
    "port triggering: the target PNAT opens nothing",
    "the block page: a reset in its place",
};

void say_what_is_missing()
{
    puts("Not to be had here:");
    for (const char *line : kNotToBeHad) {
        printf("  %s\n", line);
    }
}

struct LiveRun {
    std::string words;
    std::string output;
};

// What is shown of runs in a router that is up.
struct LiveReport {
    std::string address;  // of the Internet connection; empty: there is none
    std::vector<LiveRun> runs;
};

bool is_text(const LiveRequest &request)
{
    return !request.json && !request.router.html;
}

page::Secrets secrets_of(const LiveRequest &request, const live::RouterChoice &choice)
{
    page::Secrets secrets;
    if (!request.router.secrets) {
        secrets.add(choice.settings);
    }
    return secrets;
}

std::string online_text(const std::string &address)
{
    return address.empty() ? "The router is up, without an Internet connection."
                           : "The router is up, its Internet address is " + address + ".";
}

void show_report(const LiveRequest &request, const LiveReport &report)
{
    if (request.json) {
        bench::Json runs = bench::Json::array();
        for (const LiveRun &run : report.runs) {
            runs.push_back(
                {{"words", bench::json_text(run.words)}, {"output", bench::json_text(run.output)}});
        }
        const bench::Json address =
            report.address.empty() ? bench::Json(nullptr) : bench::Json(report.address);
        (void)fputs(bench::written({{"address", address}, {"runs", runs}}).c_str(), stdout);
    }
    if (request.router.html) {
        std::vector<page::Chapter> chapters;
        for (const LiveRun &run : report.runs) {
            chapters.push_back({"run" + std::to_string(chapters.size() + 1), "rc " + run.words,
                                "<pre>" + page::text(run.output) + "</pre>\n"});
        }
        write_page(request.router, "A router in a network of its own", online_text(report.address), chapters);
    }
}

int stay(const LiveRequest &request, const live::RouterChoice &choice, const std::vector<std::string> &runs)
{
    live::House house(choice);
    house.boot();
    LiveReport report;
    if (house.wait_online(90)) {
        report.address = house.wan_address();
    }
    if (is_text(request)) {
        puts(online_text(report.address).c_str());
        say_what_is_missing();
    }
    const page::Secrets secrets = secrets_of(request, choice);
    for (const std::string &words : runs) {
        const std::string output = house.run_rc(words);
        if (is_text(request)) {
            printf("$ rc %s\n%s", words.c_str(), output.c_str());
        }
        report.runs.push_back({words, secrets.masked(output)});
    }
    show_report(request, report);
    if (!request.stays) {
        return forms::kDone;
    }
    say_where(house.network());
    fflush(stdout);
    for (;;) {
        pause();
    }
}

// Every step with what became of it: the first that does not hold ends the story. `untrue`: "FILE:LINE: ...".
void write_story(const LiveRequest &request, const live::Story &story, const page::Secrets &secrets,
                 const std::string &untrue)
{
    const size_t colon = untrue.find(':', story.file.size());
    const size_t line = untrue.empty() ? 0 : strtoul(untrue.c_str() + colon + 1, nullptr, 10);
    std::vector<std::vector<std::string>> rows;
    for (const live::Step &step : story.steps) {
        const std::string became = line == 0 || step.line < line ? "holds"
                                   : step.line == line           ? secrets.masked(untrue)
                                                                 : "not reached";
        rows.push_back({std::to_string(step.line), secrets.masked(step.text), became});
    }
    write_page(request.router, story.title,
               untrue.empty() ? "Every sentence holds." : "A sentence does not hold.",
               {{"steps", story.file, page::table({"Line", "Step", "What became of it"}, rows)}});
}

int play_story(const LiveRequest &request, const live::Story &story, const live::RouterChoice &choice)
{
    const std::string untrue = live::play(story, choice, request.tells);
    page::Secrets secrets = secrets_of(request, choice);
    if (!request.router.secrets) {
        secrets.add(story.settings);
    }
    if (request.router.html) {
        write_story(request, story, secrets, untrue);
    } else if (request.json) {
        const bench::Json problem =
            untrue.empty() ? bench::Json(nullptr) : bench::json_text(secrets.masked(untrue));
        (void)fputs(
            bench::written(
                {{"title", bench::json_text(story.title)}, {"holds", untrue.empty()}, {"problem", problem}})
                .c_str(),
            stdout);
    } else if (untrue.empty()) {
        printf("%s: %s\n", story.title.c_str(), "holds");
    } else {
        (void)fprintf(stderr, "%s\n", untrue.c_str());
    }
    return untrue.empty() ? forms::kDone : forms::kNo;
}

std::optional<live::Story> story_of(const std::string &file)
{
    if (file.empty()) {
        return std::nullopt;
    }
    try {
        return live::read_story(file);
    } catch (const bench::Error &problem) {
        throw forms::Failure(forms::kUnusable, problem.what());
    }
}

int work(const LiveRequest &request, const Words &words)
{
    if (!request.steps.empty() && (!words.empty() || request.stays)) {
        throw usage_error("--steps goes with neither words nor --stay");
    }
    if (request.tells && request.steps.empty()) {
        throw usage_error("--tell goes with --steps");
    }
    if (!is_text(request) && (request.stays || request.tells || (request.json && request.router.html))) {
        throw usage_error("--json and --html go neither together nor with --stay or --tell");
    }
    const live::RouterChoice choice = choice_of(request);
    const std::optional<live::Story> story = story_of(request.steps);
    const std::string lack = live::what_is_missing();
    if (!lack.empty()) {
        throw forms::Failure(forms::kFailed, "no live network on this machine: " + lack);
    }
    return live::in_own_namespaces([&]() -> int {
        try {
            return story ? play_story(request, *story, choice) : stay(request, choice, runs_of(words));
        } catch (const std::exception &problem) {
            fprintf(stderr, "rcbench: %s\n", problem.what());
            return forms::kFailed;
        }
    });
}

constexpr const char *kAbout = R"(
Brings a router up in a network of its own: two hosts on its LAN, a provider, an Internet. The router's tools are
real wherever this kernel has them; rc is the program that ships. With --steps it runs a file of steps and
sentences about packets; otherwise it runs rc with the words given, one run after the other. Nothing of it is left
when rcbench ends.
)";

}  // namespace

Command make_live()
{
    const auto request = std::make_shared<LiveRequest>();
    return {{.name = "rcbench live",
             .usage = {"[OPTIONS] [WORDS , WORDS...]", "[OPTIONS] --stay [WORDS , WORDS...]",
                       "[OPTIONS] --steps FILE"},
             .about = kAbout,
             .options = live_options(request),
             .no = "a sentence of --steps does not hold"},
            [request](const Words &words) { return work(*request, words); }};
}

}  // namespace rcbench
