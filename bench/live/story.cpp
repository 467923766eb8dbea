#include "bench/live/story.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "bench/live/flows.h"
#include "bench/live/probe.h"
#include "bench/run/files.h"

namespace live {

namespace {

using bench::Error;

// A sentence that does not hold.
struct Untrue : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// ---- reading ----------------------------------------------------------------------------------------------

std::vector<std::string> split(const std::string &line)
{
    std::vector<std::string> words;
    for (size_t at = line.find_first_not_of(" \t"); at != std::string::npos && line[at] != '#';) {
        const bool is_quoted = line[at] == '"';
        size_t end = is_quoted ? line.find('"', at + 1) : line.find_first_of(" \t", at);
        end = std::min(end, line.size());
        words.push_back(line.substr(at, end - at));
        at = line.find_first_not_of(" \t", is_quoted ? end + 1 : end);
    }
    return words;
}

std::string joined(const std::vector<std::string> &words, size_t from, size_t to)
{
    std::string text;
    for (size_t i = from; i < std::min(to, words.size()); ++i) {
        text += (text.empty() ? "" : " ") + (words[i][0] == '"' ? words[i].substr(1) : words[i]);
    }
    return text;
}

// "KEY=VALUE" with the escapes of settings files, from the text of the line.
bench::Setting setting_of(const std::string &line)
{
    const size_t at = line.find_first_not_of(" \t", line.find("set") + 3);
    const std::string text = at == std::string::npos ? "" : line.substr(at);
    const size_t equals = text.find('=');
    if (equals == std::string::npos) {
        throw Error("no \"=\" in the setting");
    }
    return {text.substr(0, equals), bench::unescape(text.substr(equals + 1))};
}

void take_line(Story &story, const std::string &line, size_t number)
{
    Step step = {number, line, split(line)};
    if (step.words.empty()) {
        return;
    }
    const bool is_up = !story.steps.empty();
    if (step.words[0] == "live") {
        story.title = joined(step.words, 1, step.words.size());
    } else if (step.words[0] == "set" && !is_up) {
        bench::set_entry(story.settings, setting_of(line));
    } else {
        if (step.words[0] == "set") {
            step.words = {"set", line};
        }
        story.steps.push_back(step);
    }
}

// ---- the sentences ----------------------------------------------------------------------------------------

class Player {
  public:
    Player(const RouterChoice &choice) : house_(choice) {}

    void play(const Step &step)
    {
        const std::vector<std::string> &words = step.words;
        const auto row = kVerbs.find(words[0]);
        if (row != kVerbs.end()) {
            (this->*row->second)(words);
        } else if (words.size() > 1 && words[1] == "dhcp") {
            take_lease(words);
        } else {
            sentence_in_time(words);
        }
    }

  private:
    // What a step has started, such as a daemon or the watch over the schedule's flag, may need a moment: a
    // sentence that does not hold is asked again.
    void sentence_in_time(const std::vector<std::string> &words)
    {
        constexpr int kTries = 8;
        constexpr int kPause = 250;  // milliseconds
        for (int i = 1; i < kTries; ++i) {
            try {
                return sentence(words);
            } catch (const Untrue &) {
                poll(nullptr, 0, kPause);
            }
        }
        sentence(words);
    }

    using Verb = void (Player::*)(const std::vector<std::string> &);
    static const std::map<std::string, Verb> kVerbs;

    // set KEY=VALUE
    void change_setting(const std::vector<std::string> &words) { house_.set({setting_of(words[1])}); }

    // unset KEY
    void remove_setting(const std::vector<std::string> &words)
    {
        need(words, 2);
        house_.unset(words[1]);
    }

    // router up | router up offline
    void bring_up(const std::vector<std::string> &words)
    {
        house_.boot();
        if (joined(words, 1, 9) == "up offline") {
            expect_offline();
        } else if (joined(words, 1, 9) == "up bridged") {
            require(house_.wait_idle(60), "the router does not come to rest: " + log_tail("router", 8));
        } else if (joined(words, 1, 9) == "up") {
            expect_online();
        } else {
            throw Error("use: router up, router up offline, router up bridged");
        }
    }

