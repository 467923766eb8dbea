// Checks the contracts of all sources against their code: contract [OPTIONS] [ROOT]
//
// Exit status: 0 all is well, 1 there are differences (one line each on standard output), 2 wrong input.
#include <getopt.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/contract/project.h"
#include "tests/contract/services.h"

namespace {

constexpr const char *kHelp =
    "usage: contract [OPTIONS] [ROOT]\n"
    "Compares the contract at the head of every source below ROOT/rc with its code, and the settings it "
    "names\n"
    "with their descriptions in ROOT/bench/image/settings. ROOT is this folder when it is not given.\n"
    "\n"
    "  --settings-reference     print docs/settings.md instead\n"
    "  --check-reference FILE   fail when FILE is not what --settings-reference prints\n"
    "  --settings-readers       print bench/image/settings/readers instead: who reads and sets each setting\n"
    "  --check-readers FILE     fail when FILE is not what --settings-readers prints\n"
    "  --services               name instead what each service of the tables lacks in tests, manual, "
    "documents\n"
    "                           and bench\n"
    "  --help                   this text\n";

struct Options {
    bool print_reference = false;
    bool print_readers = false;
    bool services = false;
    std::string reference;
    std::string readers;
    std::string root = ".";
};

[[noreturn]] void refuse(const std::string &why)
{
    fprintf(stderr, "contract: %s\n", why.c_str());
    exit(2);
}

Options read_options(int argc, char **argv)
{
    static const option kLong[] = {
        {"settings-reference", no_argument, nullptr, 's'},
        {"check-reference", required_argument, nullptr, 'c'},
        {"settings-readers", no_argument, nullptr, 'r'},
        {"check-readers", required_argument, nullptr, 'e'},
        {"services", no_argument, nullptr, 'v'},
        {"help", no_argument, nullptr, 'h'},
        {nullptr, 0, nullptr, 0},
    };
    Options options;
    for (int option = 0; (option = getopt_long(argc, argv, "h", kLong, nullptr)) != -1;) {
        if (option == 's') {
            options.print_reference = true;
        } else if (option == 'c') {
            options.reference = optarg;
        } else if (option == 'r') {
            options.print_readers = true;
        } else if (option == 'e') {
            options.readers = optarg;
        } else if (option == 'v') {
            options.services = true;
        } else if (option == 'h') {
            fputs(kHelp, stdout);
            exit(0);
        } else {
            refuse("see contract --help");
        }
    }
    if (optind + 1 < argc) {
        refuse("one ROOT at most");
    }
    options.root = optind < argc ? argv[optind] : ".";
    return options;
}

int report(const std::vector<Problem> &problems)
{
    for (const Problem &problem : problems) {
        printf("%s:%d: %s\n", problem.path.c_str(), problem.line, problem.text.c_str());
    }
    return problems.empty() ? 0 : 1;
}

std::string read_text(const std::string &path)
{
    FILE *file = fopen(path.c_str(), "r");
    if (file == nullptr) {
        refuse("cannot read " + path + "; make it with scripts/settings-reference");
    }
    std::string text;
    for (int c = 0; (c = fgetc(file)) != EOF;) {
        text += static_cast<char>(c);
    }
    fclose(file);
    return text;
}

int check_reference(const std::string &path, const std::string &expected)
{
    const std::string actual = read_text(path);
    if (actual == expected) {
        return 0;
    }
    const auto difference = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    const auto line = 1 + std::count(actual.begin(), difference.first, '\n');
    printf("%s:%ld: not up to date; make it anew with scripts/settings-reference\n", path.c_str(),
           static_cast<long>(line));
    return 1;
}

}  // namespace

int main(int argc, char **argv)
{
    const Options options = read_options(argc, argv);
    if (!std::filesystem::is_directory(options.root + "/rc")) {
        refuse("there is no folder " + options.root + "/rc");
    }
    std::vector<Problem> problems;
    const Project project = read_project(options.root, problems);
    if (options.print_reference) {
        fputs(settings_reference(project).c_str(), stdout);
        return 0;
    }
    if (options.print_readers) {
        fputs(settings_readers(project).c_str(), stdout);
        return 0;
    }
    if (!options.reference.empty()) {
        return check_reference(options.reference, settings_reference(project));
    }
    if (!options.readers.empty()) {
        return check_reference(options.readers, settings_readers(project));
    }
    if (options.services) {
        check_services(options.root, project, problems);
    } else {
        check_project(project, problems);
    }
    return report(problems);
}
