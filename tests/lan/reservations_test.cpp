// Random reservation lists and lease files, through the whole program, against an independent model: the
// lease file as a list of leases, the reservation list read with plain strings.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "bench/router.h"
#include "tests/programs.h"

namespace {

using Hardware = std::array<unsigned char, 16>;

uint32_t number_of(const std::string &dotted)
{
    return ntohl(inet_addr(dotted.c_str()));
}

std::string dotted(uint32_t number)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(number >> shift & 255U) + (shift == 0 ? "" : ".");
    }
    return text;
}

std::string big_endian(uint32_t number)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(number >> shift & 255U);
    }
    return bytes;
}

std::string hexadecimal(uint32_t number)
{
    char text[16];
    (void)snprintf(text, sizeof text, "%x", number);
    return text;
}

// ---- the model --------------------------------------------------------------------------------------------

struct Lease {
    Hardware hardware = {};
    uint32_t address = 0;
    uint32_t seconds = 0;
    std::string rest = std::string(80, '\0');  // name and second hardware address

    std::string name() const { return rest.substr(0, rest.find('\0')); }
    std::string bytes() const
    {
        return std::string(hardware.begin(), hardware.end()) + big_endian(address) + big_endian(seconds) +
               rest;
    }
};

struct Model {
    uint32_t router = 0;
    uint32_t start = 0;
    uint32_t end = 0;
    std::vector<Lease> file;  // all whole records of the lease file
    std::string tail;         // bytes of a last record cut short
    std::string output;

    std::string bytes() const
    {
        std::string all;
        for (const Lease &lease : file) {
            all += lease.bytes();
        }
        return all + tail;
    }

    void keep_or_empty()
    {
        if (!file.empty() && file[0].address != 0 &&
            dotted(file[0].address).substr(dotted(file[0].address).find('.')) !=
                dotted(router).substr(dotted(router).find('.'))) {
            file.clear();
            tail.clear();
        }
    }

    void reserve(const std::string &name, const Hardware &hardware, uint32_t address)
    {
        const Lease none;
        const Lease &shown = file.empty() ? none : file[0];
        output += "lease in lease file " + hexadecimal(shown.address) + " " + shown.name() + " " +
                  text_of(shown.hardware) + "--1\n";
        bool found = false;
        size_t place = 0;
        for (; place < file.size() && place < 254 && file[place].address != 0; ++place) {
            Lease &lease = file[place];
            if (lease.address == address || lease.address == router) {
                lease.seconds = 0;
            }
            if (lease.hardware == hardware) {
                lease.address = address;
                lease.seconds = 31536000;
                found = true;
            }
        }
        if (!found) {
            add(place, name, hardware, address);
        }
    }

    // Puts a new lease at a place: over an unused record, over one that was not read, or at the end.
    void add(size_t place, const std::string &name, const Hardware &hardware, uint32_t address)
    {
        if (place == file.size()) {
            file.emplace_back();
            // What stood there of a record cut short is overwritten.
            tail.clear();
        } else if (place == 254) {
            file[place] = Lease();
        }
        Lease &lease = file[place];
        lease.hardware = hardware;
        lease.address = address;
        lease.seconds = 31536000;
        std::copy(hardware.begin(), hardware.end(), lease.rest.begin() + 64);
        std::copy(name.begin(), name.end(), lease.rest.begin());
        lease.rest[name.size()] = '\0';
        output +=
            "Write to lease file " + hexadecimal(address) + " " + name + " " + text_of(hardware) + "--1\n";
    }

    static std::string text_of(const Hardware &hardware)
    {
        const std::string text(hardware.begin(), hardware.end());
        return text.substr(0, text.find('\0'));
    }
};

Hardware read_hardware(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), ':'), text.end());
    text.resize(12);
    Hardware hardware = {};
    for (size_t i = 0; i < 6; ++i) {
        hardware[i] = static_cast<unsigned char>(strtol(text.substr(2 * i, 2).c_str(), nullptr, 16));
    }
    return hardware;
}

// One entry as it is in the buffer, followed by what earlier ones have left.
void apply_entry(const std::string &buffer, Model &model)
{
    std::string fields[3];
    std::string rest = buffer.substr(0, buffer.find('\0'));
    for (std::string &field : fields) {
        const size_t end = rest.find(';');
        field = rest.substr(0, end);
        rest = end == std::string::npos ? "" : rest.substr(end + 1);
    }
    const uint32_t address = number_of(fields[1]);
    if (address >= model.start && address <= model.end) {
        model.reserve(fields[0].substr(0, 63), read_hardware(fields[2]), address);
    }
}

