#include "forms/check.h"

#include <algorithm>

#include "forms/exposure.h"

namespace forms {

namespace {

constexpr char kRecordEnd = '\x01';
constexpr size_t kMostPolicies = 8;
constexpr size_t kShortPolicy = 26;  // fields of format 1

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

bool is_hex(char c)
{
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool is_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_control(char c)
{
    return (c >= '\0' && c < ' ') || c == '\x7f';
}

template <typename Test>
bool all_are(std::string_view text, Test test)
{
    return std::all_of(text.begin(), text.end(), test);
}

bool is_number(std::string_view text, long least, long most)
{
    constexpr size_t kMostDigits = 10;
    if (text.empty() || text.size() > kMostDigits || !all_are(text, is_digit)) {
        return false;
    }
    long number = 0;
    for (const char c : text) {
        number = number * 10 + (c - '0');
    }
    return number >= least && number <= most;
}

bool is_hardware(std::string_view text)
{
    constexpr size_t kLength = 17;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i % 3 == 2 ? text[i] != ':' : !is_hex(text[i])) {
            return false;
        }
    }
    return text.size() == kLength;
}

bool is_host_label(std::string_view label)
{
    return !label.empty() && label.front() != '-' && label.back() != '-' &&
           all_are(label, [](char c) { return is_letter(c) || is_digit(c) || c == '-'; });
}

// A name that ends in a number is read as an address wherever it goes.
bool is_host(std::string_view text)
{
    const std::string_view whole = text;
    for (;;) {
        const size_t dot = text.find('.');
        if (!is_host_label(text.substr(0, dot))) {
            return false;
        }
        if (dot == std::string_view::npos) {
            return !all_are(text, is_digit) || read_address(whole);
        }
        text.remove_prefix(dot + 1);
    }
}

// Neither this host, nor the router itself, nor a group of hosts.
bool is_host_address(std::string_view text)
{
    constexpr uint32_t kLoopback = 127;
    constexpr uint32_t kGroups = 224;
    const auto address = read_address(text);
    const uint32_t net = address.value_or(0) >> 24U;
    return net != 0 && net != kLoopback && net < kGroups;
}

bool is_interface(std::string_view text)
{
    return !text.empty() && is_letter(text[0]) && all_are(text, [](char c) {
        return is_letter(c) || is_digit(c) || c == '.' || c == '_' || c == '-';
    });
}

bool is_ports(std::string_view text)
{
    const size_t dash = text.find('-');
    const std::string_view first = text.substr(0, dash);
    const std::string_view last = dash == std::string_view::npos ? first : text.substr(dash + 1);
    return is_number(first, 1, 65535) && is_number(last, 1, 65535) && read_number(first) <= read_number(last);
}

bool is_addresses(std::string_view text)
{
    if (const size_t slash = text.find('/'); slash != std::string_view::npos) {
        const std::string_view mask = text.substr(slash + 1);
        return read_address(text.substr(0, slash)) && (is_number(mask, 0, 32) || read_netmask(mask));
    }
    if (const size_t dash = text.find('-'); dash != std::string_view::npos) {
        const auto first = read_address(text.substr(0, dash));
        const auto last = read_address(text.substr(dash + 1));
        return first && last && *first <= *last;
    }
    return read_address(text).has_value();
}

// ---- the reasons ------------------------------------------------------------------------------------------

std::string join_words(const std::vector<std::string> &words)
{
    constexpr size_t kMost = 8;
    std::string text;
    for (size_t i = 0; i < words.size() && i < kMost; ++i) {
        text += (i == 0 ? "" : ", ") + words[i];
    }
    return text + (words.size() > kMost ? " ..." : "");
}

std::string range_text(const Type &type)
{
    return std::to_string(type.least) + " to " + std::to_string(type.most);
}

// A type whose form says all there is to it: what a value is not.
struct Plain {
    Form form;
    bool (*fits)(std::string_view text);
    const char *reason;
};

constexpr Plain kPlain[] = {
    {Form::kFlag, [](std::string_view text) { return text == "0" || text == "1"; }, "is neither 0 nor 1"},
    {Form::kAddress, [](std::string_view text) { return read_address(text).has_value(); }, "is no address"},
    {Form::kHostAddress, is_host_address, "is no address that a host can have"},
    {Form::kAddressOrZero,
     [](std::string_view text) { return text == "0" || read_address(text).has_value(); },
     "is neither an address nor 0"},
    {Form::kAddresses, is_addresses, "is no address, range or net"},
    {Form::kNetmask, [](std::string_view text) { return read_netmask(text).has_value(); }, "is no netmask"},
    {Form::kHardware, is_hardware, "is no hardware address"},
    {Form::kHardwareDigits,
     [](std::string_view text) { return is_hardware(text) || (text.size() == 12 && all_are(text, is_hex)); },
     "is no hardware address"},
    {Form::kStation, [](std::string_view text) { return is_hardware(text.substr(0, 17)); },
     "does not begin with a hardware address"},
    {Form::kInterface, is_interface, "is no interface name"},
    {Form::kHost, is_host, "is no host name or address"},
    {Form::kLabel, is_host_label, "is no host name"},
    {Form::kPort, [](std::string_view text) { return is_number(text, 1, 65535); },
     "is no port from 1 to 65535"},
    {Form::kPorts, is_ports, "is no port or range of ports"},
    {Form::kDays,
     [](std::string_view text) {
         return text.size() == 7 && all_are(text, [](char c) { return c == '0' || c == '1'; });
     },
     "is not seven times 0 or 1"},
    {Form::kNetwork,
     [](std::string_view text) {
         return !text.empty() && all_are(text, [](char c) { return is_digit(c) || c == '.'; });
     },
     "is no address, range or net"},
    {Form::kDigits,
     [](std::string_view text) { return (text.size() == 10 || text.size() == 26) && all_are(text, is_hex); },
     "is not 10 or 26 hexadecimal digits"},
};

bool has_width(Form form)
{
    return form == Form::kText || form == Form::kWord || form == Form::kHost || form == Form::kLabel ||
           form == Form::kInterface || form == Form::kStation || form == Form::kNetwork ||
           form == Form::kAddresses || form == Form::kHexadecimal;
}

std::string why_wrong_width(const Type &type, std::string_view text, bool &is_too_long)
{
    if (static_cast<long>(text.size()) > type.most) {
        is_too_long = true;
        return "is longer than " + std::to_string(type.most) + " characters";
    }
    if (static_cast<long>(text.size()) < type.least &&
        (type.form == Form::kText || type.form == Form::kWord)) {
        return text.empty() ? "is empty" : "is shorter than " + std::to_string(type.least) + " characters";
    }
    return "";
}

std::string shown_character(char c)
{
    return c == ' ' ? "a space" : std::string(1, c);
}

// Free text: what the shell or a file would not take as it is.
std::string why_harmful(const Harm &harm, std::string_view more, std::string_view text)
{
    for (const char c : text) {
        const bool is_harmful =
            harm.is_bare ? !is_plain_word(c) : harm.characters.find(c) != std::string::npos;
        if (is_harmful) {
            return "holds " + shown_character(c) + ", which the shell would not leave as it is";
        }
        if (more.find(c) != std::string_view::npos) {
            return "holds " + shown_character(c) + ", which ends it too early";
        }
    }
    return "";
}

struct Rules {
    const Type &type;
    std::string_view key;
    std::string_view field;
    std::string_view refuse;
};

std::string why_wrong_text(const Rules &rules, std::string_view text)
{
    if (rules.type.form == Form::kWord && text.find(' ') != std::string_view::npos) {
        return "holds a space";
    }
    return why_harmful(harm_of(rules.key, rules.field), rules.refuse, text);
}

std::string why_wrong(const Rules &rules, std::string_view text, bool &is_too_long)
{
    const Type &type = rules.type;
    // The one control byte with a meaning: no identity.
    const bool is_no_id = text == "\x03" && rules.key == "vpn";
    if (!is_no_id && std::any_of(text.begin(), text.end(), is_control)) {
        return "holds a control character";
    }
    if (has_width(type.form)) {
        if (std::string why = why_wrong_width(type, text, is_too_long); !why.empty()) {
            return why;
        }
    }
    if (type.form == Form::kHostAddress && !read_address(text)) {
        return "is no address";
    }
    for (const Plain &plain : kPlain) {
        if (plain.form == type.form) {
            return plain.fits(text) ? "" : plain.reason;
        }
    }
    switch (type.form) {
        case Form::kNumber:
            return is_number(text, type.least, type.most) ? "" : "is no number from " + range_text(type);
        case Form::kChoice:
            return std::count(type.words.begin(), type.words.end(), text) != 0
                       ? ""
                       : "is none of " + join_words(type.words);
        case Form::kHexadecimal:
            return !text.empty() && all_are(text, is_hex) ? "" : "is no hexadecimal number";
        default:
            return why_wrong_text(rules, text);
    }
}

// ---- lists ------------------------------------------------------------------------------------------------

size_t expected_fields(const Description &setting, std::string_view value)
{
    return setting.type.form == Form::kPolicies && !value.empty() && value[0] == '1' ? kShortPolicy
                                                                                     : setting.fields.size();
}

// Separators that a record has beyond those between its fields: one in a name moves all fields behind it.
size_t separators_too_many(const Description &setting, std::string_view record)
{
    const char separator = setting.fields[0].separator;
    if (separator < ' ') {
        return 0;
    }
    const auto found = std::count(record.begin(), record.end(), separator);
    const auto wanted = std::count_if(setting.fields.begin(), setting.fields.end(),
                                      [&](const Field &field) { return field.separator == separator; });
    return found > wanted ? static_cast<size_t>(found - wanted) : 0;
}

void check_record(const Description &setting, std::string_view record, int number, size_t expected,
                  std::vector<Refusal> &found)
{
    const std::vector<std::string> fields = fields_of(setting, record);
    if (fields.size() < expected) {
        found.push_back(
            {number, nullptr, std::string(record),
             "has " + std::to_string(fields.size()) + " of " + std::to_string(expected) + " fields", fields,
             false});
        return;
    }
    if (fields.size() > expected) {
        found.push_back({number, nullptr, std::string(record),
                         "has more than " + std::to_string(expected) + " fields", fields, false});
        return;
    }
    if (const size_t more = separators_too_many(setting, record); more > 0) {
        found.push_back({number, nullptr, std::string(record),
                         "has " + std::to_string(expected + more) + " fields, not " +
                             std::to_string(expected) + ": \"" + setting.fields[0].separator +
                             "\" ends a field, so no name can hold it",
                         fields, false});
        return;
    }
    for (size_t i = 0; i < fields.size(); ++i) {
        const Field &field = setting.fields[i];
        bool is_too_long = false;
        const std::string why =
            why_wrong({field.type, setting.key, field.name, setting.refuse}, fields[i], is_too_long);
        if (!why.empty()) {
            found.push_back({number, &field, fields[i], why, fields, is_too_long});
        }
    }
}

bool is_policy_format(std::string_view value)
{
    return (value[0] == '1' || value[0] == '2') && (value.size() == 1 || value[1] == kRecordEnd);
}

void check_list(const Description &setting, std::string_view value, std::vector<Refusal> &found)
{
    const bool is_policies = setting.type.form == Form::kPolicies;
    if (is_policies && !is_policy_format(value)) {
        found.push_back({0, nullptr, std::string(value), "does not begin with the format 1 or 2", {}, false});
        return;
    }
    if (setting.type.most > 0 && static_cast<long>(value.size()) > setting.type.most) {
        found.push_back({0,
                         nullptr,
                         std::string(value),
                         "is longer than " + std::to_string(setting.type.most) + " characters",
                         {},
                         true});
        return;
    }
    const std::vector<std::string> records = records_of(setting, value);
    const size_t expected = expected_fields(setting, value);
    for (size_t i = 0; i < records.size(); ++i) {
        const int number = static_cast<int>(i) + 1;
        if (is_policies && i >= kMostPolicies) {
            found.push_back({number, nullptr, records[i], "is one more than the 8 that are read", {}, false});
            return;
        }
        check_record(setting, records[i], number, expected, found);
    }
}

}  // namespace

