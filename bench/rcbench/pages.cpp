#include "bench/rcbench/pages.h"

#include "bench/rcbench/passing.h"
#include "bench/rcbench/reach_tables.h"
#include "bench/run/files.h"

namespace rcbench {

namespace {

void write_file(const std::string &file, const std::string &text)
{
    try {
        bench::write_whole(file, text);
    } catch (const bench::Error &error) {
        throw forms::Failure(forms::kFailed, error.what());
    }
}

}  // namespace

page::Secrets secrets_of(const RouterRequest &request, const bench::Target &target,
                         const std::vector<WishedRun> &runs)
{
    page::Secrets secrets;
    if (request.secrets) {
        return secrets;
    }
    const bench::Setup setup = setup_of(request, target, true);
    secrets.add(setup.defaults);
    secrets.add(setup.settings.value_or(std::vector<bench::Setting>{}));
    for (const WishedRun &run : runs) {
        secrets.add(run.changes);
    }
    return secrets;
}

void write_page(const RouterRequest &request, const std::string &title, const std::string &about,
                const std::vector<page::Chapter> &chapters)
{
    write_file(*request.html, page::page(title, about, chapters));
}

void write_picture(const std::string &file, const std::string &svg)
{
    write_file(file, page::standalone(svg));
}

bench::FilterChains chains_of(const packets::RuleSet &rules)
{
    bench::FilterChains chains;
    for (const packets::Table *table : {&rules.nat, &rules.filter}) {
        for (const packets::Chain &chain : table->chains) {
            chains.push_back(
                {table->name, chain.name, chain.built_in ? (chain.drops ? "DROP" : "ACCEPT") : ""});
            for (const packets::Rule &rule : chain.rules) {
                const std::string &setting = rule.origin.setting;
                const std::vector<std::string> settings =
                    setting.empty() ? std::vector<std::string>{} : std::vector<std::string>{setting};
                chains.back().rules.push_back({{settings, rule.origin.record}, rule.text});
            }
        }
    }
    return chains;
}

std::vector<page::Chapter> passing_chapters(const bench::RouterFilter &filter,
                                            std::optional<packets::Side> from)
{
    const packets::Space space(packets::texts_of({&filter.rules}));
    std::vector<page::Chapter> chapters;
    for (const PassingTable &table : passing_tables(space, filter, from, false)) {
        std::vector<std::vector<std::string>> rows = table_of(table.rows);
        const std::vector<std::string> head = rows.front();
        rows.erase(rows.begin());
        chapters.push_back({"passing" + std::to_string(chapters.size() + 1), table.heading,
                            rows.empty() ? "<p>Nothing.</p>\n" : page::table(head, rows)});
    }
    return chapters;
}

}  // namespace rcbench
