// Text files of the image and of people, and a trace as lines.
#include <array>

#include "bench/router.h"
#include "bench/run/files.h"

namespace bench {

std::string unescape(std::string_view text)
{
    std::string out;
    std::string why;
    if (!forms::unescape(text, out, why, forms::RawControls::kAllowed)) {
        throw Error("in \"" + forms::shown(text) + "\": " + why);
    }
    return out;
}

std::vector<Setting> read_settings_text(const std::filesystem::path &file)
{
    std::vector<Setting> settings;
    forms::Fault fault;
    if (!forms::read_settings(read_whole(file), settings, fault)) {
        throw Error(fault.in(file));
    }
    return settings;
}

std::vector<Setting> image_settings(const std::filesystem::path &image)
{
    constexpr std::array kAreas = {"system", "lan", "wan", "firewall", "aux", "wireless", "vpn"};
    std::vector<Setting> all;
    for (const char *area : kAreas) {
        const std::filesystem::path file = image / "settings" / (std::string(area) + ".settings");
        if (!std::filesystem::exists(file)) {
            continue;
        }
        for (Setting &setting : read_settings_text(file)) {
            all.push_back(std::move(setting));
        }
    }
    return all;
}

void read_replies_text(const std::filesystem::path &file, std::vector<Reply> &replies,
                       std::vector<Effect> &effects)
{
    forms::Fault fault;
    if (!forms::read_replies(read_whole(file), replies, effects, fault)) {
        throw Error(fault.in(file));
    }
}

std::vector<std::string> trace_lines(const Trace &trace, bool tools)
{
    std::vector<std::string> lines;
    for (const Event &event : trace.events) {
        if (tools || event.kind != Kind::kTool) {
            lines.push_back(event_line(event));
        }
    }
    return lines;
}

}  // namespace bench
