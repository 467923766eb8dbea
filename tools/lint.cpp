// nvram lint: what is wrong with settings, and what the router will do with them.
#include <algorithm>
#include <cstdio>

#include "forms/files.h"
#include "forms/lint/lint.h"
#include "forms/program.h"
#include "forms/store.h"
#include "rc/nvram.h"
#include "tools/settings_commands.h"

namespace {

bool is_flash(std::string_view bytes)
{
    constexpr std::string_view kMagic("\x00NOR", 4);
    return bytes.substr(0, kMagic.size()) == kMagic;
}

std::vector<forms::Setting> read_store(const std::string &path, std::string_view store,
                                       const std::vector<forms::Damage> &damage)
{
    for (const forms::Damage &one : damage) {
        if (one.is_lost) {
            throw forms::Failure(forms::kUnusable, path + ": damaged at byte " + std::to_string(one.offset) +
                                                       ": " + one.reason);
        }
    }
    return forms::store_settings(store);
}

}  // namespace

std::vector<forms::Setting> read_any_settings(const std::string &path)
{
    const std::string bytes = forms::read_input(path, forms::kFlashLimit);
    if (is_flash(bytes)) {
        return read_store(path, forms::flash_store(bytes), forms::check_flash(bytes));
    }
    if (bytes.find('\0') != std::string::npos) {
        return read_store(path, bytes, forms::check_store(bytes));
    }
    std::vector<forms::Setting> settings;
    forms::Fault fault;
    if (!forms::read_settings(bytes, settings, fault)) {
        throw forms::Failure(forms::kUnusable, fault.in(path));
    }
    return settings;
}

int lint_settings(const std::vector<forms::Setting> &settings, bool is_json)
{
    const std::vector<forms::Finding> findings = forms::lint(settings);
    if (is_json) {
        (void)fputs(forms::findings_json(findings).c_str(), stdout);
    } else {
        for (const forms::Finding &finding : findings) {
            printf("%s\n", forms::finding_line(finding).c_str());
        }
    }
    const bool is_clean = std::all_of(findings.begin(), findings.end(), [](const forms::Finding &finding) {
        return finding.grade == forms::Grade::kNote;
    });
    return is_clean ? forms::kDone : forms::kNo;
}
