// The frame of every host program: its options and help, its messages, its exit status.
//
//     forms::Status work(const std::vector<std::string> &arguments)
//     {
//         std::string file;
//         const forms::Program program = {
//             .name = "leases",
//             .usage = {"[OPTIONS] show FILE"},
//             .about = "Shows a lease file of the router's DHCP server.",
//             .options = {{'f', "file", "FILE", "that file", [&](const std::string &value) { file = value;
//             }}},
//         };
//         const std::vector<std::string> words = forms::read_options(program, arguments);
//         ...
//     }
//
//     int main(int argc, char **argv) { return forms::run_program("leases", argc, argv, work); }
//
// A message is one line, "PROGRAM: WHAT: WHY; WHAT TO DO". Every program has --help and --version.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace forms {

// Exit statuses, the same for all programs.
enum Status : int {
    kDone = 0,      // done, or the answer is yes
    kNo = 1,        // the answer is no: no such key, damage, findings, differences, a broken promise
    kUnusable = 2,  // wrong options, or input that cannot be used
    kFailed = 3,    // could not be done, was cut off, or its output could not be written
};

// Ends the program with one line on standard error and a status.
struct Failure : std::runtime_error {
    Failure(Status code, const std::string &why) : std::runtime_error(why), status(code) {}
    Status status;
};

// A mistake on the command line that the program's help would cure: the line ends in "; see PROGRAM --help".
Failure usage_error(const std::string &why);

// One row of a program's options. A row without a name is a heading of the help.
struct Option {
    char letter = '\0';              // NUL: it has a long name alone
    const char *name = nullptr;      // without its dashes
    const char *argument = nullptr;  // what follows it; null: nothing
    const char *help = "";
    std::function<void(const std::string &argument)> take = {};
};

// The same for a program whose first word says what to do.
struct Command {
    const char *name;
    const char *arguments;  // "KEY=VALUE..."
    const char *help;
};

enum class OptionPlace {
    kAnywhere,     // also between and after the words; "--" ends them
    kBeforeWords,  // the first word ends them, so that later ones may begin with "-"
};

struct Program {
    const char *name;                 // as typed; of a subcommand with the program's
    std::vector<const char *> usage;  // what may follow the name, one line each
    const char *about = "";           // paragraphs between empty lines; a line that begins with a space stays
    std::vector<Command> commands = {};
    std::vector<Option> options = {};
    const char *more = "";     // paragraphs below the options
    const char *no = nullptr;  // what exit status 1 means here; null: there is none
    OptionPlace place = OptionPlace::kAnywhere;
};

// Takes the options off the arguments and returns the words that are left. --help and --version end the
// program; a wrong option is a usage error.
std::vector<std::string> read_options(const Program &program, const std::vector<std::string> &arguments);

// What --help prints, within 80 columns.
std::string help_text(const Program &program);

// Runs `work` with the program's arguments and returns the exit status. Whatever it throws becomes a line
// and a status, and output that could not be written is an error whatever it returned. No file is opened as
// descriptor 0, 1 or 2. A reader of the output that goes away gets no message.
int run_program(const char *name, int argc, char **argv,
                const std::function<int(const std::vector<std::string> &arguments)> &work);

// A remark on standard error: "PROGRAM: note: TEXT".
void note(const std::string &text);

}  // namespace forms
