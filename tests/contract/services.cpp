#include "tests/contract/services.h"

#include <algorithm>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

constexpr const char *kVerbs[] = {"start", "stop", "create"};

struct Row {
    std::string name;
    std::string table;
    Lines operations;  // as kVerbs; empty: it has none
    int line = 0;
};

struct Tree {
    fs::path root;
    const Project &project;
    std::vector<Row> rows;
    std::vector<Problem> &problems;

    std::string text(const std::string &path) const { return text_of_file(root / path); }
    void report(const std::string &path, int line, const std::string &text) const
    {
        problems.push_back({path, line, text});
    }
    void report(const Row &row, const std::string &text) const { report(kTables, row.line, text); }

    static constexpr const char *kTables = "rc/frame.cpp";
};

std::vector<Row> read_rows(const std::string &source)
{
    static const std::regex table("^constexpr Service (\\w+)\\[\\] = \\{$");
    static const std::regex row("^    \\{\"([^\"]*)\", *(\\w+), *(\\w+), *(\\w+)\\},$");
    std::vector<Row> rows;
    std::string name;
    int number = 0;
    std::istringstream lines(source);
    for (std::string line; std::getline(lines, line);) {
        ++number;
        std::smatch found;
        if (std::regex_match(line, found, table)) {
            name = found[1];
        } else if (std::regex_match(line, found, row)) {
            rows.push_back({found[1], name, {found[2], found[3], found[4]}, number});
            for (std::string &operation : rows.back().operations) {
                operation = operation == "nullptr" ? "" : operation;
            }
        }
    }
    return rows;
}

bool is_word_of(const std::string &text, const std::string &word)
{
    return std::regex_search(text, std::regex("\\b" + word + "\\b"));
}

int line_of(const std::string &text, size_t place)
{
    return 1 + static_cast<int>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(place), '\n'));
}

// ---- code -----------------------------------------------------------------------------------------------

// The source that defines an operation, null where there is none.
const Service *source_of(const Tree &tree, const std::string &operation)
{
    for (const Service &service : tree.project.services) {
        if (tree.text(service.path).find("\nint " + operation + "()\n{") != std::string::npos) {
            return &service;
        }
    }
    return nullptr;
}

void check_name(const Tree &tree, const Row &row)
{
    if (!std::regex_match(row.name, std::regex("[a-z][a-z0-9_]*"))) {
        tree.report(row, "the name \"" + row.name +
                             "\" has other characters than a-z, 0-9 and _; completion does not "
                             "see it");
    }
}

void check_sources(const Tree &tree, const Row &row)
{
    const std::string listed = tree.text("rc/CMakeLists.txt");
    const std::string sizes = tree.text("docs/size.md");
    std::set<const Service *> sources;
    for (const std::string &operation : row.operations) {
        const Service *source = operation.empty() ? nullptr : source_of(tree, operation);
        if (!operation.empty() && source == nullptr) {
            tree.report(row, row.name + ": no source below rc defines " + operation);
        }
        if (source == nullptr || !sources.insert(source).second) {
            continue;
        }
        if (listed.find(" " + source->path.substr(3)) == std::string::npos) {
            tree.report("rc/CMakeLists.txt", 1, row.name + ": " + source->path + " is not listed");
        }
        if (sizes.find("| " + source->path + " |") == std::string::npos) {
            tree.report("docs/size.md", 1,
                        row.name + ": no size of " + source->path + "; run scripts/size --keep");
        }
    }
}

// ---- documents ------------------------------------------------------------------------------------------

Lines names_in(const Tree &tree, const std::string &table)
{
    Lines names;
    for (const Row &row : tree.rows) {
        if (row.table == table) {
            names.push_back(row.name);
        }
    }
    return names;
}

