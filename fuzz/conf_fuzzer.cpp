// The --set line and configuration-file parser: any text either sets valid properties or fails
// with the program's Exception.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "lumora/foundation/exception.hpp"
#include "lumora/settings/conf.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool registered = (lumora::PropertyDescriptor::registerDescriptors(), true);
    (void)registered;
    const std::string text(reinterpret_cast<const char*>(data), size);
    lumora::Settings settings;
    try {
        std::istringstream stream(text);
        lumora::Conf::parse(stream, {}, settings, nullptr, {});
        settings.validate();
    } catch (const lumora::Exception&) {
    }
    lumora::Settings line;
    try {
        lumora::Conf::parseLine(text.substr(0, text.find('\n')), line);
    } catch (const lumora::Exception&) {
    }
    return 0;
}
