// rcbench explain: what a setting, a value or one of rc's messages means.

#include <algorithm>
#include <cstdio>

#include "bench/rcbench/command.h"
#include "forms/check.h"
#include "forms/descriptions.h"
#include "forms/escapes.h"
#include "forms/exposure.h"

namespace rcbench {

namespace {

using forms::Description;

// What rc says, what it means and where to look.
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
    {"socket creating failed", "the system gave no socket to ask for an interface's address", "the kernel"},
};

int explain_message(const std::string &word)
{
    const auto *found = std::find_if(std::begin(kMessages), std::end(kMessages),
                                     [&](const Message &one) { return word == one.text; });
    if (found == std::end(kMessages)) {
        return forms::kNo;
    }
    printf("%s: %s\n  look at: %s\n", found->text, found->meaning, found->look);
    return forms::kDone;
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
        print_row("else", "the router will " + setting.wrong.phrase);
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
    print_row("apply with", setting.apply);
    std::string related;
    for (const std::string &key : setting.related) {
        related += (related.empty() ? "" : " ") + key;
    }
    print_row("see also", related);
}

// KEY=VALUE: what is wrong with it, and a list's records field by field.
int explain_value(const Description &setting, const std::string &text)
{
    std::string value;
    std::string why;
    if (!forms::unescape(text, value, why)) {
        throw forms::Failure(forms::kUnusable, why);
    }
    const std::vector<std::string> records =
        setting.fields.empty() ? std::vector<std::string>() : forms::records_of(setting, value);
    for (size_t i = 0; i < records.size(); ++i) {
        printf("record %zu\n", i + 1);
        const std::vector<std::string> fields = forms::fields_of(setting, records[i]);
        for (size_t j = 0; j < fields.size() && j < setting.fields.size(); ++j) {
            printf("  %-20s %-26s %s\n", setting.fields[j].name.c_str(), forms::escape(fields[j]).c_str(),
                   setting.fields[j].meaning.c_str());
        }
    }
    const std::string wrong = forms::refusal_text(setting, value);
    printf("%s\n", wrong.empty() ? (setting.key + " is fine").c_str() : wrong.c_str());
    return wrong.empty() ? forms::kDone : forms::kNo;
}

int explain(const std::string &word)
{
    const size_t equals = word.find('=');
    const Description *setting = forms::find_description(word.substr(0, equals));
    if (setting != nullptr && equals != std::string::npos) {
        return explain_value(*setting, word.substr(equals + 1));
    }
    if (setting != nullptr) {
        explain_setting(*setting);
        return forms::kDone;
    }
    return explain_message(word);
}

int work(const Words &words)
{
    if (words.empty()) {
        throw forms::usage_error("explain needs a setting, KEY=VALUE, a number or a message of rc's");
    }
    int status = forms::kDone;
    for (const std::string &word : words) {
        if (explain(word) != forms::kDone) {
            status = forms::kNo;
            if (forms::find_description(word.substr(0, word.find('='))) == nullptr) {
                throw forms::Failure(forms::kNo,
                                     forms::shown(word) + " is no setting and nothing that rc says");
            }
        }
    }
    return status;
}

constexpr const char *kAbout = R"(
Explains a setting: its meaning, values and default, who reads it, the commands and files it reaches, and how a
change is applied. Of KEY=VALUE it says what is wrong, and takes a list apart. A number such as -3 is that of the
VPN's "Error Number"; other words are messages that rc prints.
)";

}  // namespace

Command make_explain()
{
    return {{.name = "rcbench explain",
             .usage = {"KEY[=VALUE]...", "-NUMBER", "MESSAGE"},
             .about = kAbout,
             .options = {},
             .no = "a value is wrong, or a word is unknown"},
            [](const Words &words) { return work(words); }};
}

}  // namespace rcbench
