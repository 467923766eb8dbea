// rcbench completion: what the shell may offer at each place of a command line, made from the tables of
// subcommands and options, the image's settings and tools, and rc's services.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "bench/rcbench/runs.h"
#include "forms/files.h"

namespace rcbench {

namespace {

using forms::usage_error;

std::string spaced(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

// "--set|--unset" of all options whose argument `is_wanted` likes.
template <typename IsWanted>
std::string options_with(const IsWanted &is_wanted)
{
    std::vector<std::string> names;
    for (const CommandRow &row : commands()) {
        const Command command = row.make();
        for (const forms::Option &option : command.program.options) {
            const std::string argument = option.argument == nullptr ? "" : option.argument;
            const std::string name = option.name == nullptr ? "" : std::string("--") + option.name;
            if (!name.empty() && !argument.empty() && is_wanted(argument) &&
                std::find(names.begin(), names.end(), name) == names.end()) {
                names.push_back(name);
            }
        }
    }
    std::string pattern;
    for (const std::string &name : names) {
        pattern += (pattern.empty() ? "" : "|") + name;
    }
    return pattern;
}

std::string option_names(const Command &command)
{
    std::vector<std::string> names = {"--help", "--version"};
    for (const forms::Option &option : command.program.options) {
        if (option.name != nullptr) {
            names.push_back(std::string("--") + option.name);
        }
    }
    return spaced(names);
}

std::string setting_keys(const bench::Target &target)
{
    std::vector<std::string> keys;
    for (const bench::Setting &entry : bench::image_settings(target.image)) {
        keys.push_back(entry.key);
    }
    return spaced(keys);
}

// The router's tools by their base names.
std::string tool_names(const bench::Target &target)
{
    std::istringstream lines(forms::read_input((target.image / "tools").string(), forms::kTextLimit));
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('/')) {
            names.push_back(std::filesystem::path(line.substr(0, line.find(' '))).filename().string());
        }
    }
    return spaced(names);
}

std::string subcommand_names()
{
    std::vector<std::string> names;
    for (const CommandRow &row : commands()) {
        names.emplace_back(row.name);
    }
    return spaced(names);
}

std::string option_cases()
{
    std::string text;
    for (const CommandRow &row : commands()) {
        text += "        " + std::string(row.name) + ") offered='" + option_names(row.make()) + "' ;;\n";
    }
    return text;
}

bool has(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

// A function for bash, which zsh runs too. A name between "@" is replaced.
constexpr const char *kScript = R"bash(_rcbench()
{
    local word before='' command='' first='' offered='' current=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $before in
        @KEY_OPTIONS@|@TOOL_OPTIONS@|@FILE_OPTIONS@|@OTHER_OPTIONS@) before= && continue ;;
        esac
        before=$word
        case $word in
        -*|=) ;;
        *) if [ -z "$command" ]; then command=$word; else first=${first:-$word}; fi ;;
        esac
    done
    case $before in
    @KEY_OPTIONS@)
        COMPREPLY=($(compgen -S = -W '@KEYS@' -- "$current"))
        type compopt >/dev/null 2>&1 && compopt -o nospace
        return ;;
    @TOOL_OPTIONS@) COMPREPLY=($(compgen -W '@TOOLS@' -- "$current")); return ;;
    @FILE_OPTIONS@) COMPREPLY=($(compgen -f -- "$current")); return ;;
    @OTHER_OPTIONS@) return ;;
    esac
    case " @COMMANDS@ " in
    *" $command "*) [ -n "$command" ] || command=run ;;
    *) first=$command command=run ;;
    esac
    case $current in
    -*)
        case $command in
@OPTIONS@        esac ;;
    *)
        if [ -n "$first" ]; then
            offered='start stop restart create'
        elif [ "$command" = run ]; then
            offered='@SERVICES@'
            [ "$COMP_CWORD" -ne 1 ] || offered="$offered @COMMANDS@"
        fi ;;
    esac
    COMPREPLY=($(compgen -W "$offered" -- "$current"))
}
complete -o default -F _rcbench rcbench
)bash";

void replace(std::string &text, const std::string &name, const std::string &value)
{
    const std::string mark = "@" + name + "@";
    for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += value.size()) {
        text.replace(at, mark.size(), value);
    }
}

bool is_file(const std::string &argument)
{
    return argument == "FILE" || argument == "DIRECTORY";
}

std::string script()
{
    const bench::Target target = target_of({});
    std::string text = kScript;
    replace(text, "KEY_OPTIONS",
            options_with([](const std::string &argument) { return has(argument, "KEY"); }));
    replace(text, "TOOL_OPTIONS",
            options_with([](const std::string &argument) { return has(argument, "TOOL"); }));
    replace(text, "FILE_OPTIONS", options_with(is_file));
    replace(text, "OTHER_OPTIONS", options_with([](const std::string &argument) {
                return !has(argument, "KEY") && !has(argument, "TOOL") && !is_file(argument);
            }));
    replace(text, "KEYS", setting_keys(target));
    replace(text, "TOOLS", tool_names(target));
    replace(text, "COMMANDS", subcommand_names());
    replace(text, "OPTIONS", option_cases());
    replace(text, "SERVICES", spaced(first_words()));
    return text;
}

int work(const Words &words)
{
    if (words.size() != 1 || (words[0] != "bash" && words[0] != "zsh")) {
        throw usage_error("completion is for bash or zsh");
    }
    printf("%s%s", words[0] == "zsh" ? "autoload -U bashcompinit && bashcompinit\n" : "", script().c_str());
    return forms::kDone;
}

constexpr const char *kAbout = R"about(
Prints a script that teaches the shell to complete rcbench's subcommands, options, settings and tools, and rc's
services and verbs. In bash or zsh:

  eval "$(rcbench completion bash)"
)about";

}  // namespace

Command make_completion()
{
    return {{.name = "rcbench completion", .usage = {"bash", "zsh"}, .about = kAbout}, work};
}

}  // namespace rcbench
