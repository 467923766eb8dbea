// Any bytes as a settings store and as a flash image: looking up and replacing against a model, damage
// reports, and the way to text and back.
#include <map>
#include <string>

#include "forms/settings.h"
#include "forms/store.h"
#include "rc/nvram.h"
#include "tests/fuzz/fuzz.h"

namespace {

// The first entry of the store that begins with key and "=", looked for byte by byte.
const char *model_find(const std::string &store, const std::string &start)
{
    for (const char *entry = store.c_str(); *entry != '\0'; entry += std::string(entry).size() + 1) {
        if (std::string(entry).compare(0, start.size(), start) == 0) {
            return entry + start.size();
        }
    }
    return nullptr;
}

void check_edits(const std::string &store, const std::string &key, const std::string &value)
{
    if (key.find('\0') != std::string::npos) {
        return;
    }
    // Two more zeros let the model stop as the program must.
    const std::string padded = store + std::string(2, '\0');
    const char *expected = model_find(padded, key + "=");
    const auto found = store_find(store, key);
    MUST(found.has_value() == (expected != nullptr));
    MUST(!found || *found == std::string(expected));
    if (key.empty() || key.find('=') != std::string::npos || value.find('\0') != std::string::npos) {
        return;
    }
    const std::string changed = store_replace(store, key, value);
    MUST(store_find(changed, key) == value);
    std::vector<forms::Setting> before = forms::store_settings(store);
    std::vector<forms::Setting> after = forms::store_settings(changed);
    MUST(after.size() == before.size() + (expected == nullptr ? 1 : 0));
    for (size_t i = 0; i < before.size(); ++i) {
        MUST(before[i].key == key || before[i] == after[i]);
    }
}

bool is_sound(const std::vector<forms::Damage> &found)
{
    return found.empty();
}

void check_text(const std::string &store)
{
    if (!is_sound(forms::check_store(store))) {
        return;
    }
    std::vector<forms::Setting> again;
    forms::Fault fault;
    MUST(forms::read_settings(forms::settings_text(forms::store_settings(store)), again, fault));
    MUST(forms::store_bytes(again) == store);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view rest = input_of(data, size);
    const std::string key(cut_line(rest));
    const std::string value(cut_line(rest));
    const std::string store(rest);
    check_edits(store, key, value);
    check_text(store);
    (void)forms::check_flash(rest);
    const std::string image = forms::flash_header_bytes(store) + std::string(24, '\xff') + store;
    MUST(forms::flash_store(image) == store);
    MUST(is_sound(forms::check_flash(image)) == is_sound(forms::check_store(store)));
    return 0;
}
