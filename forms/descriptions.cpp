#include "forms/descriptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "forms/escapes.h"

namespace forms {

namespace {

// ---- small texts ------------------------------------------------------------------------------------------

bool starts_with(std::string_view text, std::string_view front)
{
    return text.substr(0, front.size()) == front;
}

// Cuts off and returns what stands before `separator`, which goes too; the whole text when it has none.
std::string_view take_before(std::string_view &text, std::string_view separator)
{
    const size_t at = text.find(separator);
    const std::string_view front = text.substr(0, at);
    text.remove_prefix(at == std::string_view::npos ? text.size() : at + separator.size());
    return front;
}

std::vector<std::string> split(std::string_view text, std::string_view separator)
{
    std::vector<std::string> parts;
    while (!text.empty()) {
        parts.emplace_back(take_before(text, separator));
    }
    return parts;
}

bool read_range(std::string_view text, long &least, long &most)
{
    const std::string_view first = take_before(text, " to ");
    const auto one = std::from_chars(first.data(), first.data() + first.size(), least);
    const auto other = std::from_chars(text.data(), text.data() + text.size(), most);
    return one.ec == std::errc{} && one.ptr == first.data() + first.size() && other.ec == std::errc{} &&
           other.ptr == text.data() + text.size();
}

// ---- types ------------------------------------------------------------------------------------------------

struct PlainType {
    const char *name;
    Form form;
    long least;
    long most;
};

constexpr PlainType kPlainTypes[] = {
    {"flag", Form::kFlag, 0, 1},
    {"choice", Form::kChoice, 0, 0},
    {"address", Form::kAddress, 7, 15},
    {"host address", Form::kHostAddress, 7, 15},
    {"address or 0", Form::kAddressOrZero, 1, 15},
    {"addresses", Form::kAddresses, 7, 31},
    {"netmask", Form::kNetmask, 7, 15},
    {"network", Form::kNetwork, 0, 33},
    {"hardware address", Form::kHardware, 17, 17},
    {"hardware digits", Form::kHardwareDigits, 12, 17},
    {"station", Form::kStation, 17, 127},
    {"interface", Form::kInterface, 1, 7},
    {"host", Form::kHost, 1, 63},
    {"label", Form::kLabel, 1, 63},
    {"port", Form::kPort, 1, 65535},
    {"ports", Form::kPorts, 1, 15},
    {"days", Form::kDays, 7, 7},
    {"list", Form::kList, 0, 0},
    {"fields", Form::kFields, 0, 0},
    {"policies", Form::kPolicies, 0, 0},
};

struct RangeType {
    const char *front;
    Form form;
    bool has_least;  // "A to B"; else "B"
};

constexpr RangeType kRangeTypes[] = {
    {"number ", Form::kNumber, true},
    {"text up to ", Form::kText, false},
    {"text ", Form::kText, true},
    {"word up to ", Form::kWord, false},
    {"word ", Form::kWord, true},
    {"list up to ", Form::kList, false},
    {"hexadecimal ", Form::kHexadecimal, true},
};

bool read_type(std::string_view text, Type &type)
{
    for (const PlainType &plain : kPlainTypes) {
        if (text == plain.name) {
            type = {plain.form, plain.least, plain.most, {}};
            return true;
        }
    }
    if (starts_with(text, "choice ")) {
        type = {Form::kChoice, 0, 0, split(text.substr(7), "|")};
        return true;
    }
    if (text == "hexadecimal 10 or 26") {
        type = {Form::kDigits, 10, 26, {}};
        return true;
    }
    for (const RangeType &range : kRangeTypes) {
        if (starts_with(text, range.front)) {
            type.form = range.form;
            const std::string numbers = (range.has_least ? "" : "0 to ") +
                                        std::string(text.substr(std::string_view(range.front).size()));
            return read_range(numbers, type.least, type.most);
        }
    }
    return false;
}

// ---- conditions and claims --------------------------------------------------------------------------------

struct TestWords {
    const char *words;
    Condition::Test test;
};

// Longer ones first where one is the front of another.
constexpr TestWords kTests[] = {
    {" does not begin with ", Condition::Test::kDoesNotBegin},
    {" begins with ", Condition::Test::kBegins},
    {" does not read ", Condition::Test::kDoesNotRead},
    {" reads ", Condition::Test::kReads},
    {" is longer than ", Condition::Test::kIsLonger},
    {" is set", Condition::Test::kIsSet},
    {" is not ", Condition::Test::kIsNot},
    {" is ", Condition::Test::kIs},
};

bool read_conditions(std::string_view text, std::vector<Condition> &conditions)
{
    for (const std::string &one : split(text, ", ")) {
        const auto *found = std::find_if(std::begin(kTests), std::end(kTests), [&](const TestWords &test) {
            return one.find(test.words) != std::string::npos;
        });
        if (found == std::end(kTests)) {
            return false;
        }
        const size_t at = one.find(found->words);
        conditions.push_back({one.substr(0, at), found->test,
                              split(one.substr(at + std::string_view(found->words).size()), " or ")});
    }
    return !conditions.empty();
}

// The text between the quotes at the end of `text`, escapes resolved; moves `text` to what stands before
// them.
bool take_quoted(std::string_view &text, std::string &quoted)
{
    const size_t first = text.find(" \"");
    if (first == std::string_view::npos || text.size() < first + 3 || text.back() != '"') {
        return false;
    }
    std::string plain;
    const std::string_view inner = text.substr(first + 2, text.size() - first - 3);
    for (size_t i = 0; i < inner.size(); ++i) {  // \" is this form's own; the others are those of all texts
        if (inner[i] == '\\' && i + 1 < inner.size() && inner[i + 1] == '"') {
            continue;
        }
        plain += inner[i];
    }
    std::string why;
    text = text.substr(0, first);
    return unescape(plain, quoted, why);
}

// rc WORDS: DOES "TEXT"
bool read_claim(std::string_view text, Claim &claim)
{
    if (!starts_with(text, "rc ") || !take_quoted(text, claim.text)) {
        return false;
    }
    text.remove_prefix(3);
    claim.words = take_before(text, ": ");
    claim.is_there = true;
    if (text == "runs" || text == "never runs") {
        claim.where = Claim::Where::kCommand;
        claim.is_there = text == "runs";
        return true;
    }
    if (text == "prints" || text == "names itself") {
        claim.where = text == "prints" ? Claim::Where::kOutput : Claim::Where::kHostName;
        return true;
    }
    claim.where = Claim::Where::kFile;
    claim.path = take_before(text, " ");
    claim.is_there = text == "has";
    return starts_with(claim.path, "/") && (text == "has" || text == "lacks");
}

// ---- one file ---------------------------------------------------------------------------------------------

// Reads the attributes of one setting, or of a field named behind the attribute's own name.
class DescriptionReader {
  public:
    DescriptionReader(Area &area, std::vector<Fault> &faults) : area_(area), faults_(faults) {}

