#include "tests/runner/steps.h"

#include <algorithm>

#include "forms/words.h"
#include "tests/runner/columns.h"

namespace {

using Words = std::vector<std::string>;

constexpr size_t kMostWords = 9;

bool add_steps(const Directive &directive, NamedSteps &known, Refusal &refusal)
{
    if (!is_case_name(directive.rest) || directive.body.empty()) {
        return refusal.at(directive.place, "steps NAME expected, and its | lines");
    }
    return known.emplace(directive.rest, Steps{directive.place, directive.body}).second ||
           refusal.at(directive.place, "two steps \"" + directive.rest + "\"");
}

// Cuts the first word off what fills steps: up to a space, or all between quotes. Escapes stay, as in any
// line.
std::string take_filling(std::string_view &text)
{
    const size_t close = text[0] == '"' ? text.find('"', 1) : std::string_view::npos;
    if (close == std::string_view::npos || (close + 1 < text.size() && text[close + 1] != ' ')) {
        return std::string(forms::take_word(text));
    }
    const std::string word(text.substr(1, close - 1));
    text.remove_prefix(std::min(close + 2, text.size()));
    return word;
}

// How many words the lines take: the highest number in braces.
size_t count_words(const std::vector<BodyLine> &lines)
{
    size_t words = 0;
    for (const BodyLine &line : lines) {
        for (size_t i = 1; i <= kMostWords; ++i) {
            if (line.text.find("{" + std::to_string(i) + "}") != std::string::npos) {
                words = std::max(words, i);
            }
        }
    }
    return words;
}

std::string filled(std::string text, const Words &words)
{
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string mark = "{" + std::to_string(i + 1) + "}";
        for (size_t at = text.find(mark); at != std::string::npos;
             at = text.find(mark, at + words[i].size())) {
            text.replace(at, mark.size(), words[i]);
        }
    }
    return text;
}

// Appends the lines of the steps that `use` names.
bool use_steps(const BodyLine &use, NamedSteps &known, std::vector<BodyLine> &body, Refusal &refusal)
{
    std::string_view rest = use.text;
    rest.remove_prefix(1);
    const std::string name(forms::take_word(rest));
    Words words;
    while (!rest.empty()) {
        words.push_back(take_filling(rest));
    }
    const auto steps = known.find(name);
    if (steps == known.end()) {
        return refusal.at(use.place, "no steps are named \"" + name + "\"");
    }
    if (words.size() != count_words(steps->second.lines)) {
        return refusal.at(use.place, "the steps \"" + name + "\" take " +
                                         std::to_string(count_words(steps->second.lines)) + " words");
    }
    steps->second.used = true;
    for (const BodyLine &line : steps->second.lines) {
        body.push_back({use.place, use.mark, filled(line.text, words)});
    }
    return true;
}

// A line that uses steps. In a file, unlike in a trace, one that names none is the file's own.
bool is_use(const BodyLine &line, const NamedSteps &known, bool is_trace)
{
    if (line.text.empty() || line.text[0] != '@') {
        return false;
    }
    const std::string_view rest = std::string_view(line.text).substr(1);
    return is_trace || known.count(std::string(rest.substr(0, rest.find(' ')))) != 0;
}

bool fill_body(Directive &directive, NamedSteps &known, Refusal &refusal)
{
    const bool is_trace = directive.name == "trace" || directive.rest == "trace";
    std::vector<BodyLine> body;
    for (const BodyLine &line : directive.body) {
        if (!is_use(line, known, is_trace)) {
            body.push_back(line);
        } else if (!use_steps(line, known, body, refusal)) {
            return false;
        }
    }
    directive.body = std::move(body);
    return true;
}

// A trace, a file that is expected, or a change of one of them.
bool may_use_steps(const Directive &directive)
{
    return directive.name == "trace" || directive.name == "expect" ||
           (directive.name == "change" &&
            (directive.rest == "trace" || directive.rest.compare(0, 7, "expect ") == 0));
}

}  // namespace

std::string steps_from(const Directive &directive)
{
    constexpr std::string_view kFrom = "from ";
    const bool is_from = directive.name == "steps" && directive.rest.compare(0, kFrom.size(), kFrom) == 0;
    return is_from ? directive.rest.substr(kFrom.size()) : "";
}

bool learn_steps(const std::vector<Directive> &directives, NamedSteps &known, Refusal &refusal)
{
    return std::all_of(directives.begin(), directives.end(), [&](const Directive &directive) {
        return directive.name != "steps" || !steps_from(directive).empty() ||
               add_steps(directive, known, refusal);
    });
}

bool fill_steps(std::vector<Directive> &directives, NamedSteps &known, Refusal &refusal)
{
    if (!learn_steps(directives, known, refusal)) {
        return false;
    }
    directives.erase(std::remove_if(directives.begin(), directives.end(),
                                    [](const Directive &directive) { return directive.name == "steps"; }),
                     directives.end());
    return std::all_of(directives.begin(), directives.end(), [&](Directive &directive) {
        return !may_use_steps(directive) || fill_body(directive, known, refusal);
    });
}

bool check_steps_are_used(const NamedSteps &known, Refusal &refusal)
{
    for (const auto &[name, steps] : known) {
        if (!steps.place.in_base && !steps.used) {
            return refusal.at(steps.place, "no line uses the steps \"" + name + "\"");
        }
    }
    return true;
}
