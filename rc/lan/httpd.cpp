// Web server: serves the router's pages in the chosen language, behind the login if there is one.
//
// Reads:  wiz_language http_password http_username wifi_present http_timeout
// Writes: /tmp/www /etc/block.htm /etc/htpasswd
// Runs:   ln cp mini_httpd killall
// Needs:  page trees /www.eng /www.deu /www.ita /www.fre, /etc/version
//
// Pages are served from /www, a link to /tmp/www, which is linked to one language's page tree here. The
// packet filter answers blocked requests with the page copied to /etc.

#include "rc/lan/lan.h"

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

struct Language {
    const char *name;  // value of wiz_language
    const char *link_pages;
    const char *copy_block_page;
};

constexpr Language kEnglish = {"English", "/bin/ln -sf /www.eng /tmp/www", "/bin/cp /www.eng/block.htm /etc"};

constexpr Language kOtherLanguages[] = {
    {"German", "/bin/ln -sf /www.deu /tmp/www", "/bin/cp /www.deu/block.htm /etc"},
    {"Italian", "/bin/ln -sf /www.ita /tmp/www", "/bin/cp /www.ita/block.htm /etc"},
    {"French", "/bin/ln -sf /www.fre /tmp/www", "/bin/cp /www.fre/block.htm /etc"},
};

const Language &chosen_language()
{
    const std::string chosen = nvram_text("wiz_language");
    for (const Language &language : kOtherLanguages) {
        if (chosen == language.name) {
            return language;
        }
    }
    return kEnglish;
}

}  // namespace

int create_httpd_cfg()
{
    const Language &language = chosen_language();
    run(language.link_pages);
    run(language.copy_block_page);
    const std::string password = nvram_text("http_password");
    if (password.empty()) {
        remove_file("/etc/htpasswd");
        return 0;
    }
    const File login = open_file("/etc/htpasswd", "w");
    if (!login) {
        return 0;
    }
    const std::string user = nvram_text("http_username");
    (void)fprintf(login.get(), "%s:%s\n", user.c_str(), password.c_str());
    return 0;
}

// Deliberate: a server that is already running is not stopped first.
int start_httpd()
{
    const char wireless = nvram_on("wifi_present") ? 'G' : ' ';
    const char board = version_letter() == 'B' ? 'B' : ' ';
    (void)create_httpd_cfg();
    SYSTEM("/usr/sbin/mini_httpd -d /www -r \"VELTRAX KQ417%c%c\" -c '**cgi' -f indexca.htm -t %d&", wireless,
           board, minutes_as_seconds(nvram_int("http_timeout")));
    return 0;
}

int stop_httpd()
{
    run("/usr/bin/killall mini_httpd");
    return 0;
}
