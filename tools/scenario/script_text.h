// The words of a scenario line, and the one printed form of a text.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace tvl::scenario {

struct SyntaxError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Word {
    std::string text;     // a string's bytes after its escapes, or the word itself
    bool quoted = false;  // written in double quotes
    bool glued = false;   // written right after the word before, with no blank between
};

// Splits a line into words on blanks; a string in double quotes is one word
// and takes the escapes \r \n \t \\ \" and \xHH. Throws SyntaxError.
std::vector<Word> splitWords(const std::string& line);

// A text as printed: "..." with bytes 0x20-0x7E as they are (but \" and \\),
// every other byte as \xHH with capital hex digits.
std::string quoted(const std::string& bytes);

// The words as printed, joined by one blank unless written glued to the word
// before (strings in their printed form): ["a" "b"] prints as written.
std::string printed(const std::vector<Word>& words, std::size_t from = 0);

}  // namespace tvl::scenario
