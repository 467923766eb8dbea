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
tm router_time(time_t seconds);

// 0; -1 when /etc/syslog.conf cannot be created.
int create_syslog();
int start_syslog();
int stop_syslog();

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

int create_rip_daemon_cfg();
int start_rip_daemon();
int stop_rip_daemon();
