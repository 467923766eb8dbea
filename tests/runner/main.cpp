// Runs scenario files: scenario [OPTIONS] FILE|DIRECTORY...
//
// Exit status: 0 all cases passed, 1 some failed, 2 wrong input, 3 it could not be run.
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <string>
#include <vector>

#include "tests/runner/jobs.h"

namespace {

namespace fs = std::filesystem;

constexpr const char *kHelp =
    "usage: scenario [OPTIONS] FILE|DIRECTORY...\n"
    "Runs the cases of scenario files (tests/README.md), of a directory all of its *.scenario, and shows "
    "where\n"
    "what happened differs from what they expect.\n"
    "\n"
    "  --case NAME      only the cases of that name\n"
    "  --expand         run nothing, show every case in full\n"
    "  --print          show what happens instead, in the form of a scenario\n"
    "  --stop           begin no further case after one that fails\n"
    "  --program FILE   the rc under test (rc beside this program)\n"
    "  --direct FILE    the driver of single operations (rc-direct beside rc)\n"
    "  --preload FILE   the library preloaded into both (../lib/libbench_preload.so beside rc)\n"
    "  --emulate        rc is a program of the router's processor\n"
    "  --system-view    with the real /proc/self, for a program whose sanitizer looks there\n"
    "  -j N             that many cases at once (the number of processors)\n"
    "  --help           this text\n";

struct Options {
    fs::path program;
    fs::path direct;
    fs::path preload;
    bool emulate = false;
    bool system_view = false;
    bool expand = false;
    std::string only;  // the name of a case
    JobOptions jobs{0, false, false, ""};
    std::vector<std::string> files;
};

[[noreturn]] void refuse(const std::string &why)
{
    fprintf(stderr, "scenario: %s\n", why.c_str());
    exit(2);
}

// ---- options --------------------------------------------------------------------------------------------

int read_jobs(const char *text)
{
    char *end = nullptr;
    const long jobs = strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || jobs < 1 || jobs > 1024) {
        refuse(std::string("-j takes a number from 1 to 1024, not \"") + text + "\"");
    }
    return static_cast<int>(jobs);
}

void read_option(int option, Options &options)
{
    switch (option) {
        case 'p':
            options.program = optarg;
            break;
        case 'd':
            options.direct = optarg;
            break;
        case 'l':
            options.preload = optarg;
            break;
        case 'e':
            options.emulate = true;
            break;
        case 'v':
            options.system_view = true;
            break;
        case 's':
            options.jobs.print = true;
            break;
        case 'x':
            options.expand = true;
            break;
        case 'f':
            options.jobs.stop = true;
            break;
        case 'c':
            options.only = optarg;
            break;
        case 'j':
            options.jobs.processes = read_jobs(optarg);
            break;
        case 'h':
            fputs(kHelp, stdout);
            exit(0);
        default:
            refuse("see scenario --help");
    }
}

// What was given, completed by what lies beside it.
void complete_options(Options &options)
{
    if (options.program.empty()) {
        options.program = fs::read_symlink("/proc/self/exe").parent_path() / "rc";
    }
    options.program = fs::absolute(options.program);
    const fs::path beside = options.program.parent_path();
    options.direct = options.direct.empty() ? beside / "rc-direct" : fs::absolute(options.direct);
    options.preload = options.preload.empty() ? beside.parent_path() / "lib" / "libbench_preload.so"
                                              : fs::absolute(options.preload);
    if (options.jobs.processes == 0) {
        const long processors = sysconf(_SC_NPROCESSORS_ONLN);
        options.jobs.processes = processors > 0 ? static_cast<int>(processors) : 1;
    }
}

// The words of the command that runs one case again: all but the files and the chosen case.
std::string again_words(const Options &options, char **argv, int words)
{
    std::string again;
    for (int i = 0; i < words; ++i) {
        const std::string word = argv[i];
        if (word == "--case") {
            ++i;
        } else if (word != "--case=" + options.only) {
            again += shell_word(word) + " ";
        }
    }
    return again;
}

Options read_options(int argc, char **argv)
{
    static const option kLong[] = {
        {"program", required_argument, nullptr, 'p'}, {"direct", required_argument, nullptr, 'd'},
        {"preload", required_argument, nullptr, 'l'}, {"emulate", no_argument, nullptr, 'e'},
        {"system-view", no_argument, nullptr, 'v'},   {"print", no_argument, nullptr, 's'},
        {"expand", no_argument, nullptr, 'x'},        {"case", required_argument, nullptr, 'c'},
        {"jobs", required_argument, nullptr, 'j'},    {"stop", no_argument, nullptr, 'f'},
        {"help", no_argument, nullptr, 'h'},          {nullptr, 0, nullptr, 0},
    };
    Options options;
    for (int option = 0; (option = getopt_long(argc, argv, "j:h", kLong, nullptr)) != -1;) {
        read_option(option, options);
    }
    options.files.assign(argv + optind, argv + argc);
    if (options.files.empty()) {
        refuse("no scenario file is given; see scenario --help");
    }
    // getopt has moved the files behind the options.
    options.jobs.again = again_words(options, argv, optind);
    complete_options(options);
    return options;
}

