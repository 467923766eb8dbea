#!/bin/sh
# The rules file by a shell script written for speed: the store is read once, and no process is started for
# a rule, only what the shell itself can do.

. "${0%/*}/rules_common.sh"

keys='lan_if|wan_ifname|lan_ipaddr|fw_spi|fw_acc_port|fw_services|fw_services_def|fw_out_rules|fw_spapp'
keys="$keys|fw_schedule|time_daylight|time_zone|mail_sh_hour"
line_end='
'
separator=$(printf '\001')

# Each setting becomes a variable of its name.
read_settings() {
    IFS=$line_end
    for line in $(tr '\000' '\n' </tmp/nvram | grep -E "^($keys)="); do
        eval "${line%%=*}=\${line#*=}"
    done
    unset IFS
}

nvram() {
    eval "echo \"\$$1\""
}

# Makes find_service, which puts a service's definition into $definition, from the definitions as words.
make_find_service() {
    cases=
    for service; do
        cases="$cases '${service%%:*}') definition=${service#*:} ;;"
    done
    eval "find_service() { case \$1 in $cases esac; }"
}

# Takes the list of rules as words.
write_access_rules() {
    for rule; do
        IFS=:
        set -- $rule
        [ "$1" = 1 ] || continue
        find_service "$2"
        ports=${definition#*:}
        case $3 in
        0) target=DROP ;;
        2) target=ACCEPT ;;
        esac
        case $5 in
        */*) match="-s   $4 " ;;
        *) match="-s   $4 -d $5" ;;
        esac
        echo "iptables -A OUT_FILTER   $match -p ${definition%%:*} --dport ${ports%-*}:${ports#*-}  -j $target"
    done
}

set -f
read_settings
wan_if=$wan_ifname
lan_address=$lan_ipaddr
wan_address=$(ifconfig "$wan_if" | sed -n 's/.*inet addr:\([0-9.]*\).*/\1/p')
{
    write_head
    IFS=$separator
    make_find_service $fw_services $fw_services_def
    write_access_rules $fw_out_rules
    unset IFS
    write_tail
} >/tmp/rules
write_triggers >/proc/special/pnat
write_crontab >/etc/crontab
