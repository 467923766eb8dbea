#include "bench/rcbench/reach_tables.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "bench/rcbench/filter.h"

namespace rcbench {

namespace {

using packets::IdleLine;
using packets::Row;

using Cells = std::vector<std::string>;

std::string joined(const std::vector<std::string> &parts, const std::string &between)
{
    std::string text;
    for (const std::string &part : parts) {
        text += (text.empty() ? "" : between) + part;
    }
    return text;
}

std::string when_text(const Row &row)
{
    std::string text = row.when.empty() ? "" : "when " + joined(row.when, " and ");
    if (!row.unless.empty()) {
        text += (text.empty() ? "unless " : ", unless ") + joined(row.unless, " or ");
    }
    return text.empty() ? "always" : text;
}

std::string cause_text(const Row &row)
{
    const std::string cause = origin_text(row.origin);
    const bool both = !row.translation_origin.setting.empty() && !(row.translation_origin == row.origin);
    return both ? origin_text(row.translation_origin) + "; " + cause : cause;
}

std::string fate(const Row &row)
{
    if (row.verdict == packets::Verdict::kAccept) {
        const bool is_address = isdigit(static_cast<unsigned char>(row.to[0])) != 0;
        return row.to + (is_address && row.out == packets::Side::kWan ? ", on the Internet" : "");
    }
    return row.verdict == packets::Verdict::kReject ? "rejected" : "dropped";
}

Cells cells(const Row &row)
{
    const std::string ports = row.from_ports == "any" ? row.from : row.from + " port " + row.from_ports;
    return {row.protocol, row.ports, ports, row.asked, fate(row), when_text(row), cause_text(row)};
}

void print_table(const std::vector<Cells> &table)
{
    std::vector<size_t> widths(table[0].size());
    for (const Cells &line : table) {
        for (size_t i = 0; i < line.size(); ++i) {
            widths[i] = std::max(widths[i], std::min<size_t>(line[i].size(), 40));
        }
    }
    for (const Cells &line : table) {
        std::string text = " ";
        for (size_t i = 0; i < line.size(); ++i) {
            const std::string shown = forms::escape(line[i]);
            const bool last = i + 1 == line.size();
            const size_t blanks = last || shown.size() >= widths[i] ? 0 : widths[i] - shown.size();
            text += " " + shown + std::string(last ? 0 : blanks + 1, ' ');
        }
        printf("%s\n", text.c_str());
    }
}

bench::Json json_list(const std::vector<std::string> &texts)
{
    bench::Json list = bench::Json::array();
    for (const std::string &text : texts) {
        list.push_back(bench::json_text(text));
    }
    return list;
}

const char *idle_name(packets::Idle kind)
{
    switch (kind) {
        case packets::Idle::kNever:
            return "never matches";
        case packets::Idle::kShadowed:
            return "shadowed";
        case packets::Idle::kNoTraffic:
            return "no traffic";
        case packets::Idle::kRedundant:
            return "redundant";
    }
    return "";
}

const char *idle_reason(packets::Idle kind)
{
    switch (kind) {
        case packets::Idle::kNever:
            return "no packet fits it";
        case packets::Idle::kShadowed:
            return "all that would fit is taken by";
        case packets::Idle::kNoTraffic:
            return "nothing that would fit comes to its chain";
        case packets::Idle::kRedundant:
            return "without it the same is done by";
    }
    return "";
}

}  // namespace

std::vector<Cells> table_of(const std::vector<Row> &rows)
{
    std::vector<Cells> table = {{"PROTOCOL", "PORTS", "FROM", "SENT TO", "GETS TO", "WHEN", "BY"}};
    for (const Row &row : rows) {
        table.push_back(cells(row));
    }
    return table;
}

void print_table_of(const std::vector<Row> &rows, bool causes)
{
    std::vector<Cells> table = table_of(rows);
    for (Cells &line : table) {
        line.resize(causes ? line.size() : line.size() - 1);
    }
    print_table(table);
}

void print_rows(const std::string &heading, const std::vector<Row> &rows)
{
    printf("%s\n", heading.c_str());
    if (rows.empty()) {
        printf("  nothing\n");
        return;
    }
    print_table_of(rows);
}

bench::Json json_row(packets::Side side, const Row &row)
{
    bench::Json json = {
        {"side", packets::side_name(side)},
        {"verdict", packets::verdict_name(row.verdict)},
        {"protocol", row.protocol},
        {"ports", row.ports},
        {"from", row.from},
        {"from_ports", row.from_ports},
        {"asked", row.asked},
        {"to", row.to.empty() ? bench::Json(nullptr) : bench::Json(row.to)},
        {"out", row.verdict == packets::Verdict::kAccept ? bench::Json(packets::side_name(row.out))
                                                         : bench::Json(nullptr)},
        {"when", json_list(row.when)},
        {"unless", json_list(row.unless)},
        {"reason", bench::json_text(row.reason)}};
    put_origin(json, row.origin);
    bench::Json translation;
    put_origin(translation, row.translation_origin);
    json["translated_by"] = translation;
    json["example"] = bench::json_text(packets::packet_text(row.example));
    return json;
}

void print_idle_lines(const std::vector<IdleLine> &lines)
{
    printf("Rules that could go without a difference to any packet: %zu\n", lines.size());
    for (const IdleLine &line : lines) {
        printf("  %-13s  %s %s: %s  [%s]\n", idle_name(line.kind), line.table.c_str(), line.chain.c_str(),
               forms::escape(line.rule->text).c_str(), origin_text(line.rule->origin).c_str());
        printf("                 %s\n", idle_reason(line.kind));
        for (const packets::Rule *rule : line.covered_by) {
            printf("                   %s  [%s]\n", forms::escape(rule->text).c_str(),
                   origin_text(rule->origin).c_str());
        }
        if (!line.policy.empty()) {
            printf("                   %s\n", line.policy.c_str());
        }
    }
}

bench::Json json_idle_lines(const std::vector<IdleLine> &lines)
{
    bench::Json list = bench::Json::array();
    for (const IdleLine &line : lines) {
        bench::Json json = {{"kind", idle_name(line.kind)},
                            {"table", line.table},
                            {"chain", line.chain},
                            {"text", bench::json_text(line.rule->text)}};
        put_origin(json, line.rule->origin);
        bench::Json covers = bench::Json::array();
        for (const packets::Rule *rule : line.covered_by) {
            covers.push_back(bench::json_text(rule->text));
        }
        json["covered_by"] = covers;
        json["policy"] = line.policy.empty() ? bench::Json(nullptr) : bench::Json(line.policy);
        list.push_back(json);
    }
    return list;
}

}  // namespace rcbench