    void expect_online()
    {
        require(house_.wait_online(90), "no Internet connection: " + log_tail("router", 8));
        last_wan_ = house_.wan_address();
    }

    void expect_offline()
    {
        require(house_.wait_offline(60),
                "the router works on, or says it is online: " + log_tail("router", 8));
    }

    // wait online | wait offline | wait idle
    void wait(const std::vector<std::string> &words)
    {
        need(words, 2);
        if (words[1] == "online") {
            expect_online();
        } else if (words[1] == "offline") {
            expect_offline();
        } else if (words[1] == "idle") {
            require(house_.wait_idle(60), "the router does not come to rest: " + log_tail("router", 8));
        } else {
            throw Error("use: wait online, wait offline, wait idle");
        }
    }

    // run WORD... [at DAY HH:MM]
    void run(const std::vector<std::string> &words)
    {
        const auto at = std::find(words.begin(), words.end(), "at");
        const auto count = static_cast<size_t>(at - words.begin());
        std::string clock;
        if (at != words.end()) {
            need(words, count + 3);
            clock = std::to_string(seconds_of(words[count + 1], words[count + 2]));
        }
        (void)house_.run_rc(joined(words, 1, count), clock);
    }

    // start WORD...: in the background
    void start(const std::vector<std::string> &words) { house_.start_rc(joined(words, 1, words.size())); }

    // cron DAY HH:MM: runs what the crontab has for this minute
    void cron(const std::vector<std::string> &words)
    {
        need(words, 3);
        const long now = seconds_of(words[1], words[2]);
        std::istringstream lines(house_.root().read("/etc/crontab").value_or(""));
        for (std::string line; std::getline(lines, line);) {
            const std::vector<std::string> fields = split(line);
            if (fields.size() < 7 || fields[6] != "/usr/sbin/rc" || !is_due(fields, now)) {
                continue;
            }
            (void)house_.run_rc(joined(fields, 7, fields.size()), std::to_string(now));
        }
    }

    // provider circuit 8.36 | encapsulation 1 | user NAME | password WORD | signal | no signal
    void change_provider(const std::vector<std::string> &words)
    {
        Line line = house_.line();
        const std::string what = words.size() > 1 ? words[1] : "";
        const std::string value = words.size() > 2 ? joined(words, 2, 3) : "";
        if (what == "signal" || (what == "no" && value == "signal")) {
            line.has_signal = what == "signal";
        } else if (what == "circuit") {
            line.circuit = value;
        } else if (what == "encapsulation") {
            line.encapsulation = value;
        } else if (what == "user") {
            line.user = value;
        } else if (what == "password") {
            line.password = value;
        } else if (what == "arp-server") {
            line.arp_server = value;
        } else {
            throw Error(
                "use: provider circuit, encapsulation, user, password, arp-server, signal, no signal");
        }
        house_.change_line(line);
    }

    // host PLACE ADDRESS: one more address of it
    void add_host(const std::vector<std::string> &words)
    {
        need(words, 3);
        own_address(place_of(words[1]), words[2]);
    }

    // file PATH has "TEXT" | file PATH is missing
    void look_at_file(const std::vector<std::string> &words)
    {
        need(words, 4);
        const std::optional<std::string> text = house_.root().read(words[1]);
        if (words[2] == "is" && words[3] == "missing") {
            require(!text, words[1] + " is there");
            return;
        }
        const std::string wanted = joined(words, 3, 4);
        require(text && (words[2] == "has") == (text->find(wanted) != std::string::npos),
                words[1] + (text ? " holds: " + *text : " is missing"));
    }

    // at PLACE "COMMAND" has "TEXT" | at PLACE "COMMAND" lacks "TEXT"
    void look_at_command(const std::vector<std::string> &words)
    {
        need(words, 5);
        const Place &place = place_of(words[1]);
        const std::string command = joined(words, 2, 3);
        const std::string text = joined(words, 4, 5);
        const bool is_wanted = words[3] == "has";
        std::string output;
        // What a daemon does takes its moment.
        for (int i = 0; i < 50; ++i) {
            output = place.name == "router" ? house_.run_shell(command).output
                                            : run_in(place, {"sh", "-c", command}).output;
            if (is_wanted == (output.find(text) != std::string::npos)) {
                return;
            }
            usleep(100000);
        }
        throw Untrue("it says: " + output);
    }

