// Random policies: what a start prints, runs and writes is compared with its rules, stated here once more and
// in another way than the program does: records are read by the C library's own sscanf, and the table is
// made of numbers of offsets.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "bench/router.h"
#include "tests/programs.h"

namespace {

using Lines = std::vector<std::string>;

constexpr size_t kRecord = 684;
constexpr size_t kTable = 8 * kRecord;

// ---- one record as sscanf reads it ---------------------------------------------------------------------

// Fields by their number in the setting.
struct Fields {
    std::array<signed char, 29> number = {};
    std::array<std::array<char, 2048>, 29> text = {};
    unsigned spi_in = 0;
    unsigned spi_out = 0;
    int lifetime = 0;
    int count = 0;
};

void scan(const std::string &record, int format, Fields &f)
{
    ASSERT_LT(record.size(), f.text[0].size());
    auto &n = f.number;
    auto &t = f.text;
    const int count = sscanf(
        record.c_str(),
        "%hhd\x02%[^\x02]\x02%hhd\x02%hhd\x02%hhd\x02%hhd\x02%[^\x02]\x02%hhd\x02%[^\x02]\x02%hhd\x02%[^\x02]"
        "\x02%[^\x02]\x02%x\x02%x\x02%[^\x02]\x02%[^\x02]\x02%hhd\x02%[^\x02]\x02%hhd\x02%[^\x02]\x02%hhd\x02"
        "%hhd\x02%hhd\x02%hhd\x02%hhd\x02%d\x02%[^\x02]\x02%hhd",
        &n[1], t[2].data(), &n[3], &n[4], &n[5], &n[6], t[7].data(), &n[8], t[9].data(), &n[10], t[11].data(),
        t[12].data(), &f.spi_in, &f.spi_out, t[15].data(), t[16].data(), &n[17], t[18].data(), &n[19],
        t[20].data(), &n[21], &n[22], &n[23], &n[24], &n[25], &f.lifetime, t[27].data(), &n[28]);
    f.count = std::max(count, 0);
    if (format == 1) {
        t[27][0] = '\0';
        n[28] = 0;
    }
}

// ---- the table as bytes --------------------------------------------------------------------------------

// Where the fields of the setting lie in the record; texts have a width.
struct Place {
    int field;
    size_t offset;
    size_t width;
};

constexpr Place kPlaces[] = {
    {1, 0, 0},    {2, 1, 19},    {3, 535, 0},  {4, 536, 0},   {5, 537, 0},   {6, 237, 0},
    {7, 238, 34}, {8, 342, 0},   {9, 343, 87}, {10, 430, 0},  {11, 431, 34}, {12, 20, 130},
    {17, 308, 0}, {18, 309, 33}, {19, 501, 0}, {20, 502, 33}, {21, 653, 0},  {22, 654, 0},
    {23, 655, 0}, {24, 656, 0},  {25, 657, 0}, {27, 664, 16}, {28, 680, 0},
};

struct Record {
    std::string &table;
    size_t base;

    int number(size_t offset) const { return static_cast<signed char>(table[base + offset]); }
    std::string text(size_t offset) const { return table.c_str() + base + offset; }

    void put(size_t offset, size_t width, const std::string &text)
    {
        const std::string kept = text.substr(0, width - 1);
        table.replace(base + offset, kept.size() + 1, kept + '\0');
    }

    void put_word(size_t offset, uint32_t word)
    {
        for (size_t i = 0; i < 4; ++i) {
            table[base + offset + i] = static_cast<char>(word >> (8 * (3 - i)) & 255);
        }
    }

    uint32_t word(size_t offset) const
    {
        uint32_t value = 0;
        for (size_t i = 0; i < 4; ++i) {
            value = value * 256 + static_cast<unsigned char>(table[base + offset + i]);
        }
        return value;
    }
};

// ---- addresses -----------------------------------------------------------------------------------------

// The generated addresses are whole or nothing like one.
uint32_t number_of(const std::string &text)
{
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    if (sscanf(text.c_str(), "%u.%u.%u.%u", &a, &b, &c, &d) != 4) {
        return 0xffffffff;
    }
    return a << 24 | b << 16 | c << 8 | d;
}

std::string dotted(uint32_t address)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(address >> shift & 255) + (shift != 0 ? "." : "");
    }
    return text;
}

