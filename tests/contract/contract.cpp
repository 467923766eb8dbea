#include "tests/contract/contract.h"

#include <algorithm>
#include <cctype>

namespace {

// ---- the opening comment --------------------------------------------------------------------------------

constexpr const char *kFields[] = {"Reads:", "Sets:", "Writes:", "Runs:", "Needs:"};

struct CommentLine {
    int number;
    std::string text;  // without the "//" and one space
};

// The lines of the comment a source begins with.
std::vector<CommentLine> opening_comment(std::string_view source)
{
    std::vector<CommentLine> lines;
    for (int number = 1; source.substr(0, 2) == "//"; ++number) {
        const size_t end = source.find('\n');
        std::string_view line = source.substr(2, end == std::string_view::npos ? end : end - 2);
        if (line.substr(0, 1) == " ") {
            line.remove_prefix(1);
        }
        lines.push_back({number, std::string(line)});
        source.remove_prefix(end == std::string_view::npos ? source.size() : end + 1);
    }
    return lines;
}

std::vector<std::string> words_of(const std::string &text)
{
    std::vector<std::string> words;
    size_t at = 0;
    while ((at = text.find_first_not_of(" \t\n", at)) != std::string::npos) {
        const size_t end = std::min(text.find_first_of(" \t\n", at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

// Reads the opening comment into a contract, field by field.
struct ContractReader {
    const std::string &path;
    std::vector<Problem> &problems;
    Contract contract;
    int field = -1;  // the one being read, an index into kFields

    void refuse(int line, const std::string &text) { problems.push_back({path, line, text}); }

    Names *names()
    {
        Names *lists[] = {&contract.reads, &contract.sets, &contract.writes, &contract.runs};
        return field >= 0 && field < 4 ? lists[field] : nullptr;
    }

    void add_names(const CommentLine &line, const std::string &text)
    {
        if (names() == nullptr) {
            contract.needs += (contract.needs.empty() ? "" : " ") + text;
            return;
        }
        for (const std::string &name : words_of(text)) {
            if (name != "-" && !names()->emplace(name, line.number).second) {
                refuse(line.number, "\"" + name + "\" is listed twice under " + kFields[field]);
            }
        }
    }

    // A line that begins a field. True when it does.
    bool begin_field(const CommentLine &line)
    {
        for (int i = 0; i < 5; ++i) {
            const std::string name = kFields[i];
            if (line.text.compare(0, name.size(), name) != 0) {
                continue;
            }
            if (i <= field) {
                refuse(line.number, name + " stands out of order");
            }
            field = i;
            contract.line = contract.line == 0 ? line.number : contract.line;
            if (words_of(line.text.substr(name.size())) == std::vector<std::string>{"-"}) {
                refuse(line.number, name + " lists nothing; leave the line out");
            }
            add_names(line, line.text.substr(std::min(line.text.size(), size_t{8})));
            return true;
        }
        return false;
    }
};

}  // namespace

Contract read_contract(const std::string &path, std::string_view source, std::vector<Problem> &problems)
{
    ContractReader reader{path, problems, {}, -1};
    const std::vector<CommentLine> lines = opening_comment(source);
    bool open = false;
    for (const CommentLine &line : lines) {
        const bool begins = reader.begin_field(line);
        if (begins) {
            open = true;
        } else if (open && line.text.compare(0, 8, "        ") == 0) {
            reader.add_names(line, line.text.substr(8));
        } else {
            open = false;
            if (reader.field < 0 && !line.text.empty()) {
                std::string &purpose = reader.contract.purpose;
                purpose += (purpose.empty() ? "" : " ") + line.text;
            }
        }
    }
    if (reader.contract.purpose.empty()) {
        reader.refuse(1, "the file does not begin with a comment that says its purpose");
    }
    return reader.contract;
}

namespace {

// ---- what the code does ---------------------------------------------------------------------------------

bool is_one_of(const std::string &name, std::initializer_list<const char *> names)
{
    return std::any_of(names.begin(), names.end(), [&](const char *one) { return name == one; });
}

bool is_reader(const std::string &name)
{
    return is_one_of(name, {"nvram_get", "nvram_text", "nvram_int", "nvram_on", "nvram_first", "my_nvram_get",
                            "nvram_get_fun"});
}

bool is_runner(const std::string &name)
{
    return is_one_of(name, {"SYSTEM", "MY_SYSTEM", "run", "run_filled", "myPipe", "system", "popen"});
}

std::string base_name(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

// A path that is known as a whole and means a file.
bool is_fixed_path(const std::string &path)
{
    return !path.empty() && path[0] == '/' && path.find('%') == std::string::npos && path != "/dev/null";
}

// The words of a command, quotes removed; ends of commands and redirections are words of their own.
std::vector<std::string> shell_words(const std::string &command)
{
    std::vector<std::string> words;
    std::string word;
    bool begun = false;
    char quote = '\0';
    const auto end_word = [&] {
        if (begun) {
            words.push_back(word);
        }
        word.clear();
        begun = false;
    };
    for (const char c : command) {
        if (quote != '\0' || c == '"' || c == '\'') {
            begun = true;
            if (quote == '\0') {
                quote = c;
            } else if (c == quote) {
                quote = '\0';
            } else {
                word += c;
            }
        } else if (isspace(static_cast<unsigned char>(c)) != 0) {
            end_word();
        } else if (c == '>' || c == '<' || c == ';' || c == '&' || c == '|' || c == '(' || c == ')') {
            end_word();
            words.emplace_back(1, c);
        } else {
            word += c;
            begun = true;
        }
    }
    end_word();
    return words;
}

bool ends_command(const std::string &word)
{
    return is_one_of(word, {";", "&", "|", "(", ")"});
}

// Collects what one source does.
struct UseReader {
    const std::vector<Token> &tokens;
    const Constants &constants;
    Uses uses;

    std::vector<std::string> texts(const Call &call, size_t argument) const
    {
        return argument < call.arguments.size() ? argument_texts(tokens, call.arguments[argument], constants)
                                                : std::vector<std::string>{};
    }

    void add_path(const std::string &path, int line)
    {
        if (is_fixed_path(path)) {
            uses.writes.emplace(path, line);
        }
    }

    void add_paths(const Call &call)
    {
        for (const std::string &path : texts(call, 0)) {
            add_path(path, call.line);
        }
    }

    // cp SOURCE TARGET, where TARGET may be a folder: the copy then is below it.
    void add_copy(const std::vector<std::string> &command, int line)
    {
        const std::string &target = command.back();
        add_path(target, line);
        const std::string folder = target.back() == '/' ? target : target + "/";
        for (size_t i = 1; i + 1 < command.size(); ++i) {
            if (command[i][0] != '-') {
                uses.copies[target].insert(folder + base_name(command[i]));
            }
        }
    }

    // One simple command, redirections taken out.
    void add_command(const std::vector<std::string> &command, int line)
    {
        if (command.empty()) {
            return;
        }
        size_t first = 0;
        if (base_name(command[0]) == "busybox" && command.size() > 1) {
            first = 1;
        }
        const std::vector<std::string> words(command.begin() + static_cast<std::ptrdiff_t>(first),
                                             command.end());
        const std::string tool = base_name(words[0]);
        if (is_one_of(tool, {"cp", "ln", "mv"}) && words.size() > 2) {
            add_copy(words, line);
        } else if (is_one_of(tool, {"rm", "mkdir", "touch"})) {
            for (size_t i = 1; i < words.size(); ++i) {
                add_path(words[i], line);
            }
        }
    }

    // A whole command line: its first word, the files it writes.
    void add_command_line(const std::string &text, int line)
    {
        const std::vector<std::string> words = shell_words(text);
        if (words.empty() || words[0].find('%') != std::string::npos) {
            return;
        }
        uses.runs.emplace(base_name(words[0]), line);
        std::vector<std::string> command;
        for (size_t i = 0; i < words.size(); ++i) {
            if (words[i] == ">") {
                i += i + 1 < words.size() && words[i + 1] == ">" ? 2 : 1;
                if (i < words.size() && words[i] != "&") {
                    add_path(words[i], line);
                }
            } else if (ends_command(words[i])) {
                add_command(command, line);
                command.clear();
            } else {
                command.push_back(words[i]);
            }
        }
        add_command(command, line);
    }

    // The command with every %s whose argument is a known text filled in.
    std::string filled_in(const Call &call, const std::string &format) const
    {
        std::string text;
        size_t argument = 1;
        for (size_t i = 0; i < format.size(); ++i) {
            if (format[i] != '%' || i + 1 == format.size()) {
                text += format[i];
                continue;
            }
            const char kind = format[++i];
            const std::vector<std::string> values =
                kind == 's' ? texts(call, argument) : std::vector<std::string>{};
            argument += kind == '%' ? 0 : 1;
            text += values.size() == 1 ? values[0] : std::string("%") + kind;
        }
        return text;
    }

    static bool means_writing(const std::vector<std::string> &modes)
    {
        return std::any_of(modes.begin(), modes.end(), [](const std::string &mode) {
            return mode.find_first_of("wa+") != std::string::npos;
        });
    }

    bool opens_for_writing(const Call &call) const
    {
        if (is_one_of(call.name, {"open_file", "fopen"})) {
            return means_writing(texts(call, 1));
        }
        if (call.name != "open" || call.arguments.size() < 2) {
            return false;
        }
        for (size_t i = call.arguments[1].begin; i < call.arguments[1].end; ++i) {
            if (is_one_of(tokens[i].text, {"O_WRONLY", "O_RDWR", "O_CREAT", "O_TRUNC", "O_APPEND"})) {
                return true;
            }
        }
        return false;
    }

    void read_call(const Call &call)
    {
        if (is_reader(call.name) || call.name == "nvram_set") {
            for (const std::string &key : texts(call, 0)) {
                (call.name == "nvram_set" ? uses.sets : uses.reads).emplace(key, call.line);
            }
        } else if (is_runner(call.name)) {
            for (const std::string &command : texts(call, 0)) {
                add_command_line(filled_in(call, command), call.line);
            }
        } else if (opens_for_writing(call) || is_one_of(call.name, {"remove_file", "unlink", "writeFileBin",
                                                                    "rename", "rmdir", "mkdir"})) {
            add_paths(call);
        }
    }

    // A literal that begins with the path of a tool is a command wherever it is.
    void read_literal(const std::string &text, int line)
    {
        uses.literals.insert(text);
        for (const std::string &word : shell_words(text)) {
            uses.words.insert(word);
            uses.words.insert(base_name(word));
        }
        const std::vector<std::string> words = words_of(text);
        for (const char *folder : {"/bin/", "/sbin/", "/usr/bin/", "/usr/sbin/"}) {
            if (words.size() > 1 && text.compare(0, std::string(folder).size(), folder) == 0) {
                add_command_line(text, line);
            }
        }
    }
};

// ---- comparing ------------------------------------------------------------------------------------------

struct Comparison {
    const std::string &path;
    const Contract &contract;
    const Uses &uses;
    std::vector<Problem> &problems;

    void missing(const Names &used, const Names &listed, const char *does, const char *field)
    {
        for (const auto &[name, line] : used) {
            if (listed.count(name) == 0) {
                problems.push_back(
                    {path, line,
                     std::string(does) + " \"" + name + "\", which is not listed under " + field});
            }
        }
    }

    void idle(const std::string &name, int line, const char *field)
    {
        problems.push_back(
            {path, line, "\"" + name + "\" is listed under " + field + " but not in the code"});
    }

    void compare_keys(const Names &used, const Names &listed, const char *does, const char *field)
    {
        missing(used, listed, does, field);
        for (const auto &[name, line] : listed) {
            if (used.count(name) == 0 && uses.literals.count(name) == 0) {
                idle(name, line, field);
            }
        }
    }

    // A copied file may be listed under the folder it is copied to or under its own name there.
    bool is_listed_copy(const std::string &target) const
    {
        const auto names = uses.copies.find(target);
        return names != uses.copies.end() &&
               std::any_of(names->second.begin(), names->second.end(),
                           [&](const std::string &name) { return contract.writes.count(name) != 0; });
    }

    bool is_copy(const std::string &name) const
    {
        return std::any_of(uses.copies.begin(), uses.copies.end(),
                           [&](const auto &copy) { return copy.second.count(name) != 0; });
    }

    void compare_writes()
    {
        for (const auto &[name, line] : uses.writes) {
            if (contract.writes.count(name) == 0 && !is_listed_copy(name)) {
                problems.push_back(
                    {path, line, "writes \"" + name + "\", which is not listed under Writes:"});
            }
        }
        for (const auto &[name, line] : contract.writes) {
            if (uses.writes.count(name) == 0 && !is_copy(name) && uses.words.count(name) == 0) {
                idle(name, line, "Writes:");
            }
        }
    }

    void compare_runs()
    {
        missing(uses.runs, contract.runs, "runs", "Runs:");
        for (const auto &[name, line] : contract.runs) {
            if (uses.runs.count(name) == 0 && uses.words.count(name) == 0) {
                idle(name, line, "Runs:");
            }
        }
    }
};

}  // namespace

Uses read_uses(std::string_view source, const Shared &shared)
{
    Constants macros = shared.macros;
    macros.merge(read_macros(source));
    const std::vector<Token> tokens = read_tokens(source, macros);
    Constants constants = read_constants(tokens);
    constants.insert(shared.constants.begin(), shared.constants.end());
    UseReader reader{tokens, constants, {}};
    for (const Token &token : tokens) {
        if (token.kind == TokenKind::text) {
            reader.read_literal(token.text, token.line);
        } else if (const auto known = constants.find(token.text); known != constants.end()) {
            reader.uses.literals.insert(known->second);
            reader.uses.words.insert(known->second);
        }
    }
    for (const Call &call : read_calls(tokens)) {
        reader.read_call(call);
    }
    return reader.uses;
}

void compare_contract(const std::string &path, const Contract &contract, const Uses &uses,
                      std::vector<Problem> &problems)
{
    Comparison comparison{path, contract, uses, problems};
    comparison.compare_keys(uses.reads, contract.reads, "reads", "Reads:");
    comparison.compare_keys(uses.sets, contract.sets, "sets", "Sets:");
    comparison.compare_writes();
    comparison.compare_runs();
}

bool matches_template(const std::string &key, const std::string &pattern)
{
    const size_t percent = pattern.find('%');
    if (percent == std::string::npos || percent + 1 >= pattern.size()) {
        return key == pattern;
    }
    if (key.compare(0, percent, pattern, 0, percent) != 0) {
        return false;
    }
    const bool number = pattern[percent + 1] == 'd' || pattern[percent + 1] == 'u';
    const std::string rest = pattern.substr(percent + 2);
    for (size_t end = percent + 1; end <= key.size(); ++end) {
        if (number && isdigit(static_cast<unsigned char>(key[end - 1])) == 0) {
            return false;
        }
        if (matches_template(key.substr(end), rest)) {
            return true;
        }
    }
    return false;
}
