// rcbench live: a router with real tools in a network of its own, and packets that show what its settings do.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "bench/live/story.h"
#include "bench/rcbench/router_options.h"
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

int stay(const live::RouterChoice &choice, const std::vector<std::string> &runs, bool stays)
{
    live::House house(choice);
    house.boot();
    const bool online = house.wait_online(90);
    printf("The router is up%s.\n", online ? (", its Internet address is " + house.wan_address()).c_str()
                                           : ", without an Internet connection");
    say_what_is_missing();
    for (const std::string &words : runs) {
        printf("$ rc %s\n%s", words.c_str(), house.run_rc(words).c_str());
    }
    if (!stays) {
        return forms::kDone;
    }
    say_where(house.network());
    fflush(stdout);
    for (;;) {
        pause();
    }
}

int play_story(const live::Story &story, const live::RouterChoice &choice, bool tells)
{
    const std::string untrue = live::play(story, choice, tells);
    if (untrue.empty()) {
        printf("%s: %s\n", story.title.c_str(), "holds");
        return forms::kDone;
    }
    fprintf(stderr, "%s\n", untrue.c_str());
    return forms::kNo;
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
    const live::RouterChoice choice = choice_of(request);
    const std::optional<live::Story> story = story_of(request.steps);
    const std::string lack = live::what_is_missing();
    if (!lack.empty()) {
        throw forms::Failure(forms::kFailed, "no live network on this machine: " + lack);
    }
    return live::in_own_namespaces([&]() -> int {
        try {
            return story ? play_story(*story, choice, request.tells)
                         : stay(choice, runs_of(words), request.stays);
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
