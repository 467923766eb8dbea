// The setting behind each line of the packet filter's rules, found out by changing settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/rule_origins.h"
#include "tests/programs.h"

namespace {

using Settings = std::vector<bench::Setting>;

bench::RulesFile rules_of(const Settings &changes)
{
    const bench::Target target = built_rc();
    bench::Setup setup;
    setup.defaults = bench::image_settings(target.image);
    setup.settings = setup.defaults;
    for (const bench::Setting &entry : changes) {
        bench::set_entry(*setup.settings, entry);
    }
    setup.interfaces = {{"br0", "192.168.0.1"}, {"ppp0", "203.0.113.10"}};
    return bench::rules_with_origins(target, setup);
}

// What is behind the one line that holds `text`.
std::string behind(const bench::RulesFile &file, const std::string &text)
{
    std::string found = "no such line";
    size_t number = 0;
    for (size_t at = 0; at < file.text.size(); ++number) {
        const size_t end = std::min(file.text.find('\n', at), file.text.size());
        if (file.text.substr(at, end - at).find(text) != std::string::npos) {
            found = found == "no such line" ? bench::origin_text(file.origins[number]) : "several lines";
        }
        at = end + 1;
    }
    EXPECT_EQ(file.origins.size(), number);
    return found;
}

TEST(RuleOrigins, NamesTheSettingThatSwitchesARule)
{
    const bench::RulesFile file = rules_of({{"fw_dmz_enable", "1"}, {"fw_dmz", "192.168.0.40"}});
    EXPECT_EQ(behind(file, "POSTROUTING -o ppp0 -j MASQUERADE"), "fw_nat");
    EXPECT_EQ(behind(file, "DNAT --to 192.168.0.40"), "fw_dmz_enable");
    EXPECT_EQ(behind(file, "IN_FILTER -d 192.168.0.40 -j ACCEPT"), "fw_dmz_enable");
    EXPECT_EQ(behind(file, "IN_FILTER  -i ! ppp0 -j RETURN"), "wan_ifname");
    EXPECT_EQ(behind(file, "FW_BASIC -i lo -j ACCEPT"), "always");
}

TEST(RuleOrigins, TellsTheRecordsOfAListApart)
{
    const bench::RulesFile file = rules_of({{"fw_in_rules",
                                             "1:HTTP:2:192.168.0.2:0.0.0.0/0:0\x01"
                                             "0:FTP:2:192.168.0.3:0.0.0.0/0:0\x01"
                                             "1:HTTPS:2:192.168.0.4:0.0.0.0/0:0\x01"},
                                            {"fw_out_rules", "1:HTTP:0:192.168.0.5:0.0.0.0/0:0\x01"}});
    EXPECT_EQ(behind(file, "DNAT --to 192.168.0.2"), "fw_in_rules 1");
    EXPECT_EQ(behind(file, "192.168.0.3"), "no such line");
    EXPECT_EQ(behind(file, "DNAT --to 192.168.0.4"), "fw_in_rules 3");
    EXPECT_EQ(behind(file, "192.168.0.5"), "fw_out_rules 1");
}

TEST(RuleOrigins, AreWrittenAsPeopleReadThem)
{
    EXPECT_EQ(bench::origin_text({}), "always");
    EXPECT_EQ(bench::origin_text({{"fw_nat"}, 0}), "fw_nat");
    EXPECT_EQ(bench::origin_text({{"fw_in_rules"}, 12}), "fw_in_rules 12");
    EXPECT_EQ(bench::origin_text({{"fw_disable", "fw_acc_lan"}, 0}), "fw_disable, fw_acc_lan");
}

}  // namespace
