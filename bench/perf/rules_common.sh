# The part of the rules file that does not depend on the access rules, for both scripts. They know what the
# benchmark's settings ask for and no more: fewer cases than rc has to look at.
#
# Needs: nvram KEY, which prints a setting.

write_head() {
    echo "iptables -t nat -F"
    echo "iptables -t filter -F"
    for chain in PRE_BASIC DNS PRE_PROXY MINIUPNPD PT NAPT VS DMZ VPN; do
        echo "iptables -t nat -X $chain"
        echo "iptables -t nat -N $chain"
    done
    for chain in DOS SCAN PROXY LOCAL_SERVICE OUT_FILTER CFILTER HTTP BLOCK IN_FILTER MINIUPNPD FW_BASIC; do
        echo "iptables -t filter -X $chain"
        echo "iptables -t filter -N $chain"
    done
    cat <<END
iptables -t nat -A PREROUTING -j PRE_BASIC
iptables -t nat -A PREROUTING -j PRE_PROXY
iptables -t nat -A PREROUTING -j MINIUPNPD
iptables -t nat -A PREROUTING -j PT
iptables -t nat -A PREROUTING -j NAPT
iptables -t nat -A PREROUTING -j VS
iptables -t nat -A PREROUTING -j DMZ
iptables -P INPUT DROP
iptables -A INPUT -i lo -j ACCEPT
iptables -A INPUT -i ipsec0 -j ACCEPT
iptables -A INPUT -m state --state ESTABLISHED,RELATED -j ACCEPT
iptables -A INPUT -p tcp --syn -j DOS
iptables -A INPUT -p udp -j DOS
iptables -A INPUT -p icmp --icmp-type echo-request -j DOS
iptables -A INPUT -j PROXY
iptables -A INPUT -j LOCAL_SERVICE
iptables -P FORWARD DROP
iptables -A FORWARD -j OUT_FILTER
iptables -A FORWARD -j CFILTER
iptables -A FORWARD -p tcp --syn -j DOS
iptables -A FORWARD -p udp -j DOS
iptables -A FORWARD -p icmp --icmp-type echo-request -j DOS
iptables -A FORWARD -j FW_BASIC
iptables -A FORWARD -j IN_FILTER
iptables -A FORWARD -j MINIUPNPD
iptables -A FW_BASIC -i lo -j ACCEPT
iptables -A FW_BASIC -i ipsec0 -j ACCEPT
iptables -A FW_BASIC -p tcp --tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu
iptables -A FW_BASIC -m state --state ESTABLISHED,RELATED -j ACCEPT
iptables -A FW_BASIC -m mark --mark 0x2511 -j ACCEPT
iptables -A LOCAL_SERVICE -m mark --mark 0x2511 -j ACCEPT
iptables -t nat -A POSTROUTING -j VPN
iptables -I INPUT -i $lan_if -j ACCEPT
iptables -A FW_BASIC -i $lan_if -j ACCEPT
END
    if [ "$(nvram fw_spi)" = 1 ]; then
        cat <<END
iptables -A DOS -i ! $wan_if -j RETURN
iptables -A DOS -m psd -j SCAN
iptables -A SCAN -m limit --limit 10/s -j LOG --log-level 4 --log-prefix "[PORT SCAN]"
iptables -A SCAN -j DROP
iptables -A DOS -p tcp --syn -m limit --limit 5/s --limit-burst 10 -j RETURN
iptables -A DOS -p udp -m limit --limit 5/s --limit-burst 10 -j RETURN
iptables -A DOS -p icmp --icmp-type echo-request -m limit --limit 5/s --limit-burst 60 -j RETURN
iptables -A DOS -m limit --limit 10/s -j LOG --log-level 4 --log-prefix "[DOS] "
iptables -A DOS -j DROP
END
    fi
    cat <<END
iptables -I MINIUPNPD -t nat -i ! $wan_if -j RETURN
iptables -A PRE_BASIC -t nat -i $wan_if -d ! $wan_address -j DROP
iptables -t nat -A PRE_BASIC -i $lan_if -p tcp --dport $(nvram fw_acc_port) -d $lan_address -j DNAT --to $lan_address:80
iptables -A LOCAL_SERVICE -m mark --mark 0x2643 -d $lan_address -p tcp --dport 80 -j ACCEPT
iptables -t nat -F PT
iptables -t nat -A PT -d ! $lan_address  -j PNAT --set-mark 0x2511
iptables -A IN_FILTER  -i ! $wan_if -j RETURN
iptables -A OUT_FILTER  -i ! $lan_if -j RETURN
END
}

write_tail() {
    for request in GET POST HEAD; do
        echo "iptables -A CFILTER -i $lan_if -m string --string $request -p tcp --dport 80 --tcp-flags ALL PSH,ACK -j HTTP"
    done
    echo 'iptables -A BLOCK -j LOG --log-level 4 --log-prefix "[BLOCK]"'
    echo "iptables -A BLOCK -p tcp --dport 80 -j REJECT --reject-with http-block"
    echo "iptables -t nat -A POSTROUTING -o $wan_if -j MASQUERADE"
}

write_triggers() {
    echo 0
    nvram fw_spapp | tr '\001' '\n' | while IFS=: read -r number on name protocol ports in_protocol in_ports; do
        if [ -n "$number" ] && [ "$on" != 0 ]; then
            echo "$lan_if $protocol $ports $wan_if $in_protocol $in_ports"
        fi
    done
}

weekdays() {
    list=
    day=0
    rest=$1
    while [ -n "$rest" ]; do
        case $rest in
        1*) list=$list,$day ;;
        esac
        rest=${rest#?}
        day=$((day + 1))
    done
    echo "${list#,}"
}

write_crontab() {
    cat /usr/etc/crontab
    if [ "$(nvram time_daylight)" = 1 ]; then
        echo "DAYLIGHT=1"
    fi
    echo "TZ=$(nvram time_zone)"
    echo
    echo "0 12 * * * root /usr/sbin/rc ddns start"
    nvram fw_schedule | tr '\001' '\n' | while IFS=:- read -r days hour minute end_hour end_minute; do
        if [ -n "$days" ]; then
            list=$(weekdays "$days")
            echo "$minute $hour * * $list root /usr/sbin/rc schedule restart"
            echo "$end_minute $end_hour * * $list root /usr/sbin/rc schedule restart"
        fi
    done
    echo "0 $(nvram mail_sh_hour) * * * root killall -1 syslogd"
}
