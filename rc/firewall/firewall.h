// Packet filter and schedule, as the service table and other folders call them.
#pragma once

// Row `firewall`. create writes /tmp/rules and /etc/crontab; start also loads the rules, applies the schedule
// and forwards packets; stop only ends the forwarding, the rules stay loaded. Always 0.
// Choice: a rules file that cannot be created swallows the lines; everything else is done.
int create_firewall_cfg();
int start_firewall();
int stop_firewall();

// Row `schedule`.
// Choice: only the crontab is limited to the first 31 characters of the setting.
int create_crontab();  // 0; -1 when /etc/crontab cannot be opened
int start_schedule();  // also sets the kernel's schedule flag; always 0
