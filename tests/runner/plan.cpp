#include "tests/runner/plan.h"

#include <algorithm>
#include <set>

#include "forms/words.h"
#include "tests/runner/change.h"

namespace {

using forms::take_word;

// Some directives on their way into a plan.
struct Layer {
    Plan &plan;
    Refusal &refusal;
    bool has_runs = false;           // its own, so that what follows belongs to the last one
    size_t run = 0;                  // chosen by "in run N", from 1; 0 when none is chosen
    std::set<std::string> topics{};  // that it has spoken of
};

bool same_text(const Directive &a, const Directive &b)
{
    return directive_text(a) == directive_text(b);
}

// Puts a directive where those of its topic are, in place of what an earlier layer says of it.
bool put(Layer &layer, Directives &list, const std::string &list_name, const Directive &directive)
{
    const std::string topic = topic_of(directive);
    const auto speaks_of_it = [&topic](const Directive &other) { return topic_of(other) == topic; };
    auto first = std::find_if(list.begin(), list.end(), speaks_of_it);
    if (!layer.topics.insert(list_name + topic).second) {
        const auto last = std::find_if(list.rbegin(), list.rend(), speaks_of_it);
        list.insert(last.base(), directive);
        return true;
    }
    if (first == list.end()) {
        list.push_back(directive);
        return true;
    }
    const auto count = std::count_if(list.begin(), list.end(), speaks_of_it);
    if (count == 1 && !directive.varies && same_text(*first, directive)) {
        return layer.refusal.at(directive.place,
                                "it is so already: " + directive.name + " " + subject_of(directive));
    }
    *first = directive;
    list.erase(std::remove_if(first + 1, list.end(), speaks_of_it), list.end());
    return true;
}

// The run that an expectation belongs to.
bool find_run(Layer &layer, const Directive &directive, size_t &run)
{
    if (layer.plan.runs.empty()) {
        return layer.refusal.at(directive.place, directive.name + " is written after a run");
    }
    if (layer.run == 0 && layer.plan.runs.size() > 1 && !layer.has_runs) {
        return layer.refusal.at(directive.place, "there are several runs; \"in run N\" says which one " +
                                                     directive.name + " follows");
    }
    run = layer.run != 0 ? layer.run - 1 : layer.plan.runs.size() - 1;
    return true;
}

bool put_after(Layer &layer, const Directive &directive)
{
    size_t run = 0;
    return find_run(layer, directive, run) &&
           put(layer, layer.plan.runs[run].after, std::to_string(run) + " ", directive);
}

bool put_run(Layer &layer, const Directive &directive)
{
    if (!layer.has_runs) {
        layer.plan.runs.clear();
        layer.has_runs = true;
    }
    layer.run = 0;
    layer.plan.runs.push_back({directive, {}});
    return true;
}

// The run that "instead run WORDS" and "then run WORDS" name.
bool read_run(Layer &layer, const Directive &directive, Directive &run)
{
    std::string_view rest = directive.rest;
    run.place = directive.place;
    run.name = take_word(rest);
    run.rest = rest;
    run.varies = directive.varies;
    const DirectiveKind *kind = find_kind(run.name);
    return (kind != nullptr && kind->section == Section::run) ||
           layer.refusal.at(directive.place, directive.name + " run WORDS expected");
}

// Other words for a run whose expectations stay.
bool replace_run(Layer &layer, const Directive &directive)
{
    size_t run = 0;
    return find_run(layer, directive, run) && read_run(layer, directive, layer.plan.runs[run].run);
}

// A further run. What follows speaks of it.
bool append_run(Layer &layer, const Directive &directive)
{
    RunPart part;
    if (!read_run(layer, directive, part.run)) {
        return false;
    }
    layer.plan.runs.push_back(part);
    layer.run = layer.plan.runs.size();
    return true;
}

// The last run once more, with the same expectations. What follows speaks of it.
bool repeat_run(Layer &layer, const Directive &directive)
{
    if (layer.plan.runs.empty()) {
        return layer.refusal.at(directive.place, "there is no run to repeat");
    }
    layer.plan.runs.push_back(RunPart(layer.plan.runs.back()));
    layer.run = layer.plan.runs.size();
    return directive.rest.empty() || layer.refusal.at(directive.place, "nothing follows again");
}

bool choose_run(Layer &layer, const Directive &directive)
{
    for (size_t run = 1; run <= layer.plan.runs.size(); ++run) {
        if (directive.rest == "run " + std::to_string(run)) {
            layer.run = run;
            return !layer.has_runs ||
                   layer.refusal.at(directive.place,
                                    "\"in run N\" speaks of the runs above, not of new ones");
        }
    }
    return layer.refusal.at(directive.place,
                            "in run N expected, N at most " + std::to_string(layer.plan.runs.size()));
}

// The directives with lines of their own that "NAME REST" names.
std::vector<Directive *> find_targets(Layer &layer, const std::string &text)
{
    std::vector<Directive *> targets;
    const auto collect = [&](Directives &list) {
        for (Directive &directive : list) {
            const std::string head = directive.name + (directive.rest.empty() ? "" : " ") + directive.rest;
            if (find_kind(directive.name)->takes_body && head == text) {
                targets.push_back(&directive);
            }
        }
    };
    collect(layer.plan.before);
    for (size_t run = 0; run < layer.plan.runs.size(); ++run) {
        if (layer.run == 0 || layer.run == run + 1) {
            collect(layer.plan.runs[run].after);
        }
    }
    return targets;
}

bool make_change(Layer &layer, const Directive &directive)
{
    const std::vector<Directive *> targets = find_targets(layer, directive.rest);
    if (targets.empty()) {
        return layer.refusal.at(directive.place, "there is no \"" + directive.rest + "\" to change");
    }
    return apply_change(directive, targets, layer.refusal);
}

// Whether `text`, what follows "without", names the directive.
bool is_named(const Directive &directive, std::string_view text)
{
    const std::string_view name = take_word(text);
    return name == directive.name &&
           (text.empty() || text == directive.rest || text == subject_of(directive));
}

bool drop_one(Layer &layer, Place place, const std::string &text)
{
    size_t dropped = 0;
    const auto drop = [&](Directives &list) {
        const auto end = std::remove_if(list.begin(), list.end(),
                                        [&text](const Directive &one) { return is_named(one, text); });
        dropped += static_cast<size_t>(list.end() - end);
        list.erase(end, list.end());
    };
    drop(layer.plan.before);
    for (size_t run = 0; run < layer.plan.runs.size(); ++run) {
        if (layer.run == 0 || layer.run == run + 1) {
            drop(layer.plan.runs[run].after);
        }
    }
    return dropped != 0 || layer.refusal.at(place, "there is no \"" + text + "\" to do without");
}

// "without set KEY KEY...", "without expect PATH PATH...", "without set" for all of them, "without DIRECTIVE
// ITS SUBJECT"
bool do_without(Layer &layer, const Directive &directive)
{
    std::string_view rest = directive.rest;
    const std::string name(take_word(rest));
    if (!is_subject_a_word(name)) {
        return drop_one(layer, directive.place, directive.rest);
    }
    do {
        if (!drop_one(layer, directive.place, name + " " + std::string(take_word(rest)))) {
            return false;
        }
    } while (!rest.empty());
    return true;
}

bool arrange(Layer &layer, const Directive &directive)
{
    constexpr struct {
        const char *name;
        bool (*apply)(Layer &, const Directive &);
    } kActions[] = {{"change", make_change},  {"without", do_without}, {"in", choose_run},
                    {"instead", replace_run}, {"then", append_run},    {"again", repeat_run}};
    for (const auto &action : kActions) {
        if (directive.name == action.name) {
            return action.apply(layer, directive);
        }
    }
    return layer.refusal.at(directive.place, directive.name + " does not belong here");
}

bool add_directive(Layer &layer, const Directive &directive)
{
    switch (find_kind(directive.name)->section) {
        case Section::before:
            return layer.has_runs ? layer.refusal.at(directive.place,
                                                     directive.name + " is written before the first run")
                                  : put(layer, layer.plan.before, "", directive);
        case Section::run:
            return put_run(layer, directive);
        case Section::after:
            return put_after(layer, directive);
        case Section::cases:
            break;
    }
    return arrange(layer, directive);
}

}  // namespace

bool add_layer(Plan &plan, const Directives &directives, Refusal &refusal)
{
    Layer layer{plan, refusal};
    return std::all_of(directives.begin(), directives.end(),
                       [&layer](const Directive &directive) { return add_directive(layer, directive); });
}

std::string expected_text(const Plan &plan)
{
    std::string text;
    for (const RunPart &part : plan.runs) {
        text += directive_text(part.run);
        for (const Directive &directive : part.after) {
            text += directive_text(directive);
        }
    }
    return text;
}

std::string whole_text(const Plan &plan)
{
    std::string text;
    for (const Directive &directive : plan.before) {
        text += directive_text(directive);
    }
    return text + expected_text(plan);
}
