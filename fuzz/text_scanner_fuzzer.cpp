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
        std::size_t conversions = 0;
        for (std::size_t k = 0; k + 1 < pattern.size(); ++k) {
            if (pattern[k] == '%' && std::string_view("dfsr").find(pattern[k + 1]) != std::string_view::npos) ++conversions;
        }
        // Each conversion needs a target of its kind; patterns that the targets cannot serve are skipped.
        if (conversions <= 1 && (conversions == 0 || pattern.find("%d") != std::string_view::npos)) {
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
