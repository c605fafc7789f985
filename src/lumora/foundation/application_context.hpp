#pragma once
// What the hosting application tells the library layer about itself, and the process-wide slot
// that holds it while the library is running.

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>

namespace lumora {

enum class ApplicationType : std::uint32_t {
    CommandLineInterface = 0,  // the loader adds command-line hints to its messages only for this
};

struct PaletteColor {
    std::uint8_t r = 0, g = 0, b = 0;
    bool operator==(const PaletteColor&) const = default;
};

// The colour scheme of the library's interface elements. A console host never draws anything
// but still supplies one.
using Palette = std::array<PaletteColor, 8>;

class ApplicationContext {
public:
    ApplicationContext(ApplicationType type, std::filesystem::path dataDirectory, const Palette& palette)
        : type_(type), dataDirectory_(std::move(dataDirectory)), palette_(palette) {}
    virtual ~ApplicationContext() = default;
    ApplicationContext(const ApplicationContext&) = delete;
    ApplicationContext& operator=(const ApplicationContext&) = delete;

    ApplicationType getApplicationType() const { return type_; }
    const std::filesystem::path& getDataDirectory() const { return dataDirectory_; }
    const Palette& getPalette() const { return palette_; }

private:
    ApplicationType type_;
    std::filesystem::path dataDirectory_;
    Palette palette_;
};

// The context of the running library; null before start-up and after shut-down. Setting a new
// one releases the previous one.
void setApplicationContext(std::shared_ptr<ApplicationContext> context);
std::shared_ptr<ApplicationContext> getApplicationContext();

}  // namespace lumora
