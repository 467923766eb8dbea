#include "tests/contract/project.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>

#include "forms/escapes.h"

namespace fs = std::filesystem;
using forms::escape;

namespace {

constexpr const char *kAreas[] = {"system", "lan", "wan", "firewall", "aux", "wireless", "vpn"};

// All sources or headers below rc/, in the order of their names.
std::vector<fs::path> files_below(const fs::path &folder, const char *extension)
{
    std::vector<fs::path> files;
    if (fs::is_directory(folder)) {
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
            if (entry.is_regular_file() && entry.path().extension() == extension) {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

Shared read_headers(const fs::path &root)
{
    Shared shared;
    for (const fs::path &header : files_below(root / "rc", ".h")) {
        const std::string text = text_of_file(header);
        shared.macros.merge(read_macros(text));
        shared.constants.merge(read_constants(read_tokens(text, {})));
    }
    return shared;
}

Service read_service(const fs::path &root, const fs::path &file, const Shared &shared,
                     std::vector<Problem> &problems)
{
    Service service;
    const std::string source = text_of_file(file);
    service.path = file.lexically_relative(root).string();
    service.uses = read_uses(source, shared);
    service.contract = read_contract(service.path, source, problems);
    return service;
}

// ---- checks over all ------------------------------------------------------------------------------------

using Described = std::map<std::string, const forms::Description *>;

Described described_keys(const Project &project, std::vector<Problem> &problems)
{
    Described described;
    for (const forms::Area &area : project.areas) {
        for (const forms::Description &setting : area.settings) {
            const auto [first, added] = described.emplace(setting.key, &setting);
            if (!added) {
                problems.push_back(
                    {setting.path, static_cast<int>(setting.line),
                     "\"" + setting.key + "\" is described in " + first->second->path + " too"});
            }
        }
    }
    return described;
}

bool is_described(const std::string &key, const Described &described)
{
    return std::any_of(described.begin(), described.end(),
                       [&](const auto &one) { return matches_template(one.first, key); });
}

void check_described(const Service &service, const Described &described, std::vector<Problem> &problems)
{
    for (const Names *names : {&service.contract.reads, &service.contract.sets}) {
        for (const auto &[key, line] : *names) {
            if (!is_described(key, described)) {
                problems.push_back({service.path, line,
                                    "\"" + key + "\" is not described in bench/image/settings/*.settings"});
            }
        }
    }
}

// Keys that reach the store's readers through tables or helpers are literals in the code all the same.
void check_literals(const Service &service, const Described &described, std::vector<Problem> &problems)
{
    for (const std::string &literal : service.uses.literals) {
        const bool is_key = literal.find('_') != std::string::npos && described.count(literal) != 0;
        if (is_key && service.contract.reads.count(literal) == 0 &&
            service.contract.sets.count(literal) == 0) {
            problems.push_back(
                {service.path, 1, "holds the key \"" + literal + "\", which is not listed under Reads:"});
        }
    }
}

bool uses_key(const Names &names, const std::string &key)
{
    return std::any_of(names.begin(), names.end(),
                       [&](const auto &name) { return matches_template(key, name.first); });
}

bool is_used(const Project &project, const std::string &key)
{
    return std::any_of(project.services.begin(), project.services.end(), [&](const Service &service) {
        return uses_key(service.contract.reads, key) || uses_key(service.contract.sets, key);
    });
}

void check_used(const Project &project, const Described &described, std::vector<Problem> &problems)
{
    for (const auto &[key, setting] : described) {
        if (!is_used(project, key)) {
            problems.push_back({setting->path, static_cast<int>(setting->line),
                                "\"" + key + "\" is read and set by no file"});
        }
    }
}

// ---- the reference --------------------------------------------------------------------------------------

// Text as a code span; a bar would end a cell of a table, so there is none of those here.
std::string code(const std::string &text)
{
    const char *fence = text.find('`') == std::string::npos ? "`" : "``";
    return std::string(fence) + text + fence;
}

std::string code_list(const Names &names)
{
    std::string text;
    for (const auto &[name, line] : names) {
        text += (text.empty() ? "" : ", ") + code(name);
    }
    return text;
}

// "DHCP server" of "DHCP server: gives LAN hosts ...".
std::string service_name(const Service &service)
{
    return service.contract.purpose.substr(0, service.contract.purpose.find(':'));
}

// A heading's anchor on the page: its letters and digits in lower case, "-" for spaces.
std::string anchor(const std::string &heading)
{
    std::string text;
    for (const char c : heading) {
        if (c == ' ' || c == '-') {
            text += '-';
        } else if (isalnum(static_cast<unsigned char>(c)) != 0) {
            text += static_cast<char>(tolower(static_cast<unsigned char>(c)));
        }
    }
    return text;
}

std::string link(const Service &service)
{
    return "[" + service_name(service) + "](#" + anchor(service_name(service)) + ")";
}

std::string default_text(const forms::Description &setting)
{
    constexpr size_t kLongest = 60;
    if (setting.raw_value.empty()) {
        return "empty by default";
    }
    if (setting.raw_value.size() > kLongest) {
        return "a long list by default, see " + code(setting.path);
    }
    return "by default " + code(setting.raw_value);
}

std::string choices_text(const forms::Description &setting)
{
    std::string text;
    std::string words;
    for (const forms::Choice &choice : setting.choices) {
        if (choice.meaning.empty()) {
            words += (words.empty() ? "One of " : ", ") + code(choice.word);
        } else {
            text += "- " + code(choice.word) + ": " + choice.meaning + "\n";
        }
    }
    return words.empty() ? text : words + ".\n\n" + text;
}

std::string fields_text(const forms::Description &setting)
{
    if (setting.fields.empty()) {
        return "";
    }
    std::string text = "| Field | Type | Meaning | Ends in |\n|---|---|---|---|\n";
    for (const forms::Field &field : setting.fields) {
        const std::string end = field.separator == '\0'
                                    ? (setting.type.form == forms::Form::kFields ? "" : "`\\x01`")
                                    : code(escape(std::string(1, field.separator)));
        std::string type = field.type_text;
        for (size_t at = 0; (at = type.find('|', at)) != std::string::npos; at += 2) {
            type.insert(at, "\\");
        }
        text += "| " + field.name + " | " + type + " | " + field.meaning +
                (field.is_secret ? " (secret)" : "") + " | " + end + " |\n";
    }
    return text + "\n";
}

std::string consequence_text(const forms::Consequence &wrong, const std::string &what)
{
    if (wrong.phrase.empty()) {
        return "";
    }
    std::string text = "- " + what + ": the router will " + forms::phrase_of_any(wrong.phrase);
    for (const forms::Claim &claim : wrong.seen) {
        text += "; seen with `rc " + claim.words + "`";
    }
    return text + "\n";
}

std::string apply_text(const forms::Description &setting)
{
    std::string text;
    for (const std::string &command : forms::apply_commands(setting)) {
        text +=
            (text.empty() ? "" : ", ") + (command == "reboot" ? "a restart of the router" : code(command));
    }
    return text.empty() ? setting.apply : text;
}

std::string behaviour_text(const forms::Description &setting)
{
    std::string text = choices_text(setting);
    if (setting.empty) {
        text += "- empty: " + *setting.empty + "\n";
    }
    text += consequence_text(setting.wrong, "any other value");
    for (const forms::Field &field : setting.fields) {
        text += consequence_text(field.wrong, "any other " + field.name);
    }
    if (!setting.advice.empty()) {
        text += "- any other value: " + setting.advice + "\n";
    }
    if (!setting.set_by.empty()) {
        text += "- set by " + setting.set_by + "\n";
    }
    text += setting.is_secret ? "- secret\n" : "";
    text += setting.before.empty() ? "" : "- before it is saved: " + code(setting.before) + "\n";
    text += "- applied by " + apply_text(setting) + "\n";
    return text + (setting.stays.empty() ? "" : "- left until the router restarts: " + setting.stays + "\n");
}

std::string related_text(const forms::Description &setting)
{
    std::string text;
    for (const std::string &key : setting.related) {
        text += (text.empty() ? "- see also " : ", ") + ("[" + key + "](#" + key + ")");
    }
    return text.empty() ? "" : text + "\n";
}

std::string uses_text(const Project &project, const std::string &key)
{
    std::string text;
    for (const Service &service : project.services) {
        const bool reads = uses_key(service.contract.reads, key);
        const bool sets = uses_key(service.contract.sets, key);
        if (reads || sets) {
            text += std::string("- ") +
                    (!sets    ? "read"
                     : !reads ? "set"
                              : "read and set") +
                    " by " + link(service) + "\n";
        }
    }
    return text;
}

std::string setting_text(const Project &project, const forms::Description &setting)
{
    return "### " + setting.key + "\n\n" + setting.type_text + ", " + default_text(setting) + "\n\n" +
           setting.meaning + "\n\n" + fields_text(setting) + behaviour_text(setting) +
           uses_text(project, setting.key) + related_text(setting) + "\n";
}

std::string services_text(const Project &project)
{
    std::string text = "## Services\n\n";
    for (const Service &service : project.services) {
        const Contract &contract = service.contract;
        if (contract.line != 0) {
            text += "### " + service_name(service) + "\n\n| | |\n|---|---|\n| Source | " +
                    code(service.path) + " |\n| Reads | " + code_list(contract.reads) + " |\n| Sets | " +
                    code_list(contract.sets) + " |\n| Writes | " + code_list(contract.writes) +
                    " |\n| Runs | " + code_list(contract.runs) + " |\n| Needs | " + contract.needs + " |\n\n";
        }
    }
    text.pop_back();
    return text;
}

}  // namespace

std::string text_of_file(const fs::path &path)
{
    std::string text;
    if (FILE *file = fopen(path.c_str(), "r"); file != nullptr) {
        char piece[65536];
        size_t got = 0;
        while ((got = fread(piece, 1, sizeof piece, file)) > 0) {
            text.append(piece, got);
        }
        fclose(file);
    }
    return text;
}

forms::Area read_area(const std::string &path, std::string_view text, std::vector<Problem> &problems)
{
    std::vector<forms::Fault> faults;
    forms::Area area = forms::read_descriptions(path, text, faults);
    for (const forms::Fault &fault : faults) {
        problems.push_back({path, static_cast<int>(fault.line), fault.why});
    }
    return area;
}

Project read_project(const fs::path &root, std::vector<Problem> &problems)
{
    Project project;
    const Shared shared = read_headers(root);
    for (const fs::path &file : files_below(root / "rc", ".cpp")) {
        project.services.push_back(read_service(root, file, shared, problems));
    }
    const fs::path folder = fs::path("bench") / "image" / "settings";
    for (const char *name : kAreas) {
        const fs::path path = folder / (std::string(name) + ".settings");
        if (fs::exists(root / path)) {
            project.areas.push_back(read_area(path.string(), text_of_file(root / path), problems));
        }
    }
    for (const fs::path &file : files_below(root / folder, ".settings")) {
        const std::string name = file.stem().string();
        if (std::none_of(std::begin(kAreas), std::end(kAreas),
                         [&](const char *area) { return name == area; })) {
            problems.push_back({file.lexically_relative(root).string(), 1, "not the file of an area"});
        }
    }
    return project;
}

void check_project(const Project &project, std::vector<Problem> &problems)
{
    const Described described = described_keys(project, problems);
    for (const Service &service : project.services) {
        compare_contract(service.path, service.contract, service.uses, problems);
        check_described(service, described, problems);
        check_literals(service, described, problems);
    }
    check_used(project, described, problems);
}

std::string settings_reference(const Project &project)
{
    std::string text =
        "# Settings\n\nEvery setting that rc reads or sets: its type, its default, what it means, what a "
        "wrong "
        "value does,\nwhich commands apply a change, in their order, and which service reads it; at the end "
        "what each service\nreads, writes and runs. A test runs the commands in a router that is up and "
        "compares it with one that came up\nwith the new value. Made by `scripts/settings-reference` from "
        "the contracts at the "
        "head of the sources and from\n`bench/image/settings`; change those, not this. The same for "
        "machines: "
        "`share/settings.schema.json`.\n\n";
    for (const forms::Area &area : project.areas) {
        text += "## " + area.title + "\n\n";
        for (const forms::Description &setting : area.settings) {
            text += setting_text(project, setting);
        }
    }
    return text + services_text(project);
}

std::string settings_readers(const Project &project)
{
    std::string text =
        "# Who reads and sets each setting: key, use, service, source, what it writes, what it runs.\n"
        "# Made by scripts/settings-reference from the contracts at the head of the sources.\n";
    const auto plain = [](const Names &names) {
        std::string list;
        for (const auto &[name, line] : names) {
            list += (list.empty() ? "" : " ") + name;
        }
        return list;
    };
    for (const forms::Area &area : project.areas) {
        for (const forms::Description &setting : area.settings) {
            for (const Service &service : project.services) {
                const bool reads = uses_key(service.contract.reads, setting.key);
                const bool sets = uses_key(service.contract.sets, setting.key);
                if (reads || sets) {
                    text += setting.key + "\t" +
                            (!sets    ? "read"
                             : !reads ? "set"
                                      : "read and set") +
                            "\t" + service_name(service) + "\t" + service.path + "\t" +
                            plain(service.contract.writes) + "\t" + plain(service.contract.runs) + "\n";
                }
            }
        }
    }
    return text;
}