std::vector<std::string> records_of(const Description &setting, std::string_view value)
{
    std::vector<std::string> records;
    if (setting.type.form == Form::kFields) {
        records.emplace_back(value);
        return records;
    }
    if (setting.type.form == Form::kPolicies) {
        const size_t first = value.find(kRecordEnd);
        value.remove_prefix(first == std::string_view::npos ? value.size() : first + 1);
    }
    while (!value.empty()) {
        const size_t end = std::min(value.find(kRecordEnd), value.size());
        records.emplace_back(value.substr(0, end));
        value.remove_prefix(std::min(end + 1, value.size()));
    }
    return records;
}

std::vector<std::string> fields_of(const Description &setting, std::string_view record)
{
    std::vector<std::string> fields;
    for (const Field &field : setting.fields) {
        const size_t end = field.separator == '\0' ? std::string_view::npos : record.find(field.separator);
        fields.emplace_back(record.substr(0, end));
        if (end == std::string_view::npos) {
            if (fields.size() == setting.fields.size() && fields.back().find('\x02') != std::string::npos) {
                fields.emplace_back();  // a field too many
            }
            return fields;
        }
        record.remove_prefix(end + 1);
    }
    return fields;
}

std::vector<Refusal> refusals(const Description &setting, std::string_view value)
{
    std::vector<Refusal> found;
    if (value.empty()) {
        if (!setting.empty) {
            found.push_back({0, nullptr, "", "is empty", {}, false});
        }
        return found;
    }
    const Form form = setting.type.form;
    if (form == Form::kList || form == Form::kFields || form == Form::kPolicies) {
        check_list(setting, value, found);
        return found;
    }
    bool is_too_long = false;
    const std::string why = why_wrong({setting.type, setting.key, "", setting.refuse}, value, is_too_long);
    if (!why.empty()) {
        found.push_back({0, nullptr, std::string(value), why, {}, is_too_long});
    }
    return found;
}

