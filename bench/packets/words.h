// Lines of the filter tool and the words they are made of.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace packets {

// A text that people wrote, for a message: its end is left out where it is long.
std::string cut(std::string_view text);

// A line of a batch file as words. Spaces separate them; double quotes keep a text together and go away. A
// quote that is not closed reaches to the end of the line.
std::vector<std::string> split_line(std::string_view line);

// The line with one space between words, quotes as they are.
std::string squeezed(std::string_view line);

// The words with one space between them, those with spaces in quotes.
std::string joined(const std::vector<std::string> &words);

// The parts between the separators: always at least one.
std::vector<std::string> split_at(std::string_view text, char separator);

}  // namespace packets
