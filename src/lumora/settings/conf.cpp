#include "lumora/settings/conf.hpp"

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/settings/conf_reader.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora::Conf {

namespace {

constexpr std::string_view streamSourceName = "Io::TextInputStream";
constexpr std::string_view lineSourceName = "Conf::parseLine";

constexpr std::string_view defaultFileHeader =
    "#####################################################\n"
    "# Default Lumora auto-generated initial config file #\n"
    "#                                                   #\n"
    "# format:                                           #\n"
    "# type name   =   value                             #\n"
    "#####################################################\n";

constexpr std::string_view utf8Bom = "\xEF\xBB\xBF";

// Reads one line and hands its value to the settings unless the filter rejects it; every failure
// becomes the message that names the source and the line.
bool processLine(std::string_view line, std::string_view source, int lineNumber, Abstract::Settings& settings,
                 const Filter& filter) {
    std::optional<ParsedLine> parsed;
    try {
        parsed = readLine(line);
    } catch (const LineError& error) {
        throw Exception("Error in.conf file '" + std::string(source) + "' (line " + std::to_string(lineNumber) +
                        ") : " + error.what() + ".\n Whole line : " + std::string(line));
    }
    if (!parsed) {
        return false;
    }
    if (!filter || filter(parsed->id)) {
        settings.set(parsed->id, parsed->value);
    }
    return true;
}

// Lines end at "\n"; a "\r" before it is dropped, and so is a UTF-8 byte-order mark.
void parseText(std::istream& stream, std::string_view source, Abstract::Settings& settings, const Filter& filter) {
    std::string line;
    int lineNumber = 0;
    while (std::getline(stream, line)) {
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (lineNumber == 1 && line.starts_with(utf8Bom)) {
            line.erase(0, utf8Bom.size());
        }
        processLine(line, source, lineNumber, settings, filter);
    }
}

// UTF-8 text of a file's bytes: UTF-16 with a byte-order mark is converted, a UTF-8 mark dropped.
std::string decodeFileText(std::string bytes) {
    const auto byteAt = [&bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() >= 2 && ((byteAt(0) == 0xFF && byteAt(1) == 0xFE) || (byteAt(0) == 0xFE && byteAt(1) == 0xFF))) {
        const bool littleEndian = byteAt(0) == 0xFF;
        std::u16string units;
        units.reserve(bytes.size() / 2);
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
            const unsigned low = littleEndian ? byteAt(i) : byteAt(i + 1);
            const unsigned high = littleEndian ? byteAt(i + 1) : byteAt(i);
            units.push_back(static_cast<char16_t>(high << 8 | low));
        }
        return text::fromUtf16(units);
    }
    if (bytes.starts_with(utf8Bom)) {
        bytes.erase(0, utf8Bom.size());
    }
    return bytes;
}

std::string readFileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Exception("Cannot open the configuration file '" + path.generic_string() + "'.");
    }
    std::string bytes;
    try {
        bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    } catch (const std::ios_base::failure&) {
        // The standard library throws where the system refuses to read, a folder for example.
        file.setstate(std::ios::badbit);
    }
    if (file.bad()) {
        throw Exception("Cannot read the configuration file '" + path.generic_string() + "'.");
    }
    return bytes;
}

std::string temporaryNameSuffix() {
    std::array<unsigned char, 6> random{};
    utils::secureRandom(random.data(), random.size());
    std::string suffix = ".";
    for (const unsigned char byte : random) {
        static constexpr char digits[] = "0123456789abcdef";
        suffix += digits[byte >> 4];
        suffix += digits[byte & 0xF];
    }
    return suffix + ".tmp";
}

// Writes to a temporary file beside the target and renames it into place, so a failure never
// leaves a partial file nor destroys the previous one.
void writeFileAtomically(const std::filesystem::path& path, std::string_view content) {
    const std::string failure = "Cannot write the configuration file '" + path.generic_string() + "'.";
    std::filesystem::path temporary = path;
    temporary += temporaryNameSuffix();
    {
        std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
        if (!file) {
            throw Exception(failure);
        }
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
        file.close();
        if (!file) {
            std::error_code ignored;
            std::filesystem::remove(temporary, ignored);
            throw Exception(failure);
        }
    }
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        throw Exception(failure);
    }
}

void appendLine(std::string& out, const PropertyDescriptor& descriptor, const Property& value) {
    out += value.getAlignedTypeStr();
    out += ' ';
    out += descriptor.name;
    out += "      = ";
    out += descriptor.enumSerializer ? descriptor.enumSerializer->toString(value) : toStr(value);
    out += '\n';
}

std::string savedText(const Abstract::Settings& settings, const Filter& filter) {
    std::string out;
    PropertyDescriptor::enumerate([&](const PropertyDescriptor& descriptor) {
        if (!filter || filter(descriptor.id)) {
            appendLine(out, descriptor, settings.get(descriptor.id));
        }
    });
    return out;
}

}  // namespace

bool parseLine(const std::string& line, Abstract::Settings& settings) {
    return processLine(line, lineSourceName, 1, settings, Filter());
}

void parse(std::istream& stream, Flags<ConfParserFlag> /*flags*/, Abstract::Settings& settings, Logger* /*logger*/,
           const Filter& filter) {
    parseText(stream, streamSourceName, settings, filter);
}

void parse(const std::filesystem::path& path, Flags<ConfParserFlag> flags, Abstract::Settings& settings,
           Logger* /*logger*/, const Filter& filter) {
    std::error_code existsError;
    if (flags.has(ConfParserFlag::CreateDefaultFile) && !std::filesystem::exists(path, existsError) && !existsError) {
        writeFileAtomically(path, std::string(defaultFileHeader) + savedText(settings, Filter()));
    }
    std::istringstream text(decodeFileText(readFileBytes(path)));
    parseText(text, path.generic_string(), settings, filter);
}

void save(const Abstract::Settings& settings, std::ostream& stream, const Filter& filter) {
    const std::string text = savedText(settings, filter);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!stream) {
        throw Exception("Cannot write the configuration text.");
    }
}

void save(const Abstract::Settings& settings, const std::filesystem::path& path, const Filter& filter) {
    writeFileAtomically(path, savedText(settings, filter));
}

std::filesystem::path getDefaultFileName() {
    return "Config-" + std::to_string(PropertyDescriptor::descriptorsHash()) + ".conf";
}

}  // namespace lumora::Conf
