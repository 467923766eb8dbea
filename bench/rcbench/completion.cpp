// rcbench completion: what the shell may offer at each place of a command line, made from the tables of
// subcommands and options, the image's settings and tools, and rc's services.

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "bench/packets/network.h"
#include "bench/rcbench/runs.h"
#include "forms/descriptions.h"
#include "forms/files.h"

namespace rcbench {

namespace {

using forms::usage_error;

std::string joined(const std::vector<std::string> &words, const std::string &between)
{
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

std::string spaced(const std::vector<std::string> &words)
{
    return joined(words, " ");
}

// "--set | --unset" of all options whose argument `is_wanted` likes.
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
    return joined(names, " | ");
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

std::vector<std::string> command_names()
{
    std::vector<std::string> names;
    for (const CommandRow &row : commands()) {
        names.emplace_back(row.name);
    }
    return names;
}

bool has(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

// What is offered, the same in both shells. In: the words `given` before the one at the cursor, and that one,
// `current`. Out: the words `offered`, to be put behind `lead` and before `suffix`, or `files`. A name
// between
// "@" is replaced.
constexpr const char *kOffers = R"sh(_rcbench_offers()
{
    local word before='' command='' first='' count=0 rest=$current values=''
    offered='' suffix='' files='' lead=''
    for word in "${given[@]}"; do
        case $before in
        @WITH_ARGUMENT@) before='' && continue ;;
        esac
        case $word in
        ,) first='' ;;
        -*=* | *=* | @*) ;;
        -*) before=$word ;;
        *)
            count=$((count + 1))
            if [ -z "$command" ]; then
                case $word in
                @COMMANDS@) command=$word count=0 && continue ;;
                esac
                command=run
            fi
            first=${first:-$word} ;;
        esac
    done
    case $current in
    --*=*) before=${current%%=*} rest=${current#*=} lead=${current%%=*}= ;;
    esac
    case $before in
    @SETTING_OPTIONS@) _rcbench_settings && return ;;
    @KEY_OPTIONS@) offered='@KEYS@' && return ;;
    @TOOL_OPTIONS@) offered='@TOOLS@' && return ;;
    @SIDE_OPTIONS@) offered='@SIDES@' && return ;;
    @FILE_OPTIONS@) files=yes && return ;;
    @WITH_ARGUMENT@) return ;;
    esac
    case $command:$current in
@OPTIONS@    completion:*) offered='bash zsh' ;;
    shell:* | explain:*) _rcbench_settings ;;
    compare:*)
        case $count in
        0 | 1) files=yes ;;
        2) offered='@SERVICES@' ;;
        *) offered='@VERBS@' ;;
        esac ;;
    :* | run:* | live:*)
        offered='@VERBS@'
        [ -n "$first" ] || offered='@SERVICES@'
        [ -n "$command" ] || offered="$offered @COMMAND_NAMES@" ;;
    esac
}

# A key, or behind one and its "=" the values that it may have.
_rcbench_settings()
{
    case $rest in
    *=*)
        case ${rest%%=*} in
@VALUES@        esac
        for word in $values; do
            offered="$offered ${rest%%=*}=$word"
        done ;;
    *)
        offered='@KEYS@'
        [ "$command" = shell ] || suffix='=' ;;
    esac
}

)sh";

// bash makes three words of KEY=VALUE, and replaces the last of them.
constexpr const char *kBash = R"sh(_rcbench()
{
    local given=() current='' word glue='' typed='' i offered suffix files lead
    for ((i = 1; i <= COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [ "$word" = = ] || [ -n "$glue" ]; then
            current=$current$word
        else
            [ "$i" -eq 1 ] || given+=("$current")
            current=$word
        fi
        glue=''
        [ "$word" != = ] || glue=yes
    done
    _rcbench_offers
    COMPREPLY=()
    if [ -n "$files" ]; then
        COMPREPLY=($(compgen -f -- "${current##*=}"))
        compopt -o filenames 2>/dev/null
        return
    fi
    case $COMP_WORDBREAKS:$current in
    *=*:*=*) typed=${current%=*}= ;;
    esac
    for word in $offered; do
        word=$lead$word$suffix
        case $word in
        "$current"*) COMPREPLY+=("${word#"$typed"}") ;;
        esac
    done
    [ -z "$suffix" ] || compopt -o nospace 2>/dev/null
}
complete -o default -F _rcbench rcbench
)sh";

