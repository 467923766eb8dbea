#include "bench/rcbench/exposure.h"

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "forms/check.h"
#include "forms/descriptions.h"

namespace rcbench {

namespace {

using bench::Event;
using bench::FileChange;
using bench::Kind;
using bench::Root;
using bench::Run;
using bench::Setting;
using bench::Setup;
using bench::Target;
using bench::Trace;
using forms::Description;
using forms::Exposure;
using forms::Form;
using forms::Quoting;
using Changes = std::vector<Setting>;

// ---- the router's modes, and the runs that read settings in them
// --------------------------------------------

struct Mode {
    Changes changes;
    std::vector<std::string> runs;
};

const std::vector<std::string> kEveryRun = {
    "lan start",     "adsl start",       "timezone start",  "syslogd restart",  "httpd restart",
    "dhcpd restart", "ntp restart",      "route restart",   "ripd restart",     "upnp restart",
    "dnrd restart",  "wlan restart",     "wan_basic start", "firewall restart", "schedule start",
    "vpn restart",   "check_conn start", "ddns start",      "dnshj restart",    "wan restart"};

// An automatic policy and a manual one, all of whose texts come out.
const char *const kPolicies =
    "2\x01"
    "1\x02"
    "a\x02"
    "1\x02"
    "0\x02"
    "2\x02"
    "4\x02"
    "192.168.0.1...255.255.255.0\x02"
    "1\x02"
    "198.51.100.9\x02"
    "4\x02"
    "10.1.2.3...255.255.0.0\x02"
    "secret\x02"
    "0\x02"
    "0\x02"
    "0\x02"
    "0\x02"
    "0\x02"
    "me\x02"
    "0\x02"
    "you\x02"
    "1\x02"
    "2\x02"
    "2\x02"
    "1\x02"
    "0\x02"
    "3600\x02"
    "192.168.0.9\x02"
    "1\x01";
const char *const kManual =
    "2\x01"
    "1\x02"
    "m\x02"
    "2\x02"
    "1\x02"
    "1\x02"
    "2\x02"
    "192.168.0.5\x02"
    "1\x02"
    "198.51.100.9\x02"
    "2\x02"
    "10.1.2.3\x02"
    "0\x02"
    "100\x02"
    "200\x02"
    "0123456789abcdef\x02"
    "0123456789abcdef0123456789abcdef\x02"
    "0\x02"
    "me\x02"
    "0\x02"
    "you\x02"
    "1\x02"
    "1\x02"
    "2\x02"
    "0\x02"
    "0\x02"
    "3600\x02"
    "0\x02"
    "0\x01";

Changes everything_on()
{
    return {{"wan_fix_dns", "1"},
            {"wan_dns1", "192.0.2.53"},
            {"wan_dns2", "192.0.2.54"},
            {"wan_dod", "1"},
            {"wan_iptype", "F"},
            {"pppoe_ipaddr", "203.0.113.10"},
            {"pppoe_service", "s"},
            {"pppoe_idle", "5"},
            {"pppoa_idle", "5"},
            {"pppoa_ipaddr", "203.0.113.10"},
            {"ntp_custom", "1"},
            {"ntp_server", "time"},
            {"ddns_enable", "1"},
            {"ddns_use_wildcards", "1"},
            {"log_type", "2"},
            {"mail_sendlog", "4"},
            {"rt_rip_direction", "o"},
            {"rt_rip_version", "1"},
            {"wan_pppoe_relay", "1"},
            {"wan_macaddr", "00:11:22:33:44:55"},
            {"fw_remote", "1"},
            {"fw_dmz_enable", "1"},
            {"fw_vs_enableA", "63"},
            {"fw_block", "1"},
            {"fw_block_trust_enable", "1"},
            {"fw_acc_lan", "1"},
            {"fw_response_ping", "1"},
            {"wifi_access_control", "1"},
            {"wifi_access_list", "00:11:22:33:44:55\x01"},
            {"upnp_enable", "1"},
            {"time_daylight", "0"},
            {"vpn", kPolicies}};
}

const std::vector<Mode> &modes()
{
    static const std::vector<Mode> all = {
        {{}, kEveryRun},
        {{{"vpn", kManual}}, {"vpn restart"}},
        {{{"rt_static_route", "a:10.1.2.3:255.255.255.255:192.168.0.30:2:1:1\x01"}}, {"route restart"}},
        {{{"wan_mode", "pppoa"}}, {"wan restart"}},
        {{{"wan_mode", "ipoa"}, {"ipoa_mode", "1483"}}, {"wan restart"}},
        {{{"wan_mode", "ipoa"}, {"ipoa_mode", "1577"}}, {"wan restart"}},
        {{{"wan_mode", "dhcpc"}}, {"wan restart", "upnp restart"}},
        {{{"wan_mode", "ip"}}, {"wan restart"}},
        {{{"wan_mode", "bridge"}}, {"wan restart", "dhcpd restart"}},
        {{{"wifi_wep_on", "1"}, {"wifi_def_key", "1"}}, {"wlan restart"}},
        {{{"wifi_wep_on", "1"}, {"wifi_def_key", "2"}}, {"wlan restart"}},
        {{{"wifi_wep_on", "1"}, {"wifi_def_key", "3"}}, {"wlan restart"}},
        {{{"wifi_wep_on", "1"}, {"wifi_def_key", "4"}}, {"wlan restart"}},
        {{{"wifi_wep_on", "5"}}, {"wlan restart"}},
        {{{"wifi_wds", "1"}, {"wifi_wds_apmode", "point"}}, {"wlan restart"}},
        {{{"wifi_wds", "1"}, {"wifi_wds_apmode", "multi"}}, {"wlan restart"}},
        {{{"wifi_wds", "1"}, {"wifi_wds_apmode", "repeater"}}, {"wlan restart"}},
        {{{"blank_state", "1"}}, {"dnrd restart"}},
        {{{"fw_remote_type", "2"}}, {"firewall create"}},
        {{{"fw_remote_type", "3"}}, {"firewall create"}},
        {{{"fw_remote_type", "4"}}, {"firewall create"}},
    };
    return all;
}

// The daemon's answer without which mode 1577 stops.
constexpr const char *kAtmServer = "203.0.113.254";
constexpr const char *kRoutes =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
    "ppp0\t00000000\t017100CB\t0003\t0\t0\t0\t00000000\t0\t0\t0\n";

bool keeps_server(size_t mode)
{
    const auto &changes = modes()[mode].changes;
    return std::any_of(changes.begin(), changes.end(),
                       [](const Setting &one) { return one.value == "1577"; });
}

Trace run_once(const Target &target, const Changes &settings, const std::string &words, bool has_server,
               const std::string &job = "")
{
    Setup setup;
    setup.settings = settings;
    setup.image_replies = true;
    for (const char *name : {"ppp0", "nas0", "atm1"}) {
        setup.interfaces.push_back({name, "203.0.113.10", 24, ""});
    }
    setup.files.push_back({"/proc/net/route", kRoutes});
    setup.files.push_back({"/tmp/wan_uptime", "1 1\n"});
    if (has_server) {
        setup.effects.push_back(
            {"atmarp", "-s", std::string("echo -n ") + kAtmServer + " > /tmp/ipoa_server"});
    }
    if (!job.empty()) {
        setup.effects.push_back({"ifconfig", "", job});
    }
    Run run;
    run.words = {"rc"};
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
        run.words.push_back(word);
    }
    run.most_pauses = 300;
    run.limit = 300;
    Root root(target, setup);
    return root.run(run);
}

// ---- marks
// --------------------------------------------------------------------------------------------------

// A setting, or a field of a list's records.
struct Subject {
    const Description *setting;
    size_t field;  // kWhole: the whole value
    std::string mark;
};

constexpr size_t kWhole = static_cast<size_t>(-1);

// The values of these decide by the whole text, so a mark would change the way.
bool decides_whole(const Description &setting)
{
    const std::set<std::string> kKeys = {"wan_mode", "ipoa_mode", "wifi_wds_apmode", "fw_time_zone"};
    return kKeys.count(setting.key) != 0;
}

// A field that a record's reading takes as a number: with text in it the reading ends there.
bool is_number(const forms::Type &type)
{
    const bool is_digit = type.form == Form::kChoice && !type.words.empty() && isdigit(type.words[0][0]) != 0;
    return type.form == Form::kFlag || type.form == Form::kNumber || type.form == Form::kHexadecimal ||
           is_digit;
}

std::vector<Subject> subjects_of(const std::vector<std::string> &keys)
{
    std::vector<Subject> subjects;
    for (const Description *setting : forms::all_descriptions()) {
        if (!keys.empty() && std::count(keys.begin(), keys.end(), setting->key) == 0) {
            continue;
        }
        const size_t fields = setting->fields.size();
        for (size_t i = 0; i < std::max<size_t>(fields, 1); ++i) {
            if (fields != 0 && is_number(setting->fields[i].type)) {
                continue;  // read as a number, so that no text of it can come out
            }
            char mark[16];
            (void)snprintf(mark, sizeof mark, "k%03zu", subjects.size());
            subjects.push_back({setting, fields == 0 ? kWhole : i, mark});
        }
    }
    return subjects;
}

std::string value_in(const Changes &settings, const std::string &key)
{
    for (const Setting &one : settings) {
        if (one.key == key) {
            return one.value;
        }
    }
    return "";
}

void put_value(Changes &settings, const std::string &key, const std::string &value)
{
    for (Setting &one : settings) {
        if (one.key == key) {
            one.value = value;
            return;
        }
    }
    settings.push_back({key, value});
}

// What stands before a mark, so that what is read as a number or by its first character stays.
std::string front_of(const forms::Type &type, const std::string &value)
{
    switch (type.form) {
        case Form::kFlag:
        case Form::kChoice:
        case Form::kNumber:
            return value;
        default:
            return "7";
    }
}

// As many characters as this field's text must have to be taken.
size_t wanted_size(const Description &setting, size_t field)
{
    const std::string name = field == kWhole ? "" : setting.fields[field].name;
    constexpr size_t kStation = 17;
    constexpr size_t kDes = 16;
    constexpr size_t kMd5 = 32;
    return name == "station"              ? kStation
           : name == "encryption_key"     ? kDes
           : name == "authentication_key" ? kMd5
                                          : 0;
}

std::string padded(std::string text, size_t size)
{
    if (size != 0) {
        text.resize(size, 'x');
    }
    return text;
}

// The value with `text` in place of the setting's own, or of a field of its first record.
std::string value_with(const Subject &subject, const std::string &value, const std::string &text)
{
    const Description &setting = *subject.setting;
    if (subject.field == kWhole) {
        return front_of(setting.type, value) + text;
    }
    const std::vector<std::string> records = forms::records_of(setting, value);
    const std::string record = records.empty() ? "" : records[0];
    std::vector<std::string> fields = forms::fields_of(setting, record);
    if (subject.field >= fields.size()) {
        return value;
    }
    const forms::Field &field = setting.fields[subject.field];
    const std::string own = fields[subject.field];
    const std::string front = front_of(field.type, own);
    fields[subject.field] = padded(front + text, wanted_size(setting, subject.field));
    std::string made = setting.type.form == Form::kPolicies ? value.substr(0, 2) : "";
    for (size_t i = 0; i < fields.size() && i < setting.fields.size(); ++i) {
        made += fields[i] +
                (setting.fields[i].separator == '\0' ? "" : std::string(1, setting.fields[i].separator));
    }
    return made + (setting.type.form == Form::kFields ? "" : "\x01");
}

Changes mode_settings(const Mode &mode)
{
    Changes settings;
    for (const Description *one : forms::all_descriptions()) {
        settings.push_back({one->key, one->value});
    }
    for (const Setting &change : everything_on()) {
        put_value(settings, change.key, change.value);
    }
    for (const Setting &change : mode.changes) {
        put_value(settings, change.key, change.value);
    }
    return settings;
}

// The runs that apply a change of a setting.
std::vector<std::string> runs_for(const Description &setting)
{
    std::vector<std::string> runs;
    for (const std::string &command : forms::apply_commands(setting)) {
        if (command != "reboot") {
            runs.emplace_back(forms::words_of(command));
        }
    }
    return runs;
}

// ---- first pass: where a mark is seen
// -------------------------------------------------------------------------

struct Sight {
    size_t subject;
    size_t mode;
    std::string words;
    std::string command;    // with {} for the mark
    bool is_script;         // a tool was called so by a script, not by a command of rc's
    std::string cron = {};  // what makes the text a job of its own in this line of the crontab
};

// Numbers and the like are cut away, so that the same command for another record is the same.
std::string shape_of(const Subject &subject, const std::string &text)
{
    const size_t at = text.find(subject.mark);
    size_t first = at;
    while (first > 0 && isalnum(static_cast<unsigned char>(text[first - 1])) != 0) {
        --first;
    }
    size_t end = at + subject.mark.size();
    while (end < text.size() && text[end] == 'x') {
        ++end;
    }
    return text.substr(0, first) + "{}" + text.substr(end);
}

// The marks of other settings, for people.
std::string without_marks(const std::string &text)
{
    static const std::regex kMark("[0-9]*k[0-9][0-9][0-9]x*");
    return std::regex_replace(text, kMark, "*");
}

// The piece of a long command around the text.
std::string cut_around(const std::string &marked)
{
    const std::string shape = without_marks(marked);
    constexpr size_t kBefore = 48;
    constexpr size_t kBehind = 24;
    const size_t at = shape.find("{}");
    const size_t tool = shape.find(' ');
    std::string text;
    if (at > kBefore + tool && tool != std::string::npos) {
        text = shape.substr(0, tool) + " ... " + shape.substr(at - kBefore / 2, kBefore / 2);
    } else {
        text = shape.substr(0, at);
    }
    const std::string rest = shape.substr(at);
    return text + (rest.size() > kBehind + 2 ? rest.substr(0, kBehind) + "..." : rest);
}

std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

// ---- what cron makes of its file --------------------------------------------------------------------------

constexpr const char *kCrontab = "/etc/crontab";
constexpr int kTimes = 5;  // minute, hour, day, month, weekday; then the user

std::vector<std::string> words_of_line(const std::string &line)
{
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

// A variable for the jobs below it: NAME=VALUE.
bool is_variable(const std::string &line)
{
    const size_t equals = line.find('=');
    return equals != std::string::npos && line.find_first_of(" \t") > equals;
}

// What behind the text at `mark` makes the line a job of its own: the other times and a command, or a new
// line.
std::string cron_attack(const std::string &line, const std::string &mark)
{
    if (is_variable(line)) {
        return "\n* * * * * root date";
    }
    const size_t before = words_of_line(line.substr(0, line.find(mark))).size();
    std::string attack;
    for (size_t i = before; i < kTimes; ++i) {
        attack += " *";
    }
    return attack + " root date;#";
}

// The commands of all jobs.
std::vector<std::string> cron_commands(const std::string &crontab)
{
    std::vector<std::string> commands;
    std::istringstream lines(crontab);
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> words = words_of_line(line);
        if (words.size() <= kTimes + 1 || words[0][0] == '#' || is_variable(line)) {
            continue;
        }
        commands.push_back(joined({words.begin() + kTimes + 1, words.end()}));
    }
    return commands;
}

class Measuring {
  public:
    Measuring(const Target &target, const std::vector<std::string> &keys,
              const std::function<void(const std::string &)> &progress)
        : target_(target), subjects_(subjects_of(keys)), progress_(progress)
    {
    }

