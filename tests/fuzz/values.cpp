// Any settings: their values against the descriptions, and what lint finds in them. A text that is none is
// read as a file of descriptions.
#include <string>
#include <vector>

#include "forms/check.h"
#include "forms/descriptions.h"
#include "forms/lint/lint.h"
#include "forms/settings.h"
#include "tests/fuzz/fuzz.h"

namespace {

void check_line(const std::string &line)
{
    MUST(!line.empty());
    for (const char c : line) {
        MUST(static_cast<unsigned char>(c) >= ' ' && c != '\x7f');
    }
}

void check_value(const forms::Setting &setting)
{
    const forms::Description *described = forms::find_description(setting.key);
    if (described == nullptr) {
        return;
    }
    const std::vector<forms::Refusal> refusals = forms::refusals(*described, setting.value);
    const std::string text = forms::refusal_text(*described, setting.value);
    MUST(text.empty() == refusals.empty());
    if (!text.empty()) {
        check_line(text);
    }
    for (const std::string &record : forms::records_of(*described, setting.value)) {
        // One more when something is behind the last.
        MUST(forms::fields_of(*described, record).size() <= described->fields.size() + 1);
    }
    if (const auto address = forms::read_address(setting.value)) {
        MUST(forms::read_address(forms::address_text(*address)) == address);
    }
    const auto bits = forms::read_netmask(setting.value);
    MUST(!bits || (*bits >= 0 && *bits <= 32));
}

void check_lint(const std::vector<forms::Setting> &settings)
{
    const std::vector<forms::Finding> findings = forms::lint(settings);
    for (const forms::Finding &finding : findings) {
        MUST(!finding.key.empty() && !finding.code.empty());
        check_line(forms::finding_line(finding));
    }
    MUST(forms::findings_json(findings).starts_with("["));
}

void check_descriptions(std::string_view text)
{
    std::vector<forms::Fault> faults;
    const forms::Area area = forms::read_descriptions("file", text, faults);
    for (const forms::Fault &fault : faults) {
        MUST(!fault.in("file").empty());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view text = input_of(data, size);
    std::vector<forms::Setting> settings;
    forms::Fault fault;
    if (!forms::read_settings(text, settings, fault) || text.starts_with("#")) {
        check_descriptions(text);
        return 0;
    }
    for (const forms::Setting &setting : settings) {
        check_value(setting);
    }
    check_lint(settings);
    return 0;
}
