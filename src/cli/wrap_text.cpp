#include "cli/wrap_text.hpp"

#include <algorithm>
#include <vector>

namespace lumora::utils {

namespace {

// Code points of UTF-8 text: every byte that is not a continuation byte starts one.
std::size_t displayLength(std::string_view s) {
    std::size_t n = 0;
    for (const char c : s) n += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    return n;
}

void wrapParagraph(std::string_view paragraph, std::size_t width, std::vector<std::string>& lines) {
    std::string line;
    std::size_t lineLength = 0;
    bool lineHasWord = false;
    std::size_t pos = 0;
    while (pos < paragraph.size()) {
        const std::size_t wordStart = paragraph.find_first_not_of(' ', pos);
        const std::string_view blanks = paragraph.substr(pos, std::min(wordStart, paragraph.size()) - pos);
        if (wordStart == std::string_view::npos) {
            // Trailing blanks stay only where they fit.
            if (lineLength + blanks.size() <= width) line += blanks;
            break;
        }
        const std::size_t wordEnd = std::min(paragraph.find(' ', wordStart), paragraph.size());
        const std::string_view word = paragraph.substr(wordStart, wordEnd - wordStart);
        const std::size_t wordLength = displayLength(word);
        if (lineHasWord && lineLength + blanks.size() + wordLength > width) {
            lines.push_back(std::move(line));
            line.assign(word);
            lineLength = wordLength;
        } else {
            line += blanks;
            line += word;
            lineLength += blanks.size() + wordLength;
        }
        lineHasWord = true;
        pos = wordEnd;
    }
    lines.push_back(std::move(line));
}

}  // namespace

std::string wrapText(std::string_view text, std::size_t width, std::string_view prefix) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = text.find('\n', start);
        wrapParagraph(text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start),
                      width, lines);
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    std::string result;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) result += '\n';
        result += prefix;
        result += lines[i];
    }
    return result;
}

}  // namespace lumora::utils