uint32_t high_bits(int bits)
{
    uint32_t mask = 0;
    for (int i = 0; i < bits; ++i) {
        mask |= 0x80000000U >> i;
    }
    return mask;
}

// Two addresses around "..."; none when there are not two.
std::optional<std::pair<std::string, std::string>> ends(const std::string &text)
{
    const size_t middle = text.find("...");
    if (text.size() < 17 || middle == std::string::npos) {
        return std::nullopt;
    }
    return std::pair(text.substr(0, middle), text.substr(middle + 3));
}

int common_bits(uint32_t left, uint32_t right)
{
    int bits = 0;
    while (bits < 32 && (left & high_bits(bits + 1)) == (right & high_bits(bits + 1))) {
        ++bits;
    }
    return bits;
}

// ---- the rules of a policy -----------------------------------------------------------------------------

// Offsets of one side's fields.
struct Side {
    size_t type;
    size_t net;
    size_t mask;
    size_t addr;
    int short_error;
    int type_error;
};

constexpr Side kLocal = {237, 238, 272, 290, -4, -7};
constexpr Side kRemote = {430, 431, 465, 483, -8, -9};

void put_side(Record &record, const Side &side, const Lines &net_addr_mask)
{
    record.put(side.addr, 18, net_addr_mask[1]);
    record.put(side.net, 34, net_addr_mask[0]);
    record.put(side.mask, 18, net_addr_mask[2]);
}

int derive_prefix(Record &record, const Side &side, bool range)
{
    const auto both = ends(record.text(side.net));
    const int error = range ? -5 : -6;
    if (!both) {
        return error;
    }
    const uint32_t first = number_of(both->first);
    const uint32_t second = number_of(both->second);
    if (range && second < first) {
        return error;
    }
    const int bits = common_bits(range ? first : 0xffffffff, second);
    if (bits != 0) {
        record.put(side.addr, 18, both->first);
        const std::string network = dotted(first & high_bits(bits));
        put_side(record, side,
                 {"--client " + network + "/" + std::to_string(bits) + (range ? ":1" : ""), network,
                  dotted(high_bits(bits))});
    }
    return 0;
}

int derive_side(Record &record, const Side &side)
{
    const std::string typed = record.text(side.net);
    switch (record.number(side.type)) {
        case 2:
            if (typed.size() < 6) {
                return side.short_error;
            }
            put_side(record, side, {"--client " + typed + "/32", typed, "255.255.255.255"});
            return 0;
        case 3:
            return derive_prefix(record, side, true);
        case 4:
            return derive_prefix(record, side, false);
        case 5:
            put_side(record, side, {"--client 0.0.0.0/0", "0.0.0.0", "0.0.0.0"});
            return 0;
        default:
            return side.type_error;
    }
}

int derive_remote(Record &record)
{
    if (record.number(430) != 1) {
        return derive_side(record, kRemote);
    }
    const std::string peer = record.text(343);
    if (record.number(535) == 1) {
        record.put(431, 34, "");
    } else if (record.number(535) == 2) {
        put_side(record, kRemote, {"--client " + peer + "/32", peer, "255.255.255.255"});
    }
    return 0;
}

std::optional<std::string> converted(const std::string &key, size_t digits)
{
    std::string hexadecimal = key;
    if (key.size() == digits / 2) {
        hexadecimal.clear();
        for (const char c : key) {  // the test's keys have no character below 16
            char two[3];
            snprintf(two, sizeof two, "%02x", static_cast<unsigned>(c) & 255);
            hexadecimal += two;
        }
    }
    if (hexadecimal.size() != digits) {
        return std::nullopt;
    }
    std::string groups = "0x";
    for (size_t i = 0; i < digits; i += 8) {
        groups += (i != 0 ? "_" : "") + hexadecimal.substr(i, 8);
    }
    return groups;
}

int convert(Record &record, const Fields &fields)
{
    if (record.number(535) != 2) {
        return 0;
    }
    const auto enc = converted(fields.text[15].data(), record.number(536) == 0 ? 48 : 16);
    if (!enc) {
        return -10;
    }
    record.put(548, 57, *enc);
    const int algorithm = record.number(537);
    if (algorithm != 1 && algorithm != 2) {
        return 0;
    }
    const auto auth = converted(fields.text[16].data(), algorithm == 1 ? 32 : 40);
    if (!auth) {
        return -11;
    }
    record.put(605, 48, *auth);
    return 0;
}