    // logged "TEXT" | not logged "TEXT": whether a line that logs with these words has seen a packet
    void look_at_log(const std::vector<std::string> &words)
    {
        const bool is_wanted = words[0] == "logged";
        need(words, is_wanted ? 2 : 3);
        const std::string text = "prefix \"" + joined(words, is_wanted ? 1 : 2, 9);
        std::istringstream lines(house_.run_shell("iptables -nvxL; iptables -t nat -nvxL").output);
        bool is_logged = false;
        for (std::string line; std::getline(lines, line);) {
            is_logged = is_logged || (line.find(text) != std::string::npos && atol(line.c_str()) > 0);
        }
        require(is_logged == is_wanted, is_wanted ? "nothing was logged so" : "it was logged");
    }

    // open PLACE -> DESTINATION tcp PORT, then: connection passes | connection dark
    void open_connection(const std::vector<std::string> &words)
    {
        Talk talk = talk_of(words, 1);
        listen_there(talk);
        open_ = std::make_unique<OpenTalk>(talk);
        require(open_->is_open(), "the connection is not made");
    }

    void look_at_connection(const std::vector<std::string> &words)
    {
        need(words, 2);
        require(open_ != nullptr, "no connection is open");
        const bool wanted = words[1] == "passes";
        require(open_->passes(wanted ? kPatience : kSilence) == wanted,
                wanted ? "nothing passes" : "the connection passes");
    }

    // PLACE dhcp gets ADDRESS | PLACE dhcp gets nothing | PLACE dhcp again gets ...: asks for what it had
    void take_lease(const std::vector<std::string> &words)
    {
        const bool is_again = words.size() > 2 && words[2] == "again";
        const size_t gets = is_again ? 3 : 2;
        need(words, gets + 2);
        const std::string &wanted = words[gets + 1];
        const Place &place = place_of(words[0]);
        Words asked = {"busybox",  "udhcpc", "-f", "-q", "-n", "-t",   wanted == "nothing" ? "2" : "8",
                       "-T",       "1",      "-A", "0",  "-i", "eth0", "-s",
                       "/bin/true"};
        if (is_again) {
            asked.insert(asked.end(), {"-r", leases_[place.name]});
        }
        const Result result = run_in(place, asked);
        const size_t at = result.output.find("lease of ");
        const std::string got = at == std::string::npos
                                    ? "nothing"
                                    : result.output.substr(at + 9, result.output.find(' ', at + 9) - at - 9);
        require(got == wanted, place.name + " gets " + got + ": " + result.output);
        leases_[place.name] = got;
    }

    // ---- packets

    // PLACE [from ADDRESS[:PORT]] -> DESTINATION tcp|udp PORT OUTCOME
    void sentence(const std::vector<std::string> &words)
    {
        const auto arrow = std::find(words.begin(), words.end(), "->");
        if (arrow == words.end() || words.end() - arrow < 4) {
            throw Error("not a step: " + joined(words, 0, words.size()));
        }
        const auto kind = static_cast<size_t>(arrow - words.begin()) + 2;
        if (words[kind] == "http") {
            page(words, kind);
        } else if (words[kind] == "name") {
            name(words, kind);
        } else {
            packet(words, kind);
        }
    }

    // http PATH [port PORT] "TEXT" | silent
    void page(const std::vector<std::string> &words, size_t kind)
    {
        need(words, kind + 3);
        Talk talk = talk_of(words, 0);
        const bool has_port = words[kind + 2] == "port";
        talk.to.port = has_port ? atoi(word(words, kind + 3).c_str()) : 80;
        const std::string &wanted = word(words, kind + (has_port ? 4 : 2));
        talk.patience = wanted == "silent" ? kSilence : kPatience;
        const std::string text = fetch(talk, joined(words, kind + 1, kind + 2));
        require(wanted == "silent" ? text.empty() : text.find(wanted.substr(1)) != std::string::npos,
                text.empty() ? "no page came" : "the page: " + text);
    }