std::string list_text(const Lines &names)
{
    std::string text;
    for (const std::string &name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

// The part of a document from a heading to the next line that begins like it.
std::string section(const std::string &text, const std::string &heading, const std::string &next, int &line)
{
    const size_t begin = text.find(heading);
    if (begin == std::string::npos) {
        line = 1;
        return "";
    }
    line = line_of(text, begin);
    std::string part = text.substr(begin, text.find(next, begin + heading.size()) - begin);
    std::replace(part.begin(), part.end(), '\n', ' ');
    return part;
}

void check_list(const Tree &tree, const std::string &path, int line, const std::string &text,
                const Lines &names)
{
    bool lacks = false;
    for (const std::string &name : names) {
        if (!is_word_of(text, name)) {
            tree.report(path, line, name + " is not in the list");
            lacks = true;
        }
    }
    if (!lacks && text.find(list_text(names)) == std::string::npos) {
        tree.report(path, line, "the order is not that of the table: " + list_text(names));
    }
}

void check_documents(const Tree &tree)
{
    const std::pair<const char *, const char *> parts[] = {{"kGeneral", "General table\n"},
                                                           {"kWanGroup", "Internet group\n"},
                                                           {"kLastTable", "On request only\n"}};
    int line = 0;
    for (const auto &[table, heading] : parts) {
        const std::string text = section(tree.text("man/rc.8"), heading, "\n.", line);
        check_list(tree, "man/rc.8", line, text, names_in(tree, table));
    }
    const std::string order = section(tree.text("docs/architecture.md"), "## Order of boot\n", "\n## ", line);
    for (const char *table : {"kGeneral", "kWanGroup"}) {
        check_list(tree, "docs/architecture.md", line, order, names_in(tree, table));
    }
}

// ---- tests ----------------------------------------------------------------------------------------------

// The rows are named in the traces that show their order, each by a comment "# NAME starts".
void check_order(const Tree &tree, const std::string &path, size_t verb)
{
    const std::string says = std::string(" ") + kVerbs[verb] + "s";
    const std::string text = tree.text(path);
    Lines there;
    static const std::regex comment("\n# (\\w+)( \\w+)(?=\n)");
    for (std::sregex_iterator at(text.begin(), text.end(), comment), end; at != end; ++at) {
        if ((*at)[2] == says) {
            there.push_back((*at)[1]);
        }
    }
    Lines wanted;
    for (const Row &row : tree.rows) {
        if (row.table == "kGeneral" && !row.operations[verb].empty()) {
            wanted.push_back(row.name);
        }
    }
    bool lacks = false;
    for (const std::string &name : wanted) {
        if (std::find(there.begin(), there.end(), name) == there.end()) {
            tree.report(path, 1, name + says + ": not in the trace of all rows");
            lacks = true;
        }
    }
    if (!lacks && there != wanted) {
        tree.report(path, 1,
                    "rows in another order than the table's: " + list_text(wanted) + ", each" + says);
    }
}

std::string all_scenarios(const Tree &tree)
{
    std::string text;
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(tree.root / "tests")) {
        if (entry.path().extension() == ".scenario") {
            files.push_back(entry.path());
        }
    }
    for (const fs::path &file : files) {
        text += "\n" + text_of_file(file);
    }
    return text;
}

void check_scenarios(const Tree &tree, const std::string &scenarios, const Row &row)
{
    for (size_t verb = 0; verb < std::size(kVerbs); ++verb) {
        const std::string words = "run " + row.name + " ";
        if (!row.operations[verb].empty() && scenarios.find(words + kVerbs[verb]) == std::string::npos &&
            scenarios.find(words + "$") == std::string::npos) {
            tree.report(row, row.name + ": no scenario in tests has \"" + words + kVerbs[verb] + "\"");
        }
    }
}

// The fault tests take the services from the tables, so they need to know these.
void check_fault_tests(const Tree &tree)
{
    const std::string text = tree.text("tests/faults/verbs.cpp");
    std::set<std::string> tables;
    for (const Row &row : tree.rows) {
        if (tables.insert(row.table).second && !is_word_of(text, row.table)) {
            tree.report("tests/faults/verbs.cpp", 1,
                        "the services of " + row.table + " are not tried under faults");
        }
    }
}

// ---- the bench ------------------------------------------------------------------------------------------

// Tools by base name, with their kind.
std::map<std::string, std::string> tools_in(const std::string &text)
{
    std::map<std::string, std::string> tools;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string path;
        std::string kind;
        if (words >> path >> kind && path[0] == '/') {
            tools[fs::path(path).filename()] = kind;
        }
    }
    return tools;
}

// A script that the service writes itself.
bool writes(const Service &service, const std::string &tool)
{
    return std::any_of(service.contract.writes.begin(), service.contract.writes.end(),
                       [&](const auto &written) { return fs::path(written.first).filename() == tool; });
}

void check_tools(const Tree &tree)
{
    const char *const all = "bench/image/tools";
    const char *const live = "bench/image/live/tools";
    const std::map<std::string, std::string> tools = tools_in(tree.text(all));
    const std::map<std::string, std::string> live_tools = tools_in(tree.text(live));
    for (const Service &service : tree.project.services) {
        for (const auto &[tool, line] : service.contract.runs) {
            if (!tools.contains(tool) && !writes(service, tool)) {
                tree.report(all, 1, tool + ", which " + service.path + " runs, is not there");
            }
        }
    }
    for (const auto &[tool, kind] : tools) {
        if (kind == "stand-in" && !live_tools.contains(tool)) {
            tree.report(live, 1, tool + ", a stand-in of " + all + ", is not there");
        }
    }
}

void check_measured(const Tree &tree)
{
    const std::string table = tree.text("bench/image/settings/exposure") + "\n";
    for (const forms::Area &area : tree.project.areas) {
        for (const forms::Description &setting : area.settings) {
            if (table.find("\n# measured: " + setting.key + "\n") == std::string::npos) {
                tree.report(setting.path, static_cast<int>(setting.line),
                            "where " + setting.key +
                                " meets the shell is not measured; run scripts/settings-reference --measure");
            }
        }
    }
}

}  // namespace

void check_services(const fs::path &root, const Project &project, std::vector<Problem> &problems)
{
    const Tree tree = {root, project, read_rows(text_of_file(root / Tree::kTables)), problems};
    if (tree.rows.empty()) {
        tree.report(Tree::kTables, 1, "no rows of services found");
    }
    const std::string scenarios = all_scenarios(tree);
    for (const Row &row : tree.rows) {
        check_name(tree, row);
        check_sources(tree, row);
        check_scenarios(tree, scenarios, row);
    }
    check_documents(tree);
    check_order(tree, "tests/frame/rows.scenario", 0);
    check_order(tree, "tests/frame/rows.scenario", 1);
    check_fault_tests(tree);
    check_tools(tree);
    check_measured(tree);
}
