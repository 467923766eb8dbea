#!/bin/sh
# The rules file by a shell script, the way such scripts are usually written: a pipe for each setting, a
# lookup by grep and cut for each rule.

. "${0%/*}/rules_common.sh"

nvram() {
    tr '\000' '\n' </tmp/nvram | grep "^$1=" | cut -d= -f2-
}

write_access_rules() {
    nvram fw_out_rules | tr '\001' '\n' | while IFS=: read -r on service action lan wan log; do
        [ "$on" = 1 ] || continue
        definition=$(echo "$services" | grep "^$service:" | head -n 1)
        protocol=$(echo "$definition" | cut -d: -f2)
        ports=$(echo "$definition" | cut -d: -f3 | tr - :)
        case $action in
        0) target=DROP ;;
        2) target=ACCEPT ;;
        esac
        case $wan in
        */*) match="-s   $lan " ;;
        *) match="-s   $lan -d $wan" ;;
        esac
        echo "iptables -A OUT_FILTER   $match -p $protocol --dport $ports  -j $target"
    done
}

lan_if=$(nvram lan_if)
wan_if=$(nvram wan_ifname)
lan_address=$(nvram lan_ipaddr)
wan_address=$(ifconfig "$wan_if" | sed -n 's/.*inet addr:\([0-9.]*\).*/\1/p')
services=$(
    nvram fw_services | tr '\001' '\n'
    nvram fw_services_def | tr '\001' '\n'
)
{
    write_head
    write_access_rules
    write_tail
} >/tmp/rules
write_triggers >/proc/special/pnat
write_crontab >/etc/crontab
