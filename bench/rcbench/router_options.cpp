#include "bench/rcbench/router_options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sstream>

#include "bench/run/processor.h"
#include "forms/files.h"
#include "forms/known.h"

namespace rcbench {

namespace {

using forms::Failure;
using forms::shown;
using forms::usage_error;

struct Pair {
    std::string left;
    std::string right;
};

// Cuts an option's argument at its first "=".
Pair split_pair(const std::string &option, const std::string &text)
{
    const size_t place = text.find('=');
    if (place == std::string::npos || place == 0) {
        throw usage_error(option + " " + shown(text) + ": " +
                          (place == 0 ? "nothing before the \"=\"" : "no \"=\" in it"));
    }
    return {text.substr(0, place), text.substr(place + 1)};
}

// The part of an option's argument with its escapes read.
std::string plain(const std::string &option, const std::string &text)
{
    std::string out;
    std::string why;
    if (!forms::unescape(text, out, why, forms::RawControls::kAllowed)) {
        throw Failure(forms::kUnusable, option + " " + shown(text) + ": " + why);
    }
    return out;
}

bench::NamedFile host_file(const std::string &argument)
{
    const Pair pair = split_pair("--file", argument);
    const bool is_empty = pair.right == "/dev/null";  // the usual name of an empty file
    return {router_file("--file", pair.left),
            is_empty ? "" : forms::read_input(pair.right, forms::kFileLimit)};
}

bench::Reply reply(const std::string &argument)
{
    const Pair pair = split_pair("--reply", argument);
    const size_t blank = pair.left.find(' ');
    bench::Reply answer;
    answer.tool = pair.left.substr(0, blank);
    answer.words = blank == std::string::npos ? "" : pair.left.substr(blank + 1);
    answer.output = plain("--reply", pair.right);
    return answer;
}

int network_bits(const std::string &argument, const std::string &text)
{
    const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    const int number = digits && text.size() < 3 ? atoi(text.c_str()) : 33;
    if (number > 32) {
        throw usage_error("--interface " + shown(argument) + ": the network bits are a number from 0 to 32");
    }
    return number;
}

bench::Interface interface(const std::string &argument)
{
    const Pair pair = split_pair("--interface", argument);
    const size_t slash = pair.right.find('/');
    const int bits = network_bits(argument, slash == std::string::npos ? "24" : pair.right.substr(slash + 1));
    const std::string address = pair.right.substr(0, slash);
    if (!address.empty() && !bench::can_be_interface_address(address)) {
        throw usage_error("--interface " + shown(argument) + ": no IPv4 address of an interface");
    }
    if (!bench::can_name_interface(pair.left)) {
        throw usage_error(
            "--interface " + shown(argument) +
            ": a name has 1 to 15 characters, no space, \"/\", \":\", \"%\" or \";\", and is not \"lo\"");
    }
    return {pair.left, address, bits, ""};
}

std::string value_of(const std::vector<bench::Setting> &settings, const std::string &key)
{
    for (const bench::Setting &there : settings) {
        if (there.key == key) {
            return there.value;
        }
    }
    return "";
}

void add_interface(const std::string &name, const std::string &address, bench::Setup &setup)
{
    for (const bench::Interface &there : setup.interfaces) {
        if (there.name == name) {
            return;
        }
    }
    if (bench::can_name_interface(name)) {
        setup.interfaces.push_back({name, address, 24, ""});
    }
}

// The interfaces a router in operation has, where the request names none of that name. The Internet one is
// that of the settings, and that which the connection mode will use. Names and addresses that the router's
// kernel would refuse are left out, as they are there.
void add_usual_interfaces(const std::vector<bench::Setting> &settings, bench::Setup &setup)
{
    constexpr const char *kWanAddress = "203.0.113.10";
    const std::string lan = value_of(settings, "lan_ipaddr");
    if (bench::can_be_interface_address(lan)) {
        add_interface(value_of(settings, "lan_if"), lan, setup);
    }
    add_interface(value_of(settings, "wan_ifname"), kWanAddress, setup);
    add_interface(value_of(settings, "wan_mode").starts_with('p') ? "ppp0" : "nas0", kWanAddress, setup);
}

// The route to the provider that a router in operation has, in the workstation's byte order.
void add_default_route(const std::vector<bench::Setting> &settings, bench::Setup &setup)
{
    setup.files.insert(
        setup.files.begin(),
        {"/proc/net/route",
         "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
         "br0\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n" +
             value_of(settings, "wan_ifname") + "\t00000000\t017100CB\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"});
}

void erase(std::vector<bench::Setting> &settings, const std::vector<std::string> &keys)
{
    for (const std::string &key : keys) {
        std::erase_if(settings, [&](const bench::Setting &entry) { return entry.key == key; });
    }
}

std::filesystem::path program_of(const RouterRequest &request)
{
    if (!request.program.empty()) {
        return request.program;
    }
    return bench::own_file(request.emulate ? "../mips/bin/rc" : "lib/rcbench/rc");
}

}  // namespace

int number_from(const std::string &option, const std::string &argument, int least, int most)
{
    const bool digits = !argument.empty() && argument.size() < 8 &&
                        argument.find_first_not_of("0123456789") == std::string::npos;
    const int number = digits ? atoi(argument.c_str()) : -1;
    if (number < least || number > most) {
        throw usage_error(option + " " + shown(argument) + ": a number from " + std::to_string(least) +
                          " to " + std::to_string(most) + " is needed");
    }
    return number;
}

int64_t clock_time(const std::string &argument)
{
    tm when = {};
    const char *end = strptime(argument.c_str(), "%Y-%m-%d %H:%M:%S", &when);
    if (end == nullptr || *end != '\0') {
        throw usage_error("--clock " + shown(argument) + ": not a time like '2026-03-06 08:29:00'");
    }
    tm counted = when;
    const int64_t seconds = timegm(&counted);
    if (counted.tm_mday != when.tm_mday || counted.tm_mon != when.tm_mon || counted.tm_sec != when.tm_sec) {
        throw Failure(forms::kUnusable, "--clock " + shown(argument) + ": there is no such day or second");
    }
    return seconds;
}

int64_t first_clock(const RouterRequest &request)
{
    return request.clock.value_or(clock_time(std::string(kUsualDay) + " 12:00:00"));
}

std::string clock_text(int64_t clock)
{
    const time_t time = clock;
    char text[64] = "";
    tm utc = {};
    if (gmtime_r(&time, &utc) != nullptr) {
        (void)strftime(text, sizeof text, utc.tm_sec == 0 ? "%A %F %H:%M UTC" : "%A %F %T UTC", &utc);
    }
    return text;
}

std::string router_file(const std::string &option, const std::string &path)
{
    if (!path.starts_with('/')) {
        throw usage_error(option + " " + shown(path) + ": a path of the router begins with \"/\"");
    }
    if (std::filesystem::path(path).lexically_normal().relative_path().empty()) {
        throw usage_error(option + " " + shown(path) + ": that is the router's root itself, not a file");
    }
    return path;
}

void add_settings(const std::string &option, const std::string &argument,
                  std::vector<bench::Setting> &settings)
{
    if (argument.starts_with('@')) {
        const std::vector<bench::Setting> more = forms::read_settings_file(argument.substr(1));
        settings.insert(settings.end(), more.begin(), more.end());
        return;
    }
    const Pair pair = split_pair(option, argument);
    settings.push_back({pair.left, plain(option, pair.right)});
}

Options router_options(const std::shared_ptr<RouterRequest> &r)
{
    using Text = const std::string &;
    // clang-format off
    return {
        {.help = "The router"},
        {.name = "settings", .argument = "FILE",
         .help = "settings in place of the default ones, one key=value a line (escapes \\n \\t \\\\ \\xHH)",
         .take = [r](Text file) { r->settings = forms::read_settings_file(file); }},
        {.name = "set", .argument = "KEY=VALUE",
         .help = "one more setting; may be given several times. @FILE: all settings of a file",
         .take = [r](Text text) { add_settings("--set", text, r->set); }},
        {.name = "unset", .argument = "KEY",
         .help = "without this setting, also among the defaults",
         .take = [r](Text key) { r->unset.push_back(key); }},
        {.name = "blank",
         .help = "no working copy of the settings and blank flash, as on a new router; the settings are its "
                 "defaults",
         .take = [r](Text) { r->blank = true; }},
        {.name = "file", .argument = "PATH=HOSTFILE",
         .help = "this file of the router has that content",
         .take = [r](Text text) { r->files.push_back(host_file(text)); }},
        {.name = "remove", .argument = "PATH",
         .help = "this file is not there",
         .take = [r](Text path) { r->removed.push_back(router_file("--remove", path)); }},
        {.name = "reply", .argument = "'TOOL WORDS'=TEXT",
         .help = "what a tool prints when its words begin so, in place of its usual answer; \\n ends a line. "
                 "Given again for the same words: the answer to the next call",
         .take = [r](Text text) { r->replies.push_back(reply(text)); }},
        {.name = "interface", .argument = "NAME=ADDRESS/BITS",
         .help = "one more network interface",
         .take = [r](Text text) { r->interfaces.push_back(interface(text)); }},
        {.name = "clock", .argument = "'YYYY-MM-DD HH:MM:SS'",
         .help = "the time rc sees when the first run begins, in UTC, in place of Monday 2026-03-02 12:00:00; its pauses, "
                 "and nothing else, move it on. May also stand before the words of a later run",
         .take = [r](Text text) { r->clock = clock_time(text); }},
        {.name = "nested",
         .help = "runs of rc that rc starts really run, and are shown indented",
         .take = [r](Text) { r->nested = true; }},
        {.name = "emulate",
         .help = "run the target's program under emulation",
         .take = [r](Text) { r->emulate = true; }},
        {.name = "program", .argument = "FILE",
         .help = "another rc program",
         .take = [r](Text file) { r->program = file; }},
        {.name = "verbose",
         .help = "say on standard error which sandbox keeps the runs apart",
         .take = [r](Text) { r->verbose = true; }},
        {.name = "html", .argument = "FILE",
         .help = "a page for a browser in place of text",
         .take = [r](Text file) { r->html = file; }},
        {.name = "secrets",
         .help = "pages and JSON with keys and passwords, which are masked otherwise",
         .take = [r](Text) { r->secrets = true; }},
        {.name = "limit", .argument = "SECONDS",
         .help = "a run that takes more processor time, or does nothing for so long, is cut off (20)",
         .take = [r](Text text) { r->limit = number_from("--limit", text, 1, 86400); }},
        {.name = "pauses", .argument = "NUMBER",
         .help = "a run that pauses more often is cut off (5000)",
         .take = [r](Text text) { r->most_pauses = number_from("--pauses", text, 1, 1000000); }},
        {.name = "output", .argument = "MIB",
         .help = "a run that writes more into one file or its output is cut off (32)",
         .take = [r](Text text) { r->most_output = number_from("--output", text, 1, 1024); }},
    };
    // clang-format on
}

bench::Target target_of_program(const std::string &program)
{
    if (!std::filesystem::exists(program)) {
        throw Failure(forms::kUnusable, "there is no program " + shown(program));
    }
    const std::optional<bench::ProgramHead> head =
        bench::program_head(forms::read_input(program, forms::kFileLimit));
    if (!head) {
        throw Failure(forms::kUnusable, "cannot run " + shown(program) + ": it is no program");
    }
    return bench::is_for_this_processor(*head) ? bench::host_target(program)
                                               : bench::emulated_target(program);
}

bench::Target target_of(const RouterRequest &request)
{
    const std::filesystem::path program = program_of(request);
    if (request.emulate && request.program.empty() && !std::filesystem::exists(program)) {
        throw Failure(forms::kUnusable, "there is no program " + shown(program.string()) +
                                            "; build the target's with cmake --preset mips");
    }
    if (request.verbose) {
        fprintf(stderr, "rcbench: sandbox: %s\n", bench::sandbox_name(bench::sandbox()));
    }
    bench::Target target = target_of_program(program);
    if (request.emulate && target.emulator.empty()) {
        throw Failure(forms::kUnusable, "cannot run " + shown(program.string()) +
                                            ": it is for this processor; leave --emulate out");
    }
    return target;
}

std::vector<std::string> tool_names(const bench::Target &target)
{
    std::istringstream lines(forms::read_input((target.image / "tools").string(), forms::kTextLimit));
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('/')) {
            names.push_back(std::filesystem::path(line.substr(0, line.find(' '))).filename().string());
        }
    }
    return names;
}

