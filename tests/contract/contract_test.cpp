// The contract check itself: it must see every difference between a contract and its code.
#include "tests/contract/contract.h"

#include <gtest/gtest.h>

#include "tests/contract/project.h"

namespace {

using Lines = std::vector<std::string>;

constexpr const char *kHead =
    "// Test service: does a thing.\n"
    "//\n"
    "// Reads:  lan_if lan_%d_x\n"
    "// Sets:   lan_up\n"
    "// Writes: /etc/a /etc/b\n"
    "//         /tmp/c\n"
    "// Runs:   ifconfig cp\n"
    "// Needs:  lan, the kernel\n"
    "//\n"
    "// Why it is so.\n"
    "\n";

constexpr const char *kCode =
    "void f()\n"
    "{\n"
    "    SYSTEM(\"/sbin/ifconfig %s up\", nvram_text(\"lan_if\").c_str());\n"
    "    snprintf(key, sizeof key, \"lan_%d_x\", 3);\n"
    "    nvram_set(\"lan_up\", \"1\");\n"
    "    const File a = open_file(\"/etc/a\", \"w\");\n"
    "    const File r = open_file(\"/etc/readonly\", \"r\");\n"
    "    remove_file(\"/etc/b\");\n"
    "    run(\"cp /x /tmp/c\");\n"
    "}\n";

Lines texts(const std::vector<Problem> &problems)
{
    Lines lines;
    for (const Problem &problem : problems) {
        lines.push_back(problem.path + ":" + std::to_string(problem.line) + ": " + problem.text);
    }
    return lines;
}

Lines differences(const std::string &source, const Shared &shared = {})
{
    std::vector<Problem> problems;
    const Contract contract = read_contract("x.cpp", source, problems);
    compare_contract("x.cpp", contract, read_uses(source, shared), problems);
    return texts(problems);
}

std::string changed(std::string text, const std::string &from, const std::string &to)
{
    return text.replace(text.find(from), from.size(), to);
}

const std::string kGood = std::string(kHead) + kCode;

// What the code of one function body runs and writes.
Uses uses_of(const std::string &body)
{
    return read_uses("void f() { " + body + " }", {});
}

Lines names(const Names &all)
{
    Lines lines;
    for (const auto &[name, line] : all) {
        lines.push_back(name);
    }
    return lines;
}

// ---- the comment ----------------------------------------------------------------------------------------

TEST(ContractComment, IsReadFieldByField)
{
    std::vector<Problem> problems;
    const Contract contract = read_contract("x.cpp", kHead, problems);
    EXPECT_TRUE(problems.empty());
    EXPECT_EQ(contract.purpose, "Test service: does a thing.");
    EXPECT_EQ(names(contract.reads), (Lines{"lan_%d_x", "lan_if"}));
    EXPECT_EQ(names(contract.sets), (Lines{"lan_up"}));
    EXPECT_EQ(names(contract.writes), (Lines{"/etc/a", "/etc/b", "/tmp/c"}));
    EXPECT_EQ(names(contract.runs), (Lines{"cp", "ifconfig"}));
    EXPECT_EQ(contract.needs, "lan, the kernel");
    EXPECT_EQ(contract.writes.at("/tmp/c"), 6);
}

TEST(ContractComment, MayListNothing)
{
    std::vector<Problem> problems;
    const Contract contract = read_contract("x.cpp", "// A: b.\n", problems);
    EXPECT_TRUE(problems.empty());
    EXPECT_TRUE(contract.reads.empty());
    EXPECT_EQ(contract.line, 0);
}

TEST(ContractComment, FaultsOfFormAreSeen)
{
    EXPECT_EQ(differences("int x;\n"),
              (Lines{"x.cpp:1: the file does not begin with a comment that says its purpose"}));
    EXPECT_EQ(differences("// P.\n//\n// Reads:  -\n"),
              (Lines{"x.cpp:3: Reads: lists nothing; leave the line out"}));
    EXPECT_EQ(differences("// P.\n//\n// Needs:  a\n// Runs:\n"),
              (Lines{"x.cpp:4: Runs: stands out of order"}));
    EXPECT_EQ(differences(changed(kGood, "lan_if ", "lan_if lan_if ")),
              (Lines{"x.cpp:3: \"lan_if\" is listed twice under Reads:"}));
}

// ---- differences ----------------------------------------------------------------------------------------

TEST(ContractDifference, IsNoneWhereBothAgree)
{
    EXPECT_EQ(differences(kGood), Lines{});
}

TEST(ContractDifference, UnlistedReadIsSeen)
{
    EXPECT_EQ(differences(changed(kGood, "Reads:  lan_if", "Reads: ")),
              (Lines{"x.cpp:14: reads \"lan_if\", which is not listed under Reads:"}));
    for (const char *reader : {"nvram_get", "nvram_int", "nvram_on", "nvram_first", "my_nvram_get"}) {
        EXPECT_EQ(differences(kGood + "int g = " + reader + "(\"other\");\n"),
                  (Lines{"x.cpp:22: reads \"other\", which is not listed under Reads:"}));
    }
}

TEST(ContractDifference, IdleReadIsSeen)
{
    EXPECT_EQ(differences(changed(kGood, "Reads:  ", "Reads:  lan_idle ")),
              (Lines{"x.cpp:3: \"lan_idle\" is listed under Reads: but not in the code"}));
    EXPECT_EQ(differences(changed(kGood, "\"lan_%d_x\"", "\"lan_%d_y\"")),
              (Lines{"x.cpp:3: \"lan_%d_x\" is listed under Reads: but not in the code"}));
}

TEST(ContractDifference, UnlistedAndIdleSetsAreSeen)
{
    EXPECT_EQ(differences(changed(kGood, "nvram_set(\"lan_up\"", "nvram_set(\"lan_down\"")),
              (Lines{"x.cpp:16: sets \"lan_down\", which is not listed under Sets:",
                     "x.cpp:4: \"lan_up\" is listed under Sets: but not in the code"}));
}

TEST(ContractDifference, UnlistedWritesAreSeen)
{
    EXPECT_EQ(differences(changed(kGood, "Writes: /etc/a", "Writes:")),
              (Lines{"x.cpp:17: writes \"/etc/a\", which is not listed under Writes:"}));
    EXPECT_EQ(differences(changed(kGood, " /etc/b", "")),
              (Lines{"x.cpp:19: writes \"/etc/b\", which is not listed under Writes:"}));
    EXPECT_EQ(differences(changed(kGood, "        /tmp/c", "")),
              (Lines{"x.cpp:20: writes \"/tmp/c\", which is not listed under Writes:"}));
}

TEST(ContractDifference, IdleWriteIsSeen)
{
    EXPECT_EQ(differences(changed(kGood, "/tmp/c\n// Runs", "/tmp/c /tmp/d\n// Runs")),
              (Lines{"x.cpp:6: \"/tmp/d\" is listed under Writes: but not in the code"}));
}

TEST(ContractDifference, UnlistedAndIdleRunsAreSeen)
{
    EXPECT_EQ(differences(changed(kGood, "/sbin/ifconfig %s", "/sbin/route %s")),
              (Lines{"x.cpp:14: runs \"route\", which is not listed under Runs:",
                     "x.cpp:7: \"ifconfig\" is listed under Runs: but not in the code"}));
}

TEST(ContractDifference, CommentsAreNotCode)
{
    EXPECT_EQ(differences(kGood + "// run(\"killall x\");\n/* nvram_text(\"y\")\n */\n"), Lines{});
}

// ---- what code does -------------------------------------------------------------------------------------

TEST(Uses, CommandsAreNamedByTheirFirstWord)
{
    EXPECT_EQ(names(uses_of("run(\"/usr/bin/killall a; /bin/echo b\");").runs), (Lines{"killall"}));
    EXPECT_EQ(names(uses_of("MY_SYSTEM(\"wl\" \"ctl %d\"\n\" x\", 1);").runs), (Lines{"wlctl"}));
    EXPECT_EQ(names(uses_of("myPipe(on ? \"lsmod\" : \"/sbin/rmmod x\", out);").runs),
              (Lines{"lsmod", "rmmod"}));
    EXPECT_EQ(names(uses_of("SYSTEM(\"%s\", command);").runs), Lines{});
    EXPECT_EQ(names(uses_of("run(build(\"echo x\"));").runs), Lines{});
    EXPECT_EQ(names(uses_of("printf(\"echo x\");").runs), Lines{});
}

TEST(Uses, CommandsInTablesCountToo)
{
    EXPECT_EQ(names(uses_of("T t = {\"/bin/cp /a /tmp/b\", \"German\"};").runs), (Lines{"cp"}));
    EXPECT_EQ(names(uses_of("T t = {\"/bin/cp /a /tmp/b\", \"German\"};").writes), (Lines{"/tmp/b"}));
}

TEST(Uses, RedirectionsWrite)
{
    EXPECT_EQ(names(uses_of("run(\"echo a > /tmp/x\");").writes), (Lines{"/tmp/x"}));
    EXPECT_EQ(names(uses_of("run(\"echo a>>/tmp/x;b\");").writes), (Lines{"/tmp/x"}));
    EXPECT_EQ(names(uses_of("run(\"a --version 2> /tmp/x\");").writes), (Lines{"/tmp/x"}));
    EXPECT_EQ(names(uses_of("run(\"a > /dev/null 2>&1\");").writes), Lines{});
    EXPECT_EQ(names(uses_of("run(\"echo '> /tmp/x'\");").writes), Lines{});
    EXPECT_EQ(names(uses_of("SYSTEM(\"echo a > %s\", path);").writes), Lines{});
    EXPECT_EQ(names(uses_of("run(\"cat < /tmp/x\");").writes), Lines{});
}

TEST(Uses, ToolsThatWriteAreKnown)
{
    EXPECT_EQ(names(uses_of("run(\"rm -rf /tmp/x /tmp/y\");").writes), (Lines{"/tmp/x", "/tmp/y"}));
    EXPECT_EQ(names(uses_of("run(\"ln -sf /a /tmp/x\");").writes), (Lines{"/tmp/x"}));
    EXPECT_EQ(names(uses_of("run(\"/bin/busybox cp /a /tmp/x\");").writes), (Lines{"/tmp/x"}));
    EXPECT_EQ(uses_of("run(\"cp /www/block.htm /etc\");").copies.at("/etc").count("/etc/block.htm"), 1U);
}

TEST(Uses, ACopyMayBeListedUnderItsOwnName)
{
    const std::string copies = changed(kGood, "cp /x /tmp/c", "cp /x/c /tmp");
    EXPECT_EQ(differences(copies), Lines{});
    EXPECT_EQ(differences(changed(kGood, "cp /x /tmp/c", "cp /x/d /tmp")),
              (Lines{"x.cpp:20: writes \"/tmp\", which is not listed under Writes:",
                     "x.cpp:6: \"/tmp/c\" is listed under Writes: but not in the code"}));
}

TEST(Uses, OnlyOpeningForWritingWrites)
{
    EXPECT_EQ(names(uses_of("open_file(\"/x\", \"r+\");").writes), (Lines{"/x"}));
    EXPECT_EQ(names(uses_of("open_file(\"/x\", there ? \"r\" : \"w+\");").writes), (Lines{"/x"}));
    EXPECT_EQ(names(uses_of("fopen(\"/x\", \"a\");").writes), (Lines{"/x"}));
    EXPECT_EQ(names(uses_of("open(\"/x\", O_WRONLY | O_CREAT, 0600);").writes), (Lines{"/x"}));
    EXPECT_EQ(names(uses_of("open(\"/x\", O_RDONLY);").writes), Lines{});
    EXPECT_EQ(names(uses_of("unlink(\"/x\");").writes), (Lines{"/x"}));
}

TEST(Uses, ConstantsAreResolved)
{
    const std::string code =
        "constexpr const char *kX = \"/x\";\nconst char kY[] = \"/y\";\nvoid f() { "
        "remove_file(kX); SYSTEM(\"/bin/cp %s %s\", kX, kY); SYSTEM(\"cp %d %s\", 1, kZ); }";
    Shared shared;
    shared.constants["kZ"] = "/z";
    EXPECT_EQ(names(read_uses(code, shared).writes), (Lines{"/x", "/y", "/z"}));
}

TEST(Uses, MacrosJoinLiterals)
{
    Shared shared;
    shared.macros = read_macros("#define FOLDER \"/etc\"\n#define ONE 1\n");
    EXPECT_EQ(names(read_uses("void f() { run(\"echo > \" FOLDER \"/x\"); }", shared).writes),
              (Lines{"/etc/x"}));
}

TEST(Uses, LiteralsAreReadAsTheCompilerReadsThem)
{
    const Uses uses = uses_of("g(\"a\\n\\x41\\101\\\"b\", R\"x(raw\\n)x\", '\"', \"z\");");
    EXPECT_EQ(uses.literals, (std::set<std::string>{"a\nAA\"b", "raw\\n", "z"}));
}

TEST(KeyTemplate, StandsForItsKeys)
{
    EXPECT_TRUE(matches_template("lan_if", "lan_if"));
    EXPECT_TRUE(matches_template("fw_ip12_x", "fw_ip%d_x"));
    EXPECT_TRUE(matches_template("a_b_c", "a_%s"));
    EXPECT_TRUE(matches_template("a1b2", "a%db%d"));
    EXPECT_FALSE(matches_template("fw_ip_x", "fw_ip%d_x"));
    EXPECT_FALSE(matches_template("fw_ipa_x", "fw_ip%d_x"));
    EXPECT_FALSE(matches_template("fw_ip1", "fw_ip%d_x"));
    EXPECT_FALSE(matches_template("lan_if2", "lan_if"));
}

// ---- descriptions ---------------------------------------------------------------------------------------

constexpr const char *kLanText =
    "# The LAN.\n\n## text up to 9: LAN interface\n#   apply: rc lan start\nlan_if=br0\n\n"
    "## number 0 to 9: numbered\n#   apply: rc lan start\nlan_7_x=1\n"
    "## flag: up\n#   apply: rc lan start\nlan_up=0\n";
constexpr const char *kMore = "## address: more\n#   apply: rc lan start\n";

Project project_of(const std::string &source, const std::string &settings, std::vector<Problem> &problems)
{
    Project project;
    Service service;
    service.path = "x.cpp";
    service.contract = read_contract("x.cpp", source, problems);
    service.uses = read_uses(source, {});
    project.services.push_back(service);
    project.areas.push_back(read_area("lan.settings", settings, problems));
    return project;
}

Lines project_differences(const std::string &source, const std::string &settings)
{
    std::vector<Problem> problems;
    check_project(project_of(source, settings, problems), problems);
    return texts(problems);
}

TEST(Descriptions, CoverWhatTheCodeReads)
{
    EXPECT_EQ(project_differences(kGood, kLanText), Lines{});
}

TEST(Descriptions, ThatAreMissingAreSeen)
{
    EXPECT_EQ(project_differences(kGood, changed(kLanText, "lan_if=", "lan_of=")),
              (Lines{"x.cpp:3: \"lan_if\" is not described in bench/image/settings/*.settings",
                     "lan.settings:5: \"lan_of\" is read and set by no file"}));
    EXPECT_EQ(project_differences(kGood, changed(kLanText, "lan_7_x", "lan_y_x")),
              (Lines{"x.cpp:3: \"lan_%d_x\" is not described in bench/image/settings/*.settings",
                     "lan.settings:9: \"lan_y_x\" is read and set by no file"}));
}

TEST(Descriptions, StandOnceForEachKey)
{
    EXPECT_EQ(project_differences(kGood, std::string(kLanText) + kMore + "lan_if=x\n"),
              (Lines{"lan.settings:15: \"lan_if\" is described in lan.settings too"}));
}

TEST(Descriptions, HaveOneForm)
{
    EXPECT_EQ(project_differences(kGood, changed(kLanText, "#   apply: rc lan start\nlan_if", "lan_if")),
              (Lines{"lan.settings:4: \"lan_if\" has no \"apply:\""}));
    EXPECT_EQ(project_differences(kGood, changed(kLanText, "## text up to 9: LAN", "## LAN")),
              (Lines{"lan.settings:3: \"## TYPE: MEANING\" expected, with a known type"}));
    EXPECT_EQ(project_differences(kGood, std::string(kLanText) + kMore),
              (Lines{"lan.settings:14: a description without its key=value"}));
    EXPECT_EQ(project_differences(kGood, std::string(kLanText) + "nothing\n"),
              (Lines{"lan.settings:13: a setting without its description"}));
}

TEST(Descriptions, FindKeysThatStandInTables)
{
    EXPECT_EQ(
        project_differences(kGood + "T t = {\"lan_mac\"};\n", std::string(kLanText) + kMore + "lan_mac=\n"),
        (Lines{"x.cpp:1: holds the key \"lan_mac\", which is not listed under Reads:",
               "lan.settings:15: \"lan_mac\" is read and set by no file"}));
}

TEST(Reference, TellsWhatBecomesOfASetting)
{
    std::vector<Problem> problems;
    const std::string text = settings_reference(project_of(kGood, kLanText, problems));
    EXPECT_NE(text.find("## The LAN\n\n### lan_if\n\ntext up to 9, by default `br0`\n\nLAN interface\n\n"
                        "- applied by `rc lan start`\n- read by [Test service](#test-service)\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("### lan_up\n\nflag, by default `0`\n\nup\n\n- applied by `rc lan start`\n"
                        "- set by [Test service](#test-service)\n"),
              std::string::npos);
    EXPECT_NE(text.find("### Test service\n\n| | |\n|---|---|\n| Source | `x.cpp` |\n"), std::string::npos);
}

}  // namespace
