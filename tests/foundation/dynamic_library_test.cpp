#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "lumora/foundation/dynamic_library.hpp"

namespace lumora {
namespace {

TEST(DynamicLibrary, GivesEntryPointsTheLoadersReasonAndFindsLibrariesWhereTheLoaderWould) {
    auto math = DynamicLibrary::open("libm.so.6");
    ASSERT_TRUE(math) << math.error();
    EXPECT_NE(math->symbol("cos"), nullptr);
    EXPECT_EQ(math->symbol("no_such_entry_point"), nullptr);

    const auto missing = DynamicLibrary::open("/nonexistent/libnothing.so.1");
    ASSERT_FALSE(missing);
    EXPECT_NE(missing.error().find("libnothing.so.1"), std::string::npos) << missing.error();

    // Findable where the loader would look: its cache and folders, then LD_LIBRARY_PATH.
    EXPECT_TRUE(dynamicLibraryFindable("libm.so.6"));
    EXPECT_FALSE(dynamicLibraryFindable("liblumora_absent.so.7"));

    const auto folder = std::filesystem::path(LUMORA_TEST_TMP) / ("libraries_" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "liblumora_absent.so.7") << "";
    const char* before = std::getenv("LD_LIBRARY_PATH");
    const std::string saved = before ? before : "";
    ::setenv("LD_LIBRARY_PATH", ("/nonexistent:" + folder.string()).c_str(), 1);
    EXPECT_TRUE(dynamicLibraryFindable("liblumora_absent.so.7"));
    before ? ::setenv("LD_LIBRARY_PATH", saved.c_str(), 1) : ::unsetenv("LD_LIBRARY_PATH");
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace lumora
