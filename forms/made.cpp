#include "forms/made.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "forms/descriptions.h"
#include "forms/escapes.h"
#include "forms/exposure.h"

namespace forms {

namespace {

using Json = nlohmann::ordered_json;

// ---- patterns ---------------------------------------------------------------------------------------------

constexpr const char *kOctet = "(25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9]?[0-9])";
// The first octet of an address that a host can have: 1 to 223 without 127.
constexpr const char *kHostOctet = "(22[0-3]|2[01][0-9]|1[013-9][0-9]|12[0-689]|[1-9][0-9]?)";
constexpr const char *kHex = "[0-9A-Fa-f]";

std::string address_pattern()
{
    const std::string octet = kOctet;
    return octet + "(\\." + octet + "){3}";
}

std::string host_address_pattern()
{
    return kHostOctet + std::string("(\\.") + kOctet + "){3}";
}

std::string hardware_pattern()
{
    return std::string(kHex) + "{2}(:" + kHex + "{2}){5}";
}

std::string netmask_pattern()
{
    const std::string part = "(0|128|192|224|240|248|252|254|255)";
    return "(255\\.255\\.255\\." + part + "|255\\.255\\." + part + "\\.0|255\\." + part + "\\.0\\.0|" + part +
           "\\.0\\.0\\.0)";
}

// A character of a pattern's class, as a pattern writes it.
std::string class_character(char c)
{
    const bool is_special = c == '\\' || c == ']' || c == '^' || c == '-' || c == '[';
    return (is_special ? "\\" : "") + std::string(1, c);
}

// Free text without what must be refused in it; `separator` ends it in a record.
std::string text_pattern(const Type &type, const Harm &harm, std::string_view more, char separator)
{
    const std::string width = "{" + std::to_string(type.least) + "," + std::to_string(type.most) + "}";
    if (harm.is_bare) {
        std::string plain = "A-Za-z0-9";
        for (const char c : std::string_view("@%_+=:,./-")) {
            plain += c == separator || more.find(c) != std::string_view::npos ? "" : class_character(c);
        }
        return "[" + plain + "]" + width;
    }
    std::string none = "\\u0000-\\u001f\\u007f";
    for (const char c : harm.characters + std::string(more)) {
        none += c < ' ' ? "" : class_character(c);
    }
    none += type.form == Form::kWord ? " " : "";
    none += separator > ' ' ? class_character(separator) : "";
    return "[^" + none + "]" + width;
}

std::string choice_pattern(const Type &type)
{
    std::string text;
    for (const std::string &word : type.words) {
        text += text.empty() ? "(" : "|";
        for (const char c : word) {
            text +=
                (std::string_view("+.|").find(c) == std::string_view::npos ? "" : "\\") + std::string(1, c);
        }
    }
    return text + ")";
}

// The numbers with as many digits as both, digit by digit where they differ.
std::string digits_pattern(long first, long last)
{
    const std::string from = std::to_string(first);
    const std::string to = std::to_string(last);
    std::string text;
    for (size_t i = 0; i < from.size(); ++i) {
        text +=
            from[i] == to[i] ? std::string(1, from[i]) : "[" + std::string(1, from[i]) + "-" + to[i] + "]";
    }
    return text;
}

// Where a range must be cut so that in each piece the digits vary on their own.
std::vector<long> range_ends(long least, long most)
{
    std::vector<long> ends = {most};
    for (long ten = 10; ten <= 10 * most; ten *= 10) {
        if (const long nines = least - least % ten + ten - 1; nines >= least && nines < most) {
            ends.push_back(nines);
        }
        if (const long before = (most + 1) - (most + 1) % ten - 1; before >= least && before < most) {
            ends.push_back(before);
        }
    }
    std::sort(ends.begin(), ends.end());
    ends.erase(std::unique(ends.begin(), ends.end()), ends.end());
    return ends;
}

std::string number_pattern(long least, long most)
{
    std::string text;
    long first = least;
    for (const long last : range_ends(least, most)) {
        text += (text.empty() ? "" : "|") + digits_pattern(first, last);
        first = last + 1;
    }
    return "0*(" + text + ")";
}

std::string repeated(const char *one, long least, long most)
{
    return std::string(one) + "{" + std::to_string(least) + "," + std::to_string(most) + "}";
}

struct Place {
    std::string_view key;
    std::string_view field;
    std::string_view refuse;
    char separator;
};

std::string pattern_of(const Type &type, const Place &place)
{
    std::string address = address_pattern();
    switch (type.form) {
        case Form::kFlag:
            return "[01]";
        case Form::kChoice:
            return choice_pattern(type);
        case Form::kAddress:
            return address;
        case Form::kHostAddress:
            return host_address_pattern();
        case Form::kAddressOrZero:
            return "(0|" + address + ")";
        case Form::kAddresses:
            return "(" + address + "|" + address + "-" + address + "|" + address + "/([0-9]{1,2}|" + address +
                   "))";
        case Form::kNetmask:
            return netmask_pattern();
        case Form::kNetwork:
            return "[0-9.]{1,33}";
        case Form::kHardware:
            return hardware_pattern();
        case Form::kHardwareDigits:
            return "(" + hardware_pattern() + "|" + kHex + "{12})";
        case Form::kStation:
            return hardware_pattern() + "[^\\u0000-\\u001f\\u007f]*";
        case Form::kInterface:
            return "[A-Za-z][A-Za-z0-9._-]{0,6}";
        case Form::kHost:
        case Form::kLabel: {
            const std::string label = "[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?";
            // Its last label is no number, or all of it is an address.
            const std::string last =
                "([0-9]*[A-Za-z]([A-Za-z0-9-]*[A-Za-z0-9])?|[0-9]+-[A-Za-z0-9-]*[A-Za-z0-9])";
            return type.form == Form::kLabel ? label : "(" + address + "|(" + label + "\\.)*" + last + ")";
        }
        case Form::kDays:
            return "[01]{7}";
        case Form::kDigits:
            return "(" + std::string(kHex) + "{10}|" + kHex + "{26})";
        case Form::kHexadecimal:
            return repeated(kHex, 1, type.most);
        case Form::kNumber:
        case Form::kPort:
            return number_pattern(type.least, type.most);
        case Form::kPorts:
            return number_pattern(1, 65535) + "(-" + number_pattern(1, 65535) + ")?";
        default: {
            const std::string text =
                text_pattern(type, harm_of(place.key, place.field), place.refuse, place.separator);
            return place.key == "vpn" ? "(\\u0003|" + text + ")" : text;
        }
    }
}

std::string separator_pattern(char separator)
{
    return separator < ' ' ? "\\u0002" : class_character(separator);
}

std::string record_pattern(const Description &setting, size_t count)
{
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        const Field &field = setting.fields[i];
        text += pattern_of(field.type, {setting.key, field.name, setting.refuse, field.separator});
        text += i + 1 == count ? "" : separator_pattern(field.separator);
    }
    return text;
}

std::string list_pattern(const Description &setting)
{
    std::string whole = record_pattern(setting, setting.fields.size());
    if (setting.type.form == Form::kFields) {
        return whole;
    }
    if (setting.type.form == Form::kPolicies) {
        constexpr size_t kFirstFormat = 26;
        return "(1(\\u0001" + record_pattern(setting, kFirstFormat) + "){0,8}|2(\\u0001" + whole +
               "){0,8})\\u0001?";
    }
    return "(" + whole + ")(\\u0001" + whole + ")*\\u0001?";
}

bool is_list(const Description &setting)
{
    return !setting.fields.empty();
}

// ---- the schema -------------------------------------------------------------------------------------------

Json field_schema(const Description &setting, const Field &field)
{
    Json json;
    json["name"] = field.name;
    json["type"] = field.type_text;
    json["description"] = field.meaning;
    if (field.separator != '\0') {
        json["ended-by"] = std::string(1, field.separator);
    }
    if (field.type.form == Form::kNumber || field.type.form == Form::kPort) {
        json["minimum"] = field.type.least;
        json["maximum"] = field.type.most;
    }
    if (field.is_secret) {
        json["secret"] = true;
    }
    if (const Harm harm = harm_of(setting.key, field.name); harm.is_bare || !harm.characters.empty()) {
        json["refuse"] = harm.is_bare ? "all but letters, digits and @%_+=:,./-" : harm.characters;
    }
    return json;
}

Json exposure_schema(const Exposure &one)
{
    Json json;
    json["run"] = "rc " + one.words;
    json["command"] = one.command;
    json["quoting"] = quoting_name(one.quoting);
    if (!one.field.empty()) {
        json["field"] = one.field;
    }
    return json;
}

void add_exposure(const Description &setting, Json &json)
{
    Json places = Json::array();
    for (const Exposure &one : known_exposures()) {
        if (one.key == setting.key) {
            places.push_back(exposure_schema(one));
        }
    }
    if (!places.empty()) {
        json["x-shell"] = places;
    }
    if (const Harm harm = harm_of(setting.key, ""); harm.is_bare || !harm.characters.empty()) {
        json["x-refuse"] = harm.is_bare ? "all but letters, digits and @%_+=:,./-" : harm.characters;
    }
}

void add_limits(const Description &setting, Json &json)
{
    if (setting.type.form == Form::kChoice) {
        json["enum"] = setting.type.words;
        if (setting.empty) {
            json["enum"].push_back("");
        }
        return;
    }
    const std::string pattern = is_list(setting)
                                    ? list_pattern(setting)
                                    : pattern_of(setting.type, {setting.key, "", setting.refuse, '\0'});
    json["pattern"] = "^(" + pattern + ")" + (setting.empty ? "?" : "") + "$";
    if (setting.type.form == Form::kNumber || setting.type.form == Form::kPort) {
        json["x-minimum"] = setting.type.least;
        json["x-maximum"] = setting.type.most;
    }
    const bool has_width = setting.type.form == Form::kHost || setting.type.form == Form::kLabel ||
                           (setting.type.form == Form::kList && setting.type.most > 0);
    if (has_width) {
        json["maxLength"] = setting.type.most;
    }
}

void add_record(const Description &setting, Json &json)
{
    if (setting.fields.empty()) {
        return;
    }
    Json fields = Json::array();
    for (const Field &field : setting.fields) {
        fields.push_back(field_schema(setting, field));
    }
    json["x-record"] = fields;
    if (setting.type.form != Form::kFields) {
        json["x-record-end"] = "\x01";
    }
}

Json setting_schema(const Description &setting)
{
    Json json;
    json["type"] = "string";
    json["description"] = setting.meaning;
    json["default"] = setting.value;
    add_limits(setting, json);
    json["x-type"] = setting.type_text;
    if (setting.empty) {
        json["x-empty"] = *setting.empty;
    }
    for (const Choice &choice : setting.choices) {
        if (!choice.meaning.empty()) {
            json["x-values"][choice.word] = choice.meaning;
        }
    }
    add_record(setting, json);
    if (setting.is_secret) {
        json["x-secret"] = true;
    }
    if (!setting.before.empty()) {
        json["x-run-before-saving"] = setting.before;
    }
    json["x-applied-by"] = apply_commands(setting);
    if (!setting.stays.empty()) {
        json["x-stays"] = setting.stays;
    }
    if (!setting.related.empty()) {
        json["x-related"] = setting.related;
    }
    add_exposure(setting, json);
    return json;
}

// ---- the validator ----------------------------------------------------------------------------------------

struct Letter {
    Form form;
    char letter;
    bool has_width;
};

constexpr Letter kLetters[] = {
    {Form::kFlag, 'F', false},     {Form::kNumber, 'N', true},       {Form::kChoice, 'C', false},
    {Form::kAddress, 'A', false},  {Form::kHostAddress, 'B', false}, {Form::kAddressOrZero, 'Z', false},
    {Form::kAddresses, 'R', true}, {Form::kNetmask, 'M', false},     {Form::kNetwork, 'G', true},
    {Form::kHardware, 'H', false}, {Form::kStation, 'S', true},      {Form::kHardwareDigits, 'D', false},
    {Form::kInterface, 'I', true}, {Form::kHost, 'O', true},         {Form::kLabel, 'L', true},
    {Form::kPort, 'P', false},     {Form::kPorts, 'Q', false},       {Form::kText, 'T', true},
    {Form::kWord, 'W', true},      {Form::kDigits, 'X', false},      {Form::kHexadecimal, 'E', true},
    {Form::kDays, 'Y', false},     {Form::kList, 'l', false},        {Form::kFields, 'f', false},
    {Form::kPolicies, 'p', false},
};

std::string harm_rule(const Harm &harm, std::string_view refuse)
{
    std::string text = harm.is_bare ? "b" : "";
    std::string shown;
    for (const char c : harm.characters) {
        shown += c > ' ' ? std::string(1, c) : "";
    }
    if (!harm.is_bare && !shown.empty()) {
        text += "!" + shown;
    }
    return text + (refuse.empty() ? "" : "^" + std::string(refuse));
}

std::string rule_of(const Type &type, const Place &place)
{
    const auto *found = std::find_if(std::begin(kLetters), std::end(kLetters),
                                     [&](const Letter &one) { return one.form == type.form; });
    std::string rule(1, found->letter);
    if (found->has_width) {
        rule += std::to_string(type.least) + "-" + std::to_string(type.most);
    }
    for (size_t i = 0; i < type.words.size(); ++i) {
        rule += (i == 0 ? "" : "|") + type.words[i];
    }
    if (type.form == Form::kText || type.form == Form::kWord) {
        rule += harm_rule(harm_of(place.key, place.field), place.refuse);
    }
    return rule;
}

std::string setting_rule(const Description &setting)
{
    std::string rule = setting.empty ? "?" : "";
    rule += rule_of(setting.type, {setting.key, "", setting.refuse, '\0'});
    if (setting.type.form == Form::kList && setting.type.most > 0) {
        rule += std::to_string(setting.type.most);
    }
    for (const Field &field : setting.fields) {
        rule += "\n" + field.name + "=" + (field.separator == '\0' ? '.' : field.separator) +
                rule_of(field.type, {setting.key, field.name, setting.refuse, '\0'});
    }
    return rule;
}

// A text as a C literal; a line end ends a piece of it.
std::string literal(std::string_view text)
{
    std::string out = "\"";
    for (const char c : text) {
        if (c == '\n') {
            out += "\\n\"\n     \"";
        } else if (c == '\x02') {
            out += "\\002";
        } else {
            out += (c == '"' || c == '\\' ? "\\" : "") + std::string(1, c);
        }
    }
    return out + "\"";
}

// A bit for each of the commands among all.
std::string command_bits(const std::vector<std::string> &commands, const std::vector<std::string> &all)
{
    unsigned long bits = 0;
    for (const std::string &command : commands) {
        bits |= 1UL << static_cast<unsigned>(std::find(all.begin(), all.end(), command) - all.begin());
    }
    char text[24];
    (void)snprintf(text, sizeof text, "0x%lxUL", bits);
    return text;
}

std::string filled(std::string_view frame, std::string_view mark, const std::string &text)
{
    const size_t at = frame.find(mark);
    return std::string(frame.substr(0, at)) + text + std::string(frame.substr(at + mark.size()));
}

// ---- the page ---------------------------------------------------------------------------------------------

// Text in a cell of a table.
std::string cell(const std::string &text)
{
    std::string out;
    for (const char c : text) {
        out += c == '|' ? "\\|" : std::string(1, c);
    }
    return out;
}

std::string code(const std::string &text)
{
    const std::string fence = text.find('`') == std::string::npos ? "`" : "``";
    const std::string pad = fence.size() > 1 ? " " : "";
    return fence + pad + cell(text) + pad + fence;
}

std::string harm_text(const Harm &harm)
{
    if (harm.is_bare) {
        return "all but letters, digits and `@%_+=:,./-`";
    }
    std::string text;
    for (const char c : harm.characters) {
        text += (text.empty() ? "" : " ") + (c == '\n' ? "line end" : code(std::string(1, c)));
    }
    return text;
}

}  // namespace

