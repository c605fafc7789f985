#include "lumora/foundation/text.hpp"

namespace lumora::text {

namespace {

// Decodes one code point at s[i], advancing i. Returns U+FFFD for a malformed sequence.
char32_t decodeOne(std::string_view s, size_t& i, bool* ok = nullptr) {
    const auto b0 = static_cast<unsigned char>(s[i]);
    auto fail = [&] {
        ++i;
        if (ok) *ok = false;
        return char32_t{0xFFFD};
    };
    if (b0 < 0x80) {
        ++i;
        return b0;
    }
    int extra;
    char32_t cp;
    if ((b0 & 0xE0) == 0xC0) {
        extra = 1;
        cp = b0 & 0x1F;
    } else if ((b0 & 0xF0) == 0xE0) {
        extra = 2;
        cp = b0 & 0x0F;
    } else if ((b0 & 0xF8) == 0xF0) {
        extra = 3;
        cp = b0 & 0x07;
    } else {
        return fail();
    }
    for (int k = 1; k <= extra; ++k) {
        if (i + k >= s.size()) return fail();
        const auto b = static_cast<unsigned char>(s[i + k]);
        if ((b & 0xC0) != 0x80) return fail();
        cp = (cp << 6) | (b & 0x3F);
    }
    static constexpr char32_t minimum[] = {0, 0x80, 0x800, 0x10000};
    if (cp < minimum[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return fail();
    i += extra + 1;
    return cp;
}

void appendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// Byte length of the leading white space of s.
size_t leadingSpaceBytes(std::string_view s) {
    size_t i = 0;
    while (i < s.size()) {
        size_t next = i;
        if (!isSpace(decodeOne(s, next))) break;
        i = next;
    }
    return i;
}

// Byte offset just past the last non-space code point of s.
size_t endOfContent(std::string_view s) {
    size_t i = 0, end = 0;
    while (i < s.size()) {
        const char32_t c = decodeOne(s, i);
        if (!isSpace(c)) end = i;
    }
    return end;
}

}  // namespace

bool isSpace(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x1680 || (c >= 0x2000 && c <= 0x2006) ||
           (c >= 0x2008 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x205F || c == 0x3000;
}

std::string trimLeft(std::string_view s) { return std::string(s.substr(leadingSpaceBytes(s))); }

std::string trimRight(std::string_view s) { return std::string(s.substr(0, endOfContent(s))); }

std::string trim(std::string_view s) {
    const size_t begin = leadingSpaceBytes(s);
    return trimRight(s.substr(begin));
}

std::vector<std::string> explode(std::string_view s, std::string_view separator, ExplodeMode mode) {
    std::vector<std::string> pieces;
    size_t start = 0;
    while (true) {
        const size_t pos = separator.empty() ? std::string_view::npos : s.find(separator, start);
        const std::string_view piece = s.substr(start, pos == std::string_view::npos ? s.npos : pos - start);
        if (mode == ExplodeMode::KeepEmpty || !piece.empty()) pieces.emplace_back(piece);
        if (pos == std::string_view::npos) break;
        start = pos + separator.size();
    }
    return pieces;
}

std::string replaceAll(std::string_view s, std::string_view from, std::string_view to) {
    if (from.empty()) return std::string(s);
    std::string out;
    size_t start = 0;
    while (true) {
        const size_t pos = s.find(from, start);
        if (pos == std::string_view::npos) {
            out.append(s.substr(start));
            return out;
        }
        out.append(s.substr(start, pos - start));
        out.append(to);
        start = pos + from.size();
    }
}

std::string toLower(std::string_view s) {
    std::string out(s);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

std::string join(const std::vector<std::string>& items, std::string_view separator) {
    std::string out;
    for (size_t i = 0; i < items.size(); ++i) {
        if (i) out.append(separator);
        out.append(items[i]);
    }
    return out;
}

bool startsWith(std::string_view s, std::string_view prefix) { return s.starts_with(prefix); }
bool endsWith(std::string_view s, std::string_view suffix) { return s.ends_with(suffix); }

std::u32string toUtf32(std::string_view s) {
    std::u32string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size();) out += decodeOne(s, i);
    return out;
}

std::string fromUtf32(std::u32string_view s) {
    std::string out;
    out.reserve(s.size());
    for (char32_t c : s) appendUtf8(out, c);
    return out;
}

std::u16string toUtf16(std::string_view s) {
    std::u16string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size();) {
        const char32_t c = decodeOne(s, i);
        if (c >= 0x10000) {
            out += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
    }
    return out;
}

std::string fromUtf16(std::u16string_view s) {
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size(); ++i) {
        char32_t c = s[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (s[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        appendUtf8(out, c);
    }
    return out;
}

bool isValidUtf8(std::string_view s) {
    bool ok = true;
    for (size_t i = 0; i < s.size() && ok;) decodeOne(s, i, &ok);
    return ok;
}

}  // namespace lumora::text