constexpr const char *kZsh = R"sh(_rcbench()
{
    local -a given replies
    local current offered suffix files lead
    given=("${(@)words[2,CURRENT-1]}")
    current=$words[CURRENT]
    () { emulate -L ksh; _rcbench_offers }
    if [[ -n $files ]]; then
        compset -P '*='
        _files
        return
    fi
    replies=(${=offered})
    replies=($lead${^replies})
    if [[ -n $suffix ]]; then
        compadd -S $suffix -a replies
    else
        compadd -a replies
    fi
}
if [[ $funcstack[1] = _rcbench ]]; then
    _rcbench "$@" # the file itself, found by zsh among its functions, at the first TAB
else
    (( $+functions[compdef] )) || { autoload -Uz compinit && compinit }
    compdef _rcbench rcbench
fi
)sh";

void replace(std::string &text, const std::string &name, const std::string &value)
{
    const std::string mark = "@" + name + "@";
    for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += value.size()) {
        text.replace(at, mark.size(), value);
    }
}

bool is_file(const std::string &argument)
{
    return argument == "FILE" || argument == "DIRECTORY" || argument.ends_with("=HOSTFILE");
}

// A word that no shell takes apart.
bool is_plain(const std::string &word)
{
    return !word.empty() && std::all_of(word.begin(), word.end(), [](unsigned char c) {
        return isalnum(c) != 0 || c == '_' || c == '-' || c == '+' || c == '.';
    });
}

// Of flags and choices: "        wan_mode) values='pppoe pppoa' ;;".
std::string value_cases()
{
    std::string flags;
    std::string choices;
    for (const forms::Description *setting : forms::all_descriptions()) {
        std::vector<std::string> words = setting->type.words;
        if (setting->type.form == forms::Form::kFlag) {
            flags += (flags.empty() ? "" : " | ") + setting->key;
        } else if (setting->type.form == forms::Form::kChoice &&
                   std::all_of(words.begin(), words.end(), is_plain)) {
            choices += "        " + setting->key + ") values='" + spaced(words) + "' ;;\n";
        }
    }
    return "        " + flags + ") values='0 1' ;;\n" + choices;
}

// Options may be anywhere but behind rc's words.
std::string option_cases()
{
    std::string text;
    for (const CommandRow &row : commands()) {
        const std::string name = row.name;
        const std::string words = option_names(row.make());
        text +=
            "    " + (name == "run" ? ":-* | " : std::string()) + name + ":-*) offered='" + words + "' ;;\n";
    }
    return text;
}

std::string sides()
{
    std::vector<std::string> names;
    for (const packets::Side side : packets::kSides) {
        names.emplace_back(packets::side_name(side));
    }
    return spaced(names);
}

std::string script(const std::string &shell)
{
    const bench::Target target = target_of({});
    // By its first line zsh knows a file that it finds among its functions.
    std::string text = std::string(shell == "zsh" ? "#compdef rcbench\n" : "") + kOffers;
    const auto is_key = [](const std::string &argument) { return argument == "KEY"; };
    replace(text, "SETTING_OPTIONS",
            options_with([](const std::string &argument) { return argument == "KEY=VALUE"; }));
    replace(text, "KEY_OPTIONS", options_with(is_key));
    replace(text, "TOOL_OPTIONS",
            options_with([](const std::string &argument) { return has(argument, "TOOL"); }));
    replace(text, "SIDE_OPTIONS",
            options_with([](const std::string &argument) { return argument == "SIDE"; }));
    replace(text, "FILE_OPTIONS", options_with(is_file));
    replace(text, "WITH_ARGUMENT", options_with([](const std::string &) { return true; }));
    replace(text, "KEYS", setting_keys(target));
    replace(text, "TOOLS", spaced(tool_names(target)));
    replace(text, "SIDES", sides());
    replace(text, "COMMANDS", joined(command_names(), " | "));
    replace(text, "COMMAND_NAMES", spaced(command_names()));
    replace(text, "VALUES", value_cases());
    replace(text, "OPTIONS", option_cases());
    replace(text, "SERVICES", spaced(first_words()));
    replace(text, "VERBS", "start stop restart create");
    return text + (shell == "bash" ? kBash : kZsh);
}

int work(const Words &words)
{
    if (words.size() != 1 || (words[0] != "bash" && words[0] != "zsh")) {
        throw usage_error("completion is for bash or zsh");
    }
    (void)fputs(script(words[0]).c_str(), stdout);
    return forms::kDone;
}

constexpr const char *kAbout = R"about(
Prints a script that teaches the shell to complete rcbench's subcommands, the options of each, settings with the
values they may have, tools, and rc's services and verbs. In bash or zsh:

  eval "$(rcbench completion bash)"
  eval "$(rcbench completion zsh)"
)about";

}  // namespace

Command make_completion()
{
    return {{.name = "rcbench completion", .usage = {"bash", "zsh"}, .about = kAbout}, work};
}

}  // namespace rcbench
