#include "tools/viewer.h"

#include <getopt.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace {

constexpr option kHelpAlone[] = {{"help", no_argument, nullptr, 'h'}, {nullptr, 0, nullptr, 0}};
constexpr option kHelpAndFields[] = {
    {"help", no_argument, nullptr, 'h'}, {"fields", no_argument, nullptr, 'f'}, {nullptr, 0, nullptr, 0}};

void read_options(const Viewer &viewer, int argc, char **argv, bool *has_fields)
{
    const option *known = has_fields == nullptr ? kHelpAlone : kHelpAndFields;
    opterr = 0;
    for (int option = 0; (option = getopt_long(argc, argv, "h", known, nullptr)) != -1;) {
        if (option == 'h') {
            (void)fputs(viewer.help, stdout);
            exit(0);
        }
        if (option != 'f' || has_fields == nullptr) {
            refuse(viewer, "unknown option \"" + std::string(argv[optind - 1]) + "\"; see " + viewer.name +
                               " --help");
        }
        *has_fields = true;
    }
}

}  // namespace

void refuse(const Viewer &viewer, const std::string &why)
{
    (void)fprintf(stderr, "%s: %s\n", viewer.name, why.c_str());
    exit(2);
}

Input open_input(const Viewer &viewer, int argc, char **argv, bool *has_fields)
{
    read_options(viewer, argc, argv, has_fields);
    char **words = argv + optind;
    if (argc - optind != 2 || strcmp(words[0], "show") != 0) {
        const std::string name = viewer.name;
        refuse(viewer, "say \"" + name + " show FILE\"; see " + name + " --help");
    }
    const std::string path = words[1];
    if (path == "-") {
        return {stdin, "standard input", nullptr};
    }
    File file = open_file(path.c_str(), "r");
    if (!file) {
        refuse(viewer, "cannot read " + path + ": " + strerror(errno));
    }
    FILE *stream = file.get();
    return {stream, path, std::move(file)};
}

size_t read_input(const Viewer &viewer, const Input &input, void *bytes, size_t size)
{
    const size_t got = fread(bytes, 1, size, input.stream);
    if (ferror(input.stream) != 0) {
        refuse(viewer, "cannot read " + input.name + ": " + strerror(errno));
    }
    return got;
}

std::string format(const char *pattern, ...)
{
    char text[64];
    va_list values;
    va_start(values, pattern);
    (void)vsnprintf(text, sizeof text, pattern, values);
    va_end(values);
    return text;
}
