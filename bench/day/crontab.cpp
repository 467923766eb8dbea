#include "bench/day/crontab.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace day {

namespace {

constexpr std::array<const char *, 12> kMonths = {"jan", "feb", "mar", "apr", "may", "jun",
                                                  "jul", "aug", "sep", "oct", "nov", "dec"};
constexpr std::array<const char *, 8> kWeekdays = {"sun", "mon", "tue", "wed", "thu", "fri", "sat", "sun"};
constexpr size_t kLongestWord = 100;

// A field of a line: its bounds, and where its names begin to count.
struct Field {
    int low;
    int high;
    const char *const *names = nullptr;
    size_t name_count = 0;
    const char *fault;
};

constexpr Field kMinute = {0, 59, nullptr, 0, "bad minute"};
constexpr Field kHour = {0, 23, nullptr, 0, "bad hour"};
constexpr Field kDay = {1, 31, nullptr, 0, "bad day-of-month"};
constexpr Field kMonth = {1, 12, kMonths.data(), kMonths.size(), "bad month"};
constexpr Field kWeekday = {0, 7, kWeekdays.data(), kWeekdays.size(), "bad day-of-week"};

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

void skip_blanks(std::string_view &rest)
{
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
}

bool is_word_char(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// A number, or a name where the field has names.
std::optional<int> take_number(const Field &field, std::string_view &rest)
{
    size_t length = 0;
    while (length < rest.size() && is_word_char(rest[length])) {
        ++length;
    }
    const std::string word(rest.substr(0, length));
    rest.remove_prefix(length);
    if (word.empty() || word.size() >= kLongestWord) {
        return std::nullopt;
    }
    int number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error == std::errc() && end == word.data() + word.size()) {
        return number;
    }
    for (size_t i = 0; i < field.name_count; ++i) {
        if (strcasecmp(field.names[i], word.c_str()) == 0) {
            return static_cast<int>(i) + field.low;
        }
    }
    return std::nullopt;
}

bool take_char(std::string_view &rest, char wanted)
{
    if (rest.empty() || rest.front() != wanted) {
        return false;
    }
    rest.remove_prefix(1);
    return true;
}

// "*", "N", "N-M", each range also with "/STEP". A single number has no step: "/" behind it is a fault.
template <typename Bits>
bool take_range(const Field &field, std::string_view &rest, Bits &bits)
{
    int first = field.low;
    int last = field.high;
    if (!take_char(rest, '*')) {
        const std::optional<int> number = take_number(field, rest);
        if (!number || *number < field.low || *number > field.high) {
            return false;
        }
        first = last = *number;
        if (!take_char(rest, '-')) {
            bits.set(static_cast<size_t>(first));
            return rest.empty() || rest.front() != '/';
        }
        const std::optional<int> end = take_number(field, rest);
        if (!end || *end < field.low || *end > field.high) {
            return false;
        }
        last = *end;
    }
    int step = 1;
    if (take_char(rest, '/')) {
        const std::optional<int> number = take_number({}, rest);
        if (!number || *number <= 0) {
            return false;
        }
        step = std::min(*number, field.high + 1);  // beyond the end already
    }
    // A range that runs backwards is no fault, and no time.
    for (int i = first; i <= last; i += step) {
        bits.set(static_cast<size_t>(i));
    }
    return true;
}

// Ranges between commas. What then follows without a blank is skipped, as cron does.
template <typename Bits>
bool take_field(const Field &field, std::string_view &rest, Bits &bits, bool &any, std::string &fault)
{
    any = !rest.empty() && rest.front() == '*';
    do {
        if (!take_range(field, rest, bits)) {
            fault = field.fault;
            return false;
        }
    } while (take_char(rest, ','));
    while (!rest.empty() && !is_blank(rest.front())) {
        rest.remove_prefix(1);
    }
    skip_blanks(rest);
    return true;
}

std::string_view take_word(std::string_view &rest)
{
    const std::string_view word = rest.substr(0, rest.find_first_of(" \t"));
    rest.remove_prefix(word.size());
    skip_blanks(rest);
    return word;
}

bool take_times(std::string_view &rest, Job &job, std::string &fault)
{
    bool any_minute = false;
    bool any_hour = false;
    bool any_month = false;
    std::bitset<8> weekdays;
    if (!take_field(kMinute, rest, job.minutes, any_minute, fault) ||
        !take_field(kHour, rest, job.hours, any_hour, fault) ||
        !take_field(kDay, rest, job.days, job.any_day, fault) ||
        !take_field(kMonth, rest, job.months, any_month, fault) ||
        !take_field(kWeekday, rest, weekdays, job.any_weekday, fault)) {
        return false;
    }
    job.wild = any_minute || any_hour;
    for (size_t i = 0; i < weekdays.size(); ++i) {
        if (weekdays[i]) {
            job.weekdays.set(i % job.weekdays.size());
        }
    }
    return true;
}

struct Nickname {
    const char *name;
    const char *times;
};

constexpr Nickname kNicknames[] = {
    {"yearly", "0 0 1 1 *"}, {"annually", "0 0 1 1 *"}, {"monthly", "0 0 1 * *"}, {"weekly", "0 0 * * 0"},
    {"daily", "0 0 * * *"},  {"midnight", "0 0 * * *"}, {"hourly", "0 * * * *"},
};

bool take_nickname(std::string_view &rest, Job &job, std::string &fault)
{
    rest.remove_prefix(1);
    const std::string_view word = take_word(rest);
    if (word == "reboot") {
        job.at_start = true;
        return true;
    }
    for (const Nickname &row : kNicknames) {
        if (word == row.name) {
            std::string_view times = row.times;
            return take_times(times, job, fault);
        }
    }
    fault = "bad time specifier";
    return false;
}

std::string command_of(std::string_view text)
{
    std::string command;
    for (size_t i = 0; i < text.size() && text[i] != '%'; ++i) {
        const bool escaped = text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '%';
        i += escaped ? 1 : 0;
        command += text[i];
    }
    return command;
}

bool read_job(std::string_view rest, const std::vector<std::string> &users, Job &job, std::string &fault)
{
    if (!(rest.front() == '@' ? take_nickname(rest, job, fault) : take_times(rest, job, fault))) {
        return false;
    }
    job.user = take_word(rest);
    if (rest.empty()) {
        fault = "bad command";
        return false;
    }
    if (std::find(users.begin(), users.end(), job.user) == users.end()) {
        fault = "bad username";
        return false;
    }
    job.command = command_of(rest);
    return true;
}

// A name or a value: quoted, or up to a blank (a name also up to "="). None for quotes that do not close.
std::optional<std::string> take_text(std::string_view &rest, bool is_name)
{
    if (!rest.empty() && (rest.front() == '"' || rest.front() == '\'')) {
        const size_t end = rest.find(rest.front(), 1);
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        std::string text(rest.substr(1, end - 1));
        rest.remove_prefix(end + 1);
        return text;
    }
    const size_t end = is_name ? rest.find_first_of(" \t=") : std::string_view::npos;
    std::string text(rest.substr(0, end));
    rest.remove_prefix(text.size());
    text.erase(std::min(text.find_last_not_of(" \t") + 1, text.size()));
    return text;
}

// NAME=VALUE with a value; anything else is taken as a job, so that "TZ=" alone is a bad minute.
bool read_variable(std::string_view rest, std::pair<std::string, std::string> &variable)
{
    const std::optional<std::string> name = take_text(rest, true);
    skip_blanks(rest);
    if (!name || !take_char(rest, '=')) {
        return false;
    }
    skip_blanks(rest);
    const std::optional<std::string> value = take_text(rest, false);
    skip_blanks(rest);
    if (!value || value->empty() || !rest.empty()) {
        return false;
    }
    variable = {*name, *value};
    return true;
}

}  // namespace

