#include "tests/contract/source.h"

#include <cctype>
#include <cstdlib>

namespace {

bool is_word(char c)
{
    return isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// A place in a source, with its line number.
struct Cursor {
    std::string_view source;
    size_t at = 0;
    int line = 1;

    bool done() const { return at >= source.size(); }
    char peek(size_t ahead = 0) const { return at + ahead < source.size() ? source[at + ahead] : '\0'; }
    void next()
    {
        line += peek() == '\n' ? 1 : 0;
        ++at;
    }
    void skip(size_t count)
    {
        for (size_t i = 0; i < count && !done(); ++i) {
            next();
        }
    }
};

// To the end of the line, continued lines included.
void skip_line(Cursor &cursor)
{
    while (!cursor.done() && cursor.peek() != '\n') {
        cursor.skip(cursor.peek() == '\\' ? 2 : 1);
    }
}

void skip_comment(Cursor &cursor)
{
    cursor.skip(2);
    while (!cursor.done() && !(cursor.peek() == '*' && cursor.peek(1) == '/')) {
        cursor.next();
    }
    cursor.skip(2);
}

// The number of an octal or hexadecimal escape behind its backslash.
char read_coded_byte(Cursor &cursor)
{
    const bool hex = cursor.peek() == 'x';
    cursor.skip(hex ? 1 : 0);
    std::string digits;
    while (hex ? isxdigit(static_cast<unsigned char>(cursor.peek())) != 0
               : cursor.peek() >= '0' && cursor.peek() <= '7' && digits.size() < 3) {
        digits += cursor.peek();
        cursor.next();
    }
    return static_cast<char>(strtol(digits.c_str(), nullptr, hex ? 16 : 8));
}

char read_escape(Cursor &cursor)
{
    static const std::string_view kNames = "abfnrtv";
    static const std::string_view kBytes = "\a\b\f\n\r\t\v";
    const char name = cursor.peek();
    if (name == 'x' || (name >= '0' && name <= '7')) {
        return read_coded_byte(cursor);
    }
    cursor.next();
    const size_t known = kNames.find(name);
    return known == std::string_view::npos ? name : kBytes[known];
}

// A literal in the given quotes, the cursor on the first one.
std::string read_quoted(Cursor &cursor, char quote)
{
    std::string text;
    cursor.next();
    while (!cursor.done() && cursor.peek() != quote && cursor.peek() != '\n') {
        const bool escaped = cursor.peek() == '\\';
        if (escaped) {
            cursor.next();
            text += read_escape(cursor);
        } else {
            text += cursor.peek();
            cursor.next();
        }
    }
    cursor.next();
    return text;
}

// R"mark(...)mark", the cursor on the quote.
std::string read_raw(Cursor &cursor)
{
    std::string mark = ")";
    cursor.next();
    while (!cursor.done() && cursor.peek() != '(') {
        mark += cursor.peek();
        cursor.next();
    }
    mark += '"';
    cursor.next();
    const size_t end = cursor.source.find(mark, cursor.at);
    std::string text(cursor.source.substr(cursor.at, end - cursor.at));
    cursor.skip(text.size() + mark.size());
    return text;
}

void add_text(std::vector<Token> &tokens, const std::string &text, int line)
{
    if (!tokens.empty() && tokens.back().kind == TokenKind::text) {
        tokens.back().text += text;
    } else {
        tokens.push_back({TokenKind::text, text, line});
    }
}

void read_word(Cursor &cursor, std::vector<Token> &tokens, const Constants &macros)
{
    const size_t begin = cursor.at;
    const int line = cursor.line;
    while (is_word(cursor.peek())) {
        cursor.next();
    }
    const std::string word(cursor.source.substr(begin, cursor.at - begin));
    if (word == "R" && cursor.peek() == '"') {
        add_text(tokens, read_raw(cursor), line);
    } else if (const auto macro = macros.find(word); macro != macros.end()) {
        add_text(tokens, macro->second, line);
    } else {
        const bool digit = isdigit(static_cast<unsigned char>(word[0])) != 0;
        tokens.push_back({digit ? TokenKind::number : TokenKind::identifier, word, line});
    }
}

void read_token(Cursor &cursor, std::vector<Token> &tokens, const Constants &macros)
{
    const char c = cursor.peek();
    const int line = cursor.line;
    if (c == '#' || (c == '/' && cursor.peek(1) == '/')) {
        skip_line(cursor);
    } else if (c == '/' && cursor.peek(1) == '*') {
        skip_comment(cursor);
    } else if (c == '"') {
        add_text(tokens, read_quoted(cursor, '"'), line);
    } else if (c == '\'') {
        tokens.push_back({TokenKind::number, read_quoted(cursor, '\''), line});
    } else if (is_word(c)) {
        read_word(cursor, tokens, macros);
    } else {
        if (isspace(static_cast<unsigned char>(c)) == 0) {
            tokens.push_back({TokenKind::other, std::string(1, c), line});
        }
        cursor.next();
    }
}

bool is_sign(const Token &token, char sign)
{
    return token.kind == TokenKind::other && token.text[0] == sign;
}

int depth_change(const Token &token)
{
    if (token.kind != TokenKind::other) {
        return 0;
    }
    const char c = token.text[0];
    return c == '(' || c == '[' || c == '{' ? 1 : c == ')' || c == ']' || c == '}' ? -1 : 0;
}

// The arguments of a call whose opening parenthesis is at `open`.
std::vector<Argument> read_arguments(const std::vector<Token> &tokens, size_t open)
{
    std::vector<Argument> arguments;
    size_t begin = open + 1;
    int depth = 1;
    for (size_t i = begin; i < tokens.size(); ++i) {
        depth += depth_change(tokens[i]);
        if (depth == 0 || (depth == 1 && is_sign(tokens[i], ','))) {
            arguments.push_back({begin, i});
            begin = i + 1;
        }
        if (depth == 0) {
            break;
        }
    }
    return arguments;
}

// Past the parenthesis that closes the one at `open`.
size_t skip_parentheses(const std::vector<Token> &tokens, size_t open)
{
    int depth = 0;
    for (size_t i = open; i < tokens.size(); ++i) {
        depth += depth_change(tokens[i]);
        if (depth == 0) {
            return i + 1;
        }
    }
    return tokens.size();
}

}  // namespace

std::vector<Token> read_tokens(std::string_view source, const Constants &macros)
{
    std::vector<Token> tokens;
    Cursor cursor{source};
    while (!cursor.done()) {
        read_token(cursor, tokens, macros);
    }
    return tokens;
}

Constants read_macros(std::string_view source)
{
    Constants macros;
    size_t at = 0;
    const std::string_view start = "#define ";
    while ((at = source.find(start, at)) != std::string_view::npos) {
        at += start.size();
        const std::string_view line = source.substr(at, source.find('\n', at) - at);
        const std::vector<Token> tokens = read_tokens(line, {});
        if (tokens.size() == 2 && tokens[1].kind == TokenKind::text) {
            macros[tokens[0].text] = tokens[1].text;
        }
    }
    return macros;
}

Constants read_constants(const std::vector<Token> &tokens)
{
    Constants constants;
    for (size_t i = 0; i + 3 < tokens.size(); ++i) {
        const bool array = is_sign(tokens[i + 1], '[') && is_sign(tokens[i + 2], ']');
        const size_t sign = i + (array ? 3 : 1);
        if (tokens[i].kind == TokenKind::identifier && sign + 2 < tokens.size() &&
            is_sign(tokens[sign], '=') && tokens[sign + 1].kind == TokenKind::text &&
            is_sign(tokens[sign + 2], ';')) {
            constants[tokens[i].text] = tokens[sign + 1].text;
        }
    }
    return constants;
}

std::vector<Call> read_calls(const std::vector<Token> &tokens)
{
    std::vector<Call> calls;
    for (size_t i = 0; i + 1 < tokens.size(); ++i) {
        if (tokens[i].kind == TokenKind::identifier && is_sign(tokens[i + 1], '(')) {
            calls.push_back({tokens[i].text, tokens[i].line, read_arguments(tokens, i + 1)});
        }
    }
    return calls;
}

std::vector<std::string> argument_texts(const std::vector<Token> &tokens, const Argument &argument,
                                        const Constants &constants)
{
    std::vector<std::string> texts;
    for (size_t i = argument.begin; i < argument.end; ++i) {
        if (tokens[i].kind == TokenKind::text) {
            texts.push_back(tokens[i].text);
        } else if (tokens[i].kind == TokenKind::identifier) {
            if (i + 1 < argument.end && is_sign(tokens[i + 1], '(')) {
                i = skip_parentheses(tokens, i + 1) - 1;
            } else if (const auto known = constants.find(tokens[i].text); known != constants.end()) {
                texts.push_back(known->second);
            }
        }
    }
    return texts;
}