bench::Setup setup_of(const RouterRequest &request, const bench::Target &target, bool with_changes)
{
    bench::Setup setup;
    setup.image_replies = true;
    setup.defaults = bench::image_settings(target.image);
    std::vector<bench::Setting> settings = request.settings.value_or(setup.defaults);
    if (with_changes) {
        for (const bench::Setting &entry : request.set) {
            bench::set_entry(settings, entry);
        }
        erase(settings, request.unset);
        erase(setup.defaults, request.unset);
    }
    setup.files = request.files;
    setup.removed = request.removed;
    setup.replies = request.replies;
    setup.interfaces = request.interfaces;
    add_usual_interfaces(settings, setup);
    if (request.blank) {
        setup.settings.reset();
        setup.defaults = settings;
    } else {
        setup.settings = settings;
        add_default_route(settings, setup);
    }
    return setup;
}

bench::Setup scenario_setup_of(const RouterRequest &request, const bench::Target &target)
{
    bench::Setup setup = setup_of(request, target, true);
    if (!request.unset.empty()) {
        return setup;  // the image's defaults have what is not to be there
    }
    std::vector<bench::Setting> named = request.settings.value_or(std::vector<bench::Setting>());
    for (const bench::Setting &entry : request.set) {
        bench::set_entry(named, entry);
    }
    setup.image_defaults = true;
    setup.defaults = request.blank ? named : std::vector<bench::Setting>();
    if (!request.blank) {
        setup.settings = named;
    }
    return setup;
}

void note_unknown_keys(const RouterRequest &request, const std::vector<std::string> &more)
{
    std::vector<std::string> keys;
    for (const bench::Setting &entry : request.settings.value_or(std::vector<bench::Setting>())) {
        keys.push_back(entry.key);
    }
    keys.insert(keys.end(), request.unset.begin(), request.unset.end());
    for (const bench::Setting &entry : request.set) {
        keys.push_back(entry.key);
    }
    keys.insert(keys.end(), more.begin(), more.end());
    forms::note_unknown_settings(keys);
}

}  // namespace rcbench
