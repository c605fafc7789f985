#pragma once
// Enumeration tables (value, name pairs) and the serializers that let Int properties be written
// as named constants.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "lumora/settings/property.hpp"

namespace lumora {

struct EnumEntry {
    std::int64_t value;
    std::string name;
};
using EnumTable = std::vector<EnumEntry>;

namespace Detail {
// The name of value, or "[ERROR]" when the table has no such value.
std::string valueToString(const EnumTable& table, std::int64_t value);
// The value named exactly (case-sensitive) by name, or -1 when no entry has that name.
std::int64_t stringToValue(const EnumTable& table, const std::string& name);
// All names, in table order.
std::vector<std::string> getEnumStringValueSet(const EnumTable& table);
}  // namespace Detail

namespace Abstract {
class EnumSerializer {
public:
    virtual ~EnumSerializer() = default;
    // Name of an Int value; empty when the table has no such value. Non-Int: type exception.
    virtual std::string toString(const Property& value) const = 0;
    // Int of a leading integer (no table check), else Int of the trimmed name, else an empty
    // property. A constant whose value is -1 cannot be found by name.
    virtual Property fromString(const std::string& text) const = 0;
    virtual std::vector<std::string> names() const = 0;
    // Smallest and largest value of the table.
    virtual std::int64_t minValue() const = 0;
    virtual std::int64_t maxValue() const = 0;
};
}  // namespace Abstract

// The table of enumeration E; specialised in enums.hpp for every enumeration of the settings.
template <class E>
const EnumTable& enumTable();

// One instance per enumeration, shared by the descriptors that use it.
template <class E>
class EnumSerializer final : public Abstract::EnumSerializer {
public:
    std::string toString(const Property& value) const override;
    Property fromString(const std::string& text) const override;
    std::vector<std::string> names() const override { return Detail::getEnumStringValueSet(enumTable<E>()); }
    std::int64_t minValue() const override;
    std::int64_t maxValue() const override;

    static std::shared_ptr<const Abstract::EnumSerializer> instance() {
        static const auto shared = std::make_shared<const EnumSerializer<E>>();
        return shared;
    }
};

// The table-independent work of EnumSerializer<E>.
namespace Detail {
std::string enumToString(const EnumTable& table, const Property& value);
Property enumFromString(const EnumTable& table, const std::string& text);
std::int64_t enumMin(const EnumTable& table);
std::int64_t enumMax(const EnumTable& table);
}  // namespace Detail

template <class E>
std::string EnumSerializer<E>::toString(const Property& value) const {
    return Detail::enumToString(enumTable<E>(), value);
}
template <class E>
Property EnumSerializer<E>::fromString(const std::string& text) const {
    return Detail::enumFromString(enumTable<E>(), text);
}
template <class E>
std::int64_t EnumSerializer<E>::minValue() const {
    return Detail::enumMin(enumTable<E>());
}
template <class E>
std::int64_t EnumSerializer<E>::maxValue() const {
    return Detail::enumMax(enumTable<E>());
}

}  // namespace lumora
