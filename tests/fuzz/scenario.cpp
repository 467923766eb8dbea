// Any text as a scenario file and the base it names: its cases are read, or refused in a line that says
// where; a case shown in full is the same case.
//
// An input is the file, a line with nothing but "%", and the base.
#include <string>

#include "tests/fuzz/fuzz.h"
#include "tests/runner/scenario.h"

namespace {

bool no_base(const std::string &, std::string &, std::string &why)
{
    why = "a.base: there is none";
    return false;
}

// Without the comments that say whose case it is.
std::string_view below_head(std::string_view text)
{
    (void)cut_line(text);
    (void)cut_line(text);
    return text;
}

void check_case(const CaseFile &file, const Case &one)
{
    Scenario scenario;
    std::string why;
    if (read_scenario(file, one, scenario, why)) {
        (void)check_expectations(file, scenario, why);
    } else {
        MUST(!why.empty() && why.find('\n') == std::string::npos);
    }
    const std::string text = expanded_case(file, one);
    CaseFile again;
    MUST(read_cases("file", text, no_base, again, why));
    MUST(again.cases.size() == 1);
    const std::string once_more = expanded_case(again, again.cases.front());
    MUST(below_head(once_more) == below_head(text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view input = input_of(data, size);
    const size_t cut = input.find("\n%\n");
    const std::string_view text = input.substr(0, cut);
    const std::string base(cut == std::string_view::npos ? "" : input.substr(cut + 3));
    const ReadText read_base = [&](const std::string &, std::string &read, std::string &) {
        read = base;
        return true;
    };
    CaseFile file;
    std::string why;
    if (!read_cases("file", text, read_base, file, why)) {
        MUST(!why.empty() && why.find('\n') == std::string::npos);
        return 0;
    }
    for (const Case &one : file.cases) {
        check_case(file, one);
    }
    return 0;
}
