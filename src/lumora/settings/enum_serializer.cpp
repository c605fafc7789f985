#include "lumora/settings/enum_serializer.hpp"

#include <algorithm>
#include <locale>
#include <optional>
#include <sstream>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/text.hpp"

namespace lumora {

namespace {

constexpr const char* notFoundName = "[ERROR]";

// A leading integer read the way a numeric stream extraction reads it: leading blanks skipped,
// optional sign, decimal digits, the rest ignored. A value outside the int range is a failed
// read, like the stream's failbit.
std::optional<int> readLeadingInt(const std::string& text) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    int value = 0;
    if (in >> value) {
        return value;
    }
    return std::nullopt;
}

}  // namespace

namespace Detail {

std::string valueToString(const EnumTable& table, std::int64_t value) {
    const auto it = std::ranges::find(table, value, &EnumEntry::value);
    return it == table.end() ? std::string(notFoundName) : it->name;
}

std::int64_t stringToValue(const EnumTable& table, const std::string& name) {
    const auto it = std::ranges::find(table, name, &EnumEntry::name);
    return it == table.end() ? -1 : it->value;
}

std::vector<std::string> getEnumStringValueSet(const EnumTable& table) {
    std::vector<std::string> names;
    names.reserve(table.size());
    for (const auto& entry : table) {
        names.push_back(entry.name);
    }
    return names;
}

std::string enumToString(const EnumTable& table, const Property& value) {
    value.throwIfTypeNot(PropertyType::Int);
    std::string name = valueToString(table, value.asInt());
    if (name == notFoundName) {
        return {};
    }
    return name;
}

Property enumFromString(const EnumTable& table, const std::string& text) {
    // Numbers are taken as they are: validation against the limits happens when the value is set.
    if (const auto number = readLeadingInt(text)) {
        return Property(*number);
    }
    const std::int64_t value = stringToValue(table, text::trim(text));
    // -1 is the lookup's "not found", so a constant whose value is -1 is reachable only by number.
    if (value == -1) {
        return {};
    }
    return Property(static_cast<int>(value));
}

std::int64_t enumMin(const EnumTable& table) {
    LUMORA_ASSERT(!table.empty());
    return std::ranges::min(table, {}, &EnumEntry::value).value;
}

std::int64_t enumMax(const EnumTable& table) {
    LUMORA_ASSERT(!table.empty());
    return std::ranges::max(table, {}, &EnumEntry::value).value;
}

}  // namespace Detail

}  // namespace lumora