std::string settings_schema()
{
    Json json;
    json["$schema"] = "https://json-schema.org/draft/2020-12/schema";
    json["title"] = "Settings of the router";
    json["description"] =
        "Every setting that rc reads or sets, each a text. Made by scripts/settings-reference from "
        "bench/image/settings.";
    json["type"] = "object";
    json["additionalProperties"] = false;
    for (const Description *setting : all_descriptions()) {
        json["properties"][setting->key] = setting_schema(*setting);
    }
    return json.dump(2) + "\n";
}

std::string settings_check_source(std::string_view frame)
{
    const std::vector<std::string> commands = all_apply_commands();
    std::map<std::string, std::string> rows;
    std::string before;
    for (const Description *setting : all_descriptions()) {
        rows[setting->key] = "    {" + literal(setting->key) + ", " + literal(setting_rule(*setting)) + ", " +
                             command_bits(apply_commands(*setting), commands) + "},\n";
        if (!setting->before.empty()) {
            before += "    {" + literal(setting->key) + ", " + literal(setting->before) + "},\n";
        }
    }
    std::string table;
    for (const auto &[key, row] : rows) {
        table += row;
    }
    std::string names;
    for (const std::string &command : commands) {
        names += "    " + literal(command) + ",\n";
    }
    return filled(filled(filled(frame, "@SETTINGS@", table), "@COMMANDS@", names), "@BEFORE@", before);
}