void name_id(Record &record, size_t type, size_t id)
{
    const std::string text = record.text(id);
    if (text != "\x03" && record.number(type) != 0) {
        record.put(id, 33, "@" + std::to_string(record.number(type)) + text);
    }
}

int parse_record(const std::string &text, int format, Record &record)
{
    Fields fields;
    scan(text, format, fields);
    for (const Place &place : kPlaces) {
        if (place.width == 0) {
            record.table[record.base + place.offset] =
                static_cast<char>(fields.number[static_cast<size_t>(place.field)]);
        } else if (const char *value = fields.text[static_cast<size_t>(place.field)].data(); *value != '\0') {
            record.put(place.offset, place.width, value);
        }
    }
    record.put_word(540, fields.spi_in);
    record.put_word(544, fields.spi_out);
    record.put_word(660, fields.lifetime == 0 ? 28800 : static_cast<uint32_t>(fields.lifetime));
    name_id(record, 501, 502);
    name_id(record, 308, 309);
    if (record.number(342) == 0) {
        record.put(343, 87, "%any");
    }
    int error = derive_side(record, kLocal);
    error = error != 0 ? error : derive_remote(record);
    return error != 0 ? error : convert(record, fields);
}

int parse(const std::string &format, const Lines &records, std::string &table)
{
    Record first = {table, 0};
    first.put(14, 6, "nas0");
    first.put(150, 33, "80.1.2.3");
    first.put(201, 18, "255.255.255.0");
    first.put(219, 18, "80.1.2.255");
    first.put(183, 18, "80.1.2.1");
    for (size_t i = 0; i < records.size() && i < 8; ++i) {
        if (format != "1" && format != "2") {
            return -3;
        }
        Record record = {table, i * kRecord};
        if (const int error = parse_record(records[i], format == "1" ? 1 : 2, record); error != 0) {
            table[i * kRecord] = 0;
            return error;
        }
        record.put(150, 33, "80.1.2.3");
        record.put(183, 18, "80.1.2.1");
    }
    return 0;
}

// ---- what is run and written ---------------------------------------------------------------------------

struct Expected {
    Lines trace;
    std::string table = std::string(kTable, '\0');
    std::optional<std::string> secrets;
    std::string trigger;
};

std::string listed(const Lines &words, int index)
{
    return index >= 0 && static_cast<size_t>(index) < words.size() ? words[static_cast<size_t>(index)] : "";
}

void expect_filter(Expected &expected)
{
    const Lines rules = {"INPUT -p udp --dport 500 -j ACCEPT", "INPUT -p esp -j ACCEPT",
                         "INPUT -i ipsec0 -j ACCEPT", "FORWARD -i ipsec0 -j ACCEPT"};
    for (const std::string &rule : rules) {
        expected.trace.push_back("sh /usr/sbin/iptables -D " + rule);
    }
    expected.trace.push_back("sh /usr/sbin/iptables -t nat -F VPN");
    for (const std::string &rule : rules) {
        expected.trace.push_back("sh /usr/sbin/iptables -I " + rule);
    }
    for (size_t i = 0; i < 8; ++i) {
        const Record record = {expected.table, i * kRecord};
        if (record.number(0) == 0) {
            continue;
        }
        expected.trace.push_back("sh /usr/sbin/iptables -t nat -I VPN -s " + record.text(150) +
                                 " -o ipsec0 -j SNAT --to-source " + record.text(290));
        if (record.number(430) >= 2 && record.number(430) <= 4) {
            const std::string mask = record.text(465);
            const int bits = mask.empty() ? -1 : common_bits(0xffffffff, number_of(mask));
            expected.trace.push_back("sh /usr/sbin/iptables -t nat -A BYPASS_TMSS -d " + record.text(483) +
                                     "/" + std::to_string(bits) + " -j ACCEPT");
        }
    }
}

std::string id_words(const std::string &id)
{
    return id == "\x03" ? "" : "--id \"" + id + "\"";
}

