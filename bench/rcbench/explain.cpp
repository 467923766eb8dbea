// rcbench explain: what a setting, a value or one of rc's messages means.

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>
#include <optional>
#include <sstream>

#include "bench/rcbench/router_options.h"
#include "bench/show/json.h"
#include "forms/check.h"
#include "forms/descriptions.h"
#include "forms/escapes.h"
#include "forms/exposure.h"
#include "forms/files.h"
#include "forms/nearest.h"
#include "forms/readable.h"

namespace rcbench {

namespace {

using forms::Description;

// What rc says, what it means and where to look. "%" stands for any text, "#" for a number.
struct Message {
    const char *text;
    const char *meaning;
    const char *look;
};

constexpr Message kMessages[] = {
    {"-1", "VPN: there is no WAN interface", "wan_ifname, shorter than 3 characters"},
    {"-2", "VPN: the WAN interface has no address, or there is no default route",
     "wan_ifname; run rc wan start first"},
    {"-3", "VPN: there are no policies, or their format is neither 1 nor 2", "vpn"},
    {"-4", "VPN: the local address of a policy is shorter than 6 characters", "vpn, local_net"},
    {"-5", "VPN: an address range is no range, or ends below its beginning", "vpn, local_net and remote_net"},
    {"-6", "VPN: a subnet is no address...netmask", "vpn, local_net and remote_net"},
    {"-7", "VPN: the type of a local network is none of 2 to 5", "vpn, local_type"},
    {"-8", "VPN: the remote address of a policy is shorter than 6 characters", "vpn, remote_net"},
    {"-9", "VPN: the type of a remote network is none of 1 to 5", "vpn, remote_type"},
    {"-10", "VPN: a manual encryption key has the wrong length", "vpn, encryption_key"},
    {"-11", "VPN: a manual authentication key has the wrong length", "vpn, authentication_key"},
    {"nvram error!!", "the settings could not be made ready", "/tmp/nvram, the flash, /etc/default"},
    {"can't find this application",
     "no service has this name, or none that can do this; said once before rc looks for dnshj too",
     "the words after rc"},
    {"parse_conf Error!!", "the VPN policies could not be read; the number follows",
     "rcbench explain -NUMBER"},
    {"parse_config error!", "the wireless settings could not be read", "the wifi_ settings"},
    {"wifi up fail!", "the radio could not be brought up", "the wireless driver"},
    {"No CoutryCode Matched.", "the region is none that is known; the driver gets an empty country",
     "wifi_region"},
    {"KEYING_MODE_UNKNOWN", "a policy's keying is neither 1 nor 2; it is skipped", "vpn, keying"},
    {"no default gateway", "the connection check found no default route and leaves the LEDs alone",
     "wan_mode"},
    {"Error Number=#", "what is wrong with the VPN policies", "rcbench explain -NUMBER"},
    {"*** RC_VPN Version:% Last Update:% ***", "the VPN service begins to read its policies", "vpn"},
    {"gateway==[%]", "VPN: the gateway of the default route, or nothing where there is none",
     "/proc/net/route; rc wan start brings the route"},
    {"*********** start of fw_pt ***********", "the firewall writes the ports that port triggering opens",
     "fw_spapp"},
    {"lease in lease file %--1",
     "the first lease of the file before a reservation goes in: address in hexadecimal, host name, hardware "
     "address",
     "/var/udhcpd.leases; rcbench explain FILE"},
    {"Write to lease file %--1",
     "a reservation is added to the lease file: address in hexadecimal, host name, hardware address",
     "dhcp_reserved, /var/udhcpd.leases"},
    {"#:#", "the hour and minute at which the schedule begins, where rc looks whether it is active",
     "fw_schedule"},
    {"--#", "how the wireless access list is used: 0 not at all", "wifi_access_control, wifi_access_list"},
    {"--->%", "IP over ATM: the command that rc runs next", "wan_mode, ipoa_mode"},
    {"ap_name=% action=%", "the service and the verb of this run; (null) where it is for all services",
     "the words after rc"},
    {"Usage: rc [wan|service|ap name] [start|stop|restart|create]",
     "the words after rc are none that it takes; rc does nothing and its status is 0", "the words after rc"},
    {"user: socket creating failed%", "the system gave no socket to set a hardware address with",
     "the kernel"},
    {"socket creating failed%", "the system gave no socket to ask for an interface's address", "the kernel"},
};

// One blank for each row of blanks, none at the ends.
std::string squeezed(const std::string &text)
{
    std::istringstream words(text);
    std::string out;
    for (std::string word; words >> word;) {
        out += (out.empty() ? "" : " ") + word;
    }
    return out;
}

bool fits(std::string_view pattern, std::string_view text)
{
    if (pattern.empty()) {
        return text.empty();
    }
    if (pattern[0] == '#') {
        size_t end = text.starts_with('-') ? 1 : 0;
        const size_t first = end;
        while (end < text.size() && isdigit(static_cast<unsigned char>(text[end])) != 0) {
            ++end;
        }
        return end > first && fits(pattern.substr(1), text.substr(end));
    }
    if (pattern[0] == '%') {
        return fits(pattern.substr(1), text) || (!text.empty() && fits(pattern, text.substr(1)));
    }
    return !text.empty() && pattern[0] == text[0] && fits(pattern.substr(1), text.substr(1));
}

// rc prints many of its commands.
constexpr Message kCommand = {"a command", "rc prints it before or after it runs it",
                              "the run that did it: rcbench WORDS shows all its commands"};

bool is_command(const std::string &text)
{
    const size_t blank = text.find(' ');
    if (blank == std::string::npos) {
        return false;
    }
    const std::string tool = text.substr(0, blank).substr(text.substr(0, blank).rfind('/') + 1);
    const std::vector<std::string> tools = tool_names(target_of(RouterRequest()));
    return std::find(tools.begin(), tools.end(), tool) != tools.end();
}

const Message *find_message(const std::string &word)
{
    const std::string text = squeezed(word);
    const auto *found = std::find_if(std::begin(kMessages), std::end(kMessages),
                                     [&](const Message &one) { return fits(one.text, text); });
    if (found != std::end(kMessages)) {
        return found;
    }
    return is_command(text) ? &kCommand : nullptr;
}

void explain_message(const std::string &text, const Message &message)
{
    printf("%s: %s\n  look at: %s\n", forms::escape(text).c_str(), message.meaning, message.look);
}

void print_lines(const std::vector<std::string> &lines)
{
    for (const std::string &line : lines) {
        printf("%s\n", line.c_str());
    }
}

void print_row(const char *name, const std::string &text)
{
    if (!text.empty()) {
        printf("  %-11s %s\n", name, text.c_str());
    }
}

void print_values(const Description &setting)
{
    for (const forms::Choice &choice : setting.choices) {
        if (!choice.meaning.empty()) {
            printf("  %-11s %s: %s\n", "value", choice.word.c_str(), choice.meaning.c_str());
        }
    }
    print_row("empty", setting.empty.value_or("not allowed"));
    for (const forms::Field &field : setting.fields) {
        printf("  %-11s %s: %s: %s\n", "field", field.name.c_str(), field.type_text.c_str(),
               field.meaning.c_str());
    }
    if (!setting.wrong.phrase.empty()) {
        print_row("else", "the router will " + forms::phrase_of_any(setting.wrong.phrase));
    }
    print_row("else", setting.advice);
}

void print_reach(const Description &setting)
{
    for (const forms::Reader &one : forms::readers_of(setting.key)) {
        print_row(one.use.c_str(), one.service + " (" + one.source + ")");
        print_row("  writes", one.writes);
        print_row("  runs", one.runs);
    }
    for (const forms::Exposure &one : forms::known_exposures()) {
        if (one.key == setting.key) {
            print_row("shell", std::string(forms::quoting_name(one.quoting)) + ", rc " + one.words + ": " +
                                   forms::escape(one.command));
        }
    }
}

void explain_setting(const Description &setting)
{
    printf("%s: %s\n", setting.key.c_str(), setting.meaning.c_str());
    print_row("type", setting.type_text + (setting.is_secret ? ", secret" : ""));
    print_row("default", setting.raw_value.empty() ? "empty" : setting.raw_value);
    print_values(setting);
    print_reach(setting);
    print_row("set by", setting.set_by);
    print_row("first run", setting.before);
    print_row("apply with", setting.apply);
    print_row("stays", setting.stays);
    std::string related;
    for (const std::string &key : setting.related) {
        related += (related.empty() ? "" : " ") + key;
    }
    print_row("see also", related);
}

// What a word is about: one of these.
struct Subject {
    const Description *setting = nullptr;
    std::optional<std::string> value;  // with a setting: KEY=VALUE
    const Message *message = nullptr;
    std::string said = {};  // the message as asked for
    std::string file = {};
};

[[noreturn]] void refuse_unknown(const std::string &word)
{
    std::vector<std::string> names;
    for (const Description *one : forms::all_descriptions()) {
        names.push_back(one->key);
    }
    for (const Message &one : kMessages) {
        names.emplace_back(one.text);
    }
    throw forms::Failure(forms::kNo, forms::shown(word) + " is no setting, no file and nothing that rc says" +
                                         forms::did_you_mean(word.substr(0, word.find('=')), names));
}

std::string value_of(const Description &setting, const std::string &text)
{
    std::string value;
    std::string why;
    if (!forms::unescape(text, value, why)) {
        throw forms::Failure(forms::kUnusable, setting.key + ": " + why);
    }
    return value;
}

Subject subject_of(const std::string &word)
{
    Subject subject;
    const size_t equals = word.find('=');
    subject.setting = forms::find_description(word.substr(0, equals));
    if (subject.setting != nullptr && equals != std::string::npos) {
        subject.value = value_of(*subject.setting, word.substr(equals + 1));
    }
    subject.message = subject.setting == nullptr ? find_message(word) : nullptr;
    subject.said = word;
    if (subject.setting != nullptr || subject.message != nullptr) {
        return subject;
    }
    const bool is_file =
        word == "-" || word.find('/') != std::string::npos || access(word.c_str(), F_OK) == 0;
    if (!is_file) {
        refuse_unknown(word);
    }
    subject.file = word;
    return subject;
}

// What a file of the router's holds.
std::vector<std::string> file_lines(const std::string &path, forms::Secrets secrets)
{
    const std::string bytes = forms::read_input(path, forms::kFlashLimit);
    std::vector<std::string> lines = forms::readable_lines(path, bytes, secrets);
    if (lines.empty()) {
        throw forms::Failure(forms::kUnusable, forms::shown(forms::input_name(path)) +
                                                   " is no lease file, vpn.conf, flash image or store");
    }
    return lines;
}

// A list's records name services, hosts and interfaces that other settings have.
std::string fine_text(const Description &setting)
{
    return setting.key + (setting.fields.empty()
                              ? " is fine"
                              : " is fine by itself; nvram lint FILE says whether it goes with "
                                "the other settings");
}

// KEY=VALUE: what is wrong with it, and a list's records field by field.
void explain_value(const Description &setting, const std::string &value, forms::Secrets secrets)
{
    print_lines(forms::record_lines(setting, value, secrets));
    const std::string wrong = forms::refusal_text(setting, value);
    printf("%s\n", wrong.empty() ? fine_text(setting).c_str() : wrong.c_str());
}

bool is_wrong(const Subject &subject)
{
    return subject.value && !forms::refusal_text(*subject.setting, *subject.value).empty();
}

void explain(const Subject &subject, forms::Secrets secrets)
{
    if (subject.value) {
        explain_value(*subject.setting, *subject.value, secrets);
    } else if (subject.setting != nullptr) {
        explain_setting(*subject.setting);
    } else if (subject.message != nullptr) {
        explain_message(subject.said, *subject.message);
    } else {
        print_lines(file_lines(subject.file, secrets));
    }
}

// ---- for machines

bench::Json json_lines(const std::vector<std::string> &lines)
{
    bench::Json list = bench::Json::array();
    for (const std::string &line : lines) {
        list.push_back(bench::json_text(line));
    }
    return list;
}

bench::Json json_or_null(const std::string &text)
{
    return text.empty() ? bench::Json(nullptr) : bench::json_text(text);
}

bench::Json json_setting(const Description &setting)
{
    bench::Json values = bench::Json::array();
    for (const forms::Choice &choice : setting.choices) {
        values.push_back({{"value", choice.word}, {"meaning", json_or_null(choice.meaning)}});
    }
    bench::Json fields = bench::Json::array();
    for (const forms::Field &field : setting.fields) {
        fields.push_back({{"name", field.name},
                          {"type", field.type_text},
                          {"secret", field.is_secret},
                          {"meaning", field.meaning}});
    }
    bench::Json readers = bench::Json::array();
    for (const forms::Reader &one : forms::readers_of(setting.key)) {
        readers.push_back({{"use", one.use},
                           {"service", one.service},
                           {"source", one.source},
                           {"writes", json_or_null(one.writes)},
                           {"runs", json_or_null(one.runs)}});
    }
    const std::string &phrase = setting.wrong.phrase;
    return {{"kind", "setting"},
            {"key", setting.key},
            {"meaning", setting.meaning},
            {"type", setting.type_text},
            {"secret", setting.is_secret},
            {"default", bench::json_text(setting.value)},
            {"values", values},
            {"empty", setting.empty ? bench::json_text(*setting.empty) : bench::Json(nullptr)},
            {"fields", fields},
            {"else", json_or_null(phrase.empty() ? setting.advice : forms::phrase_of_any(phrase))},
            {"readers", readers},
            {"set_by", json_or_null(setting.set_by)},
            {"before", json_or_null(setting.before)},
            {"apply", json_or_null(setting.apply)},
            {"stays", json_or_null(setting.stays)},
            {"see_also", json_lines(setting.related)}};
}

bench::Json json_subject(const Subject &subject, forms::Secrets secrets)
{
    if (subject.value) {
        const std::string wrong = forms::refusal_text(*subject.setting, *subject.value);
        return {{"kind", "value"},
                {"key", subject.setting->key},
                {"fine", wrong.empty()},
                {"problem", json_or_null(wrong)},
                {"lines", json_lines(forms::record_lines(*subject.setting, *subject.value, secrets))}};
    }
    if (subject.setting != nullptr) {
        return json_setting(*subject.setting);
    }
    if (subject.message != nullptr) {
        return {{"kind", "message"},
                {"text", bench::json_text(subject.said)},
                {"meaning", subject.message->meaning},
                {"look", subject.message->look}};
    }
    return {{"kind", "file"},
            {"file", bench::json_text(subject.file)},
            {"lines", json_lines(file_lines(subject.file, secrets))}};
}

struct ExplainRequest {
    forms::Secrets secrets = forms::Secrets::kMasked;
    bool json = false;
};

int work(const ExplainRequest &request, const Words &words)
{
    if (words.empty()) {
        throw forms::usage_error("explain needs a setting, KEY=VALUE, a number, a message of rc's or a file");
    }
    int status = forms::kDone;
    bench::Json list = bench::Json::array();
    for (const std::string &word : words) {
        const Subject subject = subject_of(word);
        if (request.json) {
            list.push_back(json_subject(subject, request.secrets));
        } else {
            explain(subject, request.secrets);
        }
        status = is_wrong(subject) ? forms::kNo : status;
    }
    if (request.json) {
        (void)fputs(bench::written(list).c_str(), stdout);
    }
    return status;
}

constexpr const char *kAbout = R"(
Explains a setting: its meaning, values and default, who reads it, the commands and files it reaches, and how a
change is applied. Of KEY=VALUE it says what is wrong, and takes a list apart. A number such as -3 is that of the
VPN's "Error Number"; other words are messages that rc prints. Of a FILE, which is a lease file, a vpn.conf, a flash
image or a settings store, it shows what it holds.
)";

}  // namespace

Command make_explain()
{
    const auto request = std::make_shared<ExplainRequest>();
    return {
        {.name = "rcbench explain",
         .usage = {"[OPTIONS] KEY[=VALUE]...", "-NUMBER", "MESSAGE", "[OPTIONS] FILE"},
         .about = kAbout,
         .options = {{.name = "json",
                      .help = "for machines: a list with one object a word",
                      .take = [request](const std::string &) { request->json = true; }},
                     {.name = "secrets",
                      .help = "show passwords and keys, which are masked else",
                      .take = [request](const std::string &) { request->secrets = forms::Secrets::kShown; }}},
         .no = "a value is wrong, or a word is unknown"},
        [request](const Words &words) { return work(*request, words); }};
}

}  // namespace rcbench
