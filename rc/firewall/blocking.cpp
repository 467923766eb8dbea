// Content blocking by keyword, masquerading, and the blocking of instant messengers.
//
// Reads:  lan_if fw_block fw_block_trust_enable fw_block_trust fw_block_keyword wan_ifname
// Writes: /tmp/IM
// Runs:   touch
// Needs:  lan wan
//
// The chains CFILTER, HTTP and BLOCK are filled whether or not blocking is on: without a keyword, HTTP lets
// everything return.

#include "rc/firewall/internal.h"

#include "rc/files.h"
#include "rc/firewall/rules.h"
#include "rc/firewall/tables.h"
#include "rc/nvram.h"
#include "rc/product.h"
#include "rc/rc.h"
#include "rc/record.h"
#include "rc/text.h"

namespace {

constexpr int kBySchedule = 2;  // fw_block
constexpr size_t kKeywordSize = 127 + 1;

// Deliberate: keywords are written as they are, without quotes. An empty one leaves an empty field.
void block_keywords()
{
    const std::string keywords = nvram_text("fw_block_keyword");
    std::string_view list = keywords;
    std::string_view record;
    while (next_record(list, record)) {
        char keyword[kKeywordSize];
        copy_text(keyword, record);
        fw_rule("-A HTTP -m string --string %s -j BLOCK", keyword);
    }
}

}  // namespace

void fw_content_blocking()
{
    fw_rule_list(kLanRequestRules, nvram_text("lan_if").c_str());
    fw_rule("-A BLOCK -j LOG --log-level 4 --log-prefix \"[BLOCK]\"");
    fw_rule("-A BLOCK -p tcp --dport 80 -j REJECT --reject-with http-block");
    const int blocking = nvram_int("fw_block");
    if (blocking == kBySchedule) {
        fw_rule("-A HTTP -m condition ! --condition schedule -j RETURN");
    }
    if (nvram_int("fw_block_trust_enable") == 1) {
        fw_rule("-A HTTP -s %s -j RETURN", nvram_text("fw_block_trust").c_str());
    }
    if (blocking != 0) {
        block_keywords();
    }
}

void fw_masquerading(int translation)
{
    if (translation != 0) {
        fw_rule("-t nat -A POSTROUTING -o %s -j MASQUERADE", nvram_text("wan_ifname").c_str());
    }
}

void fw_messenger_blocking(int blocked)
{
    remove_file("/tmp/IM");
    if (blocked != 1) {
        return;
    }
    // Deliberate: inserted one by one, so the chain holds the three ports in reverse order.
    fw_rule("-t nat -I PRE_BASIC -p tcp --dport 1863 -j DROP");
    fw_rule("-I HTTP -m string --string " MESSENGER_GATEWAY " -j BLOCK");
    fw_rule("-t nat -I PRE_BASIC -p tcp --dport 5190 -j DROP");
    fw_rule("-t nat -I PRE_BASIC -p tcp --dport 5050 -j DROP");
    run("/usr/sbin/touch /tmp/IM");
}