    void read_line(std::string_view line);
    void end();

  private:
    void refuse(const std::string &why) { faults_.push_back({line_, why}); }
    void read_head(std::string_view text);
    void read_attribute(std::string_view name, std::string_view text);
    bool read_plain(std::string_view name, std::string_view text);
    bool read_named(std::string_view name, const std::string &subject, std::string_view text);
    bool read_consequence(std::string_view name, std::string_view text, Consequence &consequence);
    bool read_field(const std::string &name, std::string_view text);
    void read_record(std::string_view text);
    void read_entry(std::string_view line);
    void check_whole();

    Area &area_;
    std::vector<Fault> &faults_;
    Description open_;
    bool is_open_ = false;
    size_t line_ = 0;
};

void DescriptionReader::read_head(std::string_view text)
{
    if (is_open_) {
        refuse("a description without its key=value before it");
    }
    open_ = {};
    is_open_ = true;
    open_.path = area_.path;
    const size_t colon = text.find(": ");
    open_.type_text = text.substr(0, colon);
    open_.meaning = colon == std::string_view::npos ? "" : text.substr(colon + 2);
    if (open_.meaning.empty() || !read_type(open_.type_text, open_.type)) {
        refuse("\"## TYPE: MEANING\" expected, with a known type");
    }
}

bool DescriptionReader::read_consequence(std::string_view name, std::string_view text,
                                         Consequence &consequence)
{
    if (name == "wrong") {
        consequence.phrase = text;
        return true;
    }
    if (name == "seen") {
        return read_claim(text, consequence.seen.emplace_back());
    }
    if (name == "when") {
        return read_conditions(text, consequence.when);
    }
    return name == "unless" && read_conditions(text, consequence.unless);
}

// Texts and lists of words that stand as they are written.
bool DescriptionReader::read_plain(std::string_view name, std::string_view text)
{
    const std::pair<const char *, std::string *> texts[] = {
        {"read", &open_.read},     {"advice", &open_.advice}, {"apply", &open_.apply},
        {"set by", &open_.set_by}, {"refuse", &open_.refuse}, {"before", &open_.before},
        {"stays", &open_.stays},
    };
    for (const auto &[word, target] : texts) {
        if (name == word) {
            *target = text;
            return true;
        }
    }
    if (name == "empty") {
        open_.empty = text;
    } else if (name == "needed") {
        open_.empty = "none; needed when " + std::string(text);
        return read_conditions(text, open_.needed);
    } else if (name == "secret") {
        open_.is_secret = true;
    } else if (name == "related") {
        open_.related = split(text, " ");
    } else if (name == "values") {
        for (const std::string &word : split(text, " ")) {
            open_.choices.push_back({word, ""});
        }
    } else if (name == "on" || name == "off") {
        return read_claim(text, (name == "on" ? open_.on : open_.off).emplace_back());
    } else if (name == "record") {
        read_record(text);
    } else {
        return read_consequence(name, text, open_.wrong);
    }
    return true;
}

void DescriptionReader::read_record(std::string_view text)
{
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789_";
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_not_of(kLetters), text.size());
        Field &field = open_.fields.emplace_back();
        field.name = text.substr(0, end);
        field.separator = end < text.size() ? text[end] : '\0';
        if (open_.type.form == Form::kPolicies && end < text.size()) {
            field.separator = '\x02';
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

bool DescriptionReader::read_field(const std::string &name, std::string_view text)
{
    const auto field = std::find_if(open_.fields.begin(), open_.fields.end(),
                                    [&](const Field &one) { return one.name == name; });
    if (field == open_.fields.end()) {
        return false;
    }
    field->type_text = take_before(text, ": ");
    field->meaning = text;
    return read_type(field->type_text, field->type) && !field->meaning.empty();
}

bool DescriptionReader::read_named(std::string_view name, const std::string &subject, std::string_view text)
{
    if (name == "value") {
        open_.choices.push_back({subject, std::string(text)});
        return true;
    }
    if (name == "field") {
        return read_field(subject, text);
    }
    if (name == "secret" && subject == "fields") {
        for (Field &field : open_.fields) {
            const std::vector<std::string> secrets = split(text, " ");
            field.is_secret = std::count(secrets.begin(), secrets.end(), field.name) != 0;
        }
        return true;
    }
    for (Field &field : open_.fields) {
        if (field.name == subject) {
            return read_consequence(name, text, field.wrong);
        }
    }
    return false;
}

void DescriptionReader::read_attribute(std::string_view name, std::string_view text)
{
    const size_t space = name.find(' ');
    const bool is_named = space != std::string_view::npos && name != "set by";
    const bool is_fine = is_named
                             ? read_named(name.substr(0, space), std::string(name.substr(space + 1)), text)
                             : read_plain(name, text);
    if (!is_fine) {
        refuse("\"" + std::string(name) + ": " + std::string(text) + "\" is not understood");
    }
}

// What a description must have to be of use.
void DescriptionReader::check_whole()
{
    if (open_.apply.empty()) {
        refuse("\"" + open_.key + "\" has no \"apply:\"");
    }
    if (open_.wrong.phrase.empty() != open_.wrong.seen.empty()) {
        refuse("\"" + open_.key + "\" has one of \"wrong:\" and \"seen:\" without the other");
    }
    for (const Field &field : open_.fields) {
        if (field.meaning.empty()) {
            refuse("\"" + open_.key + "\" does not describe its field \"" + field.name + "\"");
        }
        if (field.wrong.phrase.empty() != field.wrong.seen.empty()) {
            refuse("\"" + open_.key + "\" has one of \"wrong:\" and \"seen:\" of its field \"" + field.name +
                   "\" without the other");
        }
    }
    for (const Choice &choice : open_.choices) {
        open_.type.words.push_back(choice.word);
    }
}

void DescriptionReader::read_entry(std::string_view line)
{
    const size_t equals = line.find('=');
    if (!is_open_ || equals == std::string_view::npos || equals == 0) {
        refuse(is_open_ ? "key=value expected" : "a setting without its description");
        return;
    }
    open_.key = line.substr(0, equals);
    open_.raw_value = line.substr(equals + 1);
    open_.line = line_;
    std::string why;
    if (!unescape(open_.raw_value, open_.value, why)) {
        refuse(why);
    }
    check_whole();
    area_.settings.push_back(std::move(open_));
    is_open_ = false;
}

void DescriptionReader::read_line(std::string_view line)
{
    ++line_;
    if (line.empty()) {
        return;
    }
    if (starts_with(line, "## ")) {
        read_head(line.substr(3));
    } else if (starts_with(line, "#   ")) {
        std::string_view text = line.substr(4);
        const std::string_view name = take_before(text, ": ");
        read_attribute(name, text);
    } else if (starts_with(line, "# ")) {
        if (area_.title.empty()) {
            area_.title = line.substr(2, line.size() - 2 - (line.back() == '.' ? 1 : 0));
        }
    } else {
        read_entry(line);
    }
}

void DescriptionReader::end()
{
    if (is_open_) {
        refuse("a description without its key=value");
    }
}

// ---- conditions and templates at work ---------------------------------------------------------------------

bool fits(const Condition &condition, const std::string &value, const std::string &word)
{
    switch (condition.test) {
        case Condition::Test::kIs:
        case Condition::Test::kIsNot:
            return read_number(value) == read_number(word);
        case Condition::Test::kBegins:
        case Condition::Test::kDoesNotBegin:
            return starts_with(value, word);
        case Condition::Test::kReads:
        case Condition::Test::kDoesNotRead:
            return value == word;
        case Condition::Test::kIsLonger:
            return value.size() > static_cast<size_t>(read_number(word));
        case Condition::Test::kIsSet:
            break;
    }
    return !value.empty();
}

bool holds(const Condition &condition, const Lookup &lookup)
{
    const std::string value = lookup(condition.subject);
    if (condition.test == Condition::Test::kIsSet) {
        return !value.empty();
    }
    const bool one_fits = std::any_of(condition.words.begin(), condition.words.end(),
                                      [&](const std::string &word) { return fits(condition, value, word); });
    const bool is_negative = condition.test == Condition::Test::kIsNot ||
                             condition.test == Condition::Test::kDoesNotBegin ||
                             condition.test == Condition::Test::kDoesNotRead;
    return one_fits != is_negative;
}

std::string fill_name(std::string_view name, const Lookup &lookup, size_t width)
{
    if (name == "value") {
        return lookup("it");
    }
    if (starts_with(name, "cut")) {
        const size_t most = name == "cut" ? width : static_cast<size_t>(read_number(name.substr(4)));
        return lookup("it").substr(0, most);
    }
    const long number = read_number(lookup("it"));
    if (name == "number") {
        return std::to_string(number);
    }
    if (name == "number*60") {  // as rc's 32-bit numbers do it
        return std::to_string(static_cast<int>(static_cast<unsigned>(number) * 60U));
    }
    if (name == "number%256") {
        return std::to_string(static_cast<unsigned char>(number));
    }
    return lookup(name);
}

}  // namespace

Area read_descriptions(const std::string &path, std::string_view text, std::vector<Fault> &faults)
{
    Area area{path, "", {}};
    DescriptionReader reader(area, faults);
    while (!text.empty()) {
        reader.read_line(take_before(text, "\n"));
    }
    reader.end();
    return area;
}

std::vector<const Description *> all_descriptions()
{
    std::vector<const Description *> all;
    for (const Area &area : described_areas()) {
        for (const Description &one : area.settings) {
            all.push_back(&one);
        }
    }
    return all;
}

const Description *find_description(std::string_view key)
{
    static const std::vector<const Description *> sorted = [] {
        std::vector<const Description *> all = all_descriptions();
        std::sort(all.begin(), all.end(), [](const auto *a, const auto *b) { return a->key < b->key; });
        return all;
    }();
    const auto found =
        std::lower_bound(sorted.begin(), sorted.end(), key,
                         [](const Description *one, std::string_view it) { return one->key < it; });
    return found != sorted.end() && (*found)->key == key ? *found : nullptr;
}

long read_number(std::string_view text)
{
    while (!text.empty() && (text[0] == ' ' || (text[0] >= '\t' && text[0] <= '\r'))) {
        text.remove_prefix(1);
    }
    const bool is_negative = starts_with(text, "-");
    if (is_negative || starts_with(text, "+")) {
        text.remove_prefix(1);
    }
    long number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            break;
        }
        number = std::min(number * 10 + (c - '0'), 2147483647L);
    }
    return is_negative ? -number : number;
}

