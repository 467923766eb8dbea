// Memory of rc with a store of 64 KiB: the pages that are its own, for every verb, and the resident peak.

#include <algorithm>
#include <string>

#include "bench/perf/measuring.h"
#include "bench/perf/perf.h"
#include "forms/store.h"
#include "rc/frame.h"
#include "rc/nvram.h"

namespace perf {

namespace {

constexpr const char *kOwnGroup = "Own memory above a C program that does nothing, settings of 64 KiB";
constexpr const char *kPeakGroup = "Resident peak, for information";
constexpr double kMostOwn = 256;

// Settings that grow until a store of them would be full.
struct Growing {
    std::vector<bench::Setting> settings;
    size_t left;
};

// Appends at most `most` records to a list, as many as there is room for.
template <typename Record>
void lengthen(Growing &growing, const std::string &key, int most, const Record &record)
{
    const auto setting = std::find_if(growing.settings.begin(), growing.settings.end(),
                                      [&](const bench::Setting &there) { return there.key == key; });
    for (int i = 0; setting != growing.settings.end() && i < most; ++i) {
        const std::string text = record(i);
        if (text.size() > growing.left) {
            return;
        }
        setting->value += text;
        growing.left -= text.size();
    }
}

// The usual settings with long lists: 1,000 outbound rules, and inbound rules, services and keywords, as many
// as make 64 KiB.
std::vector<bench::Setting> large_store(const bench::Target &target)
{
    constexpr size_t kSize = 65536;
    constexpr int kRules = 1000;
    Growing growing = {bench::image_settings(target.image), 0};
    growing.left = kSize - bench::store_bytes(growing.settings).size();
    const auto address = [](int i) { return "192.168.0." + std::to_string(2 + i % 250); };
    lengthen(growing, "fw_out_rules", kRules,
             [&](int i) { return "1:HTTP:0:" + address(i) + ":0.0.0.0/0:0\x01"; });
    lengthen(growing, "fw_services", 100,
             [](int i) { return "Own" + std::to_string(i) + ":tcp:9000-9001\x01"; });
    lengthen(growing, "fw_block_keyword", 100, [](int i) { return "keyword" + std::to_string(i) + "\x01"; });
    lengthen(growing, "fw_in_rules", kRules,
             [&](int i) { return "1:HTTPS:2:" + address(i) + ":0.0.0.0/0:2\x01"; });
    return growing.settings;
}

struct Verb {
    Words words;
    std::string mode = "pppoe";

    std::string text() const
    {
        std::string all = "rc";
        for (const std::string &word : words) {
            all += " " + word;
        }
        return mode == "pppoe" ? all : all + " (" + mode + ")";
    }
};

void add_rows(std::vector<Verb> &verbs, const Service *table)
{
    for (const Service *row = table; row->name != nullptr; ++row) {
        if (row->start != nullptr) {
            verbs.push_back({{row->name, "start"}});
        }
        if (row->stop != nullptr) {
            verbs.push_back({{row->name, "stop"}});
        }
        if (row->create != nullptr) {
            verbs.push_back({{row->name, "create"}});
        }
    }
}

std::vector<Verb> all_verbs()
{
    std::vector<Verb> verbs = {{{"init"}}, {{"list"}}};
    for (const char *action : {"start", "stop", "restart", "create"}) {
        verbs.push_back({{action}});
        verbs.push_back({{"service", action}});
    }
    for (const Service *table : {kGeneral, kWanGroup, kLastTable}) {
        add_rows(verbs, table);
    }
    for (const char *action : {"start", "stop", "restart"}) {
        verbs.push_back({{"wan", action}});
    }
    for (const char *mode : {"pppoa", "ipoa", "dhcpc", "ip", "bridge"}) {
        verbs.push_back({{"wan", "start"}, mode});
    }
    return verbs;
}

// Settings of 64 KiB and what rc meets on a router.
class Ground {
  public:
    explicit Ground(const bench::Target &target) : target_(target), setup_(usual_router(target))
    {
        target_.preload = PERF_PAUSES;
        setup_.settings = large_store(target);
        const std::string store = bench::store_bytes(*setup_.settings);
        const std::string unused(kFlashDataOffset - kFlashHeaderSize, '\xff');
        setup_.files.push_back({"/dev/mtdblock/3", forms::flash_header_bytes(store) + unused + store});
    }