    // name NAME is ADDRESS | name NAME silent
    void name(const std::vector<std::string> &words, size_t kind)
    {
        need(words, kind + 3);
        Talk talk = talk_of(words, 0);
        talk.to.port = 53;
        const bool silent = words[kind + 2] == "silent";
        talk.patience = silent ? kSilence : kPatience;
        const std::string got = look_up(talk, words[kind + 1]);
        require(got == (silent ? "" : joined(words, kind + 3, 9)),
                got.empty() ? "no answer" : "it is " + got);
    }

    void packet(const std::vector<std::string> &words, size_t kind)
    {
        Talk talk = talk_of(words, 0);
        const size_t at = kind + (talk.protocol == "ping" ? 1 : 2);
        need(words, at + 1);
        const std::string &wanted = words[at];
        if (isdigit(static_cast<unsigned char>(wanted[0])) != 0) {
            return crowd(talk, words, at);
        }
        if (wanted == "reaches" || wanted == "arrives") {
            listen_at(talk, words, at + 1);
        } else if (wanted == "passes" || wanted == "dark") {
            listen_there(talk);
        }
        if (at + 2 < words.size() && words[at + 1] == "during") {
            return meanwhile(talk, wanted, joined(words, at + 2, words.size()));
        }
        talk.patience = wanted == "silent" || wanted == "arrives" ? kSilence : kPatience;
        const auto segments = std::find(words.begin(), words.end(), "segments");
        if (segments != words.end()) {
            return announcement(talk, words, static_cast<size_t>(segments - words.begin()));
        }
        judge(live::talk(talk), wanted, words);
    }

    // ... PLACE ADDRESS[:PORT] at a word: who waits for the packet
    void listen_at(Talk &talk, const std::vector<std::string> &words, size_t at)
    {
        need(words, at + 2);
        talk.at = destination(words[at + 1], talk.to.port);
        talk.listener = &listener(words[at], talk.at.address);
    }

    void listen_there(Talk &talk)
    {
        talk.listener = place_of_address(talk.to.address);
        talk.at = talk.to;
    }

    // N [to M] of K pass | N [to M] of K reach PLACE ADDRESS:PORT | N [to M] of K return
    void crowd(Talk &talk, const std::vector<std::string> &words, size_t at)
    {
        const size_t of = word(words, at + 1) == "to" ? at + 3 : at + 1;
        need(words, of + 3);
        const int least = atoi(words[at].c_str());
        const int most = atoi(words[of - 1].c_str());
        const int all = atoi(words[of + 1].c_str());
        const std::string &what = words[of + 2];
        if (words[of] != "of" || all < 1 || all > kCrowd ||
            (what != "reach" && what != "pass" && what != "return") ||
            (talk.protocol == "ping" && what != "return")) {
            throw Error("use: N to M of K pass, reach PLACE ADDRESS:PORT, or return, with K up to " +
                        std::to_string(kCrowd));
        }
        if (what == "reach") {
            listen_at(talk, words, of + 3);
        } else if (talk.protocol != "ping") {
            listen_there(talk);
        }
        const int count = what == "return" ? count_returning(talk, all) : count_reaching(talk, all);
        require(count >= least && count <= most, std::to_string(count) + " of " + std::to_string(all));
    }

    // ... segments BYTES
    void announcement(const Talk &talk, const std::vector<std::string> &words, size_t at)
    {
        need(words, at + 2);
        if (talk.listener == nullptr || talk.protocol != "tcp") {
            throw Error("segments are announced by tcp that passes or reaches a place");
        }
        Outcome outcome;
        const int segment = announced_segment(talk, outcome);
        judge(outcome, "reaches", words);
        require(segment == atoi(words[at + 1].c_str()), "it announces " + std::to_string(segment));
    }

    // dark during WORDS | passes during WORDS: rc runs meanwhile
    void meanwhile(const Talk &talk, const std::string &wanted, const std::string &run)
    {
        if (talk.listener == nullptr || talk.protocol != "udp") {
            throw Error("use: udp PORT dark during WORDS, udp PORT passes during WORDS");
        }
        const double dark = longest_dark(talk, [&] { (void)house_.run_rc(run); });
        printf("dark during rc %s: %.0f ms\n", run.c_str(), dark);
        require((dark > 0) == (wanted == "dark"), "it was dark for " + std::to_string(dark) + " ms");
    }

