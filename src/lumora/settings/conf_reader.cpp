#include "lumora/settings/conf_reader.hpp"

#include <array>
#include <charconv>
#include <limits>
#include <locale>
#include <map>
#include <span>
#include <sstream>
#include <system_error>
#include <vector>

#include "lumora/foundation/text.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora::Conf {

namespace {

// Byte length of the white-space code point that starts at text[i], or 0 when there is none.
std::size_t spaceLengthAt(std::string_view text, std::size_t i) {
    const auto b0 = static_cast<unsigned char>(text[i]);
    if (b0 < 0x80) {
        return text::isSpace(b0) ? 1 : 0;
    }
    std::size_t length = 0;
    char32_t c = 0;
    if ((b0 & 0xE0) == 0xC0) {
        length = 2, c = b0 & 0x1F;
    } else if ((b0 & 0xF0) == 0xE0) {
        length = 3, c = b0 & 0x0F;
    } else if ((b0 & 0xF8) == 0xF0) {
        length = 4, c = b0 & 0x07;
    } else {
        return 0;
    }
    if (i + length > text.size()) {
        return 0;
    }
    for (std::size_t k = 1; k < length; ++k) {
        const auto b = static_cast<unsigned char>(text[i + k]);
        if ((b & 0xC0) != 0x80) {
            return 0;
        }
        c = (c << 6) | (b & 0x3F);
    }
    return text::isSpace(c) ? length : 0;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

enum class ReadStatus {
    Ok,
    Failed,     // a character that cannot start or complete the value
    LineEnded,  // the line ended before the value began
};

class Cursor {
public:
    explicit Cursor(std::string_view text) : text_(text) {}

    bool atEnd() const { return pos_ >= text_.size(); }
    char peek() const { return text_[pos_]; }
    void advance(std::size_t n = 1) { pos_ += n; }
    std::size_t position() const { return pos_; }
    std::string_view rest() const { return text_.substr(pos_); }

    void skipSpace() {
        while (!atEnd()) {
            const std::size_t length = spaceLengthAt(text_, pos_);
            if (length == 0) {
                break;
            }
            pos_ += length;
        }
    }

    // The run of characters up to the next white space (or stop character), after skipping
    // leading white space.
    std::string_view readWord(char stop = '\0') {
        skipSpace();
        const std::size_t start = pos_;
        while (!atEnd() && spaceLengthAt(text_, pos_) == 0 && (stop == '\0' || peek() != stop)) {
            ++pos_;
        }
        return text_.substr(start, pos_ - start);
    }

    // Extent of a decimal integer at the cursor: optional sign, then digits.
    std::string_view scanInteger() {
        const std::size_t start = pos_;
        if (!atEnd() && (peek() == '-' || peek() == '+')) {
            ++pos_;
        }
        while (!atEnd() && isDigit(peek())) {
            ++pos_;
        }
        return text_.substr(start, pos_ - start);
    }

    // Extent of a float as an input stream collects it: optional sign, digits with at most one
    // decimal point, then an exponent mark (only after a digit) with an optional sign and digits.
    std::string_view scanFloat() {
        const std::size_t start = pos_;
        if (!atEnd() && (peek() == '-' || peek() == '+')) {
            ++pos_;
        }
        bool mantissa = false, point = false, exponent = false;
        while (!atEnd()) {
            const char c = peek();
            if (isDigit(c)) {
                mantissa = true;
            } else if (c == '.' && !point && !exponent) {
                point = true;
            } else if ((c == 'e' || c == 'E') && !exponent && mantissa) {
                exponent = true;
                if (pos_ + 1 < text_.size() && (text_[pos_ + 1] == '-' || text_[pos_ + 1] == '+')) {
                    ++pos_;
                }
            } else {
                break;
            }
            ++pos_;
        }
        return text_.substr(start, pos_ - start);
    }

private:
    std::string_view text_;
    std::size_t pos_ = 0;
};

// The whole token must be a number of the type; an out-of-range integer is a failure.
bool convertInteger(std::string_view token, long long& value) {
    if (!token.empty() && token.front() == '+') {
        token.remove_prefix(1);
        if (!token.empty() && token.front() == '-') {
            return false;
        }
    }
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    return error == std::errc() && end == token.data() + token.size() && !token.empty();
}

// As a stream converts: an overflow fails, an underflow gives zero or a denormal.
bool convertFloat(std::string_view token, float& value) {
    if (!token.empty() && token.front() == '+') {
        token.remove_prefix(1);
        if (!token.empty() && token.front() == '-') {
            return false;
        }
    }
    if (token.empty()) {
        return false;
    }
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    if (end != token.data() + token.size()) {
        return false;
    }
    if (error == std::errc()) {
        return true;
    }
    if (error != std::errc::result_out_of_range) {
        return false;
    }
    // Rare: let a classic-locale stream tell an overflow from an underflow.
    std::istringstream stream{std::string(token)};
    stream.imbue(std::locale::classic());
    float parsed = 0.f;
    stream >> parsed;
    if (stream.fail()) {
        return false;
    }
    value = parsed;
    return true;
}

ReadStatus readInteger(Cursor& cursor, long long& value) {
    cursor.skipSpace();
    if (cursor.atEnd()) {
        return ReadStatus::LineEnded;
    }
    return convertInteger(cursor.scanInteger(), value) ? ReadStatus::Ok : ReadStatus::Failed;
}

ReadStatus readInt(Cursor& cursor, int& value) {
    long long wide = 0;
    const ReadStatus status = readInteger(cursor, wide);
    if (status != ReadStatus::Ok) {
        return status;
    }
    if (wide < std::numeric_limits<int>::min() || wide > std::numeric_limits<int>::max()) {
        return ReadStatus::Failed;
    }
    value = static_cast<int>(wide);
    return ReadStatus::Ok;
}

// The integers 0 and 1; the words "true" and "false" are accepted as well, because that is how
// arrays of booleans are written.
ReadStatus readArrayBool(Cursor& cursor, bool& value) {
    cursor.skipSpace();
    for (const bool word : {true, false}) {
        const std::string_view text = word ? "true" : "false";
        if (cursor.rest().starts_with(text)) {
            cursor.advance(text.size());
            value = word;
            return ReadStatus::Ok;
        }
    }
    long long wide = 0;
    const ReadStatus status = readInteger(cursor, wide);
    if (status != ReadStatus::Ok) {
        return status;
    }
    if (wide != 0 && wide != 1) {
        return ReadStatus::Failed;
    }
    value = wide == 1;
    return ReadStatus::Ok;
}

ReadStatus readFloat(Cursor& cursor, float& value) {
    cursor.skipSpace();
    if (cursor.atEnd()) {
        return ReadStatus::LineEnded;
    }
    return convertFloat(cursor.scanFloat(), value) ? ReadStatus::Ok : ReadStatus::Failed;
}

// A vector cut short by the end of the line is malformed, not the end of an array: dropping the
// partial element would lose a value without a word.
ReadStatus readFloats(Cursor& cursor, std::span<float> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        const ReadStatus status = readFloat(cursor, values[i]);
        if (status == ReadStatus::LineEnded && i > 0) {
            return ReadStatus::Failed;
        }
        if (status != ReadStatus::Ok) {
            return status;
        }
    }
    return ReadStatus::Ok;
}

ReadStatus readVec3(Cursor& cursor, Vec3& value) {
    std::array<float, 3> xyz{};
    const ReadStatus status = readFloats(cursor, xyz);
    value = {xyz[0], xyz[1], xyz[2]};
    return status;
}

ReadStatus readVec2(Cursor& cursor, Vector2& value) {
    std::array<float, 2> xy{};
    const ReadStatus status = readFloats(cursor, xy);
    value = {xy[0], xy[1]};
    return status;
}

// A double-quoted string in which a backslash makes the next character literal, or a single word.
ReadStatus readString(Cursor& cursor, std::string& value) {
    cursor.skipSpace();
    if (cursor.atEnd()) {
        return ReadStatus::LineEnded;
    }
    if (cursor.peek() != '"') {
        value = std::string(cursor.readWord());
        return ReadStatus::Ok;
    }
    cursor.advance();
    value.clear();
    while (!cursor.atEnd()) {
        char c = cursor.peek();
        cursor.advance();
        if (c == '"') {
            return ReadStatus::Ok;
        }
        if (c == '\\') {
            if (cursor.atEnd()) {
                break;
            }
            c = cursor.peek();
            cursor.advance();
        }
        value += c;
    }
    throw LineError("Incorrectly escaped string");
}

// Elements separated by ","; the array ends where the line ends, so an empty value is an empty
// array and a trailing "," is accepted.
template <class T, class ReadElement>
std::vector<T> readArray(Cursor& cursor, ReadElement readElement) {
    std::vector<T> values;
    for (;;) {
        T element{};
        const ReadStatus status = readElement(cursor, element);
        if (status == ReadStatus::LineEnded) {
            break;
        }
        if (status == ReadStatus::Failed) {
            throw LineError("invalid array value declaration");
        }
        values.push_back(std::move(element));
        cursor.skipSpace();
        if (cursor.atEnd()) {
            break;
        }
        if (cursor.peek() != ',') {
            throw LineError("invalid array value declaration");
        }
        cursor.advance();
    }
    return values;
}

template <class T, class ReadValue>
T readScalar(Cursor& cursor, ReadValue readValue) {
    T value{};
    if (readValue(cursor, value) != ReadStatus::Ok) {
        throw LineError("invalid value declaration");
    }
    return value;
}

// Type words in the order they are tried, compared after lower-casing.
constexpr std::array<std::pair<std::string_view, PropertyType>, 11> typeWords{{
    {"int", PropertyType::Int},
    {"float", PropertyType::Float},
    {"bool", PropertyType::Bool},
    {"vec3", PropertyType::Vec3},
    {"string", PropertyType::String},
    {"vec3array", PropertyType::Vec3Array},
    {"vec2array", PropertyType::Vec2Array},
    {"floatarray", PropertyType::FloatArray},
    {"intarray", PropertyType::IntArray},
    {"boolarray", PropertyType::BoolArray},
    {"stringarray", PropertyType::StringArray},
}};

Property readValue(PropertyType type, Cursor& cursor) {
    switch (type) {
        case PropertyType::Int: return readScalar<int>(cursor, readInt);
        case PropertyType::Float: return readScalar<float>(cursor, readFloat);
        case PropertyType::Vec3: return readScalar<Vec3>(cursor, readVec3);
        case PropertyType::Bool: {
            const std::string_view word = cursor.readWord();
            if (word.empty()) {
                throw LineError("incomplete line");
            }
            if (word != "true" && word != "false") {
                throw LineError("boolean needs to be 'true' or 'false'");
            }
            return Property(word == "true");
        }
        case PropertyType::String: {
            std::string value;
            if (readString(cursor, value) == ReadStatus::LineEnded) {
                throw LineError("incomplete line");
            }
            return Property(std::move(value));
        }
        case PropertyType::IntArray: return Property::intArray(readArray<int>(cursor, readInt));
        case PropertyType::FloatArray: return Property::floatArray(readArray<float>(cursor, readFloat));
        case PropertyType::BoolArray: return Property::boolArray(readArray<bool>(cursor, readArrayBool));
        case PropertyType::Vec2Array: return Property::vec2Array(readArray<Vector2>(cursor, readVec2));
        case PropertyType::Vec3Array: return Property::vec3Array(readArray<Vec3>(cursor, readVec3));
        case PropertyType::StringArray:
            return Property::stringArray(readArray<std::string>(cursor, readString));
        case PropertyType::Empty: break;
    }
    throw LineError("invalid value declaration");
}

// The registry never changes once it is in use, so the name index is built once.
const PropertyDescriptor* findDescriptor(std::string_view name) {
    static const std::map<std::string, const PropertyDescriptor*, std::less<>> byName = [] {
        std::map<std::string, const PropertyDescriptor*, std::less<>> index;
        PropertyDescriptor::enumerate([&index](const PropertyDescriptor& d) { index.emplace(d.name, &d); });
        return index;
    }();
    const auto it = byName.find(name);
    return it == byName.end() ? nullptr : it->second;
}

}  // namespace