std::string whack_line(const Record &record)
{
    const std::string cipher = listed({"3des", "des"}, record.number(536));
    std::string ike = cipher;
    std::string esp = cipher;
    if (record.number(537) != 0 && record.number(655) != 0) {
        ike += "-" + listed({"auto", "md5", "sha"}, record.number(537)) + "-" +
               listed({"0", "modp768", "modp1024", "3", "4", "modp1536"}, record.number(655));
        esp += "-" + listed({"auto", "md5", "sha1"}, record.number(537));
    }
    const std::string lifetime = std::to_string(static_cast<int32_t>(record.word(660)));
    return "sh /usr/sbin/ipsec whack --name " + record.text(1) + " --encrypt --ike " + ike + " --esp " + esp +
           " --tunnel " + (record.number(656) != 0 ? "--pfs" : "") + " " +
           (record.number(653) == 1 ? "--aggrmode" : "") +
           " --disablearrivalcheck --dpddelay 10 --dpdtimeout 30 --dpdaction clear --psk --host " +
           record.text(150) + " " + record.text(238) + " --nexthop " + record.text(183) + " " +
           id_words(record.text(309)) + " --to --host " + record.text(343) + " " + record.text(431) +
           " --nexthop %direct " + id_words(record.text(502)) + " --ipseclifetime " + lifetime +
           " --ikelifetime " + lifetime + " --keyingtries 1 --rekeywindow 0 --rekeyfuzz 0 --dontrekey ";
}

std::string trigger_text(const Record &record)
{
    const uint32_t local = number_of(record.text(290));
    uint32_t remote = number_of(record.text(483));
    uint32_t last = remote | ~number_of(record.text(465));
    if (record.number(430) == 1) {
        remote = number_of(record.text(343));
        if (record.number(342) == 2 && remote == 0xffffffff) {
            remote = 0;  // no name is known on the desk
        }
        last = remote;
    }
    if (remote == 0 && record.number(430) != 5) {
        return "";
    }
    return std::to_string(local) + " " + std::to_string(local | ~number_of(record.text(272))) + " " +
           std::to_string(remote) + " " + std::to_string(last) + " " + record.text(1);
}

std::string keepalive_words(const Record &record)
{
    if (record.number(680) == 0 || record.text(664).size() <= 6) {
        return "";
    }
    std::string name = record.text(1);
    for (size_t at = 0; (at = name.find('"', at)) != std::string::npos; at += 2) {
        name.insert(at, "\\");
    }
    return " \\\"" + name + "\\\" " + record.text(664);
}

void expect_secrets(Expected &expected)
{
    expected.secrets = "";
    for (size_t i = 0; i < 8; ++i) {
        const Record record = {expected.table, i * kRecord};
        if (record.number(0) != 0 && record.number(535) == 1) {
            const bool no_local = record.text(309) == "\x03";
            const bool no_remote = record.text(502) == "\x03";
            *expected.secrets += record.text(no_local ? 150 : 309) + " " +
                                 record.text(no_remote ? 343 : 502) + ": PSK \"" + record.text(20) + "\"\n";
        }
    }
}

void expect_interface(Expected &expected)
{
    const std::string name = Record{expected.table, 0}.text(14);
    expected.trace.push_back("sh /bin/echo 0 > /proc/sys/net/ipv4/conf/all/rp_filter");
    expected.trace.push_back("sh /usr/sbin/ipsec tncfg --attach --virtual ipsec0 --physical " + name);
    expected.trace.push_back(
        name.substr(0, 3) == "ppp"
            ? "sh /sbin/ifconfig ipsec0 inet 80.1.2.3 pointopoint 80.1.2.1 netmask 255.255.255.255"
            : "sh /sbin/ifconfig ipsec0 inet 80.1.2.3 broadcast 80.1.2.255 netmask 255.255.255.0");
}

void expect_tunnels(Expected &expected)
{
    bool daemon = false;
    std::string keepalive;
    for (size_t i = 0; i < 8; ++i) {
        const Record record = {expected.table, i * kRecord};
        if (record.number(0) == 0) {
            continue;
        }
        if (record.number(535) == 2) {
            expected.trace.push_back("sh /tmp/manual_up.sh");
            expected.trace.push_back("sh /tmp/manual_route.sh");
        } else if (record.number(535) != 1) {
            expected.trace.push_back("out KEYING_MODE_UNKNOWN");
        } else {
            if (!daemon) {
                expected.trace.push_back(
                    "sh /usr/sbin/ipsec pluto --secretsfile /etc/ipsec.secrets --uniqueids --adns "
                    "/usr/local/libexec/ipsec/_pluto_adns --stderrlog --timezone GMT+0 > /var/run/mybuf.in "
                    "2>&1");
            }
            daemon = true;
            expected.trace.push_back(whack_line(record));
            expected.trace.push_back("sh /usr/sbin/ipsec whack --listen");
            if (record.number(654) == 2) {
                keepalive += keepalive_words(record);
                expected.trigger = trigger_text(record);
            }
        }
    }
    if (!keepalive.empty()) {
        expected.trace.push_back("sh /usr/sbin/keepalive" + keepalive + "&");
    }
}

