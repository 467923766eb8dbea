// The LAN's services, as the service table and other folders call them.
#pragma once

#include <ctime>

int start_lan();

// 0, or -1 when the kernel refuses.
int start_printk();
int stop_printk();

// Writes /etc/TZ and prints what it wrote; an unknown zone leaves the file alone. Always 0.
int start_timezone();

// The time by the rule in the first line of /etc/TZ, by UTC when that is no rule in POSIX form, the same with
// every C library. Leaves no TZ in the environment.
// Choice: for local time (the schedule), the C library is given the first line of `/etc/TZ` for the one
// conversion, if it has POSIX form: names of three letters or more (or three characters and more between
// `<` and `>`), hours to 24, minutes and seconds to 59, dates as `Mm.w.d`, `Jn` or `n`. A summer name
// without dates gets `,M3.2.0,M11.1.0`, because C libraries differ there. Anything else, and a line of
// more than 125 characters, is UTC.
tm router_time(time_t seconds);

// 0; -1 when /etc/syslog.conf cannot be created.
// Choice: of `/proc/mac`, the first line counts, up to 127 characters and without its line end.
// Choice: a hardware address of nine characters or fewer leaves the tail of the mail subjects empty.
int create_syslog();
int start_syslog();
int stop_syslog();

// Choice: the web server's user name is read only when a login is written. A missing `/etc/version` counts as
// no "B". Choice: `http_timeout` × 60 wraps around at 32 bits.
int create_httpd_cfg();
int start_httpd();
int stop_httpd();

// 0; -1 when /etc/udhcpd.conf cannot be created.
int create_dhcp_server_cfg();
int start_dhcp_server();
int stop_dhcp_server();

// 0; -1 when /tmp/sroute cannot be created.
int start_static_route();
int stop_static_route();

// Choice: the RIP version is kept to seven characters.
int create_rip_daemon_cfg();
int start_rip_daemon();
int stop_rip_daemon();
