#include "lumora/settings/property.hpp"

#include <algorithm>
#include <locale>
#include <sstream>

#include "lumora/foundation/exception.hpp"
#include "lumora/settings/enum_serializer.hpp"
#include "lumora/settings/text_scanner.hpp"

namespace lumora {

namespace {

// Payload tags: the variant's alternative indices.
enum Tag : std::size_t {
    TagInt = 0,
    TagFloat,
    TagBool,
    TagString,
    TagVec3,
    TagIntArray,
    TagFloatArray,
    TagBoolArray,
    TagVec3Array,
    TagVec2Array,
    TagStringArray,
    TagEmpty,
};

const EnumTable& typeNameTable() {
    static const EnumTable table = {
        {107, "Int"},        {207, "Float"},     {307, "Bool"},       {407, "Vec3"},
        {507, "String"},     {907, "IntArray"},  {707, "FloatArray"}, {1007, "BoolArray"},
        {807, "Vec2Array"},  {607, "Vec3Array"}, {1107, "StringArray"},
    };
    return table;
}

constexpr const char* kUnnamed = "[ERROR]";

// The float rule of equality: a NaN equals every value.
bool floatEquals(float a, float b) { return !(a < b) && !(a > b); }

template <class T, class Equal>
bool spansEqual(std::span<const T> a, std::span<const T> b, Equal equal) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), equal);
}

template <class T, class Format>
std::string joinElements(std::span<const T> items, Format format) {
    std::string out;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) out += ", ";
        out += format(items[i]);
    }
    return out;
}

std::string vec3ToStr(const Vec3& v) { return floatToStr(v.x) + ' ' + floatToStr(v.y) + ' ' + floatToStr(v.z); }

std::string vec2ToStr(const Vector2& v) { return floatToStr(v.x) + ' ' + floatToStr(v.y); }

const char* boolToStr(bool value) { return value ? "true" : "false"; }

}  // namespace

std::string propertyTypeName(PropertyType type) { return propertyTypeName(static_cast<std::int32_t>(type)); }

std::string propertyTypeName(std::int32_t code) { return Detail::valueToString(typeNameTable(), code); }

Property::BoolBuffer::BoolBuffer(std::span<const bool> values) : size_(values.size()) {
    if (!values.empty()) {
        data_ = std::make_unique<bool[]>(values.size());
        std::copy(values.begin(), values.end(), data_.get());
    }
}

Property::BoolBuffer& Property::BoolBuffer::operator=(const BoolBuffer& other) {
    if (this != &other) *this = BoolBuffer(other.view());
    return *this;
}

Property::Property() : payload_(std::in_place_index<TagEmpty>), type_(PropertyType::Empty) {}
Property::Property(bool value) : payload_(std::in_place_index<TagBool>, value), type_(PropertyType::Bool) {}
Property::Property(int value) : payload_(std::in_place_index<TagInt>, value), type_(PropertyType::Int) {}
Property::Property(float value) : payload_(std::in_place_index<TagFloat>, value), type_(PropertyType::Float) {}
Property::Property(const char* value)
    : payload_(std::in_place_index<TagString>, value), type_(PropertyType::String) {}
Property::Property(std::string value)
    : payload_(std::in_place_index<TagString>, std::move(value)), type_(PropertyType::String) {}
Property::Property(const Vec3& value) : payload_(std::in_place_index<TagVec3>, value), type_(PropertyType::Vec3) {}
Property::Property(std::span<const bool> values)
    : payload_(std::in_place_index<TagBoolArray>, values), type_(PropertyType::BoolArray) {}
Property::Property(std::span<const int> values)
    : payload_(std::in_place_index<TagIntArray>, values.begin(), values.end()), type_(PropertyType::IntArray) {}
Property::Property(std::span<const float> values)
    : payload_(std::in_place_index<TagFloatArray>, values.begin(), values.end()), type_(PropertyType::FloatArray) {}
Property::Property(std::span<const Vec3> values)
    : payload_(std::in_place_index<TagVec3Array>, values.begin(), values.end()), type_(PropertyType::Vec3Array) {}
Property::Property(std::span<const Vector2> values)
    : payload_(std::in_place_index<TagVec2Array>, values.begin(), values.end()), type_(PropertyType::Vec2Array) {}
Property::Property(std::span<const std::string> values)
    : payload_(std::in_place_index<TagStringArray>, values.begin(), values.end()),
      type_(PropertyType::StringArray) {}

Property Property::boolArray(const std::vector<bool>& values) {
    const auto bytes = std::make_unique<bool[]>(values.size());
    std::copy(values.begin(), values.end(), bytes.get());
    return Property(std::span<const bool>(bytes.get(), values.size()));
}

void Property::throwIfTypeNot(PropertyType expected) const {
    if (type_ == expected) return;
    throw Exception("Property Invalid property type is " + propertyTypeName(type_) + ", not " +
                    propertyTypeName(expected));
}