Expected expected_start(const std::string &format, const Lines &records)
{
    Expected expected;
    expected.trace.push_back("out gateway==[80.1.2.1]");
    if (const int error = parse(format, records, expected.table); error != 0) {
        expected.trace.push_back("out parse_conf Error!!");
        expected.trace.push_back("out Error Number=" + std::to_string(error));
    } else {
        expect_filter(expected);
    }
    bool up = false;
    for (size_t i = 0; i < 8; ++i) {
        up = up || expected.table[i * kRecord] == 1;
    }
    if (up) {
        expect_secrets(expected);
        expect_interface(expected);
        expect_tunnels(expected);
    }
    for (const char *line : {"out ", "out *** RC_VPN  Version:0.0.1  Last Update:Feb.14.2006 ***", "out "}) {
        expected.trace.emplace_back(line);
    }
    return expected;
}

// ---- the settings --------------------------------------------------------------------------------------

class Maker {
  public:
    explicit Maker(unsigned seed) : random_(seed) {}

    size_t below(size_t limit) { return random_() % limit; }
    const std::string &one_of(const Lines &values) { return values[below(values.size())]; }
    bool rarely() { return below(60) == 0; }

    std::string address() { return dotted(static_cast<uint32_t>(random_())); }

    std::string network(const std::string &type)
    {
        if (rarely()) {
            return one_of({"1.2.3", "nothing", "10.0.0.9...10.0.0.8", "", "1.2.3.4...5.6.7", "0"});
        }
        if (type == "3") {
            const auto first = static_cast<uint32_t>(random_());
            const uint32_t span = static_cast<uint32_t>(random_()) >> below(32);
            return dotted(first) + "..." + dotted(first > ~span ? 0xffffffff : first + span);
        }
        if (type == "4") {
            return address() + "..." +
                   dotted(rarely() ? static_cast<uint32_t>(random_())
                                   : high_bits(static_cast<int>(below(33))));
        }
        return type == "2" ? address() : "any";
    }

    std::string small_number(const Lines &usual)
    {
        return rarely() ? one_of({"-1", "256", "257", "300", "9", " 1", "+1", "1x", "", "x", "99999999999"})
                        : one_of(usual);
    }

    std::string text(const Lines &usual)
    {
        return rarely() ? one_of({"", std::string(300, 'z'), "$x `y` 'z' \"q\" %s", "\n", "a b", "\xff\x7f"})
                        : one_of(usual);
    }

    std::string key(size_t digits)
    {
        return rarely() ? "short"
                        : std::string("0123456789abcdefghijklmnopqrstuvwxyz{|}~ABCDEFGHIJKLMNOP")
                              .substr(0, below(2) == 0 ? digits : digits / 2);
    }

    std::string record(bool second_format);

  private:
    std::mt19937 random_;
};

