// rcbench: the bench for people. Runs rc on a router built on the desk and shows what it did.

#include <arpa/inet.h>
#include <getopt.h>
#include <net/if.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>

#include "bench/report.h"
#include "bench/router.h"
#include "bench/rules_view.h"

namespace {

constexpr const char *kHelp =
    R"(usage: rcbench [OPTIONS] WORDS...             run rc with these words
       rcbench [OPTIONS] WORDS... , WORDS...   several runs, one after the other, on the same router
       rcbench [OPTIONS] WORDS... , KEY=VALUE... WORDS...   with settings changed before a run
       rcbench --diff --set KEY=VALUE... WORDS...
       rcbench --rules [--diff] [OPTIONS]

Runs rc on a router built in a directory of its own and prints every command, pause, line of output, changed
setting and file. Nothing outside that directory is touched. WORDS are what follows "rc" on the router: start,
wan restart, firewall create. Without --settings the router has the image's default settings; its tools give
their usual answers, its Internet interface has the address 203.0.113.10.

The router
  --settings FILE        settings, one key=value a line (escapes \n \t \\ \xHH)
  --set KEY=VALUE        one more setting; may be given several times
  --set @FILE            all settings of a file like that of --settings
  --unset KEY            without this setting, also among the defaults
  --blank                no working copy of the settings and blank flash, as on a new router; the settings
                         are its defaults
  --file PATH=HOSTFILE   this file of the router has that content
  --remove PATH          this file is not there
  --reply 'TOOL WORDS'=TEXT
                         what a tool prints when its words begin so, in place of its usual answer; \n ends a
                         line. Given again for the same words: the answer to the next call
  --interface NAME=ADDRESS/BITS
                         one more network interface
  --clock 'YYYY-MM-DD HH:MM:SS'
                         the time rc sees, in UTC
  --nested               runs of rc that rc starts really run, and are shown indented
  --emulate              run the target's program under emulation

What is shown
  --diff                 run twice, without and with the --set options, and show what changes
  --rules                the packet filter's rules by chain, with the settings behind them; with --diff what
                         the --set and --unset options change in them
  --short                for a first look: commands that rc echoes once, several of one tool in one line,
                         no pauses under a second, files by name, lines cut at 96 columns;
                         with --rules --diff only the rules that come and go
  --brief                the timeline alone, without changed settings and files
  --show PATH            this file of the router after the last run; may be given several times
  --last                 of several runs the last one alone
  --all                  also the yields of a microsecond and the calls of tools
  --full                 long files whole
  --json                 for machines: a list with one object a run
  --keep DIR             leave the router's directory there
  --program FILE         another rc program
  -h, --help             this text

Exit status: 0 when everything asked for ran, whatever rc returned (that is shown); 1 when the bench could
not do it; 2 for wrong words.
)";

enum Code {
    kSettings = 256,
    kSet,
    kUnset,
    kBlank,
    kFile,
    kRemove,
    kReply,
    kInterface,
    kClock,
    kNested,
    kEmulate,
    kDiff,
    kRules,
    kShort,
    kBrief,
    kShow,
    kLast,
    kAll,
    kFull,
    kJson,
    kKeep,
    kProgram
};

