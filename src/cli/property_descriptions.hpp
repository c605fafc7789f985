#pragma once
// The descriptions of the properties that the command line documents, by category.

#include <array>
#include <map>
#include <string>
#include <string_view>

#include "lumora/settings/property_descriptor.hpp"

namespace lumora::CommandLine {

enum class PropertyCategory { ToneMapping, BloomAndGlare, SharpeningBlurring, Denoising, LightMix };

// The order of the property listing.
inline constexpr std::array<PropertyCategory, 5> listedCategories = {
    PropertyCategory::ToneMapping, PropertyCategory::BloomAndGlare, PropertyCategory::SharpeningBlurring,
    PropertyCategory::Denoising, PropertyCategory::LightMix};

std::string_view getCategoryName(PropertyCategory category);

// Fills a description template: "%TYPE", "%NAME", "%DEFAULT", "%MIN" and "%MAX" become the
// property's type name, name, and the text forms of its default and limits. The result is
// trimmed; an empty template stays empty.
std::string substitutePlaceholders(std::string_view descriptionTemplate, const PropertyDescriptor& descriptor);

class PropertyDescriptions {
public:
    // Built on first use from the property registry.
    static const PropertyDescriptions& instance();

    // Property id -> description; the ids of a category in ascending order. A property with an
    // empty description belongs to its category but is not listed.
    const std::map<int, std::string>& getCategory(PropertyCategory category) const {
        return categories_[static_cast<std::size_t>(category)];
    }

    // The description of a property, or an empty text for a property that has none.
    const std::string& getDescription(int id) const;

private:
    PropertyDescriptions();

    std::array<std::map<int, std::string>, listedCategories.size()> categories_;
};

}  // namespace lumora::CommandLine
