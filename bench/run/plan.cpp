#include "bench/run/plan.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <vector>

#include "bench/run/files.h"

namespace bench {

namespace {

std::string base_name(const std::string &tool)
{
    return tool.substr(tool.rfind('/') + 1);
}

// Words with exactly one blank between them.
std::string normal_words(const std::string &text)
{
    std::istringstream parts(text);
    std::string word;
    std::string words;
    while (parts >> word) {
        words += (words.empty() ? "" : " ") + word;
    }
    return words;
}

template <typename Row, typename Other>
bool has_same(const std::vector<Row> &rows, const Other &row)
{
    return std::any_of(rows.begin(), rows.end(), [&](const auto &other) {
        return base_name(other.tool) == base_name(row.tool) &&
               normal_words(other.words) == normal_words(row.words);
    });
}

std::string plan_text(const std::vector<Reply> &replies, const std::vector<Effect> &effects)
{
    std::string plan;
    for (const Reply &reply : replies) {
        add_field(plan, "R");
        add_field(plan, base_name(reply.tool));
        add_field(plan, normal_words(reply.words));
        add_field(plan, std::to_string(reply.status));
        add_field(plan, reply.output);
        add_field(plan, reply.errors);
    }
    for (const Effect &effect : effects) {
        add_field(plan, "E");
        add_field(plan, base_name(effect.tool));
        add_field(plan, normal_words(effect.words));
        add_field(plan, "0");
        add_field(plan, effect.command);
        add_field(plan, "");
    }
    return plan;
}

}  // namespace

std::string plan_bytes(const Setup &setup, const std::filesystem::path &image)
{
    std::vector<Reply> replies = setup.replies;
    std::vector<Effect> effects = setup.effects;
    if (setup.image_replies) {
        std::vector<Reply> usual;
        std::vector<Effect> usual_effects;
        read_replies_text(image / "replies", usual, usual_effects);
        std::copy_if(usual.begin(), usual.end(), std::back_inserter(replies),
                     [&](const Reply &reply) { return !has_same(setup.replies, reply); });
        std::copy_if(usual_effects.begin(), usual_effects.end(), std::back_inserter(effects),
                     [&](const Effect &effect) {
                         return !has_same(setup.effects, effect) && !has_same(setup.replies, effect);
                     });
    }
    return plan_text(replies, effects);
}

}  // namespace bench