std::string shell_page()
{
    std::string text =
        "# Where text meets the shell\n\n"
        "Every place where the text of a setting comes out in a command that rc gives to the shell, or in a "
        "script\nthat it runs. Measured, not read in the code: `rcbench shell` gives each setting values "
        "with "
        "a marker command in\nthem and looks which of them the shell runs. Made by "
        "`scripts/settings-reference` "
        "from\n`bench/image/settings/exposure`; settings that are not here never meet the shell as text.\n\n"
        "*Bare*: `;`, a space or any other sign of the shell ends the word. *Double*: inside double quotes, "
        "where `$`,\n`` ` ``, `\"` and `\\` still act. *Single*: inside single quotes, which only `'` "
        "ends.\n*Line*: in a line of a file whose lines are run; a line end, which every setting refuses, "
        "begins another one.\nA command led by `(crontab)` is a line of `/etc/crontab`, whose jobs cron "
        "gives to the "
        "shell: with spaces in it the\ntext makes a job of its own. The times of `fw_schedule` come out "
        "there as "
        "numbers alone.\n\n"
        "| Setting | Refuse when it is saved | Quoting | Run | Command |\n|---|---|---|---|---|\n";
    std::string last;
    for (const Exposure &one : known_exposures()) {
        const std::string name = one.key + (one.field.empty() ? "" : "." + one.field);
        const std::string refuse = name == last ? "" : harm_text(harm_of(one.key, one.field));
        text += "| " + (name == last ? "" : code(name)) + " | " + refuse + " | " + quoting_name(one.quoting) +
                " | " + code("rc " + one.words) + " | " + code(escape(one.command)) + " |\n";
        last = name;
    }
    return text;
}

}  // namespace forms
