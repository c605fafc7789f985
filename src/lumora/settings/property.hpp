#pragma once
// A property value: one value of one of eleven property types, or nothing.
//
// Conventions: type codes and type names are part of the file formats and must not change.
// Every typed accessor first checks the type (throwIfTypeNot) and throws
// "Property Invalid property type is <actual>, not <expected>" on a mismatch. Strings are UTF-8.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace lumora {

enum class PropertyType : std::int32_t {
    Int = 107,
    Float = 207,
    Bool = 307,
    Vec3 = 407,
    String = 507,
    Vec3Array = 607,
    FloatArray = 707,
    Vec2Array = 807,
    IntArray = 907,
    BoolArray = 1007,
    StringArray = 1107,
    Empty = 666,  // holds no value and has no name
};

// The name of a type ("Int", "Float", ...), or the enumeration lookup's unknown-value marker
// "[ERROR]" for a code without a name (666 included).
std::string propertyTypeName(PropertyType type);
// Same lookup on a raw code, for codes that are not enumerators.
std::string propertyTypeName(std::int32_t code);

// Three floats (x, y, z or r, g, b); the settings-level type of directions, positions and colours.
struct alignas(16) Vec3 {
    float x = 0.f, y = 0.f, z = 0.f;
    bool operator==(const Vec3& o) const { return x == o.x && y == o.y && z == o.z; }
};

struct Vector2 {
    float x = 0.f, y = 0.f;
    bool operator==(const Vector2& o) const { return x == o.x && y == o.y; }
};

class Property {
public:
    Property();  // empty, type 666
    Property(bool value);
    Property(int value);
    Property(float value);
    Property(const char* value);
    Property(std::string value);
    Property(const Vec3& value);
    Property(std::span<const bool> values);
    Property(std::span<const int> values);
    Property(std::span<const float> values);
    Property(std::span<const Vec3> values);
    Property(std::span<const Vector2> values);
    Property(std::span<const std::string> values);
    // Vectors convert explicitly (std::vector<bool> has no contiguous storage).
    static Property boolArray(const std::vector<bool>& values);
    static Property intArray(const std::vector<int>& values) { return Property(std::span<const int>(values)); }
    static Property floatArray(const std::vector<float>& values) { return Property(std::span<const float>(values)); }
    static Property vec3Array(const std::vector<Vec3>& values) { return Property(std::span<const Vec3>(values)); }
    static Property vec2Array(const std::vector<Vector2>& values) { return Property(std::span<const Vector2>(values)); }
    static Property stringArray(const std::vector<std::string>& values) {
        return Property(std::span<const std::string>(values));
    }

    PropertyType type() const { return type_; }
    bool isEmpty() const { return type_ == PropertyType::Empty; }

    // Returns when type() == expected, else throws the type exception.
    void throwIfTypeNot(PropertyType expected) const;

    int asInt() const;
    float asFloat() const;
    bool asBool() const;
    const std::string& asString() const;
    Vec3 asVec3() const;
    std::span<const int> asIntArray() const;
    std::span<const float> asFloatArray() const;
    std::span<const bool> asBoolArray() const;
    std::span<const Vec3> asVec3Array() const;
    std::span<const Vector2> asVec2Array() const;
    std::span<const std::string> asStringArray() const;

    // Dispatches on this property's type; the other operand must have the same type or the type
    // exception is thrown. Floats compare equal unless one is less or greater than the other, so a
    // NaN equals every value (the settings container relies on this to skip redundant updates).
    bool operator==(const Property& other) const;

    // The type name right-aligned in a field as wide as the longest type name (11).
    std::string getAlignedTypeStr() const;

private:
    // Owned bool elements, one byte each (std::vector<bool> cannot give a view).
    class BoolBuffer {
    public:
        BoolBuffer() = default;
        explicit BoolBuffer(std::span<const bool> values);
        BoolBuffer(const BoolBuffer& other) : BoolBuffer(other.view()) {}
        BoolBuffer(BoolBuffer&&) noexcept = default;
        BoolBuffer& operator=(const BoolBuffer& other);
        BoolBuffer& operator=(BoolBuffer&&) noexcept = default;
        std::span<const bool> view() const { return {data_.get(), size_}; }

    private:
        std::unique_ptr<bool[]> data_;
        std::size_t size_ = 0;
    };

    // The alternatives' indices are the payload tags 0..11 that the type codes map to.
    using Payload = std::variant<int, float, bool, std::string, Vec3, std::vector<int>, std::vector<float>,
                                 BoolBuffer, std::vector<Vec3>, std::vector<Vector2>,
                                 std::vector<std::string>, std::monostate>;
    Payload payload_;
    PropertyType type_;
};

// Canonical text of a value: "2.2", "1 1 1", "true, false", "\"text\"" ... An empty property is
// an internal defect.
std::string toStr(const Property& value);

// Float text of a wide output stream with default formatting (six significant digits, general
// notation): 0.5, 100000, 1e+10, 1.23457e+06.
std::string floatToStr(float value);

}  // namespace lumora
