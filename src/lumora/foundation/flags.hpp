#pragma once
// A set of bits named by an enumeration whose values are single bits.

#include <type_traits>

namespace lumora {

template <class E>
class Flags {
public:
    using Bits = std::make_unsigned_t<std::underlying_type_t<E>>;

    constexpr Flags() = default;
    constexpr Flags(E e) : bits_(static_cast<Bits>(e)) {}
    static constexpr Flags fromBits(Bits bits) {
        Flags f;
        f.bits_ = bits;
        return f;
    }

    constexpr bool has(E e) const { return (bits_ & static_cast<Bits>(e)) == static_cast<Bits>(e); }
    constexpr Flags& set(E e) { return bits_ |= static_cast<Bits>(e), *this; }
    constexpr Flags& clear(E e) { return bits_ &= ~static_cast<Bits>(e), *this; }
    constexpr Flags operator|(Flags o) const { return fromBits(bits_ | o.bits_); }
    constexpr Flags operator&(Flags o) const { return fromBits(bits_ & o.bits_); }
    constexpr bool operator==(const Flags&) const = default;
    constexpr Bits bits() const { return bits_; }
    constexpr bool any() const { return bits_ != 0; }

private:
    Bits bits_ = 0;
};

}  // namespace lumora