void apply_list(const std::vector<std::string> &entries, Model &model)
{
    std::string buffer(4096, '\0');
    for (const std::string &entry : entries) {
        if (!entry.empty()) {
            buffer.replace(0, std::min<size_t>(entry.size(), 4095), entry, 0, 4095);
            apply_entry(buffer, model);
        }
    }
}

// ---- random routers ---------------------------------------------------------------------------------------

struct Dice {
    std::mt19937 generator;

    // 0 to sides - 1
    unsigned roll(unsigned sides) { return static_cast<unsigned>(generator() % sides); }
    bool one_in(unsigned sides) { return roll(sides) == 0; }
};

std::string random_mac(Dice &dice)
{
    static const char *const kMacs[] = {
        "024b51001001",      "02:4B:51:00:10:01", "02:4b:51:00:10:02", "ffffffffffff", "0g4b5", "",
        "02-4b-51-00-10-01", "024b510010029999"};
    return kMacs[dice.one_in(2) ? dice.roll(3) : dice.roll(8)];
}

std::string random_address(Dice &dice, uint32_t router)
{
    if (dice.one_in(12)) {
        return dice.one_in(2) ? "nowhere" : "0.0.0.0";
    }
    return dotted((router & 0xFFFFFF00U) + dice.roll(12));
}

std::string random_entry(Dice &dice, uint32_t router)
{
    if (dice.one_in(15)) {
        return std::string(dice.roll(5), ';');
    }
    const unsigned length = dice.one_in(8) ? dice.roll(200) : dice.roll(12);
    std::string entry(length, static_cast<char>('a' + dice.roll(26)));
    entry += ";" + random_address(dice, router) + ";" + random_mac(dice);
    if (dice.one_in(8)) {
        entry.resize(dice.roll(static_cast<unsigned>(entry.size()) + 1));
    }
    if (dice.one_in(100)) {
        entry += std::string(5000, dice.one_in(2) ? ';' : 'z');
    }
    return entry;
}

Lease random_lease(Dice &dice, uint32_t router)
{
    Lease lease;
    lease.hardware = read_hardware(random_mac(dice));
    lease.address = number_of(random_address(dice, router));
    lease.seconds = dice.roll(100000);
    const std::string name(dice.roll(64), static_cast<char>('A' + dice.roll(26)));
    lease.rest.replace(0, name.size(), name);
    return lease;
}

void fill_file(Dice &dice, Model &model)
{
    const size_t count = dice.one_in(6) ? 250 + dice.roll(10) : dice.roll(8);
    for (size_t i = 0; i < count; ++i) {
        model.file.push_back(random_lease(dice, model.router));
        if (count > 200) {
            // A full file is met only when no record ends the list early.
            model.file.back().address |= 1;
        }
    }
    if (!model.file.empty() && !dice.one_in(4)) {
        model.file[0].address = (model.router & 0x00FFFFFFU) | dice.roll(200) << 24;
    }
    model.tail = dice.one_in(4) ? random_lease(dice, model.router).bytes().substr(0, dice.roll(104)) : "";
}

void check_one(unsigned seed)
{
    Dice dice = {std::mt19937(seed)};
    Model model;
    model.router = 0xC0A80000U + dice.roll(3) * 256 + 1 + dice.roll(3);
    model.start = (model.router & 0xFFFFFF00U) + dice.roll(4);
    model.end = dice.one_in(10) ? 0xFFFFFFFFU : (model.router & 0xFFFFFF00U) + 9;
    fill_file(dice, model);
    std::vector<std::string> entries(dice.roll(12));
    std::string list;
    for (std::string &entry : entries) {
        entry = random_entry(dice, model.router);
        list += entry + "\x01";
    }
    if (dice.one_in(3) && !list.empty()) {
        list.pop_back();
    }

    bench::Setup setup;
    setup.settings = {{"lan_ipaddr", dotted(model.router)},
                      {"dhcp_start_ip", dotted(model.start)},
                      {"dhcp_end_ip", dotted(model.end)},
                      {"dhcp_reserved", list}};
    setup.files = {{"/var/udhcpd.leases", model.bytes()}};
    model.keep_or_empty();
    model.output = "ap_name=dhcpd action=create\n";
    apply_list(entries, model);

    bench::Root root(built_rc(), setup);
    const bench::Trace trace = root.rc("dhcpd create");
    EXPECT_EQ(trace.status, 0);
    EXPECT_EQ(bench::escape(trace.output), bench::escape(model.output)) << "seed " << seed;
    EXPECT_EQ(bench::escape(root.read("/var/udhcpd.leases").value_or("(none)")), bench::escape(model.bytes()))
        << "seed " << seed;
}

TEST(Reservations, RandomListsAndLeaseFiles)
{
    for (unsigned seed = 1; seed <= 120 && !HasFailure(); ++seed) {
        check_one(seed);
    }
}

}  // namespace