    ShellUse run()
    {
        for (size_t mode = 0; mode < modes().size(); ++mode) {
            mark_all(mode);
        }
        for (const Sight &sight : sights_) {
            prove(sight);
        }
        for (const Subject &subject : subjects_) {
            count(subject);
        }
        sort();
        return std::move(use_);
    }

  private:
    void mark_all(size_t mode);
    void look(size_t mode, const std::string &words, const Trace &trace, const std::vector<size_t> &marked);
    void look_at_text(size_t mode, const std::string &words, size_t subject, const std::string &text,
                      bool is_script);
    void look_at_file(size_t mode, const std::string &words, size_t subject, const FileChange &file);
    void prove(const Sight &sight);
    bool is_run(const Sight &sight, const std::string &attack);
    void prove_cron(const Sight &sight, Exposure found);
    bool is_run_by_cron(const Sight &sight);
    void count(const Subject &subject);
    void sort();

    const Target &target_;
    std::vector<Subject> subjects_;
    const std::function<void(const std::string &)> &progress_;
    std::vector<Sight> sights_;
    std::set<std::string> seen_;  // subject and shape
    ShellUse use_;
};

// The round of nets: a record with a mark in its net may be read no further.
constexpr size_t kNets = 3;

// Marks that stand in each other's way go into rounds of their own; those are tried in the first mode alone.
size_t round_of(const Subject &subject)
{
    const bool is_interface = subject.setting->key == "wan_ifname" || subject.setting->key == "lan_if";
    if (subject.field != kWhole) {
        const Form form = subject.setting->fields[subject.field].type.form;
        return form == Form::kNetwork || form == Form::kNetmask ? kNets : 0;
    }
    return decides_whole(*subject.setting) ? 2 : is_interface ? 1 : 0;
}

void Measuring::mark_all(size_t mode)
{
    std::map<size_t, std::vector<size_t>> rounds;
    for (size_t i = 0; i < subjects_.size(); ++i) {
        const std::string &key = subjects_[i].setting->key;
        const bool is_chosen = std::any_of(modes()[mode].changes.begin(), modes()[mode].changes.end(),
                                           [&](const Setting &one) { return one.key == key; });
        if (!is_chosen || !subjects_[i].setting->fields.empty()) {
            rounds[round_of(subjects_[i])].push_back(i);
        }
    }
    for (const auto &[round, marked] : rounds) {
        if (mode != 0 && round != 0 && round != kNets) {
            continue;
        }
        progress_("mode " + std::to_string(mode + 1) + " of " + std::to_string(modes().size()) + ", round " +
                  std::to_string(round + 1));
        const Changes plain = mode_settings(modes()[mode]);
        Changes settings = plain;
        for (const size_t i : marked) {
            const std::string &key = subjects_[i].setting->key;
            put_value(settings, key,
                      value_with(subjects_[i], value_in(settings, key), subjects_[i].mark + "xx"));
        }
        for (const std::string &words : modes()[mode].runs) {
            look(mode, words, run_once(target_, settings, words, keeps_server(mode)), marked);
        }
    }
}

void Measuring::look(size_t mode, const std::string &words, const Trace &trace,
                     const std::vector<size_t> &marked)
{
    for (const size_t i : marked) {
        bool in_command = false;
        for (const Event &event : trace.events) {
            if (event.kind == Kind::kShell && event.text.find(subjects_[i].mark) != std::string::npos) {
                look_at_text(mode, words, i, event.text, false);
                in_command = true;
            }
        }
        for (const Event &event : trace.events) {
            const std::string call = event.kind == Kind::kTool ? joined(event.words) : "";
            if (!in_command && call.find(subjects_[i].mark) != std::string::npos) {
                look_at_text(mode, words, i, call, true);
            }
        }
        for (const FileChange &file : trace.files) {
            look_at_file(mode, words, i, file);
        }
    }
}

void Measuring::look_at_text(size_t mode, const std::string &words, size_t subject, const std::string &text,
                             bool is_script)
{
    const std::string shape = shape_of(subjects_[subject], text);
    const std::string id = subjects_[subject].mark + cut_around(shape);
    if (seen_.insert(id).second) {
        sights_.push_back({subject, mode, words, cut_around(shape), is_script});
    }
}

void Measuring::look_at_file(size_t mode, const std::string &words, size_t subject, const FileChange &file)
{
    std::istringstream lines(file.after);
    for (std::string line; std::getline(lines, line);) {
        if (line.find(subjects_[subject].mark) == std::string::npos || file.path == "/tmp/nvram") {
            continue;
        }
        const std::string shape = cut_around(shape_of(subjects_[subject], line));
        if (seen_.insert(subjects_[subject].mark + file.path + shape).second) {
            const Subject &one = subjects_[subject];
            use_.files.push_back({one.setting->key,
                                  one.field == kWhole ? "" : one.setting->fields[one.field].name, words,
                                  file.path, shape});
            if (file.path == kCrontab) {
                sights_.push_back({subject, mode, words, shape, false, cron_attack(line, one.mark)});
            }
        }
    }
}

// ---- second pass: what the shell makes of it
// ------------------------------------------------------------------

// What a command begins with, up to the first text of a setting.
std::string beginning(const std::string &command)
{
    const size_t end =
        std::min({command.find("{}"), command.find(" ..."), command.find('*'), command.size()});
    return command.substr(0, end);
}

// Whether the tool was called without words because of this command: rc itself never calls it so after it.
bool is_called(const Trace &trace, const std::string &tool, const Sight &sight)
{
    const std::string front = sight.is_script ? "" : beginning(sight.command);
    bool is_in = sight.is_script;
    for (const Event &event : trace.events) {
        if (event.kind == Kind::kShell && !sight.is_script) {
            is_in = event.text.starts_with(front);
        }
        if (event.kind == Kind::kTool && is_in && event.words.size() == 1 && event.words[0].ends_with(tool)) {
            return true;
        }
    }
    return false;
}

bool Measuring::is_run(const Sight &sight, const std::string &attack)
{
    const Subject &subject = subjects_[sight.subject];
    Changes settings = mode_settings(modes()[sight.mode]);
    const std::string &key = subject.setting->key;
    std::string text = attack;
    if (wanted_size(*subject.setting, subject.field) % 8 == 0 &&
        wanted_size(*subject.setting, subject.field) != 0) {
        text = "xxxxxxx" + attack;  // keys come out in groups of eight
    }
    put_value(settings, key, value_with(subject, value_in(settings, key), text));
    const std::string tool = attack.find("date") != std::string::npos ? "date" : "ps";
    if (tool == "ps") {
        put_value(settings, key, attack);  // a field of five characters has no room for more
    }
    return is_called(run_once(target_, settings, sight.words, keeps_server(sight.mode)), tool, sight);
}

struct Attack {
    const char *text;
    char character;
};

constexpr Attack kAttacks[] = {
    {"$(date)", '$'}, {"`date`", '`'}, {"\";date;\"", '"'}, {"';date;'", '\''}, {"\\\";date;\\\"", '\\'}};

void Measuring::prove(const Sight &sight)
{
    const Subject &subject = subjects_[sight.subject];
    Exposure found;
    found.key = subject.setting->key;
    found.field = subject.field == kWhole ? "" : subject.setting->fields[subject.field].name;
    found.words = sight.words;
    found.command = (sight.is_script ? "(script) " : "") + sight.command;
    progress_(found.key + (found.field.empty() ? "" : "." + found.field));
    if (!sight.cron.empty()) {
        prove_cron(sight, found);
        return;
    }
    if (is_run(sight, ";date;#") || (subject.field == kWhole && is_run(sight, ";ps;#"))) {
        found.quoting = Quoting::kBare;
        found.harmful = ";";
    } else {
        for (const Attack &attack : kAttacks) {
            if (is_run(sight, attack.text)) {
                found.harmful += attack.character;
            }
        }
        const bool is_single = found.harmful == "'";
        found.quoting = is_single ? Quoting::kSingle : Quoting::kDouble;
        if (found.harmful.empty()) {
            return;  // it comes out and runs nothing
        }
        if (!is_single && found.harmful.find('\\') == std::string::npos) {
            found.harmful += '\\';  // at its end it takes the closing quote away
        }
    }
    use_.exposures.push_back(found);
}

// Whether the shell calls a tool that no run of rc calls.
bool runs_date(const Target &target, const std::string &job)
{
    const Trace trace = run_once(target, mode_settings(modes()[0]), "lan start", false, job);
    return std::any_of(trace.events.begin(), trace.events.end(), [](const Event &event) {
        return event.kind == Kind::kTool && event.words.size() == 1 && event.words[0].ends_with("date");
    });
}

// The jobs of the crontab are given to the shell of the bench as cron gives them to its own.
bool Measuring::is_run_by_cron(const Sight &sight)
{
    const Subject &subject = subjects_[sight.subject];
    Changes settings = mode_settings(modes()[sight.mode]);
    const std::string &key = subject.setting->key;
    put_value(settings, key, value_with(subject, value_in(settings, key), sight.cron));
    const Trace written = run_once(target_, settings, sight.words, false);
    for (const FileChange &file : written.files) {
        for (const std::string &job :
             file.path == kCrontab ? cron_commands(file.after) : std::vector<std::string>()) {
            if (job.find("date") != std::string::npos && runs_date(target_, job)) {
                return true;
            }
        }
    }
    return false;
}

void Measuring::prove_cron(const Sight &sight, Exposure found)
{
    if (!is_run_by_cron(sight)) {
        return;
    }
    const bool is_line = sight.cron[0] == '\n';
    found.quoting = is_line ? Quoting::kLine : Quoting::kBare;
    found.harmful = is_line ? "\n" : " ";
    found.command = "(crontab) " + sight.command;
    use_.exposures.push_back(found);
}

// What rc does with a number, as text: commands and files, without what never is the same.
std::string deeds(const Trace &trace)
{
    std::string text;
    for (const Event &event : trace.events) {
        text += event.kind == Kind::kShell ? event.text + "\n" : "";
    }
    for (const FileChange &file : trace.files) {
        text += file.path == "/tmp/nvram" ? "" : file.path + file.after;
    }
    return text;
}

// A setting whose text is never seen may still be seen as a number: then another number gives other deeds.
void Measuring::count(const Subject &subject)
{
    const auto is_it = [&](const auto &one) { return one.key == subject.setting->key; };
    const bool is_seen = std::any_of(use_.exposures.begin(), use_.exposures.end(), is_it) ||
                         std::any_of(use_.files.begin(), use_.files.end(), is_it);
    const Form form = subject.setting->type.form;
    if (is_seen || (form != Form::kNumber && form != Form::kPort && form != Form::kChoice)) {
        return;
    }
    const std::vector<std::string> readers = runs_for(*subject.setting);
    Changes settings = mode_settings(modes()[0]);
    put_value(settings, subject.setting->key, "7");
    for (const std::string &words : readers) {
        const std::string before = deeds(run_once(target_, settings, words, false));
        put_value(settings, subject.setting->key, "11");
        if (deeds(run_once(target_, settings, words, false)) != before) {
            use_.numbers.push_back(subject.setting->key);
            return;
        }
    }
}

void Measuring::sort()
{
    std::map<std::string, size_t> order;
    for (const Description *one : forms::all_descriptions()) {
        order.emplace(one->key, order.size());
    }
    std::stable_sort(use_.exposures.begin(), use_.exposures.end(), [&](const Exposure &a, const Exposure &b) {
        return std::tie(order[a.key], a.field, a.words, a.command) <
               std::tie(order[b.key], b.field, b.words, b.command);
    });
}

}  // namespace

ShellUse measure_shell(const bench::Target &target, const std::vector<std::string> &keys,
                       const std::function<void(const std::string &)> &progress)
{
    return Measuring(target, keys, progress).run();
}

}  // namespace rcbench
