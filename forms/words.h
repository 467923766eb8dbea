// Lines and words of the texts that people write for the bench: scenarios, replies, traces.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace forms {

// Cuts the first word off `text`, without the space after it.
std::string_view take_word(std::string_view &text);

// Cuts the first line off `text`, without its line end.
std::string_view take_line(std::string_view &text);

// Decimal digits alone, at most nine.
[[nodiscard]] bool read_number(std::string_view text, int &number);

// Cuts a text into words at spaces. "..." keeps spaces, "" is an empty word; escapes are replaced in both.
[[nodiscard]] bool split_words(std::string_view text, std::vector<std::string> &words, std::string &why);

// Words as split_words reads them.
std::string join_words(const std::vector<std::string> &words);

// The lines of a text without their line ends. `complete` tells whether the last line had one.
std::vector<std::string> split_lines(std::string_view text, bool &complete);

}  // namespace forms
