// Running commands through the shell.

#include "rc/shell.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "rc/text.h"

namespace {

struct Way {
    size_t longest;  // characters
    bool echoed;
    bool yields;
};

constexpr Way kRunFilled = {SIZE_MAX, false, false};
constexpr Way kSystem = {kCommandSize - 1, false, true};
constexpr Way kMySystem = {kCommandSize - 1, true, false};

__attribute__((format(printf, 2, 0))) int run_values(const Way &way, const char *format, va_list values)
{
    std::string command;
    append_values(command, format, values);
    if (command.size() > way.longest) {
        command.resize(way.longest);
    }
    if (way.echoed) {
        (void)puts(command.c_str());
    }
    const int status = run(command.c_str());
    if (way.yields) {
        // Deliberate: yields to the daemon just started.
        (void)usleep(1);
    }
    return status;
}

}  // namespace

int run(const char *command)
{
    return system(command);
}

int run_filled(const char *format, ...)
{
    va_list values;
    va_start(values, format);
    const int status = run_values(kRunFilled, format, values);
    va_end(values);
    return status;
}

int SYSTEM(const char *format, ...)
{
    va_list values;
    va_start(values, format);
    (void)run_values(kSystem, format, values);
    va_end(values);
    return 0;
}

int MY_SYSTEM(const char *format, ...)
{
    va_list values;
    va_start(values, format);
    const int status = run_values(kMySystem, format, values);
    va_end(values);
    return status;
}

int myPipe(const char *command, std::string &out)
{
    out.clear();
    FILE *output = popen(command, "r");
    if (output == nullptr) {
        return 0;
    }
    char line[4096];
    while (fgets(line, sizeof line, output) != nullptr) {
        out += line;
    }
    return pclose(output);
}
