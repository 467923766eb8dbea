// rcbench: the bench for people. Runs rc on a router built on the desk and shows what it did.

#include <getopt.h>
#include <unistd.h>

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
       rcbench --diff --set KEY=VALUE... WORDS...
       rcbench --rules [OPTIONS]

Runs rc on a router built in a directory of its own and prints every command, pause, line of output, changed
setting and file. Nothing outside that directory is touched. Without --settings the router has the image's
default settings and its usual answers; its Internet interface has the address 203.0.113.10.

The router
  --settings FILE        settings, one key=value a line (escapes \n \t \\ \xHH)
  --set KEY=VALUE        one more setting; may be given several times
  --unset KEY            without this setting
  --blank                no working copy of the settings and blank flash, as on a new router
  --file PATH=HOSTFILE   this file of the router has that content
  --remove PATH          this file is not there
  --reply 'TOOL WORDS'=TEXT
                         what a tool prints when its words begin so; \n ends a line. Given again for the
                         same words: the answer to the next call
  --interface NAME=ADDRESS/BITS
                         one more network interface
  --clock 'YYYY-MM-DD HH:MM:SS'
                         the time rc sees, in UTC
  --nested               runs of rc that rc starts really run, and are shown indented
  --emulate              run the target's program under emulation

What is shown
  --diff                 run twice, without and with the --set options, and show what changes
  --rules                the packet filter's rules by chain, with the settings behind them
  --brief                the timeline alone, without changed settings and files
  --show PATH            this file of the router after the last run; may be given several times
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
    kBrief,
    kShow,
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
    {"brief", no_argument, nullptr, kBrief},
    {"show", required_argument, nullptr, kShow},
    {"all", no_argument, nullptr, kAll},
    {"full", no_argument, nullptr, kFull},
    {"json", no_argument, nullptr, kJson},
    {"keep", required_argument, nullptr, kKeep},
    {"program", required_argument, nullptr, kProgram},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

