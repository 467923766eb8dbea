// Any text as a packet, a sentence about the filter, the platform's triggers and rules: read, or refused with
// a reason; a packet is written and read again to the same, and finds its way through any rules.
//
// An input is a line that is a packet, a line that is a sentence, and rules.
#include <string>

#include "bench/packets/load.h"
#include "bench/packets/network.h"
#include "bench/packets/packet.h"
#include "bench/packets/reach.h"
#include "bench/packets/walk.h"
#include "tests/fuzz/fuzz.h"

namespace {

const packets::Network kNetwork = {.triggers = {{true, false, 6000, 6010}}};

packets::Packet check_packet(std::string_view text)
{
    try {
        const packets::Packet packet = packets::parse_packet(text, kNetwork, std::nullopt).packet;
        const packets::PacketText again =
            packets::parse_packet(packets::packet_text(packet), kNetwork, packet.from);
        MUST(again.packet == packet);
        return packet;
    } catch (const packets::Error &error) {
        MUST(*error.what() != '\0');
    }
    return {};
}

void check_sentence(std::string_view text)
{
    try {
        const packets::Sentence sentence = packets::parse_sentence(text);
        MUST(sentence.text == text && !sentence.place.empty());
        MUST(sentence.first_port <= sentence.last_port && sentence.last_port <= 65535);
    } catch (const packets::Error &error) {
        MUST(*error.what() != '\0');
    }
}

void check_triggers(std::string_view text)
{
    for (const packets::Trigger &trigger : packets::parse_triggers(std::string(text))) {
        MUST(trigger.tcp || trigger.udp);
        MUST(trigger.first_port <= trigger.last_port && trigger.last_port <= 65535);
    }
}

void check_rules(std::string_view text, const packets::Packet &packet)
{
    try {
        packets::Loader loader;
        loader.file(text);
        const packets::RuleSet rules = loader.finish();
        for (const packets::Refusal &refusal : rules.refused) {
            MUST(refusal.line >= 1 && refusal.line <= rules.lines && !refusal.reason.empty());
        }
        const packets::Walk walk = packets::walk(rules, kNetwork, packet);
        MUST(!walk.reason.empty());
    } catch (const packets::Error &error) {
        MUST(*error.what() != '\0');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view rest = input_of(data, size);
    const packets::Packet packet = check_packet(cut_line(rest));
    check_sentence(cut_line(rest));
    check_triggers(rest);
    check_rules(rest, packet);
    return 0;
}
