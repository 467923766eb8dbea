// Any text as a rules file: translated, or refused by one of the translator's own errors.
#include <string>

#include "bench/iptables_dialect.h"
#include "bench/router.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view rules = input_of(data, size);
    for (const bool is_active : {false, true}) {
        try {
            const bench::Dialect dialect = bench::translate_rules(rules, is_active);
            for (const bench::DialectNote &note : dialect.notes) {
                MUST(note.line >= 1 && *bench::difference_name(note.difference) != '\0');
            }
        } catch (const bench::Error &error) {
            MUST(*error.what() != '\0');
        }
    }
    return 0;
}