std::optional<ParsedLine> readLine(std::string_view line) {
    const std::string trimmed = text::trim(line);
    if (trimmed.empty() || trimmed.front() == '#') {
        return std::nullopt;
    }
    Cursor cursor(trimmed);
    const std::string_view typeWord = cursor.readWord();
    // The name also ends at "=", so the spaces around it are optional.
    const std::string_view name = cursor.readWord('=');
    cursor.skipSpace();
    if (cursor.atEnd() || cursor.peek() != '=') {
        throw LineError("Missing '='");
    }
    cursor.advance();

    const PropertyDescriptor* descriptor = findDescriptor(name);
    if (!descriptor) {
        throw LineError("Unknown property");
    }
    if (descriptor->enumSerializer) {
        // The type word is irrelevant here: the constant's name or number decides.
        Property value = descriptor->enumSerializer->fromString(std::string(cursor.rest()));
        if (value.isEmpty()) {
            throw LineError("Unknown type:");
        }
        return ParsedLine{descriptor->id, std::move(value)};
    }

    const std::string lowered = text::toLower(typeWord);
    for (const auto& [word, type] : typeWords) {
        if (lowered == word) {
            return ParsedLine{descriptor->id, readValue(type, cursor)};
        }
    }
    throw LineError("Unknown type:" + std::string(typeWord));
}

}  // namespace lumora::Conf
