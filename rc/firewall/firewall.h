// Packet filter and schedule, as the service table and other folders call them.
#pragma once

// Row `firewall`. create writes /tmp/rules and /etc/crontab; start also loads the rules, applies the schedule
// and forwards packets; stop only ends the forwarding, the rules stay loaded. Always 0.
int create_firewall_cfg();
int start_firewall();
int stop_firewall();

// Row `schedule`.
int create_crontab();  // 0; -1 when /etc/crontab cannot be opened
int start_schedule();  // also sets the kernel's schedule flag; always 0
