// Dynamic DNS: keeps a host name pointed at the WAN address.
//
// Reads:  ddns_enable ddns_service_provider ddns_user_name ddns_password ddns_host_name wan_ifname
//         wifi_present ddns_use_wildcards
// Runs:   killall ez-ipupdate
// Needs:  wan /etc/version /tmp/ddns_update.log /tmp/ddns.cache
//
// The update client stays behind in the background; every run ends the one before. Its log tells when the
// provider has refused for good, its cache that an update was sent since boot.

#include "rc/wan/wan.h"

#include <unistd.h>

#include <ctime>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

// Refusals after which asking again would only annoy the provider. Deliberate: exactly these four; every
// other result lets the next update run.
constexpr int kFinalResults[] = {9, 14, 15, 16};

// A clock that shows an earlier year was not yet set. Counted from 1900.
constexpr int kFirstYear = 102;

struct Account {
    char provider[64];
    char user_name[64];
    char password[64];
    char host_name[64];
    char interface[8];
};

struct Agent {
    char text[32];
};

Account read_account()
{
    Account account;
    my_nvram_get("ddns_service_provider", account.provider);
    my_nvram_get("ddns_user_name", account.user_name);
    my_nvram_get("ddns_password", account.password);
    my_nvram_get("ddns_host_name", account.host_name);
    my_nvram_get("wan_ifname", account.interface);
    return account;
}

// The first word of a file, cut to what fits; empty when there is none.
void read_first_word(const char *path, char (&word)[16])
{
    word[0] = '\0';
    if (const File file = open_file(path, "r")) {
        static_assert(sizeof word == 15 + 1);
        // A file without a word leaves it empty.
        (void)!fscanf(file.get(), "%15s", word);
    }
}

// Names model and firmware to the provider. The version's first character is a board letter.
Agent make_agent()
{
    char version[16];
    read_first_word("/etc/version", version);
    const char *wireless = nvram_int("wifi_present") != 0 ? "G" : "";
    const char *board = version[0] == 'A' ? "" : "B";
    std::string text;
    append_format(text, "Veltrax - %s%s%s - %s", "KQ417", wireless, board,
                  version[0] == '\0' ? "" : version + 1);
    Agent agent;
    copy_text(agent.text, text);
    return agent;
}

bool refused_for_good()
{
    const File log = open_file("/tmp/ddns_update.log", "r");
    if (!log) {
        return false;
    }
    const int result = static_cast<int>(read_number(log.get()));
    for (const int final_result : kFinalResults) {
        if (result == final_result) {
            return true;
        }
    }
    return false;
}

// Gives the time client a minute when nothing was sent since boot and the clock is not set yet.
void wait_for_clock()
{
    const time_t now = time(nullptr);
    const tm *local = localtime(&now);
    if (!file_exists("/tmp/ddns.cache") && local != nullptr && local->tm_year < kFirstYear) {
        (void)sleep(60);
    }
}

// Deliberate: the account goes in as it is; a quote in it breaks the command.
void start_client(const Account &account, const Agent &agent)
{
    if (nvram_int("ddns_use_wildcards") != 0) {
        SYSTEM("/usr/sbin/ez-ipupdate -S %s -u '%s:%s' -h %s -i %s -A \"%s\" -w -b /tmp/ddns.cache &",
               account.provider, account.user_name, account.password, account.host_name, account.interface,
               agent.text);
    } else {
        SYSTEM("/usr/sbin/ez-ipupdate -S %s -u '%s:%s' -h %s -i %s -A \"%s\" -b /tmp/ddns.cache &",
               account.provider, account.user_name, account.password, account.host_name, account.interface,
               agent.text);
    }
}

}  // namespace

int start_ddns_update()
{
    run("killall /usr/sbin/ez-ipupdate");
    if (nvram_int("ddns_enable") == 0 || !file_exists("/tmp/wan_uptime")) {
        return 0;
    }
    const Account account = read_account();
    const Agent agent = make_agent();
    if (refused_for_good()) {
        return 0;
    }
    wait_for_clock();
    start_client(account, agent);
    return 0;
}