std::string refusal_text(const Description &setting, std::string_view value)
{
    const std::vector<Refusal> found = refusals(setting, value);
    if (found.empty()) {
        return "";
    }
    const Refusal &first = found[0];
    return setting.key + (first.record == 0 ? "" : ": record " + std::to_string(first.record)) +
           (first.field == nullptr ? "" : ": " + first.field->name) + " " + first.reason;
}

std::optional<uint32_t> read_address(std::string_view text)
{
    uint32_t address = 0;
    for (int part = 0; part < 4; ++part) {
        const size_t dot = part < 3 ? text.find('.') : text.size();
        constexpr size_t kMostDigits = 3;  // no dot at all is beyond them too
        const std::string_view octet = text.substr(0, dot);
        const bool is_octal = octet.size() > 1 && octet[0] == '0';  // for some of the readers
        if (dot > kMostDigits || is_octal || !is_number(octet, 0, 255)) {
            return std::nullopt;
        }
        address = address << 8U | static_cast<uint32_t>(read_number(octet));
        text.remove_prefix(std::min(dot + 1, text.size()));
    }
    return address;
}

std::string address_text(uint32_t address)
{
    return std::to_string(address >> 24U) + "." + std::to_string(address >> 16U & 255U) + "." +
           std::to_string(address >> 8U & 255U) + "." + std::to_string(address & 255U);
}

std::optional<int> read_netmask(std::string_view text)
{
    const auto mask = read_address(text);
    if (!mask || (~*mask & (~*mask + 1U)) != 0) {
        return std::nullopt;
    }
    int bits = 0;
    for (uint32_t rest = *mask; rest != 0; rest <<= 1U) {
        ++bits;
    }
    return bits;
}

}  // namespace forms