constexpr option kOptions[] = {
    {"settings", required_argument, nullptr, kSettings},
    {"set", required_argument, nullptr, kSet},
    {"unset", required_argument, nullptr, kUnset},
    {"blank", no_argument, nullptr, kBlank},
    {"file", required_argument, nullptr, kFile},
    {"remove", required_argument, nullptr, kRemove},
    {"reply", required_argument, nullptr, kReply},
    {"interface", required_argument, nullptr, kInterface},
    {"clock", required_argument, nullptr, kClock},
    {"nested", no_argument, nullptr, kNested},
    {"emulate", no_argument, nullptr, kEmulate},
    {"diff", no_argument, nullptr, kDiff},
    {"rules", no_argument, nullptr, kRules},
    {"short", no_argument, nullptr, kShort},
    {"brief", no_argument, nullptr, kBrief},
    {"show", required_argument, nullptr, kShow},
    {"last", no_argument, nullptr, kLast},
    {"all", no_argument, nullptr, kAll},
    {"full", no_argument, nullptr, kFull},
    {"json", no_argument, nullptr, kJson},
    {"keep", required_argument, nullptr, kKeep},
    {"program", required_argument, nullptr, kProgram},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

// One run of rc and the settings that change before it.
struct WishedRun {
    std::vector<bench::Setting> changes;
    std::vector<std::string> words = {"rc"};
};

struct Wish {
    std::optional<std::vector<bench::Setting>> settings;  // in place of the image's
    std::vector<bench::Setting> set;
    std::vector<std::string> unset;
    bool blank = false;
    std::vector<bench::NamedFile> files;
    std::vector<std::string> removed;
    std::vector<bench::Reply> replies;
    std::vector<bench::Interface> interfaces;
    std::optional<int64_t> clock;
    bool nested = false;
    bool emulate = false;
    bool diff = false;
    bool rules = false;
    bool last = false;
    bool json = false;
    std::string keep;
    std::string program;
    std::vector<std::string> shown;
    bench::ReportStyle style;
    std::vector<WishedRun> runs;
};

[[noreturn]] void refuse(const std::string &why)
{
    fprintf(stderr, "rcbench: %s; rcbench --help lists what it takes\n", why.c_str());
    exit(2);
}

struct Pair {
    std::string left;
    std::string right;
};

// Cuts an option's argument at its first "=".
Pair split_pair(const char *option, const std::string &text)
{
    const size_t place = text.find('=');
    if (place == std::string::npos || place == 0) {
        refuse(std::string(place == 0 ? "nothing before the \"=\" in " : "no \"=\" in ") + option + " " +
               text);
    }
    return {text.substr(0, place), text.substr(place + 1)};
}

// The part of an option's argument with its escapes read.
std::string plain(const char *option, const std::string &argument, const std::string &text)
{
    try {
        return bench::unescape(text);
    } catch (const bench::Error &error) {
        refuse(std::string("wrong escape in ") + option + " " + argument);
    }
}

std::string router_path(const char *option, const std::string &path)
{
    if (!path.starts_with('/')) {
        refuse(std::string("a path of the router, beginning with \"/\", wanted in ") + option + " " + path);
    }
    return path;
}

bench::NamedFile host_file(const std::string &argument)
{
    const Pair pair = split_pair("--file", argument);
    (void)router_path("--file", pair.left);
    std::ifstream in(pair.right, std::ios::binary);
    if (!in) {
        refuse("cannot read " + pair.right + " for --file");
    }
    return {pair.left, std::string(std::istreambuf_iterator<char>(in), {})};
}

bench::Reply reply(const std::string &argument)
{
    const Pair pair = split_pair("--reply", argument);
    const size_t blank = pair.left.find(' ');
    bench::Reply answer;
    answer.tool = pair.left.substr(0, blank);
    answer.words = blank == std::string::npos ? "" : pair.left.substr(blank + 1);
    answer.output = plain("--reply", argument, pair.right);
    return answer;
}

bench::Interface interface(const std::string &argument)
{
    const Pair pair = split_pair("--interface", argument);
    const size_t slash = pair.right.find('/');
    const std::string bits = slash == std::string::npos ? "24" : pair.right.substr(slash + 1);
    const int number = atoi(bits.c_str());
    if (bits.empty() || bits.find_first_not_of("0123456789") != std::string::npos || number > 32) {
        refuse("network bits from 0 to 32 wanted in --interface " + argument);
    }
    const std::string address = pair.right.substr(0, slash);
    in_addr parsed = {};
    if (!address.empty() && inet_pton(AF_INET, address.c_str(), &parsed) != 1) {
        refuse("no IPv4 address in --interface " + argument);
    }
    if (pair.left.size() >= IFNAMSIZ || pair.left.find_first_of(" /") != std::string::npos) {
        refuse("no name of an interface in --interface " + argument);
    }
    return {pair.left, address, number, ""};
}

int64_t clock_time(const std::string &argument)
{
    tm when = {};
    const char *end = strptime(argument.c_str(), "%Y-%m-%d %H:%M:%S", &when);
    if (end == nullptr || *end != '\0') {
        refuse("a time like '2026-03-06 08:29:00' wanted in --clock " + argument);
    }
    return timegm(&when);
}

std::vector<bench::Setting> settings_of(const std::string &file)
{
    try {
        return bench::read_settings_text(file);
    } catch (const bench::Error &error) {
        refuse(error.what());
    }
}

void add_settings(const std::string &argument, std::vector<bench::Setting> &settings)
{
    if (argument.starts_with('@')) {
        const std::vector<bench::Setting> more = settings_of(argument.substr(1));
        settings.insert(settings.end(), more.begin(), more.end());
        return;
    }
    const Pair pair = split_pair("--set", argument);
    settings.push_back({pair.left, plain("--set", argument, pair.right)});
}

// True when the option was one of those that say what the router is like.
bool take_router_option(int code, Wish &wish)
{
    const std::string argument = optarg == nullptr ? "" : optarg;
    switch (code) {
        case kSettings:
            wish.settings = settings_of(argument);
            return true;
        case kSet:
            add_settings(argument, wish.set);
            return true;
        case kUnset:
            wish.unset.push_back(argument);
            return true;
        case kBlank:
            wish.blank = true;
            return true;
        case kFile:
            wish.files.push_back(host_file(argument));
            return true;
        case kRemove:
            wish.removed.push_back(router_path("--remove", argument));
            return true;
        case kReply:
            wish.replies.push_back(reply(argument));
            return true;
        case kInterface:
            wish.interfaces.push_back(interface(argument));
            return true;
        case kClock:
            wish.clock = clock_time(argument);
            return true;
        default:
            return false;
    }
}

void take_option(int code, Wish &wish)
{
    switch (code) {
        case kNested:
            wish.nested = true;
            break;
        case kEmulate:
            wish.emulate = true;
            break;
        case kDiff:
            wish.diff = true;
            break;
        case kRules:
            wish.rules = true;
            break;
        case kShort:
            wish.style.quick = true;
            break;
        case kBrief:
            wish.style.brief = true;
            break;
        case kShow:
            wish.shown.push_back(router_path("--show", optarg));
            break;
        case kLast:
            wish.last = true;
            break;
        case kAll:
            wish.style.all = true;
            break;
        case kFull:
            wish.style.full = true;
            break;
        case kJson:
            wish.json = true;
            break;
        case kKeep:
            wish.keep = optarg;
            break;
        case kProgram:
            wish.program = optarg;
            break;
        case 'h':
            fputs(kHelp, stdout);
            exit(0);
        default:
            break;
    }
}

// True for KEY=VALUE or @FILE before a run's words.
bool is_change(const WishedRun &run, const std::string &word)
{
    if (run.words.size() == 1 && word.starts_with('@')) {
        return true;
    }
    const size_t place = word.find('=');
    return run.words.size() == 1 && place != std::string::npos && place > 0 &&
           word.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_") == place;
}

void take_words(int count, char **words, Wish &wish)
{
    WishedRun run;
    for (int i = 0; i <= count; ++i) {
        if (i < count && is_change(run, words[i])) {
            add_settings(words[i], run.changes);
        } else if (i < count && std::string(words[i]) != ",") {
            run.words.emplace_back(words[i]);
        } else if (run.words.size() == 1) {
            refuse(wish.runs.empty() && i == count ? "no words for rc" : "no words for rc beside a comma");
        } else {
            wish.runs.push_back(run);
            run = {};
        }
    }
}

// Options that say different things about what is printed.
void refuse_contradictions(const Wish &wish)
{
    if (wish.diff && wish.set.empty() && wish.unset.empty()) {
        refuse("--diff needs a --set or --unset to compare with");
    }
    if (wish.json && (wish.diff || wish.rules || !wish.shown.empty())) {
        refuse("--json cannot be had together with --diff, --rules or --show");
    }
    if ((wish.diff || wish.rules) && (!wish.keep.empty() || !wish.shown.empty())) {
        refuse("--diff and --rules cannot be had together with --keep or --show");
    }
}

Wish read_words(int count, char **words)
{
    Wish wish;
    opterr = 0;
    for (int code; (code = getopt_long(count, words, "+:h", kOptions, nullptr)) != -1;) {
        if (code == ':') {
            refuse(std::string("no value for ") + words[optind - 1]);
        }
        if (code == '?') {
            refuse(std::string("wrong option ") + words[optind - 1]);
        }
        if (!take_router_option(code, wish)) {
            take_option(code, wish);
        }
    }
    if (optind == count && !wish.rules) {
        refuse("no words for rc");
    }
    if (wish.rules && optind != count) {
        refuse("--rules takes no words");
    }
    if (wish.rules) {
        wish.runs = {{{}, {"rc", "firewall", "create"}}};
    } else {
        take_words(count - optind, words + optind, wish);
    }
    refuse_contradictions(wish);
    return wish;
}

void put(std::vector<bench::Setting> &settings, const bench::Setting &entry)
{
    for (bench::Setting &there : settings) {
        if (there.key == entry.key) {
            there.value = entry.value;
            return;
        }
    }
    settings.push_back(entry);
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
    if (!name.empty() && name.size() < IFNAMSIZ) {
        setup.interfaces.push_back({name, address, 24, ""});
    }
}

// The interfaces a router in operation has, where the wish names none of that name. The Internet one is
// that of the settings, and that which the connection mode will use.
void add_usual_interfaces(const std::vector<bench::Setting> &settings, bench::Setup &setup)
{
    constexpr const char *kWanAddress = "203.0.113.10";
    in_addr parsed = {};
    const std::string lan = value_of(settings, "lan_ipaddr");
    if (inet_pton(AF_INET, lan.c_str(), &parsed) == 1) {
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

bench::Target target_of(const Wish &wish)
{
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::filesystem::path mips = own.parent_path().parent_path() / "mips";
    const std::filesystem::path program = !wish.program.empty() ? std::filesystem::path(wish.program)
                                          : wish.emulate        ? mips / "bin/rc"
                                                                : own / "rc";
    if (!std::filesystem::is_regular_file(program)) {
        throw bench::Error("there is no program " + program.string() +
                           (wish.emulate ? ": build the target's with cmake --preset mips" : ""));
    }
    if (!wish.emulate) {
        return bench::host_target(program);
    }
    return bench::mips_target(program, program.parent_path().parent_path() / "lib/libbench_clock.so");
}

void erase(std::vector<bench::Setting> &settings, const std::vector<std::string> &keys)
{
    for (const std::string &key : keys) {
        std::erase_if(settings, [&](const bench::Setting &entry) { return entry.key == key; });
    }
}

bench::Setup setup_of(const Wish &wish, const bench::Target &target, bool with_changes)
{
    bench::Setup setup;
    setup.image_replies = true;
    setup.defaults = bench::image_settings(target.image);
    std::vector<bench::Setting> settings = wish.settings.value_or(setup.defaults);
    if (with_changes) {
        for (const bench::Setting &entry : wish.set) {
            put(settings, entry);
        }
        erase(settings, wish.unset);
        erase(setup.defaults, wish.unset);
    }
    setup.files = wish.files;
    setup.removed = wish.removed;
    setup.replies = wish.replies;
    setup.interfaces = wish.interfaces;
    add_usual_interfaces(settings, setup);
    if (wish.blank) {
        setup.settings.reset();
        setup.defaults = settings;
    } else {
        setup.settings = settings;
        add_default_route(settings, setup);
    }
    return setup;
}

// A key that the router does not know is most often a slip.
void note_unknown_keys(const Wish &wish, const bench::Target &target)
{
    const std::vector<bench::Setting> known = bench::image_settings(target.image);
    std::vector<std::string> keys = wish.unset;
    for (const bench::Setting &entry : wish.set) {
        keys.push_back(entry.key);
    }
    for (const WishedRun &run : wish.runs) {
        for (const bench::Setting &entry : run.changes) {
            keys.push_back(entry.key);
        }
    }
    for (const std::string &key : keys) {
        if (std::none_of(known.begin(), known.end(),
                         [&](const bench::Setting &entry) { return entry.key == key; })) {
            fprintf(stderr, "rcbench: note: %s is not among the default settings\n", key.c_str());
        }
    }
}

bench::Trace run_in(bench::Root &root, const Wish &wish, const WishedRun &wished)
{
    if (!wished.changes.empty()) {
        std::vector<bench::Setting> settings = root.settings().value_or(std::vector<bench::Setting>{});
        for (const bench::Setting &entry : wished.changes) {
            put(settings, entry);
        }
        root.write("/tmp/nvram", bench::store_bytes(settings));
    }
    bench::Run run;
    run.words = wished.words;
    run.nested = wish.nested;
    run.clock = wish.clock;
    return root.run(run);
}

void print_changes(const WishedRun &run)
{
    for (const bench::Setting &entry : run.changes) {
        printf("# %s=%s\n", entry.key.c_str(), bench::escape(entry.value).c_str());
    }
}

void print_run(const Wish &wish, size_t number, const bench::Trace &trace)
{
    const bool first = number == 0 || wish.last;
    const bool last = number + 1 == wish.runs.size();
    if (wish.last && !last) {
        return;
    }
    if (wish.json) {
        printf("%s%s%s", first ? "[" : ",\n", bench::json_report(wish.runs[number].words, trace).c_str(),
               last ? "]\n" : "");
    } else {
        printf("%s", first ? "" : "\n");
        print_changes(wish.runs[number]);
        bench::print_report(stdout, wish.runs[number].words, trace, wish.style);
    }
}

void print_runs(const Wish &wish, bench::Root &root)
{
    for (size_t i = 0; i < wish.runs.size(); ++i) {
        print_run(wish, i, run_in(root, wish, wish.runs[i]));
    }
    for (const std::string &path : wish.shown) {
        bench::print_file(stdout, path, root.read(path), wish.style);
    }
}

// All runs of a wish in one router, with or without the changed settings; their traces.
std::vector<bench::Trace> all_runs(const Wish &wish, const bench::Target &target, bool with_changes)
{
    bench::Root root(target, setup_of(wish, target, with_changes));
    std::vector<bench::Trace> traces;
    for (const WishedRun &run : wish.runs) {
        traces.push_back(run_in(root, wish, run));
    }
    return traces;
}

void print_diff(const Wish &wish, const bench::Target &target)
{
    const std::vector<bench::Trace> before = all_runs(wish, target, false);
    const std::vector<bench::Trace> after = all_runs(wish, target, true);
    for (size_t i = wish.last ? before.size() - 1 : 0; i < before.size(); ++i) {
        printf("%s", i == 0 || wish.last ? "" : "\n");
        print_changes(wish.runs[i]);
        printf("$ %s\n", bench::command_words(wish.runs[i].words).c_str());
        bench::print_difference(stdout, before[i], after[i], wish.style);
    }
}

std::string rules_of(const Wish &wish, const bench::Target &target, bool with_changes)
{
    bench::Root root(target, setup_of(wish, target, with_changes));
    (void)run_in(root, wish, wish.runs[0]);
    return bench::rules_by_chain(root.read("/tmp/rules").value_or(""));
}

void print_rules(const Wish &wish, const bench::Target &target)
{
    const std::string rules = rules_of(wish, target, true);
    if (wish.diff) {
        bench::print_rules_difference(stdout, rules_of(wish, target, false), rules, wish.style);
    } else {
        fputs(rules.c_str(), stdout);
    }
}

int work(const Wish &wish)
{
    const bench::Target target = target_of(wish);
    note_unknown_keys(wish, target);
    if (wish.rules) {
        print_rules(wish, target);
        return 0;
    }
    if (wish.diff) {
        print_diff(wish, target);
        return 0;
    }
    const bench::Setup setup = setup_of(wish, target, true);
    if (wish.keep.empty()) {
        bench::Root root(target, setup);
        print_runs(wish, root);
    } else {
        bench::Root root(target, setup, wish.keep);
        print_runs(wish, root);
    }
    return 0;
}

}  // namespace

int main(int count, char **words)
{
    Wish wish = read_words(count, words);
    wish.style.colour = isatty(STDOUT_FILENO) == 1 && getenv("NO_COLOR") == nullptr;
    try {
        return work(wish);
    } catch (const std::exception &error) {
        fprintf(stderr, "rcbench: %s\n", error.what());
        return 1;
    }
}