Crontab read_crontab(std::string_view text, const std::vector<std::string> &users)
{
    Crontab crontab;
    const auto refused = [&](size_t line, std::string_view words, const std::string &why) {
        return Crontab{{}, {}, Refusal{line, std::string(words), why}};
    };
    for (size_t number = 1; !text.empty(); ++number) {
        const size_t end = text.find('\n');
        if (end == std::string_view::npos) {
            return refused(0, text, "missing newline before the end of the file");
        }
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end + 1);
        std::string_view rest = line;
        skip_blanks(rest);
        std::pair<std::string, std::string> variable;
        if (rest.empty() || rest.front() == '#') {
            continue;
        }
        if (read_variable(rest, variable)) {
            crontab.variables.push_back(variable);
            continue;
        }
        Job job;
        std::string fault;
        if (!read_job(rest, users, job, fault)) {
            return refused(number, line, fault);
        }
        job.line = number;
        job.text = line;
        crontab.jobs.push_back(job);
    }
    return crontab;
}

bool is_due(const Job &job, const tm &local)
{
    const auto has = [](const auto &bits, int number) { return bits[static_cast<size_t>(number)]; };
    const bool day = has(job.days, local.tm_mday);
    const bool weekday = has(job.weekdays, local.tm_wday);
    // Where both name days, either will do.
    const bool on_that_day = job.any_day || job.any_weekday ? day && weekday : day || weekday;
    return !job.at_start && has(job.minutes, local.tm_min) && has(job.hours, local.tm_hour) &&
           has(job.months, local.tm_mon + 1) && on_that_day;
}

}  // namespace day