    // Runs of rc, and of a program that does nothing, each pair on a router of its own.
    std::vector<Samples> run(const Verb &verb, int runs) const
    {
        bench::Setup setup = setup_;
        for (bench::Setting &setting : *setup.settings) {
            setting.value = setting.key == "wan_mode" ? verb.mode : setting.value;
        }
        Conditions conditions;
        conditions.in_bench = true;
        conditions.peak = true;
        Words words = {kRc};
        words.insert(words.end(), verb.words.begin(), verb.words.end());
        std::vector<Samples> all(2);
        for (int i = 0; i < runs; ++i) {
            bench::Root root(target_, setup);
            const std::vector<Samples> one = measure(root, {words, {inside(PERF_NOTHING)}}, conditions);
            for (size_t program = 0; program < all.size(); ++program) {
                all[program].push_back(one[program].front());
            }
        }
        return all;
    }

  private:
    bench::Target target_;
    bench::Setup setup_;
};

double own_above(const std::vector<Samples> &samples)
{
    return spread(samples[0], &Sample::own_pages).median - spread(samples[1], &Sample::own_pages).median;
}

Figure own_figure(const std::string &name, double above, const std::vector<Samples> &samples)
{
    Figure figure;
    figure.group = kOwnGroup;
    figure.name = name;
    figure.unit = "KiB";
    figure.ours = above;
    figure.against = "C program, nothing";
    figure.other = spread(samples[1], &Sample::own_pages).median;
    figure.goal = "<= 256 KiB";
    figure.met = above <= kMostOwn;
    return figure;
}

Figure peak_figure(const std::string &name, const std::vector<Samples> &samples)
{
    Figure figure;
    figure.group = kPeakGroup;
    figure.name = name;
    figure.unit = "KiB";
    figure.ours = spread(samples[0], &Sample::peak).least;
    figure.median = spread(samples[0], &Sample::peak).median;
    figure.against = "C program, nothing";
    figure.other = spread(samples[1], &Sample::peak).median;
    figure.ratio = *figure.median / *figure.other;
    return figure;
}

// Of every verb, run once.
Figure most_figure(const Ground &ground)
{
    const std::vector<Verb> verbs = all_verbs();
    std::string name;
    double most = 0;
    std::vector<Samples> samples;
    for (const Verb &verb : verbs) {
        std::vector<Samples> here = ground.run(verb, 1);
        if (name.empty() || own_above(here) > most) {
            most = own_above(here);
            name = verb.text();
            samples = std::move(here);
        }
    }
    return own_figure("most of " + std::to_string(verbs.size()) + " verbs: " + name, most, samples);
}

}  // namespace

void memory(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
{
    const Ground ground(target);
    std::vector<Figure> peaks;
    for (const Words &words : std::vector<Words>{{"init"},
                                                 {"start"},
                                                 {"firewall", "create"},
                                                 {"firewall", "start"},
                                                 {"vpn", "start"},
                                                 {"wlan", "start"},
                                                 {"wan", "start"},
                                                 {"wan", "stop"},
                                                 {"service", "start"}}) {
        const Verb verb = {words};
        const std::vector<Samples> samples = ground.run(verb, std::max(3, effort.runs / 4));
        figures.push_back(own_figure(verb.text(), own_above(samples), samples));
        peaks.push_back(peak_figure(verb.text(), samples));
    }
    figures.push_back(most_figure(ground));
    figures.insert(figures.end(), peaks.begin(), peaks.end());
}

}  // namespace perf
