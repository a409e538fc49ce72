// libFuzzer target for the scenario line parser: any line gives words or a
// SyntaxError, never a crash or hang, and the printed form of the words reads
// back as the same words.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/scenario/script_text.h"

using tvl::scenario::Word;

namespace {

bool same(const std::vector<Word>& a, const std::vector<Word>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i].text != b[i].text || a[i].quoted != b[i].quoted || a[i].glued != b[i].glued)
            return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string line(reinterpret_cast<const char*>(data), size);
    std::vector<Word> words;
    try {
        words = tvl::scenario::splitWords(line);
    } catch (const tvl::scenario::SyntaxError&) {
        return 0;
    }
    if (!same(tvl::scenario::splitWords(tvl::scenario::printed(words)), words)) std::abort();
    return 0;
}