struct Wish {
    std::string settings_file;
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
    bool json = false;
    std::string keep;
    std::string program;
    std::vector<std::string> shown;
    bench::ReportStyle style;
    std::vector<std::vector<std::string>> runs;
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

// Cuts an option's argument at its first "=" or, for a reply, at the first one whose left side is not empty.
Pair split_pair(const char *option, const std::string &text)
{
    const size_t place = text.find('=');
    if (place == std::string::npos || place == 0) {
        refuse(std::string("no \"=\" in ") + option + " " + text);
    }
    return {text.substr(0, place), text.substr(place + 1)};
}

std::string plain(const char *option, const std::string &text)
{
    try {
        return bench::unescape(text);
    } catch (const bench::Error &error) {
        refuse(std::string("wrong escape in ") + option + " " + text);
    }
}

bench::NamedFile host_file(const std::string &argument)
{
    const Pair pair = split_pair("--file", argument);
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
    answer.output = plain("--reply", pair.right);
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
    return {pair.left, pair.right.substr(0, slash), number, ""};
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

bench::Setting setting(const std::string &argument)
{
    const Pair pair = split_pair("--set", argument);
    return {pair.left, plain("--set", pair.right)};
}

// True when the option was one of those that say what the router is like.
bool take_router_option(int code, Wish &wish)
{
    const std::string argument = optarg == nullptr ? "" : optarg;
    switch (code) {
        case kSettings:
            wish.settings_file = argument;
            return true;
        case kSet:
            wish.set.push_back(setting(argument));
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
            wish.removed.push_back(argument);
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
        case kBrief:
            wish.style.brief = true;
            break;
        case kShow:
            wish.shown.emplace_back(optarg);
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
            // getopt has named the wrong option on standard error already.
            exit(2);
    }
}

void take_words(int count, char **words, Wish &wish)
{
    std::vector<std::string> run = {"/usr/sbin/rc"};
    for (int i = 0; i < count; ++i) {
        if (std::string(words[i]) == ",") {
            wish.runs.push_back(run);
            run.resize(1);
        } else {
            run.emplace_back(words[i]);
        }
    }
    wish.runs.push_back(run);
}

Wish read_words(int count, char **words)
{
    Wish wish;
    for (int code; (code = getopt_long(count, words, "+h", kOptions, nullptr)) != -1;) {
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
        wish.runs = {{"/usr/sbin/rc", "firewall", "create"}};
    } else {
        take_words(count - optind, words + optind, wish);
    }
    if (wish.diff && wish.set.empty() && wish.unset.empty()) {
        refuse("--diff needs a --set or --unset to compare with");
    }
    if (wish.diff && wish.json) {
        refuse("--diff and --json cannot be had together");
    }
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

// The interfaces a router in operation has, where the wish names none of that name.
void add_usual_interfaces(const std::vector<bench::Setting> &settings, bench::Setup &setup)
{
    const std::string lan = value_of(settings, "lan_if");
    const std::string wan = value_of(settings, "wan_ifname");
    for (const bench::Interface &usual : {bench::Interface{lan, value_of(settings, "lan_ipaddr"), 24, ""},
                                          bench::Interface{wan, "203.0.113.10", 24, ""}}) {
        bool there = usual.name.empty();
        for (const bench::Interface &given : setup.interfaces) {
            there = there || given.name == usual.name;
        }
        if (!there) {
            setup.interfaces.push_back(usual);
        }
    }
}

bench::Target target_of(const Wish &wish)
{
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    if (!wish.emulate) {
        return bench::host_target(wish.program.empty() ? own / "rc" : std::filesystem::path(wish.program));
    }
    const std::filesystem::path mips = own.parent_path().parent_path() / "mips";
    const std::filesystem::path program =
        wish.program.empty() ? mips / "bin/rc" : std::filesystem::path(wish.program);
    return bench::mips_target(program, program.parent_path().parent_path() / "lib/libbench_clock.so");
}

bench::Setup setup_of(const Wish &wish, const bench::Target &target, bool with_changes)
{
    bench::Setup setup;
    setup.image_defaults = true;
    setup.image_replies = true;
    std::vector<bench::Setting> settings = wish.settings_file.empty()
                                               ? bench::image_settings(target.image)
                                               : bench::read_settings_text(wish.settings_file);
    if (with_changes) {
        for (const bench::Setting &entry : wish.set) {
            put(settings, entry);
        }
        for (const std::string &key : wish.unset) {
            std::erase_if(settings, [&](const bench::Setting &entry) { return entry.key == key; });
        }
    }
    setup.files = wish.files;
    setup.removed = wish.removed;
    setup.replies = wish.replies;
    setup.interfaces = wish.interfaces;
    add_usual_interfaces(settings, setup);
    if (wish.blank) {
        setup.settings.reset();
        setup.defaults = with_changes ? wish.set : std::vector<bench::Setting>{};
    } else {
        setup.settings = settings;
    }
    return setup;
}

bench::Run run_of(const Wish &wish, const std::vector<std::string> &words)
{
    bench::Run run;
    run.words = words;
    run.nested = wish.nested;
    run.clock = wish.clock;
    return run;
}

void print_runs(const Wish &wish, bench::Root &root)
{
    bool first = true;
    for (const std::vector<std::string> &words : wish.runs) {
        const bench::Trace trace = root.run(run_of(wish, words));
        if (wish.json) {
            printf("%s%s", first ? "[" : ",\n", bench::json_report(words, trace).c_str());
        } else {
            printf("%s", first ? "" : "\n");
            bench::print_report(stdout, words, trace, wish.style);
        }
        first = false;
    }
    if (wish.json) {
        puts("]");
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
    for (const std::vector<std::string> &words : wish.runs) {
        traces.push_back(root.run(run_of(wish, words)));
    }
    return traces;
}

void print_diff(const Wish &wish, const bench::Target &target)
{
    const std::vector<bench::Trace> before = all_runs(wish, target, false);
    const std::vector<bench::Trace> after = all_runs(wish, target, true);
    for (size_t i = 0; i < before.size(); ++i) {
        printf("%s$ %s\n", i == 0 ? "" : "\n", bench::command_words(wish.runs[i]).c_str());
        bench::print_difference(stdout, before[i], after[i], wish.style);
    }
}

std::string rules_of(const Wish &wish, const bench::Target &target, bool with_changes)
{
    bench::Root root(target, setup_of(wish, target, with_changes));
    (void)root.run(run_of(wish, wish.runs[0]));
    return root.read("/tmp/rules").value_or("");
}

int work(const Wish &wish)
{
    const bench::Target target = target_of(wish);
    if (wish.rules) {
        fputs(bench::rules_by_chain(rules_of(wish, target, true)).c_str(), stdout);
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
