// A C++ source file as the contract check sees it: its opening comment and its tokens.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

enum class TokenKind { identifier, text, number, other };

struct Token {
    TokenKind kind;
    std::string text;  // of a string literal: its bytes, escapes replaced
    int line;
};

// Names of string constants and what they stand for.
using Constants = std::map<std::string, std::string>;

// Splits a source into tokens: comments and preprocessor lines are passed over, adjacent string literals
// (and macros or constants known as such between them) are joined into one.
std::vector<Token> read_tokens(std::string_view source, const Constants &macros);

// #define NAME "text" lines of a source.
Constants read_macros(std::string_view source);

// NAME = "text"; declarations of a source.
Constants read_constants(const std::vector<Token> &tokens);

// One argument of a call: its tokens, from `begin` up to `end`.
struct Argument {
    size_t begin;
    size_t end;
};

struct Call {
    std::string name;
    int line;
    std::vector<Argument> arguments;
};

// Every NAME(...) of the source.
std::vector<Call> read_calls(const std::vector<Token> &tokens);

// The texts an argument can stand for: its literals and constants, both sides of a conditional operator,
// but nothing that is inside a further call.
std::vector<std::string> argument_texts(const std::vector<Token> &tokens, const Argument &argument,
                                        const Constants &constants);
