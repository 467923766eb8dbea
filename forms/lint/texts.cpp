// Texts that are fine as texts and yet not what was meant: spaces at their ends, keywords that no request
// holds.
#include "forms/escapes.h"
#include "forms/lint/internal.h"

namespace forms {

namespace {

void lint_spaces(const Store &store, Findings &findings)
{
    for (const Description *one : all_descriptions()) {
        const std::string &value = store.get(one->key);
        const bool is_text = one->type.form == Form::kText && !value.empty();
        if (is_text && (value.front() == ' ' || value.back() == ' ')) {
            findings.add(Grade::kNote, "space", one->key, "begins or ends with a space, which counts");
        }
    }
}

void lint_keywords(const Store &store, Findings &findings)
{
    std::map<std::string, int> seen;
    for (const Record &record : fine_records(store, "fw_block_keyword")) {
        const std::string &keyword = record["keyword"];
        if (keyword.find("://") != std::string::npos) {
            findings.add(
                Grade::kWarning, "keyword-address", "fw_block_keyword", record, "keyword",
                "a request names its host and its path apart and holds no \"://\"; give the host's name");
        } else if (keyword.find('*') != std::string::npos) {
            findings.add(Grade::kWarning, "keyword-star", "fw_block_keyword", record, "keyword",
                         "a * stands for itself here; leave it out");
        }
        if (const auto [earlier, is_new] = seen.emplace(keyword, record.number); !is_new) {
            findings.add(Grade::kNote, "repeated-record", "fw_block_keyword", record, "keyword",
                         "repeats record " + std::to_string(earlier->second));
        }
    }
}

void lint_triggers(const Store &store, Findings &findings)
{
    const std::vector<Record> records = fine_records(store, "fw_spapp");
    for (size_t i = 0; i < records.size(); ++i) {
        for (size_t j = 0; j < i; ++j) {
            const auto is_same = [&](const char *field) { return records[i][field] == records[j][field]; };
            if (is_same("on") && is_same("trigger_protocol") && is_same("trigger_ports") &&
                is_same("protocol") && is_same("ports")) {
                findings.add(Grade::kNote, "repeated-record", "fw_spapp", records[i], "",
                             "repeats record " + std::to_string(records[j].number));
                break;
            }
        }
    }
}

}  // namespace

void lint_texts(const Store &store, Findings &findings)
{
    lint_spaces(store, findings);
    lint_keywords(store, findings);
    lint_triggers(store, findings);
    const std::string &recipient = store.get("mail_recipient");
    if (store.get("mail_enable") == "1" && !recipient.empty() && recipient.find('@') == std::string::npos) {
        findings.add(Grade::kWarning, "recipient", "mail_recipient",
                     "\"" + escape(recipient) + "\" is no mail address: it has no @");
    }
}

}  // namespace forms
