#include "tests/settings/values.h"

#include <array>

namespace settings_test {

namespace {

using forms::Description;
using forms::Form;
using forms::Type;

template <size_t N>
std::string pick(Random &random, const std::array<const char *, N> &texts)
{
    return texts[below(random, N)];
}

std::string digits(Random &random, size_t count, const char *of, size_t number)
{
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += of[below(random, number)];
    }
    return text;
}

std::string hex(Random &random, size_t count)
{
    return digits(random, count, "0123456789abcdefABCDEF", 22);
}

std::string hardware(Random &random)
{
    std::string text = hex(random, 2);
    for (int i = 0; i < 5; ++i) {
        text += ":" + hex(random, 2);
    }
    return text;
}

std::string address(Random &random)
{
    constexpr std::array kKnown = {"192.168.0.1", "192.168.0.20", "192.168.0.254", "192.168.1.7",
                                   "10.0.0.1",    "203.0.113.9",  "0.0.0.0",       "192.168.0.255"};
    if (below(random, 2) == 0) {
        return pick(random, kKnown);
    }
    std::string text = std::to_string(below(random, 256));
    for (int i = 0; i < 3; ++i) {
        text += "." + std::to_string(below(random, 256));
    }
    return text;
}

std::string host_address(Random &random)
{
    for (;;) {
        const std::string text = address(random);
        const long net = forms::read_number(text);
        if (net != 0 && net != 127 && net < 224) {
            return text;
        }
    }
}

std::string words(Random &random, size_t least, size_t most)
{
    const size_t size = least + below(random, most - least + 1);
    return digits(random, size, "abcdefghijkmnopqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ0123456789", 59);
}

std::string fine_number(Random &random, const Type &type)
{
    const auto span = static_cast<size_t>(type.most - type.least) + 1;
    return std::to_string(type.least + static_cast<long>(below(random, span)));
}

std::string fine_text(Random &random, const Type &type, const Description &setting)
{
    constexpr std::array kMasks = {"255.255.255.0", "255.255.0.0", "255.0.0.0", "255.255.255.252"};
    switch (type.form) {
        case Form::kFlag:
            return below(random, 2) == 0 ? "0" : "1";
        case Form::kNumber:
        case Form::kPort:
            return fine_number(random, type);
        case Form::kChoice:
            return type.words[below(random, type.words.size())];
        case Form::kAddress:
            return address(random);
        case Form::kHostAddress:
            return host_address(random);
        case Form::kAddressOrZero:
        case Form::kNetwork:
            return address(random);
        case Form::kAddresses:
            return below(random, 2) == 0 ? address(random) : address(random) + "/24";
        case Form::kNetmask:
            return pick(random, kMasks);
        case Form::kHardware:
        case Form::kStation:
            return hardware(random);
        case Form::kHardwareDigits:
            return below(random, 2) == 0 ? hardware(random) : hex(random, 12);
        case Form::kInterface:
            return below(random, 2) == 0 ? "br0" : "nas0";
        case Form::kDays:
            return digits(random, 7, "01", 2);
        case Form::kPorts:
            return std::to_string(1 + below(random, 60000));
        case Form::kDigits:
            return hex(random, below(random, 2) == 0 ? 10 : 26);
        case Form::kHexadecimal:
            return hex(random, 1 + below(random, static_cast<size_t>(type.most)));
        default:
            return setting.key == "vpn" && below(random, 4) == 0
                       ? "\x03"
                       : words(random, static_cast<size_t>(type.least < 1 ? 1 : type.least),
                               static_cast<size_t>(type.most > 24 ? 24 : type.most));
    }
}

// What is no good nearly everywhere.
std::string bad_text(Random &random)
{
    constexpr std::array kBad = {"",
                                 "yes",
                                 "on",
                                 "-1",
                                 " 1",
                                 "1x",
                                 "2x",
                                 "01",
                                 "65536",
                                 "99999",
                                 "abc",
                                 "pppoex",
                                 "a b",
                                 "it's",
                                 "say \"hi\"",
                                 "$(reboot)",
                                 "`reboot`",
                                 "x;reboot",
                                 "a|b",
                                 "back\\slash",
                                 "two\nlines",
                                 "192.168.0",
                                 "192.168.0.256",
                                 "192.168.0.9 ",
                                 "192.168.010.9",
                                 "127.0.0.1",
                                 "224.0.0.1",
                                 "198.51.100.999",
                                 "255.0.255.0",
                                 "1.2.3.4-1.2.3.3",
                                 "1.2.3.4/33",
                                 "00:11:22:33:44:5",
                                 "gg:11:22:33:44:55",
                                 "1h",
                                 "8:30-17:0",
                                 "caf\xc3\xa9",
                                 "%s%n",
                                 "a:b",
                                 "\x02"};
    switch (below(random, 8)) {
        case 0:
            return std::string(1 + below(random, 200), 'x');
        case 1:
            return digits(random, 1 + below(random, 12), "0123456789.:-/ x\"'$", 19);
        default:
            return pick(random, kBad);
    }
}

std::string any_text(Random &random, const Type &type, const Description &setting, size_t good_of_four)
{
    return below(random, 4) < good_of_four ? fine_text(random, type, setting) : bad_text(random);
}

std::string list_value(Random &random, const Description &setting, bool is_fine)
{
    const bool is_policies = setting.type.form == Form::kPolicies;
    const bool is_short = is_policies && below(random, 2) == 0;
    std::string text = is_policies ? (is_short ? "1\x01" : "2\x01") : "";
    const size_t records =
        setting.type.form == Form::kFields ? 1 : 1 + below(random, setting.type.most > 0 ? 1 : 4);
    for (size_t record = 0; record < records; ++record) {
        const size_t fields = is_short ? 26 : setting.fields.size();
        const size_t count = is_fine || below(random, 8) != 0 ? fields : below(random, fields + 2);
        for (size_t i = 0; i < count; ++i) {
            const forms::Field &field = setting.fields[i < fields ? i : 0];
            const bool spoil = !is_fine && below(random, fields) == 0;
            text += spoil ? bad_text(random) : fine_text(random, field.type, setting);
            text += i + 1 == fields || field.separator == '\0' ? "" : std::string(1, field.separator);
        }
        text += setting.type.form == Form::kFields ? "" : "\x01";
    }
    return text;
}

}  // namespace

size_t below(Random &random, size_t limit)
{
    return limit == 0 ? 0 : random() % limit;
}

std::string any_value(Random &random, const Description &setting)
{
    if (!setting.fields.empty()) {
        return below(random, 8) == 0 ? bad_text(random) : list_value(random, setting, below(random, 3) == 0);
    }
    return any_text(random, setting.type, setting, 1);
}

std::string fine_value(Random &random, const Description &setting)
{
    return setting.fields.empty() ? fine_text(random, setting.type, setting)
                                  : list_value(random, setting, true);
}

}  // namespace settings_test