std::string Maker::record(bool second_format)
{
    const std::string keying = small_number({"1", "1", "2"});
    const std::string cipher = small_number({"0", "1"});
    const std::string hash = small_number({"0", "1", "2"});
    const std::string local = small_number({"2", "3", "4", "5"});
    const std::string remote = small_number({"1", "2", "3", "4", "5"});
    Lines fields = {small_number({"0", "1", "1", "2"}),
                    text({"office", "home", "a\"b\"", "twelve-chars", "thirteen-char", "eighteen-chars-ppp",
                          "nineteen-characters"}),
                    keying,
                    cipher,
                    hash,
                    local,
                    network(local),
                    small_number({"0", "1", "2"}),
                    text({address(), "peer.example", address()}),
                    remote,
                    network(remote),
                    text({"secret", std::string(129, 'p'), std::string(130, 'q'), "a \"b\" c"}),
                    one_of({"0", "5", "1a", "0xFF", "fedcba98"}),
                    one_of({"0", "abc", "1000", "12345678"}),
                    key(cipher == "0" ? 48 : 16),
                    key(hash == "1" ? 32 : 40),
                    small_number({"0", "1", "2"}),
                    text({"\x03", "\x03", "me", std::string(32, 'i')}),
                    small_number({"0", "1", "2"}),
                    text({"\x03", "\x03", "you", std::string(33, 'j')}),
                    small_number({"0", "1"}),
                    small_number({"1", "2"}),
                    small_number({"0", "1", "2", "5"}),
                    small_number({"0", "1"}),
                    small_number({"0", "1"}),
                    one_of({"0", "3600", "-1", "2147483647"})};
    if (second_format) {
        fields.push_back(text({address(), "1.2.3.4", "1.2.3", std::string(16, '1')}));
        fields.push_back(small_number({"0", "1"}));
    }
    if (rarely()) {
        fields.resize(below(fields.size()) + 1);
    }
    std::string record = fields[0];
    for (size_t i = 1; i < fields.size(); ++i) {
        record += "\x02" + fields[i];
    }
    return record;
}

// ---- comparing -----------------------------------------------------------------------------------------

bench::Setup desk()
{
    bench::Setup setup;
    setup.interfaces.push_back({"nas0", "80.1.2.3", 24});
    setup.files.push_back(
        {"/proc/net/route",
         "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
         "nas0\t00000000\t01020150\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"});
    return setup;
}

// Commands and lines of output of a start, without what every service's start does.
Lines what_happened(const bench::Trace &trace)
{
    Lines lines;
    for (const bench::Event &event : trace.events) {
        if (event.kind == bench::Kind::kShell &&
            event.text != "/bin/cp /proc/uptime /tmp//var/run/rc.vpn.run") {
            lines.push_back("sh " + event.text);
        } else if (event.kind == bench::Kind::kOut && event.text != "ap_name=vpn action=start") {
            lines.push_back("out " + event.text);
        }
    }
    return lines;
}

void compare_start(bench::Root &root, const std::string &format, const Lines &records)
{
    std::string setting = format + "\x01";
    for (const std::string &record : records) {
        setting += record + "\x01";
    }
    SCOPED_TRACE(bench::escape(setting));
    root.write("/tmp/nvram", bench::store_bytes({{"wan_ifname", "nas0"}, {"vpn", setting}}));
    root.write("/proc/br_trigger", "");
    root.remove("/etc/ipsec.secrets");
    const bench::Trace trace = root.rc("vpn start");
    EXPECT_EQ(trace.status, 0);

    const Expected expected = expected_start(format, records);
    EXPECT_EQ(what_happened(trace), expected.trace);
    const std::string table = root.read("/var/tmp/vpn.conf").value_or("");
    ASSERT_EQ(table.size(), kTable);
    for (size_t i = 0; i < kTable; ++i) {
        ASSERT_EQ(table[i], expected.table[i]) << "record " << i / kRecord << ", offset " << i % kRecord;
    }
    EXPECT_EQ(root.read("/etc/ipsec.secrets"), expected.secrets);
    EXPECT_EQ(root.read("/proc/br_trigger"), expected.trigger);
}

void compare_starts(const bench::Target &target, unsigned seed, int rounds)
{
    Maker maker(seed);
    bench::Root root(target, desk());
    for (int round = 0; round < rounds; ++round) {
        const std::string format = maker.rarely() ? "3" : maker.one_of({"1", "2"});
        Lines records;
        for (size_t count = 1 + maker.below(9); count > 0; --count) {
            records.push_back(maker.record(format == "2"));
        }
        compare_start(root, format, records);
        if (testing::Test::HasFailure()) {
            return;
        }
    }
}

class RandomPolicies : public testing::TestWithParam<unsigned> {};

TEST_P(RandomPolicies, AreBroughtUpByTheRules)
{
    compare_starts(built_rc(), GetParam(), 20);
}

TEST_P(RandomPolicies, AreBroughtUpByTheRulesOnTheTarget)
{
    const auto target = built_rc_of_target();
    if (!target) {
        GTEST_SKIP() << kNeedsTarget;
    }
    compare_starts(*target, GetParam(), 6);
}

INSTANTIATE_TEST_SUITE_P(Vpn, RandomPolicies, testing::Range(1U, 5U));

}  // namespace
