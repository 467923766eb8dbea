#include "bench/run/run_file.h"

#include <cstdio>

#include "bench/run/files.h"
#include "bench/run/inside/inside.h"

namespace bench {

namespace {

void add_pair(std::string &out, char letter, std::string_view value)
{
    add_field(out, std::string(1, letter));
    add_field(out, value);
}

std::string interface_text(const Interface &interface, size_t number)
{
    char hardware[32];
    snprintf(hardware, sizeof hardware, "02:00:00:00:00:%02zx", number & 0xff);
    return interface.name + " " + (interface.address.empty() ? "-" : interface.address) + " " +
           std::to_string(interface.bits) + " " +
           (interface.hardware.empty() ? hardware : interface.hardware);
}

// The libraries that come before the program's own, as the loader's variable.
std::string preload_variable(const Run &run)
{
    return run.guest.empty() ? "LD_PRELOAD=/.bench/preload" : "LD_PRELOAD=/.bench/guest:/.bench/preload";
}

// The words before the program: a checker, or the emulator with the preloaded library for the emulated
// program alone.
std::vector<std::string> prefix_words(const Target &target, const Run &run)
{
    std::vector<std::string> words;
    for (const std::string &word : run.wrapper) {
        words.push_back(words.empty() ? "/.bench/workstation" + word : word);
    }
    if (!target.emulator.empty()) {
        for (const char *word : {"/.bench/emulator", "-0", "%0", "-L", "/.bench/library", "-E"}) {
            words.emplace_back(word);
        }
        words.push_back(preload_variable(run));
    }
    return words;
}

// For init to make, or where it cannot for the preloaded library to answer for.
void add_interfaces(std::string &out, const std::vector<Interface> &interfaces)
{
    std::string all = std::string(inside::kInterfacesName) + "=";
    for (size_t i = 0; i < interfaces.size(); ++i) {
        const std::string text = interface_text(interfaces[i], i + 1);
        all += text + ";";
        if (sandbox() == Sandbox::kNamespaces) {
            add_pair(out, 'i', text);
        }
    }
    if (sandbox() != Sandbox::kNamespaces) {
        add_pair(out, 'e', all);
    }
}

// A command is noted by the recorder as if rc had given it to the shell.
std::vector<std::string> command_words_of(const Run &run)
{
    return {"sh", "-c", run.command};
}

}  // namespace

std::string run_file(const Target &target, const Run &run, const std::vector<Interface> &interfaces)
{
    std::string out;
    add_pair(out, 'P', "/.bench/rc");
    add_pair(out, 'R',
             !run.command.empty()  ? "/.bench/bin/bench_shell_recorder"
             : run.program.empty() ? "/.bench/rc"
                                   : "/.bench/program");
    for (const std::string &word : prefix_words(target, run)) {
        add_pair(out, 'p', word);
    }
    if (!run.command.empty()) {
        add_pair(out, 'b', "1");
    }
    for (const std::string &word : run.command.empty() ? run.words : command_words_of(run)) {
        add_pair(out, 'a', word);
    }
    // The program must set the search path itself: this one is not enough for its commands.
    add_pair(out, 'e', "PATH=/bin");
    if (target.emulator.empty()) {
        add_pair(out, 'e', preload_variable(run));
    }
    if (run.clock) {
        add_pair(out, 't', std::to_string(*run.clock * 1000000));
    }
    if (run.calls_fail) {
        add_pair(out, 'e', "BENCH_FAIL=1");
    }
    add_pair(out, 'e', "BENCH_PAUSES=" + std::to_string(run.most_pauses));
    if (!run.wrapper.empty()) {
        add_pair(out, 'e', "VALGRIND_LIB=/.bench/workstation/usr/libexec/valgrind");
    }
    for (const std::string &variable : run.environment) {
        add_pair(out, 'e', variable);
    }
    if (run.nested) {
        add_pair(out, 'n', "1");
    }
    add_pair(out, 'o', std::to_string(run.most_output));
    add_interfaces(out, interfaces);
    return out;
}

}  // namespace bench
