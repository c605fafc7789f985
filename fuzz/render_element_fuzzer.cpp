// The render element records of "lumora.elements": a record either reads into an element whose
// written form reads back the same, or gives the record's error text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "lumora/foundation/exception.hpp"
#include "lumora/image/render_element_info.hpp"
#include "lumora/settings/text_scanner.hpp"

using namespace lumora;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto check = [](const std::string& record) {
        const auto info = deserializeListItem(record);
        if (!info) return;
        const std::string written = serialize(*info);
        const auto again = deserializeListItem(written);
        if (!again || serialize(*again) != written) std::abort();
    };
    check(text);
    try {
        (void)deserialize(text);
    } catch (const Exception&) {
    }
    if (const auto records = Str::parseExportStringArray(text)) {
        for (const std::string& record : *records) check(record);
    }
    return 0;
}
