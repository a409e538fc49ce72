#include "tools/scenario/script_text.h"

namespace tvl::scenario {

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// The byte of the escape after a backslash at line[i]; i moves past it.
char escape(const std::string& line, std::size_t& i) {
    if (i >= line.size()) throw SyntaxError("expected an escape after \\");
    const char e = line[i++];
    switch (e) {
        case 'r':
            return '\r';
        case 'n':
            return '\n';
        case 't':
            return '\t';
        case '\\':
            return '\\';
        case '"':
            return '"';
        case 'x': {
            const int hi = i < line.size() ? hexDigit(line[i]) : -1;
            const int lo = i + 1 < line.size() ? hexDigit(line[i + 1]) : -1;
            if (hi < 0 || lo < 0) throw SyntaxError("expected two hex digits after \\x");
            i += 2;
            return static_cast<char>(hi * 16 + lo);
        }
        default:
            throw SyntaxError(std::string("expected one of \\r \\n \\t \\\\ \\\" \\xHH, found \\") +
                              e);
    }
}

// The text of a string whose opening quote was at line[i - 1]; i moves past
// its closing quote.
std::string stringText(const std::string& line, std::size_t& i) {
    std::string text;
    while (i < line.size()) {
        const char d = line[i++];
        if (d == '"') return text;
        text.push_back(d == '\\' ? escape(line, i) : d);
    }
    throw SyntaxError("expected a closing \" of the string");
}

}  // namespace

std::vector<Word> splitWords(const std::string& line) {
    std::vector<Word> words;
    std::size_t i = 0;
    while (i < line.size()) {
        if (blank(line[i])) {
            ++i;
            continue;
        }
        Word word;
        word.glued = !words.empty() && i > 0 && !blank(line[i - 1]);
        if (line[i] == '"') {
            word.quoted = true;
            ++i;
            word.text = stringText(line, i);
        } else {
            while (i < line.size() && !blank(line[i])) word.text.push_back(line[i++]);
        }
        words.push_back(std::move(word));
    }
    return words;
}

std::string quoted(const std::string& bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out = "\"";
    for (char ch : bytes) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            out.push_back('\\');
            out.push_back(ch);
        } else if (c >= 0x20 && c <= 0x7E) {
            out.push_back(ch);
        } else {
            out += "\\x";
            out.push_back(digits[c >> 4]);
            out.push_back(digits[c & 15]);
        }
    }
    out.push_back('"');
    return out;
}

std::string printed(const std::vector<Word>& words, std::size_t from) {
    std::string out;
    for (std::size_t i = from; i < words.size(); ++i) {
        if (i > from && !words[i].glued) out.push_back(' ');
        out += words[i].quoted ? quoted(words[i].text) : words[i].text;
    }
    return out;
}

}  // namespace tvl::scenario