// ---- files ----------------------------------------------------------------------------------------------

bool read_file(const std::string &path, std::string &text, std::string &why)
{
    FILE *file = fopen(path.c_str(), "r");
    if (file == nullptr) {
        why = "cannot read " + path + ": " + strerror(errno);
        return false;
    }
    text.clear();
    char piece[65536];
    size_t got = 0;
    while ((got = fread(piece, 1, sizeof piece, file)) > 0) {
        text.append(piece, got);
    }
    why = ferror(file) != 0 ? "cannot read " + path : "";
    fclose(file);
    return why.empty();
}

// The files given, and those of the directories given, in the order of their names.
std::vector<std::string> find_files(const std::vector<std::string> &given)
{
    std::vector<std::string> files;
    for (const std::string &name : given) {
        std::error_code error;
        if (!fs::is_directory(name, error)) {
            files.push_back(name);
            continue;
        }
        std::vector<std::string> found;
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(name, error)) {
            if (entry.path().extension() == ".scenario") {
                found.push_back(entry.path().lexically_normal().string());
            }
        }
        if (error || found.empty()) {
            refuse(error ? "cannot read " + name + ": " + error.message() : "no *.scenario in " + name);
        }
        std::sort(found.begin(), found.end());
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

bool add_jobs(const Options &options, const CaseFile &file, std::vector<Job> &jobs, std::string &why)
{
    for (const Case &one : file.cases) {
        Job job{&file, &one, {}};
        if (!read_scenario(file, one, job.scenario, why) ||
            (!options.jobs.print && !check_expectations(file, job.scenario, why))) {
            return false;
        }
        if (options.only.empty() || one.name == options.only) {
            jobs.push_back(std::move(job));
        }
    }
    return true;
}

// Reads all files. Every wrong one gets its line, then nothing is run.
std::vector<Job> read_all(const Options &options, std::deque<CaseFile> &files)
{
    std::vector<Job> jobs;
    bool good = true;
    for (const std::string &path : find_files(options.files)) {
        std::string text;
        std::string why;
        CaseFile &file = files.emplace_back();
        if (!read_file(path, text, why) || !read_cases(path, text, read_file, file, why) ||
            !add_jobs(options, file, jobs, why)) {
            fprintf(stderr, "scenario: %s\n", why.c_str());
            good = false;
        }
    }
    if (!good) {
        exit(2);
    }
    if (jobs.empty()) {
        refuse("no case is named " + options.only);
    }
    return jobs;
}

void print_expanded(const std::vector<Job> &jobs)
{
    for (const Job &job : jobs) {
        printf("%s%s", &job == jobs.data() ? "" : "\n", expanded_case(*job.file, *job.one).c_str());
    }
}

Programs make_programs(const Options &options)
{
    if (access(options.program.c_str(), R_OK) != 0) {
        refuse("cannot read " + options.program.string() + ": " + strerror(errno));
    }
    if (access(options.preload.c_str(), R_OK) != 0) {
        refuse("cannot read " + options.preload.string() + ": " + strerror(errno) +
               "; build bench_preload where " + options.program.string() +
               " was built, or name it with --preload");
    }
    Programs programs;
    programs.direct = options.direct;
    programs.system_view = options.system_view;
    try {
        programs.target =
            options.emulate ? bench::emulated_target(options.program) : bench::host_target(options.program);
        bench::prepare(programs.target, fs::exists(programs.direct) ? programs.direct : fs::path());
    } catch (const std::exception &error) {
        refuse(error.what());
    }
    programs.target.preload = options.preload;
    return programs;
}

}  // namespace

int main(int argc, char **argv)
{
    const Options options = read_options(argc, argv);
    std::deque<CaseFile> files;
    const std::vector<Job> jobs = read_all(options, files);
    if (options.expand) {
        print_expanded(jobs);
        return 0;
    }
    const JobCounts counts = run_jobs(make_programs(options), options.jobs, jobs);
    if (!options.jobs.print) {
        printf("%zu passed, %zu failed\n", counts.passed, counts.failed);
    }
    return counts.failed == 0 ? 0 : 1;
}
