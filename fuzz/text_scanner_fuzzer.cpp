// The text value scanner: every conversion and the exported-string forms either give a value and
// the rest of the text, or an error text; an exported value always reads back.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "lumora/settings/text_scanner.hpp"

using namespace lumora;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    (void)scan::parseInt(text);
    (void)scan::parseFloat(text);
    (void)scan::parseString(text);
    (void)scan::parseColor(text);

    // The first line is a pattern, the rest its subject.
    const auto newline = text.find('\n');
    if (newline != std::string::npos) {
        int i = 0;
        float f = 0.f;
        std::string s;
        Vec3 v{};
        const scan::Target targets[] = {&i, &f, &s, &v, &i, &f, &s, &v};
        const std::string_view pattern = std::string_view(text).substr(0, newline);
        // Patterns are the program's own constants, so only well-formed ones are tried: every '%'
        // starts "%d", "%f", "%s", "%r" or "%%", and at most one conversion, an int (others count double), is asked for.
        std::size_t conversions = 0;
        bool wellFormed = true;
        for (std::size_t k = 0; k < pattern.size(); ++k) {
            if (pattern[k] != '%') continue;
            if (k + 1 == pattern.size() || std::string_view("dfsr%").find(pattern[k + 1]) == std::string_view::npos) {
                wellFormed = false;
                break;
            }
            if (pattern[++k] != '%') conversions += pattern[k] == 'd' ? 1 : 2;
        }
        if (wellFormed && conversions <= 1) {
            std::string error;
            (void)scan::match(std::string_view(text).substr(newline + 1), pattern, std::span(targets, 1), &error);
        }
    }

    if (const auto items = Str::parseExportStringArray(text)) {
        const auto again = Str::parseExportStringArray(Str::getExportStringArray(*items));
        if (!again || *again != *items) std::abort();
    }
    if (const auto item = Str::parseExportString(text)) {
        const auto again = Str::parseExportString(Str::getExportString(*item));
        if (!again || *again != *item) std::abort();
    }
    return 0;
}