    void judge(const Outcome &outcome, const std::string &wanted, const std::vector<std::string> &words)
    {
        const std::map<std::string, Outcome::What> kWanted = {
            {"reaches", Outcome::kReached},   {"passes", Outcome::kReached},  {"arrives", Outcome::kOneWay},
            {"answered", Outcome::kAnswered}, {"refused", Outcome::kRefused}, {"silent", Outcome::kSilent}};
        const auto row = kWanted.find(wanted);
        if (row == kWanted.end()) {
            throw Error("use: reaches, arrives, passes, answered, refused or silent, not " + wanted);
        }
        require(outcome.what == row->second, outcome_text(outcome));
        const auto as = std::find(words.begin(), words.end(), "as");
        if (as != words.end() && as + 1 != words.end()) {
            const std::string expected = address_of(*(as + 1));
            require(outcome.seen_as == expected, "it comes from " + outcome.seen_as);
        }
    }

    // The part "PLACE [from ADDRESS[:PORT]] -> DESTINATION PROTOCOL [PORT]" beginning at a word.
    Talk talk_of(const std::vector<std::string> &words, size_t first)
    {
        Talk talk;
        talk.from = &place_of(word(words, first));
        size_t at = first + 1;
        if (word(words, at) == "from") {
            const Destination source = destination(word(words, at + 1), 0);
            talk.source = source.address;
            talk.source_port = source.port;
            if (is_lan(*talk.from)) {
                own_address(*talk.from, talk.source);
            }
            at += 2;
        }
        if (word(words, at) != "->") {
            throw Error("\"->\" is missing");
        }
        talk.protocol = word(words, at + 2);
        const bool is_http = talk.protocol == "http";
        talk.to = destination(is_http && words[at + 1] == "internet" ? kWebServer : word(words, at + 1), 0);
        if (talk.protocol == "tcp" || talk.protocol == "udp") {
            talk.to.port = atoi(word(words, at + 3).c_str());
        } else if (talk.protocol != "ping" && talk.protocol != "name" && !is_http) {
            throw Error("use: tcp, udp, ping, http or name, not " + talk.protocol);
        }
        return talk;
    }

    // wan, router, lan1, lan2, internet, or an address; with ":PORT" where one may stand.
    Destination destination(const std::string &text, int port)
    {
        const size_t colon = text.find(':');
        return {address_of(text.substr(0, colon)),
                colon == std::string::npos ? port : atoi(text.c_str() + colon + 1)};
    }

    std::string address_of(const std::string &name)
    {
        if (name == "wan") {
            const std::string address = house_.wan_address();
            if (!address.empty()) {
                last_wan_ = address;
            }
            require(!last_wan_.empty(), "the router has no Internet address");
            return last_wan_;
        }
        if (name == "router") {
            return house_.setting("lan_ipaddr");
        }
        const std::map<std::string, std::string> known = {
            {"internet", kInternetHost}, {"lan1", kLan1Address}, {"lan2", kLan2Address}};
        const auto row = known.find(name);
        return row == known.end() ? name : row->second;
    }

    const Place &place_of(const std::string &name)
    {
        const Place *place = find_place(house_.network(), name);
        if (place == nullptr) {
            throw Error("there is no place " + name + "; use lan1, lan2, router, provider or internet");
        }
        return *place;
    }

    bool is_lan(const Place &place) { return place.name == "lan1" || place.name == "lan2"; }

    // Who has an address of the LAN already, or lan1 with one more address.
    const Place &listener(const std::string &name, const std::string &address)
    {
        if (name != "lan") {
            return place_of(name);
        }
        return address == kLan2Address ? house_.network().lan2 : own_address(house_.network().lan1, address);
    }

    const Place *place_of_address(const std::string &address)
    {
        return address == house_.setting("lan_ipaddr") || address == last_wan_ ? &house_.network().router
               : address.starts_with("192.168.0.")                             ? &listener("lan", address)
                                                                               : &house_.network().internet;
    }

    const Place &own_address(const Place &place, const std::string &address)
    {
        if (address != kLan1Address && address != kLan2Address) {
            (void)run_outside({"ip", "-n", place.name, "address", "add", address + "/24", "dev", "eth0"});
        }
        return place;
    }