int Property::asInt() const {
    throwIfTypeNot(PropertyType::Int);
    return std::get<TagInt>(payload_);
}

float Property::asFloat() const {
    throwIfTypeNot(PropertyType::Float);
    return std::get<TagFloat>(payload_);
}

bool Property::asBool() const {
    throwIfTypeNot(PropertyType::Bool);
    return std::get<TagBool>(payload_);
}

const std::string& Property::asString() const {
    throwIfTypeNot(PropertyType::String);
    return std::get<TagString>(payload_);
}

Vec3 Property::asVec3() const {
    throwIfTypeNot(PropertyType::Vec3);
    return std::get<TagVec3>(payload_);
}

std::span<const int> Property::asIntArray() const {
    throwIfTypeNot(PropertyType::IntArray);
    return std::get<TagIntArray>(payload_);
}

std::span<const float> Property::asFloatArray() const {
    throwIfTypeNot(PropertyType::FloatArray);
    return std::get<TagFloatArray>(payload_);
}

std::span<const bool> Property::asBoolArray() const {
    throwIfTypeNot(PropertyType::BoolArray);
    return std::get<TagBoolArray>(payload_).view();
}

std::span<const Vec3> Property::asVec3Array() const {
    throwIfTypeNot(PropertyType::Vec3Array);
    return std::get<TagVec3Array>(payload_);
}

std::span<const Vector2> Property::asVec2Array() const {
    throwIfTypeNot(PropertyType::Vec2Array);
    return std::get<TagVec2Array>(payload_);
}

std::span<const std::string> Property::asStringArray() const {
    throwIfTypeNot(PropertyType::StringArray);
    return std::get<TagStringArray>(payload_);
}

bool Property::operator==(const Property& other) const {
    // The accessors check both operands against this property's type, so a mixed-type comparison
    // throws instead of answering false.
    const auto vec3Equal = [](const Vec3& a, const Vec3& b) { return a == b; };
    switch (type_) {
        case PropertyType::Int: return asInt() == other.asInt();
        case PropertyType::Bool: return asBool() == other.asBool();
        case PropertyType::Float: return floatEquals(asFloat(), other.asFloat());
        case PropertyType::Vec3: return vec3Equal(asVec3(), other.asVec3());
        case PropertyType::String: return asString() == other.asString();
        case PropertyType::IntArray: return spansEqual(asIntArray(), other.asIntArray(), std::equal_to<int>());
        case PropertyType::BoolArray: return spansEqual(asBoolArray(), other.asBoolArray(), std::equal_to<bool>());
        case PropertyType::FloatArray: return spansEqual(asFloatArray(), other.asFloatArray(), floatEquals);
        case PropertyType::Vec2Array:
            return spansEqual(asVec2Array(), other.asVec2Array(), [](const Vector2& a, const Vector2& b) {
                return floatEquals(a.x, b.x) && floatEquals(a.y, b.y);
            });
        case PropertyType::Vec3Array: return spansEqual(asVec3Array(), other.asVec3Array(), vec3Equal);
        case PropertyType::StringArray:
            return spansEqual(asStringArray(), other.asStringArray(), std::equal_to<std::string>());
        case PropertyType::Empty: break;
    }
    LUMORA_STOP();
}

std::string Property::getAlignedTypeStr() const {
    static const std::size_t width = [] {
        std::size_t longest = 0;
        for (std::int32_t code = 107; code <= static_cast<std::int32_t>(PropertyType::StringArray); ++code) {
            longest = std::max(longest, propertyTypeName(code).size());
        }
        return longest;
    }();
    const std::string name = propertyTypeName(type_);
    LUMORA_ASSERT(name != kUnnamed);
    return std::string(width - std::min(width, name.size()), ' ') + name;
}

std::string floatToStr(float value) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

std::string toStr(const Property& value) {
    switch (value.type()) {
        case PropertyType::Int: return std::to_string(value.asInt());
        case PropertyType::Float: return floatToStr(value.asFloat());
        case PropertyType::Bool: return boolToStr(value.asBool());
        case PropertyType::Vec3: return vec3ToStr(value.asVec3());
        case PropertyType::String: return Str::getExportString(value.asString());
        case PropertyType::IntArray:
            return joinElements(value.asIntArray(), [](int v) { return std::to_string(v); });
        case PropertyType::FloatArray: return joinElements(value.asFloatArray(), floatToStr);
        case PropertyType::BoolArray:
            return joinElements(value.asBoolArray(), [](bool v) { return std::string(boolToStr(v)); });
        case PropertyType::Vec2Array: return joinElements(value.asVec2Array(), vec2ToStr);
        case PropertyType::Vec3Array: return joinElements(value.asVec3Array(), vec3ToStr);
        case PropertyType::StringArray: return Str::getExportStringArray(value.asStringArray());
        case PropertyType::Empty: break;
    }
    LUMORA_STOP();
}

}  // namespace lumora
