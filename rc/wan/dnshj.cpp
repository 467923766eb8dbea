// First-run redirect: sends all web traffic of the LAN to the setup pages and drops the rest, except DNS.
//
// Reads:  lan_ipaddr http_timeout
// Writes: /tmp/mini_httpd /tmp/ca /tmp/dnshj.out
// Runs:   cp mkdir echo rc mini_httpd iptables rm
// Needs:  lan httpd firewall /tmp/www/ca /etc/setup.cgi
//
// A copy of the web server, run from /tmp, takes the place of the regular one while the redirect is on.
// The DNS relay is left alone. Restarting the packet filter takes the rules away again.

#include "rc/wan/wan.h"

#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"
#include "rc/wan/internal.h"

namespace {

void copy_pages()
{
    run("cp /usr/sbin/mini_httpd  /tmp/");
    run("mkdir /tmp/ca");
    run("cp /tmp/www/ca/dnshj-wait.htm  /tmp/ca");
    run("cp /tmp/www/ca/indexdnshj.htm  /tmp/ca");
    run("cp /etc/setup.cgi  /tmp/ca");
}

// Each rule goes to the head of the chain: the last one is the first to match.
void redirect_lan(const char *address)
{
    run("iptables -t nat -I  PREROUTING -i br0  -j DROP");
    run("iptables -t nat -I  PREROUTING -i br0 -p udp --dport 53 -j ACCEPT");
    SYSTEM("iptables -t nat -I  PREROUTING 1 -i br0 -p tcp --dport 80 -j DNAT --to %s:80", address);
}

}  // namespace

int start_dnshj()
{
    const std::string address = nvram_text("lan_ipaddr");
    copy_pages();
    write_login_names(address.c_str());
    run("echo > /tmp/dnshj.out");
    run("rc httpd stop");
    // The realm ends in a space.
    SYSTEM("/tmp/mini_httpd -d /tmp -r \"VELTRAX KQ417%c\" -c '**.cgi' -f indexdnshj.htm -t %d&", 32,
           minutes_as_seconds(nvram_int("http_timeout")));
    redirect_lan(address.c_str());
    return 0;
}

int stop_dnshj()
{
    run("rc firewall restart");
    run("rm -rf /tmp/dnshj.out");
    run("rc httpd restart");
    return 0;
}