bool all_hold(const std::vector<Condition> &conditions, const Lookup &lookup)
{
    return std::all_of(conditions.begin(), conditions.end(),
                       [&](const Condition &condition) { return holds(condition, lookup); });
}

std::string fill_template(std::string_view text, const Lookup &lookup, size_t width)
{
    std::string filled;
    while (!text.empty()) {
        const size_t open = text.find('{');
        const size_t close = text.find('}', open);
        filled += text.substr(0, open);
        if (close == std::string_view::npos) {
            break;
        }
        filled += fill_name(text.substr(open + 1, close - open - 1), lookup, width);
        text.remove_prefix(close + 1);
    }
    return filled;
}

std::string phrase_of_any(std::string phrase)
{
    const size_t at = phrase.find("{number");
    if (at == std::string::npos) {
        return phrase;
    }
    const size_t end = phrase.find('}', at);
    const bool is_cut = phrase.compare(at, end - at, "{number%256") == 0;
    phrase.replace(at, end + 1 - at, is_cut ? "N modulo 256" : "N");
    return phrase + ", N being what it reads at the front of the value";
}

std::vector<std::string> apply_commands(const Description &setting)
{
    std::vector<std::string> commands = split(setting.apply, ", ");
    std::erase_if(commands,
                  [](const std::string &one) { return !starts_with(one, "rc ") && one != "reboot"; });
    return commands;
}

