#include "forms/program.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "forms/escapes.h"
#include "forms/nearest.h"

namespace forms {

namespace {

constexpr size_t kWidth = 79;
constexpr size_t kHelpColumn = 25;

using Words = std::vector<std::string>;

// Who speaks in messages, and whose help is named.
std::string program_name = "program";
// Why a write failed before the end, where that is known.
volatile sig_atomic_t write_error = 0;
std::string help_name = "program";

// Thrown when --help or --version has said everything.
struct Finished {};

// ---- help ------------------------------------------------------------------------------------------------

// Appends words to `out`, whose last line has `column` characters, and breaks lines before kWidth.
void fill(std::string &out, std::string_view text, size_t column, size_t indent)
{
    bool is_first = true;
    while (!text.empty()) {
        const size_t end = std::min(text.find(' '), text.size());
        if (!is_first && column + 1 + end > kWidth) {
            out += '\n' + std::string(indent, ' ');
            column = indent;
        } else if (!is_first) {
            out += ' ';
            ++column;
        }
        out += text.substr(0, end);
        column += end;
        is_first = false;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    out += '\n';
}

// Paragraphs are filled; lines that begin with a space stay as they are.
void add_paragraphs(std::string &out, std::string_view text)
{
    std::string paragraph;
    const auto flush = [&] {
        if (!paragraph.empty()) {
            fill(out, paragraph, 0, 0);
            paragraph.clear();
        }
    };
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        if (line.empty() || line[0] == ' ') {
            flush();
            out += std::string(line) + '\n';
        } else {
            paragraph += (paragraph.empty() ? "" : " ") + std::string(line);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    flush();
}

void add_row(std::string &out, const std::string &left, const char *help)
{
    std::string line = "  " + left;
    if (line.size() + 2 > kHelpColumn) {
        out += line + '\n';
        line.clear();
    }
    line.append(kHelpColumn - line.size(), ' ');
    out += line;
    fill(out, help, kHelpColumn, kHelpColumn);
}

std::string option_words(const Option &option, bool with_letters)
{
    std::string words = with_letters ? "    " : "";
    if (option.letter != '\0') {
        words = std::string("-") + option.letter + ", ";
    }
    words += std::string("--") + option.name;
    return option.argument == nullptr ? words : words + " " + option.argument;
}

void add_options(std::string &out, const Program &program)
{
    const bool with_letters = std::any_of(program.options.begin(), program.options.end(),
                                          [](const Option &option) { return option.letter != '\0'; });
    for (const Option &option : program.options) {
        if (option.name == nullptr) {
            out += std::string("\n") + option.help + '\n';
        } else {
            add_row(out, option_words(option, with_letters), option.help);
        }
    }
    add_row(out, option_words({.name = "help"}, with_letters), "this text");
    add_row(out, option_words({.name = "version"}, with_letters), "the version");
}

void add_statuses(std::string &out, const Program &program)
{
    const std::string no = program.no == nullptr ? "" : std::string("1 ") + program.no + "; ";
    fill(out,
         "Exit status: 0 done; " + no +
             "2 wrong options or unusable input; 3 it could not be done, was cut off, or its output could "
             "not be written.",
         0, 0);
}

// ---- options ---------------------------------------------------------------------------------------------

void print_version(const Program &program)
{
    (void)printf("%s %s\n", program.name, PROJECT_VERSION);
}

const Option *find_option(const Program &program, std::string_view name)
{
    static const Option kHelp = {.name = "help"};
    static const Option kVersion = {.name = "version"};
    for (const Option &option : program.options) {
        if (option.name == nullptr) {
            continue;
        }
        const bool is_letter = name.size() == 2 && option.letter != '\0' && name[1] == option.letter;
        if (is_letter || (name.starts_with("--") && name.substr(2) == option.name)) {
            return &option;
        }
    }
    if (name == "--help" || name == "-h") {
        return &kHelp;
    }
    return name == "--version" ? &kVersion : nullptr;
}

// One option as typed: "--name=VALUE" and "-lVALUE" carry their argument with them.
struct Typed {
    std::string name;
    bool has_value = false;
    std::string value;
};

Typed take_apart(const std::string &word)
{
    if (!word.starts_with("--")) {
        return {word.substr(0, 2), word.size() > 2, word.size() > 2 ? word.substr(2) : ""};
    }
    const size_t equals = word.find('=');
    return {word.substr(0, equals), equals != std::string::npos,
            equals == std::string::npos ? "" : word.substr(equals + 1)};
}

// As typed, those that every program has too.
std::vector<std::string> option_names(const Program &program)
{
    std::vector<std::string> names = {"--help", "--version"};
    for (const Option &option : program.options) {
        if (option.name != nullptr) {
            names.push_back(std::string("--") + option.name);
        }
    }
    return names;
}

void use_option(const Program &program, const Option &option, const std::string &value)
{
    if (option.take) {
        option.take(value);
        return;
    }
    if (strcmp(option.name, "help") == 0) {
        write_error = fputs(help_text(program).c_str(), stdout) == EOF ? errno : 0;
    } else {
        print_version(program);
    }
    throw Finished();
}

// Uses the option at `at`, and its argument if it is the next word; moves `at` to the last word used.
void read_option(const Program &program, const Words &arguments, size_t &at)
{
    Typed typed = take_apart(arguments[at]);
    const Option *option = find_option(program, typed.name);
    if (option == nullptr ||
        (option->argument == nullptr && typed.has_value && !typed.name.starts_with("--"))) {
        throw usage_error("unknown option \"" + shown(option == nullptr ? typed.name : arguments[at]) + "\"" +
                          did_you_mean(typed.name, option_names(program)));
    }
    if (option->argument == nullptr && typed.has_value) {
        throw usage_error("option " + typed.name + " takes no argument");
    }
    if (option->argument != nullptr && !typed.has_value) {
        if (at + 1 == arguments.size()) {
            throw usage_error("option " + typed.name + " needs an argument, " + option->argument);
        }
        typed.value = arguments[++at];
    }
    use_option(program, *option, typed.value);
}

// ---- the frame -------------------------------------------------------------------------------------------

void say(const std::string &text)
{
    (void)fflush(stdout);
    (void)fprintf(stderr, "%s: %s\n", program_name.c_str(), text.c_str());
}

// A closed descriptor would be given to the next file opened. In place of standard output stands one that
// cannot be written to, so that output into nowhere is still noticed.
void open_missing_descriptors()
{
    for (const int wanted : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(wanted, F_GETFD) < 0) {
            (void)open("/dev/null", wanted == STDERR_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

void on_signal(int signal)
{
    write_error = signal == SIGPIPE ? EPIPE : EFBIG;
}

// A write that fails is an error to report, not the end. Handlers, because programs started from here get
// the default action back.
void keep_write_errors()
{
    struct sigaction action = {};
    action.sa_handler = on_signal;
    action.sa_flags = SA_RESTART;
    (void)sigaction(SIGPIPE, &action, nullptr);
    (void)sigaction(SIGXFSZ, &action, nullptr);
}

int call(const std::function<int(const Words &)> &work, const Words &arguments)
{
    try {
        return work(arguments);
    } catch (const Finished &) {
        return kDone;
    } catch (const Failure &failure) {
        say(failure.what());
        return failure.status;
    } catch (const std::bad_alloc &) {
        say("not enough memory");
    } catch (const std::exception &error) {
        say(error.what());
    }
    return kFailed;
}

// Writes what is left of standard output; true when all of it was written. Else `error` is why, or 0: the C
// library has forgotten the cause of an earlier failure.
bool finish_output(int &error)
{
    const bool failed = ferror(stdout) != 0;
    errno = 0;
    if (fflush(stdout) == 0 && !failed && (fclose(stdout) == 0 || errno == EBADF)) {
        return true;
    }
    error = errno != 0 ? errno : write_error;
    return false;
}

}  // namespace

Failure usage_error(const std::string &why)
{
    return {kUnusable, why + "; see " + help_name + " --help"};
}

std::vector<std::string> read_options(const Program &program, const std::vector<std::string> &arguments)
{
    help_name = program.name;
    Words words;
    for (size_t at = 0; at < arguments.size(); ++at) {
        const std::string &word = arguments[at];
        const bool ends =
            word == "--" || (program.place == OptionPlace::kBeforeWords && !word.starts_with('-'));
        if (ends) {
            const auto rest = arguments.begin() + static_cast<std::ptrdiff_t>(at + (word == "--" ? 1 : 0));
            words.insert(words.end(), rest, arguments.end());
            break;
        }
        if (word.size() > 1 && word[0] == '-') {
            read_option(program, arguments, at);
        } else {
            words.push_back(word);
        }
    }
    return words;
}

std::string help_text(const Program &program)
{
    std::string out;
    for (const char *usage : program.usage) {
        out += (out.empty() ? "usage: " : "       ") + std::string(program.name) + " " + usage + "\n";
    }
    add_paragraphs(out, program.about);
    out += program.commands.empty() ? "" : "\n";
    for (const Command &command : program.commands) {
        add_row(out, std::string(command.name) + (*command.arguments == '\0' ? "" : " ") + command.arguments,
                command.help);
    }
    const bool has_heading = !program.options.empty() && program.options[0].name == nullptr;
    out += has_heading ? "" : "\n";
    add_options(out, program);
    if (*program.more != '\0') {
        out += '\n';
        add_paragraphs(out, program.more);
    }
    out += '\n';
    add_statuses(out, program);
    return out;
}

int run_program(const char *name, int argc, char **argv,
                const std::function<int(const std::vector<std::string> &arguments)> &work)
{
    program_name = name;
    help_name = name;
    open_missing_descriptors();
    keep_write_errors();
    const Words arguments = argc > 1 ? Words(argv + 1, argv + argc) : Words();
    const int status = call(work, arguments);
    int error = 0;
    if (finish_output(error)) {
        return status;
    }
    if (error != EPIPE) {
        say(std::string("cannot write standard output: ") +
            (error == 0 ? "is the disk full?" : strerror(error)));
    }
    return kFailed;
}

void note(const std::string &text)
{
    say("note: " + text);
}

}  // namespace forms