    // ---- time: a week that begins on Sunday, 2026-01-04 00:00 UTC

    static long seconds_of(const std::string &day, const std::string &time)
    {
        constexpr long kSunday = 1767484800;
        const std::string days = "SunMonTueWedThuFriSat";
        const size_t place = days.find(day);
        const size_t colon = time.find(':');
        if (day.size() != 3 || place == std::string::npos || place % 3 != 0 || colon == std::string::npos) {
            throw Error("not a time: " + day + " " + time + "; use Fri 08:30");
        }
        return kSunday + static_cast<long>(place / 3) * 86400 + atol(time.c_str()) * 3600 +
               atol(time.c_str() + colon + 1) * 60;
    }

    // "*", "N", "N,N" or "N-N" against a number
    static bool fits(const std::string &field, long number)
    {
        if (field == "*") {
            return true;
        }
        std::istringstream parts(field);
        for (std::string part; std::getline(parts, part, ',');) {
            const size_t dash = part.find('-');
            const long first = atol(part.c_str());
            const long last = dash == std::string::npos ? first : atol(part.c_str() + dash + 1);
            if (number >= first && number <= last) {
                return true;
            }
        }
        return false;
    }

    static bool is_due(const std::vector<std::string> &fields, long now)
    {
        const long minutes = (now - 1767484800) / 60;
        return fits(fields[0], minutes % 60) && fits(fields[1], minutes / 60 % 24) &&
               fits(fields[4], minutes / 1440 % 7);
    }

    static void require(bool holds, const std::string &why)
    {
        if (!holds) {
            throw Untrue(why);
        }
    }

    static const std::string &word(const std::vector<std::string> &words, size_t place)
    {
        need(words, place + 1);
        return words[place];
    }

    static void need(const std::vector<std::string> &words, size_t count)
    {
        if (words.size() < count) {
            throw Error("the step ends too early");
        }
    }

    static constexpr int kCrowd = 200;  // that many datagrams fit into the buffer of a socket

    House house_;
    std::string last_wan_;
    std::map<std::string, std::string> leases_;  // the last one of each place
    std::unique_ptr<OpenTalk> open_;
};

const std::map<std::string, Player::Verb> Player::kVerbs = {
    {"set", &Player::change_setting},
    {"unset", &Player::remove_setting},
    {"router", &Player::bring_up},
    {"wait", &Player::wait},
    {"run", &Player::run},
    {"start", &Player::start},
    {"cron", &Player::cron},
    {"provider", &Player::change_provider},
    {"host", &Player::add_host},
    {"file", &Player::look_at_file},
    {"at", &Player::look_at_command},
    {"logged", &Player::look_at_log},
    {"not", &Player::look_at_log},
    {"open", &Player::open_connection},
    {"connection", &Player::look_at_connection},
};

}  // namespace

Story read_story(const std::filesystem::path &file)
{
    Story story;
    story.file = file.string();
    std::istringstream lines(bench::read_whole(file));
    size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        try {
            take_line(story, line, number);
        } catch (const Error &problem) {
            throw Error(story.file + ":" + std::to_string(number) + ": " + problem.what());
        }
    }
    if (story.title.empty() || story.steps.empty()) {
        throw Error(story.file + ": a live test begins with \"live TITLE\" and has steps");
    }
    return story;
}

std::string play(const Story &story, const RouterChoice &choice, bool tells)
{
    RouterChoice chosen = choice;
    for (const bench::Setting &setting : story.settings) {
        bench::set_entry(chosen.settings, setting);
    }
    size_t line = 0;
    try {
        Player player(chosen);
        for (const Step &step : story.steps) {
            line = step.line;
            player.play(step);
            if (tells) {
                printf("  %s\n", step.text.c_str());
                fflush(stdout);
            }
        }
    } catch (const Untrue &untrue) {
        return story.file + ":" + std::to_string(line) + ": " + untrue.what();
    } catch (const std::exception &problem) {
        throw Error(story.file + ":" + std::to_string(line) + ": " + problem.what());
    }
    return "";
}

}  // namespace live
