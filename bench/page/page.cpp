#include "bench/page/page.h"

#include "page_text.h"

namespace page {

std::string text(std::string_view bytes)
{
    std::string out;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '"') {
            out += "&quot;";
        } else if (c == '\'') {
            out += "&#39;";
        } else if (c == '\n' || (byte >= 0x20 && byte < 0x7f)) {
            out += c;
        } else {
            out += bench::escape(std::string_view(&c, 1));
        }
    }
    return out;
}

std::string table(const std::vector<std::string> &head, const std::vector<std::vector<std::string>> &rows)
{
    std::string out = "<div class=wide><table><tr>";
    for (const std::string &cell : head) {
        out += "<th scope=col>" + text(cell);
    }
    for (const std::vector<std::string> &row : rows) {
        out += "\n<tr>";
        for (const std::string &cell : row) {
            out += "<td>" + text(cell);
        }
    }
    return out + "</table></div>\n";
}

std::string standalone(const std::string &svg)
{
    // The colours are the first two lines of the page's style.
    const std::string style = kStyle;
    const std::string colours = style.substr(0, style.find('\n', style.find('\n') + 1));
    std::string out = svg;
    out.insert(out.find('>') + 1, "<style>" + colours +
                                      "text{fill:var(--ink)}</style><rect width=\"100%\" height=\"100%\" "
                                      "fill=\"var(--paper)\"/>\n");
    return out;
}

std::string page(const std::string &title, const std::string &about, const std::vector<Chapter> &chapters)
{
    std::string out =
        "<!DOCTYPE html>\n<html lang=en><head><meta charset=utf-8>\n"
        "<meta name=viewport content=\"width=device-width, initial-scale=1\">\n"
        // Whatever got into the page, it can load nothing and send nothing.
        "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'; style-src 'unsafe-inline'; "
        "script-src 'unsafe-inline'; img-src data:\">\n<link rel=icon href=\"data:,\">\n<title>" +
        text(title) + "</title>\n<style>" + kStyle + "</style></head><body>\n<h1>" + text(title) +
        "</h1>\n<p>" + text(about) + "</p>\n<nav>";
    for (const Chapter &chapter : chapters) {
        out += "<a href=\"#" + chapter.id + "\">" + text(chapter.title) + "</a>";
    }
    out += "</nav>\n";
    for (const Chapter &chapter : chapters) {
        out += "<section><h2 id=\"" + chapter.id + "\">" + text(chapter.title) + "</h2>\n" + chapter.body +
               "</section>\n";
    }
    return out + "<script>" + kScript + "</script></body></html>\n";
}

}  // namespace page
