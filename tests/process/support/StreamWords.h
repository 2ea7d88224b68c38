// The filter's output as a sequence of short words, for comparing whole
// packet sequences in tests (see korvostream::summarise).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace korvotest {

// Every item of the stream; a framing error adds "ERROR@<offset>".
std::vector<std::string> streamWords(const std::vector<uint8_t>& out);
// The same without the image packets (print area and rows).
std::vector<std::string> controlWords(const std::vector<uint8_t>& out);
std::string joinWords(const std::vector<std::string>& words);

}  // namespace korvotest
