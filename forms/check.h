// One setting's value by itself: what is wrong with it. The same answers as share/settings_check.c gives.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "forms/descriptions.h"

namespace forms {

// What is wrong with a value, as a piece of a sentence: "is no number from 1 to 255".
struct Refusal {
    int record = 0;  // from 1; 0: the whole value
    const Field *field = nullptr;
    std::string value;  // the field's text, or the whole value
    std::string reason;
    std::vector<std::string> fields;  // of that record, as far as they could be told apart
    bool is_too_long = false;
};

// Choice: a value is fine when it is written as the descriptions say, even where rc would read more: a
// flag is 0 or 1, a number has only digits, a choice is one of its words.
std::vector<Refusal> refusals(const Description &setting, std::string_view value);

// The first of them as one sentence, or nothing: what settings_refuse() of share/settings_check.c returns.
std::string refusal_text(const Description &setting, std::string_view value);

// The records of a list, without their ends. Of VPN policies, those behind the format number.
std::vector<std::string> records_of(const Description &setting, std::string_view value);

// A record's fields; fewer than there should be when a separator is missing.
std::vector<std::string> fields_of(const Description &setting, std::string_view record);

// "1.2.3.4" as a number. Not with zeros in front of an octet, which some programs take for octal.
std::optional<uint32_t> read_address(std::string_view text);
std::string address_text(uint32_t address);
// A netmask's number of ones.
std::optional<int> read_netmask(std::string_view text);

}  // namespace forms