std::vector<std::string> all_apply_commands()
{
    std::vector<std::vector<std::string>> lists;
    for (const Description *one : all_descriptions()) {
        lists.push_back(apply_commands(*one));
    }
    std::vector<std::string> order;
    const auto is_front = [&](const std::string &command) {
        return std::all_of(lists.begin(), lists.end(), [&](const std::vector<std::string> &list) {
            return list.empty() || list[0] == command || std::count(list.begin(), list.end(), command) == 0;
        });
    };
    for (;;) {
        std::erase_if(lists, [](const std::vector<std::string> &list) { return list.empty(); });
        if (lists.empty()) {
            std::stable_partition(order.begin(), order.end(),
                                  [](const std::string &one) { return one != "reboot"; });
            return order;
        }
        const auto next = std::find_if(lists.begin(), lists.end(), [&](const std::vector<std::string> &list) {
            return is_front(list[0]);
        });
        if (next == lists.end()) {
            throw std::logic_error("the commands that apply settings are in no order that fits all");
        }
        order.push_back((*next)[0]);
        for (std::vector<std::string> &list : lists) {
            if (!list.empty() && list[0] == order.back()) {
                list.erase(list.begin());
            }
        }
    }
}

std::string_view words_of(std::string_view command)
{
    return starts_with(command, "rc ") ? command.substr(3) : command;
}

}  // namespace forms
