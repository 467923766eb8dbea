// What the router on the desk is to be like, as the options of a command line say it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/rcbench/command.h"
#include "bench/router.h"

namespace rcbench {

// The day of every run and question that names none: a Monday.
// Choice: without `--clock` every run and question of rcbench begins on Monday 2026-03-02 at 12:00 UTC, the
// day of `rcbench day`: nothing that it prints depends on when it is asked, and two outputs compare.
constexpr const char *kUsualDay = "2026-03-02";

struct RouterRequest {
    std::optional<std::vector<bench::Setting>> settings;  // in place of the image's
    std::vector<bench::Setting> set;
    std::vector<std::string> unset;
    bool blank = false;
    std::vector<bench::NamedFile> files;
    std::vector<std::string> removed;
    std::vector<bench::Reply> replies;
    std::vector<bench::Interface> interfaces;
    std::optional<int64_t> clock;  // none: noon of the usual day
    bool nested = false;
    bool emulate = false;
    bool verbose = false;
    std::string program;
    std::optional<std::string> html;  // the page's file, in place of text
    bool secrets = false;             // shown in pages and JSON
    double limit = bench::Run().limit;
    int most_pauses = bench::Run().most_pauses;
    int most_output = bench::Run().most_output;
};

// Their rows; each writes into the request.
Options router_options(const std::shared_ptr<RouterRequest> &request);

// The program to run and what belongs to its processor.
bench::Target target_of(const RouterRequest &request);

// The same for a program by its file, whichever processor it is for.
bench::Target target_of_program(const std::string &program);

// The router's tools by their base names.
std::vector<std::string> tool_names(const bench::Target &target);

// The router before its first run; with or without what --set and --unset change.
bench::Setup setup_of(const RouterRequest &request, const bench::Target &target, bool with_changes);

// The same router as a scenario would have it: of the settings those that the request names, the rest in
// the defaults.
bench::Setup scenario_setup_of(const RouterRequest &request, const bench::Target &target);

// Adds the settings of "KEY=VALUE" or "@FILE" as given with `option`.
void add_settings(const std::string &option, const std::string &argument,
                  std::vector<bench::Setting> &settings);

// The number given with `option`, which has bounds.
int number_from(const std::string &option, const std::string &argument, int least, int most);

// Seconds since 1970 of "YYYY-MM-DD HH:MM:SS" in UTC, as given with --clock.
int64_t clock_time(const std::string &argument);

// The time at which the first run begins.
int64_t first_clock(const RouterRequest &request);

// "Monday 2026-03-02 12:00 UTC".
std::string clock_text(int64_t clock);

// A path of the router; refuses one that does not begin with "/", and the root itself.
std::string router_file(const std::string &option, const std::string &path);

// Notes on standard error: keys that the router does not know, most often slips. `more` are keys of other
// origin than the request.
void note_unknown_keys(const RouterRequest &request, const std::vector<std::string> &more);

}  // namespace rcbench
