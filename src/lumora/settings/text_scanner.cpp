#include "lumora/settings/text_scanner.hpp"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <system_error>

#include "lumora/foundation/exception.hpp"

namespace lumora::scan {

namespace {

constexpr const char* kNoNumber = "String does not contain any number";
constexpr const char* kTooBig = "Parsed number too big for given variable type";
constexpr const char* kInvalidEnd = "Invalid end of the primitive";
constexpr const char* kNoIntegerPart = "No valid integer part";
constexpr const char* kInvalidFractionEnd = "Invalid end of the fractional part";
constexpr const char* kEmptyString = "Parsing empty string";
constexpr const char* kMissingEndQuotes = "String is missing ending quotes";
constexpr const char* kInvalidColor = "Invalid color input";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Characters that may follow a number with a fractional part.
bool canEndNumber(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

std::size_t skipSpaces(std::string_view text, std::size_t i = 0) {
    while (i < text.size() && text[i] == ' ') ++i;
    return i;
}

std::size_t skipDigits(std::string_view text, std::size_t i) {
    while (i < text.size() && isDigit(text[i])) ++i;
    return i;
}

template <class T>
ParseResult<T> fail(const char* message) {
    return std::unexpected(std::string(message));
}

// Decimal position of the leading significant digit (1 for 1..9, 0 for 0.1..0.9, ...), used only to
// tell an overflow from an underflow when the value does not fit a float.
long long leadingDigitPosition(std::string_view intDigits, std::string_view fracDigits, std::string_view exponent) {
    long long position = 0;
    const auto firstInt = intDigits.find_first_not_of('0');
    if (firstInt != std::string_view::npos) {
        position = static_cast<long long>(intDigits.size() - firstInt);
    } else {
        const auto firstFrac = fracDigits.find_first_not_of('0');
        if (firstFrac == std::string_view::npos) return LLONG_MIN;  // zero
        position = -static_cast<long long>(firstFrac);
    }
    long long exp = 0;
    bool negative = false;
    std::size_t i = 0;
    if (i < exponent.size() && (exponent[i] == '-' || exponent[i] == '+')) negative = exponent[i++] == '-';
    for (; i < exponent.size(); ++i) exp = std::min(exp * 10 + (exponent[i] - '0'), 1'000'000'000LL);
    return position + (negative ? -exp : exp);
}

}  // namespace

ParseResult<int> parseInt(std::string_view text) {
    if (text.empty()) return fail<int>(kNoNumber);
    std::size_t i = skipSpaces(text);
    if (i == text.size()) return fail<int>(kNoNumber);
    bool negative = false;
    if (text[i] == '-' || text[i] == '+') negative = text[i++] == '-';
    if (i == text.size() || !isDigit(text[i])) return fail<int>(kInvalidEnd);
    // The magnitude must fit a positive 32-bit integer, so -2147483648 is rejected as well.
    std::int64_t value = 0;
    for (; i < text.size() && isDigit(text[i]); ++i) {
        value = value * 10 + (text[i] - '0');
        if (value > INT_MAX) return fail<int>(kTooBig);
    }
    const int magnitude = static_cast<int>(value);
    return Parsed<int>{negative ? -magnitude : magnitude, text.substr(i)};
}

ParseResult<float> parseFloat(std::string_view text) {
    if (text.empty()) return fail<float>(kNoNumber);
    std::size_t i = skipSpaces(text);
    if (i == text.size()) return fail<float>(kNoNumber);
    const bool negative = text[i] == '-';
    if (text[i] == '-' || text[i] == '+') ++i;
    const std::size_t numberBegin = i;

    const std::size_t intEnd = skipDigits(text, i);
    const std::string_view intDigits = text.substr(i, intEnd - i);
    i = intEnd;
    std::string_view fracDigits;
    bool hasFraction = false;
    if (i < text.size() && text[i] == '.') {
        const std::size_t fracEnd = skipDigits(text, i + 1);
        fracDigits = text.substr(i + 1, fracEnd - i - 1);
        if (intDigits.empty() && fracDigits.empty()) return fail<float>(kNoIntegerPart);
        hasFraction = true;
        i = fracEnd;
    } else if (intDigits.empty()) {
        return fail<float>(kNoIntegerPart);
    }

    std::string_view exponent;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        std::size_t e = i + 1;
        if (e < text.size() && (text[e] == '-' || text[e] == '+')) ++e;
        const std::size_t expEnd = skipDigits(text, e);
        if (expEnd == e) return fail<float>(kInvalidEnd);
        exponent = text.substr(i + 1, expEnd - i - 1);
        i = expEnd;
    }
    if (hasFraction && i < text.size() && !canEndNumber(text[i])) return fail<float>(kInvalidFractionEnd);

    // from_chars is locale-independent and rounds correctly; the grammar was checked above.
    float value = 0.f;
    const char* first = text.data() + numberBegin;
    const char* last = text.data() + i;
    const auto [end, ec] = std::from_chars(first, last, value, std::chars_format::general);
    if (ec == std::errc::result_out_of_range) {
        if (leadingDigitPosition(intDigits, fracDigits, exponent) > 0) return fail<float>(kTooBig);
        value = 0.f;  // underflow
    } else if (ec != std::errc() || end != last) {
        return fail<float>(kInvalidEnd);
    }
    if (std::isinf(value)) return fail<float>(kTooBig);
    return Parsed<float>{negative ? -value : value, text.substr(i)};
}

ParseResult<std::string> parseString(std::string_view text) {
    const std::size_t i = skipSpaces(text);
    if (i == text.size()) return fail<std::string>(kEmptyString);
    if (text[i] == '"') {
        const std::size_t close = text.find('"', i + 1);
        if (close == std::string_view::npos) return fail<std::string>(kMissingEndQuotes);
        return Parsed<std::string>{std::string(text.substr(i + 1, close - i - 1)), text.substr(close + 1)};
    }
    std::size_t end = text.find(' ', i);
    if (end == std::string_view::npos) end = text.size();
    return Parsed<std::string>{std::string(text.substr(i, end - i)), text.substr(end)};
}

ParseResult<Vec3> parseColor(std::string_view text) {
    float components[3];
    std::string_view rest = text;
    for (int c = 0; c < 3; ++c) {
        if (c > 0 && (rest.empty() || rest.front() != ' ')) return fail<Vec3>(kInvalidColor);
        const auto parsed = parseFloat(rest);
        if (!parsed) return fail<Vec3>(kInvalidColor);
        components[c] = parsed->value;
        rest = parsed->rest;
    }
    return Parsed<Vec3>{Vec3{components[0], components[1], components[2]}, rest};
}

namespace {

// Runs one conversion into the target of type T*; a target of another type is a caller defect.
template <class T, class Parser>
bool convert(std::string_view& rest, const Target& target, Parser parse, std::string* error) {
    T* const* out = std::get_if<T*>(&target);
    LUMORA_ASSERT(out != nullptr && *out != nullptr);
    auto parsed = parse(rest);
    if (!parsed) {
        if (error) *error = std::move(parsed.error());
        return false;
    }
    **out = std::move(parsed->value);
    rest = parsed->rest;
    return true;
}

}  // namespace

MatchResult match(std::string_view text, std::string_view pattern, std::span<const Target> targets,
                  std::string* error) {
    std::string_view rest = text;
    std::size_t nextTarget = 0;
    for (std::size_t p = 0; p < pattern.size(); ++p) {
        char literal = pattern[p];
        if (literal == '%') {
            LUMORA_ASSERT(p + 1 < pattern.size());
            const char conversion = pattern[++p];
            if (conversion != '%') {
                LUMORA_ASSERT(nextTarget < targets.size());
                const Target& target = targets[nextTarget++];
                bool ok = false;
                switch (conversion) {
                    case 'd': ok = convert<int>(rest, target, parseInt, error); break;
                    case 'f': ok = convert<float>(rest, target, parseFloat, error); break;
                    case 's': ok = convert<std::string>(rest, target, parseString, error); break;
                    case 'r': ok = convert<Vec3>(rest, target, parseColor, error); break;
                    default: LUMORA_STOP();
                }
                if (!ok) return MatchResult::ConversionFailed;
                continue;
            }
            // "%%" stands for a literal percent sign.
        }
        if (rest.empty()) return MatchResult::TextEnded;
        if (rest.front() != literal) return MatchResult::Mismatch;
        rest.remove_prefix(1);
    }
    return MatchResult::Match;
}

}  // namespace lumora::scan

namespace lumora::Str {

namespace {

constexpr const char* kIncorrectlyEscaped = "Incorrectly escaped string";
constexpr const char* kMissingOpeningQuote = "Expected a string in double quotes";
constexpr const char* kTrailingText = "Unexpected text after the closing quote";
constexpr const char* kMissingComma = "Expected ',' between strings";

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

std::size_t skipBlanks(std::string_view text, std::size_t i) {
    while (i < text.size() && isBlank(text[i])) ++i;
    return i;
}

// Reads one quoted item starting at pos (after optional blanks) and leaves pos after its closing quote.
std::expected<std::string, std::string> readQuoted(std::string_view text, std::size_t& pos) {
    pos = skipBlanks(text, pos);
    if (pos == text.size() || text[pos] != '"') return std::unexpected(std::string(kMissingOpeningQuote));
    std::string value;
    for (std::size_t i = pos + 1; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') {
            pos = i + 1;
            return value;
        }
        if (c == '\\') {
            if (++i == text.size()) break;
            value += text[i];
        } else {
            value += c;
        }
    }
    return std::unexpected(std::string(kIncorrectlyEscaped));
}

}  // namespace

std::string getExportString(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    out += '"';
    return out;
}

std::string getExportStringArray(std::span<const std::string> items) {
    std::string out;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) out += ", ";
        out += getExportString(items[i]);
    }
    return out;
}

std::expected<std::string, std::string> parseExportString(std::string_view text) {
    std::size_t pos = 0;
    auto value = readQuoted(text, pos);
    if (value && skipBlanks(text, pos) != text.size()) return std::unexpected(std::string(kTrailingText));
    return value;
}

std::expected<std::vector<std::string>, std::string> parseExportStringArray(std::string_view text) {
    std::vector<std::string> items;
    std::size_t pos = skipBlanks(text, 0);
    if (pos == text.size()) return items;
    while (true) {
        auto item = readQuoted(text, pos);
        if (!item) return std::unexpected(std::move(item.error()));
        items.push_back(std::move(*item));
        pos = skipBlanks(text, pos);
        if (pos == text.size()) return items;
        if (text[pos] != ',') return std::unexpected(std::string(kMissingComma));
        ++pos;
    }
}

}  // namespace lumora::Str
