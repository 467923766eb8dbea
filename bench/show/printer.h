// Lines of text for people, tinted on a terminal and fitted to its width.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace bench {

struct Style {
    bool colour = false;
    bool all = false;    // also yields of under 10 microseconds and calls of stand-ins
    bool full = false;   // files whole, however long; repeated lines one by one
    bool raw = false;    // files as bytes, not what they mean
    bool brief = false;  // the timeline alone
    bool quick = false;  // for a first look: less of everything, see --short
    size_t columns = 0;  // of the terminal; 0: no terminal, lines stay whole
};

enum class Tint { kPlain, kStrong, kCommand, kPause, kOutput, kHead, kGone, kNew };

struct Line {
    Tint tint = Tint::kPlain;
    std::string text;
    size_t indent = 0;  // of what does not fit into the first line
    bool operator==(const Line &) const = default;
};

// Prints whole lines to one stream.
struct Printer {
    FILE *out;
    Style style;

    void line(Tint tint, const std::string &text) const;
};

// How wide lines that are cut may be.
size_t short_columns(const Style &style);

// The lines of a text; of a last one without a line end, that is said.
std::vector<std::string> text_lines(const std::string &bytes);

// The words as they would be typed: quoted where they must be.
std::string command_words(const std::vector<std::string> &words);

// Cuts a text that is too long; " ..." shows it.
std::string cut_to(const std::string &text, size_t columns);

// Breaks a text that is too long into lines, where possible at spaces; all but the first are indented.
std::vector<std::string> broken(const std::string &text, size_t indent, size_t columns);

// What repeats many times is there once, with a line below it that says how often.
std::vector<Line> folded(const std::vector<Line> &lines);

// 1234567 as "1,234,567".
std::string grouped(size_t number);

}  // namespace bench
