#include "StreamWords.h"

#include "korvostream/KorvoStream.h"

namespace korvotest {

std::vector<std::string> streamWords(const std::vector<uint8_t>& out)
{
    const korvostream::Stream stream = korvostream::parseStream(out);
    std::vector<std::string> words = korvostream::summarise(stream);
    for (const korvostream::FramingError& error : stream.errors) {
        words.push_back("ERROR@" + std::to_string(error.offset));
    }
    return words;
}

std::vector<std::string> controlWords(const std::vector<uint8_t>& out)
{
    std::vector<std::string> words;
    for (std::string& word : streamWords(out)) {
        if (word != "AREA" && word != "ROWS") {
            words.push_back(std::move(word));
        }
    }
    return words;
}

std::string joinWords(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

}  // namespace korvotest
