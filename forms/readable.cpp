#include "forms/readable.h"

#include <algorithm>
#include <cstdio>

#include "forms/check.h"
#include "forms/escapes.h"
#include "forms/leases.h"
#include "forms/settings.h"
#include "forms/store.h"
#include "rc/lan/leases.h"

namespace forms {

namespace {

constexpr const char *kMask = "********";

using Lines = std::vector<std::string>;

bool is_flash(std::string_view bytes)
{
    constexpr std::string_view kMagic("\x00NOR", 4);
    return bytes.substr(0, kMagic.size()) == kMagic;
}

bool is_store(std::string_view bytes)
{
    const std::vector<Damage> damage = check_store(bytes);
    return bytes.find('=') != std::string_view::npos &&
           std::none_of(damage.begin(), damage.end(), [](const Damage &one) { return one.is_lost; });
}

bool is_lease_file(std::string_view path, std::string_view bytes)
{
    const std::string_view name = path.substr(path.rfind('/') + 1);
    return bytes.size() >= kLeaseRecordSize && name.find("lease") != std::string_view::npos;
}

bool has_secret_fields(const Description &setting)
{
    return std::any_of(setting.fields.begin(), setting.fields.end(),
                       [](const Field &field) { return field.is_secret; });
}

// One entry as text; the VPN's policies are taken apart below it.
void add_setting(const Setting &entry, Secrets secrets, Lines &lines)
{
    const Description *setting = find_description(entry.key);
    const bool is_masked = secrets == Secrets::kMasked && setting != nullptr && setting->is_secret;
    if (setting != nullptr && has_secret_fields(*setting)) {
        const size_t count = records_of(*setting, entry.value).size();
        lines.push_back(entry.key + ": " + std::to_string(count) + (count == 1 ? " record" : " records"));
        for (const std::string &line : record_lines(*setting, entry.value, secrets)) {
            lines.push_back("  " + line);
        }
        return;
    }
    std::string text = settings_text({{entry.key, is_masked && !entry.value.empty() ? kMask : entry.value}});
    text.pop_back();
    lines.push_back(text);
}

Lines store_lines(std::string_view store, Secrets secrets)
{
    Lines lines;
    for (const Setting &entry : store_settings(store)) {
        add_setting(entry, secrets, lines);
    }
    return lines;
}

Lines flash_lines(std::string_view image, Secrets secrets)
{
    const FlashHeader header = flash_header(image);
    char text[96];
    (void)snprintf(text, sizeof text, "flash image, a store of %lu bytes, checksum 0x%08x",
                   static_cast<unsigned long>(header.length), static_cast<unsigned>(header.checksum));
    Lines lines = {text};
    for (const Damage &one : check_flash(image)) {
        lines.push_back("damaged at byte " + std::to_string(one.offset) + ": " + one.reason);
    }
    const Lines entries = store_lines(flash_store(image), secrets);
    lines.insert(lines.end(), entries.begin(), entries.end());
    return lines;
}

Lines vpn_lines(std::string_view bytes, Secrets secrets)
{
    VpnTable table;
    std::string why;
    if (!read_vpn_table(bytes, table, why)) {
        return {};
    }
    Lines lines = vpn_table_lines(table);
    for (const std::string &line : vpn_field_lines(table, secrets)) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

std::vector<std::string> readable_lines(std::string_view path, std::string_view bytes, Secrets secrets)
{
    if (is_flash(bytes)) {
        return flash_lines(bytes, secrets);
    }
    if (bytes.find('\0') == std::string_view::npos) {
        return {};
    }
    if (is_lease_file(path, bytes)) {
        const LeaseFile file = read_lease_file(bytes);
        Lines lines = lease_lines(file.leases);
        if (file.rest != 0) {
            lines.push_back("the last record is cut short, " + std::to_string(file.rest) +
                            " of its bytes are there");
        }
        return lines;
    }
    if (is_store(bytes)) {
        return store_lines(bytes, secrets);
    }
    return vpn_lines(bytes, secrets);
}

std::vector<std::string> record_lines(const Description &setting, std::string_view value, Secrets secrets)
{
    Lines lines;
    if (setting.fields.empty() || value.empty()) {
        return lines;
    }
    const std::vector<std::string> records = records_of(setting, value);
    for (size_t i = 0; i < records.size(); ++i) {
        lines.push_back("record " + std::to_string(i + 1));
        const std::vector<std::string> fields = fields_of(setting, records[i]);
        for (size_t j = 0; j < fields.size() && j < setting.fields.size(); ++j) {
            const Field &field = setting.fields[j];
            const bool is_masked = secrets == Secrets::kMasked && field.is_secret && fields[j] != "0";
            std::string line = "  " + field.name;
            line.resize(std::max(line.size() + 1, size_t{23}), ' ');
            line += is_masked ? kMask : escape(fields[j]);
            line.resize(std::max(line.size() + 1, size_t{50}), ' ');
            lines.push_back(line + field.meaning);
        }
    }
    return lines;
}

std::vector<std::string> dump_lines(std::string_view bytes)
{
    constexpr size_t kColumns = 16;
    Lines lines;
    char piece[24];
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i % kColumns == 0) {
            snprintf(piece, sizeof piece, "%06zx ", i);
            lines.emplace_back(piece);
        }
        snprintf(piece, sizeof piece, " %02x", static_cast<unsigned char>(bytes[i]));
        lines.back() += piece;
    }
    return lines;
}

}  // namespace forms
