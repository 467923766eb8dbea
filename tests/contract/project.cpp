#include "tests/contract/project.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace fs = std::filesystem;

namespace {

constexpr const char *kAreas[] = {"system", "lan", "wan", "firewall", "aux", "wireless", "vpn"};

std::string read_text(const fs::path &path)
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
        const std::string text = read_text(header);
        shared.macros.merge(read_macros(text));
        shared.constants.merge(read_constants(read_tokens(text, {})));
    }
    return shared;
}

// A file right below rc/ that touches nothing may do without a contract: it is no service.
bool needs_contract(const Service &service)
{
    const Uses &uses = service.uses;
    return std::count(service.path.begin(), service.path.end(), '/') > 1 || !uses.reads.empty() ||
           !uses.sets.empty() || !uses.writes.empty() || !uses.runs.empty();
}

Service read_service(const fs::path &root, const fs::path &file, const Shared &shared,
                     std::vector<Problem> &problems)
{
    Service service;
    const std::string source = read_text(file);
    service.path = file.lexically_relative(root).string();
    service.uses = read_uses(source, shared);
    std::vector<Problem> faults;
    service.contract = read_contract(service.path, source, faults);
    if (needs_contract(service) || service.contract.line != 0 || service.contract.purpose.empty()) {
        problems.insert(problems.end(), faults.begin(), faults.end());
    }
    return service;
}

// ---- descriptions ---------------------------------------------------------------------------------------

// "TYPE: MEANING" behind the "## ".
bool read_meaning(const std::string &line, Description &description)
{
    const size_t colon = line.find(": ");
    if (line.compare(0, 3, "## ") != 0 || colon == std::string::npos || colon == 3) {
        return false;
    }
    description.type = line.substr(3, colon - 3);
    description.meaning = line.substr(colon + 2);
    return !description.meaning.empty();
}

struct AreaReader {
    Area area;
    std::vector<Problem> &problems;
    Description open;  // described, its key still to come
    bool is_open = false;
    int line = 0;

    void refuse(const std::string &text) { problems.push_back({area.path, line, text}); }

    void read_comment(const std::string &text)
    {
        if (text.compare(0, 2, "##") == 0) {
            if (is_open) {
                refuse("a description without its key=value before it");
            }
            open = {};
            is_open = true;
            if (!read_meaning(text, open)) {
                refuse("\"## TYPE: MEANING\" expected");
            }
        } else if (area.title.empty() && text.size() > 2) {
            area.title = text.substr(2);
        }
    }

    void read_entry(const std::string &text)
    {
        const size_t equals = text.find('=');
        if (equals == std::string::npos || equals == 0) {
            refuse("key=value expected");
            return;
        }
        if (!is_open) {
            refuse("\"" + text.substr(0, equals) + "\" has no description");
        }
        open.key = text.substr(0, equals);
        open.value = text.substr(equals + 1);
        open.path = area.path;
        open.line = line;
        area.settings.push_back(open);
        open = {};
        is_open = false;
    }
};

// ---- checks over all ------------------------------------------------------------------------------------

using Described = std::map<std::string, const Description *>;

Described described_keys(const Project &project, std::vector<Problem> &problems)
{
    Described described;
    for (const Area &area : project.areas) {
        for (const Description &setting : area.settings) {
            const auto [first, added] = described.emplace(setting.key, &setting);
            if (!added) {
                problems.push_back(
                    {setting.path, setting.line,
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

// Keys that reach the store's readers through tables or helpers stand in the code as literals all the same.
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
            problems.push_back({setting->path, setting->line, "\"" + key + "\" is read and set by no file"});
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

std::string use_text(const Service &service, const char *does)
{
    const Contract &contract = service.contract;
    std::string text =
        std::string("- ") + does + " by " + service_name(service) + " (" + code(service.path) + ")";
    if (!contract.writes.empty()) {
        text += ", which writes " + code_list(contract.writes);
    }
    if (!contract.runs.empty()) {
        text +=
            std::string(contract.writes.empty() ? ", which runs " : " and runs ") + code_list(contract.runs);
    }
    return text + "\n";
}

std::string default_text(const Description &setting)
{
    constexpr size_t kLongest = 60;
    if (setting.value.empty()) {
        return "empty by default";
    }
    if (setting.value.size() > kLongest) {
        return "a long list by default, see " + code(setting.path);
    }
    return "by default " + code(setting.value);
}

std::string setting_text(const Project &project, const Description &setting)
{
    std::string text = "### " + setting.key + "\n\n" + setting.type + ", " + default_text(setting) + "\n\n" +
                       setting.meaning + "\n\n";
    for (const Service &service : project.services) {
        const bool reads = uses_key(service.contract.reads, setting.key);
        const bool sets = uses_key(service.contract.sets, setting.key);
        if (reads || sets) {
            text += use_text(service, !sets ? "read" : !reads ? "set" : "read and set");
        }
    }
    return text + "\n";
}

std::string services_text(const Project &project)
{
    std::string text =
        "## Files and commands of each service\n\n| Source | Writes | Runs | Needs |\n|---|---|---|---|\n";
    for (const Service &service : project.services) {
        const Contract &contract = service.contract;
        if (contract.line != 0) {
            text += "| " + code(service.path) + " | " + code_list(contract.writes) + " | " +
                    code_list(contract.runs) + " | " + (contract.needs == "-" ? "" : contract.needs) + " |\n";
        }
    }
    return text;
}

}  // namespace

Area read_area(const std::string &path, std::string_view text, std::vector<Problem> &problems)
{
    AreaReader reader{{path, "", {}}, problems, {}};
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string line(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        reader.line++;
        if (line.empty()) {
            continue;
        }
        if (line[0] == '#') {
            reader.read_comment(line);
        } else {
            reader.read_entry(line);
        }
    }
    if (reader.is_open) {
        reader.refuse("a description without its key=value");
    }
    return reader.area;
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
            project.areas.push_back(read_area(path.string(), read_text(root / path), problems));
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
        if (service.contract.line != 0) {
            compare_contract(service.path, service.contract, service.uses, problems);
            check_described(service, described, problems);
        }
        check_literals(service, described, problems);
    }
    check_used(project, described, problems);
}

std::string settings_reference(const Project &project)
{
    std::string text =
        "# Settings\n\nEvery setting that rc reads or sets: its type, its default, what it means, and what "
        "becomes of it.\n"
        "Made by `scripts/settings-reference` from the contracts at the head of the sources and from\n"
        "`bench/image/settings`; change those, not this.\n\n";
    for (const Area &area : project.areas) {
        const size_t length = area.title.size() - (area.title.ends_with('.') ? 1 : 0);
        text += "## " + area.title.substr(0, length) + "\n\n";
        for (const Description &setting : area.settings) {
            text += setting_text(project, setting);
        }
    }
    return text + services_text(project);
}
