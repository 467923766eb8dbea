#include "bench/perf/figures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace perf {

namespace {

constexpr size_t kColumns = 9;
using Cells = std::array<std::string, kColumns>;

std::string grouped(long long number)
{
    std::string text = std::to_string(number);
    for (size_t place = text.size(); place > 3; place -= 3) {
        text.insert(place - 3, ",");
    }
    return text;
}

std::string number(double value)
{
    if (value >= 100) {
        return grouped(std::llround(value));
    }
    char text[32];
    snprintf(text, sizeof text, value >= 10 ? "%.1f" : "%.2f", value);
    return text;
}

std::string optional_number(const std::optional<double> &value)
{
    return value ? number(*value) : "";
}

std::string ratio_text(const Figure &figure)
{
    if (!figure.ratio) {
        return "";
    }
    if (*figure.ratio < 0.1 && !figure.percent) {
        return "1/" + std::to_string(std::llround(1 / *figure.ratio));
    }
    char text[32];
    snprintf(text, sizeof text, figure.percent ? "%.1f %%" : "%.2f",
             figure.percent ? *figure.ratio * 100 : *figure.ratio);
    return text;
}

Cells cells(const Figure &figure)
{
    return {figure.name,
            number(figure.ours),
            optional_number(figure.median),
            figure.unit,
            optional_number(figure.other),
            figure.against,
            ratio_text(figure),
            figure.goal,
            figure.met ? (*figure.met ? "ok" : "OVER") : ""};
}

// Numbers stand to the right, words to the left.
constexpr std::array<bool, kColumns> kRight = {false, true, true, false, true, false, true, false, false};

void add_line(std::string &text, const Cells &row, const std::array<size_t, kColumns> &widths)
{
    std::string line = "  ";
    for (size_t i = 0; i < kColumns; ++i) {
        const std::string blanks(widths[i] - row[i].size(), ' ');
        line += (kRight[i] ? blanks + row[i] : row[i] + blanks) + (i + 1 < kColumns ? "  " : "");
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
}

template <typename Value>
nlohmann::ordered_json or_null(const std::optional<Value> &value)
{
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json word_or_null(const std::string &text)
{
    return text.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(text);
}

// As precise as anybody can measure.
std::optional<double> rounded(const std::optional<double> &value)
{
    if (!value || *value >= 1e6 || *value == 0) {
        return value ? std::optional<double>(std::round(*value)) : value;
    }
    const double unit = std::pow(10, std::floor(std::log10(std::fabs(*value))) - 5);
    return std::round(*value / unit) * unit;
}

nlohmann::ordered_json json_of(const Figure &figure)
{
    return {{"group", figure.group},
            {"name", figure.name},
            {"unit", figure.unit},
            {"rc", or_null(rounded(figure.ours))},
            {"median", or_null(rounded(figure.median))},
            {"against", word_or_null(figure.against)},
            {"other", or_null(rounded(figure.other))},
            {"ratio", or_null(rounded(figure.ratio))},
            {"goal", word_or_null(figure.goal)},
            {"met", or_null(figure.met)}};
}

}  // namespace

std::string as_text(const std::vector<Figure> &figures)
{
    const Cells head = {"", "rc", "median", "unit", "against", "", "ratio", "goal", ""};
    std::array<size_t, kColumns> widths = {};
    for (size_t i = 0; i < kColumns; ++i) {
        widths[i] = head[i].size();
        for (const Figure &figure : figures) {
            widths[i] = std::max(widths[i], cells(figure)[i].size());
        }
    }
    std::string text;
    const std::string *group = nullptr;
    for (const Figure &figure : figures) {
        if (group == nullptr || *group != figure.group) {
            text += (group == nullptr ? "" : "\n") + figure.group + "\n\n";
            add_line(text, head, widths);
        }
        group = &figure.group;
        add_line(text, cells(figure), widths);
    }
    return text;
}

std::string as_json(const std::vector<Figure> &figures)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Figure &figure : figures) {
        list.push_back(json_of(figure));
    }
    return list.dump(2) + "\n";
}

bool all_met(const std::vector<Figure> &figures)
{
    return std::all_of(figures.begin(), figures.end(),
                       [](const Figure &figure) { return figure.met.value_or(true); });
}

}  // namespace perf
