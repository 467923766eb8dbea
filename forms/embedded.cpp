#include "forms/embedded.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "forms/descriptions.h"
#include "forms/exposure.h"

namespace forms {

// The texts are part of the build, so a fault in them is a mistake in the project; a test reads them too.
[[noreturn]] static void give_up(const std::string &why)
{
    fprintf(stderr, "descriptions of the settings: %s\n", why.c_str());
    abort();
}

const std::vector<Area> &described_areas()
{
    static const std::vector<Area> areas = [] {
        std::vector<Area> read;
        std::vector<Fault> faults;
        for (const EmbeddedText &one : kEmbeddedSettings) {
            read.push_back(read_descriptions(one.path, one.text, faults));
            if (!faults.empty()) {
                give_up(faults[0].in(one.path));
            }
        }
        return read;
    }();
    return areas;
}

const std::vector<Exposure> &known_exposures()
{
    static const std::vector<Exposure> exposures = [] {
        std::vector<Exposure> read;
        size_t line = 0;
        if (!read_exposures(kEmbeddedExposure.text, read, line)) {
            give_up(std::string(kEmbeddedExposure.path) + ":" + std::to_string(line) + ": not understood");
        }
        return read;
    }();
    return exposures;
}

std::vector<Reader> readers_of(std::string_view key)
{
    std::vector<Reader> readers;
    std::string_view text = kEmbeddedReaders.text;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() + 1);
        if (line.substr(0, key.size() + 1) != std::string(key) + "\t") {
            continue;
        }
        std::string_view rest = line.substr(key.size() + 1);
        Reader &reader = readers.emplace_back();
        for (std::string *part :
             {&reader.use, &reader.service, &reader.source, &reader.writes, &reader.runs}) {
            *part = rest.substr(0, rest.find('\t'));
            rest.remove_prefix(std::min(part->size() + 1, rest.size()));
        }
    }
    return readers;
}

}  // namespace forms
