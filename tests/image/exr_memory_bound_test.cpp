// Damaged files whose headers claim far more pixels than the file holds are refused before the
// editor allocates the claim: run under an 8 GiB address-space limit, the editor's peak memory
// stays within a clean run's plus twice the file's size.

#include <random>

#include "cli/run_program.hpp"
#include "exr_test_support.hpp"

namespace lumora {
namespace {

using namespace exr_test;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;  // the shadow memory needs more address space than any limit here
#else
constexpr bool kSanitized = false;
#endif

// Runs the editor on input, writing out.lxr, with its address space limited to 8 GiB.
test::Outcome runEditorLimited(const fs::path& input, const fs::path& folder) {
    const std::string command = "ulimit -v 8388608 && exec '" LUMORA_EDITOR_EXE "' '" + input.native() + "' out.lxr";
    return test::runProgram("/bin/sh", {"-c", command}, folder);
}

// An uncompressible 256 x 256 float render: about 770 KiB of ZIP data.
void writeNoise(const fs::path& path) {
    Imf::Header header(box(0, 0, 255, 255), box(0, 0, 255, 255));
    const auto window = header.dataWindow();
    std::mt19937 random(5);
    std::uniform_real_distribution<float> value(0.f, 1.f);
    std::vector<std::vector<float>> channels(3, std::vector<float>(256 * 256));
    Imf::FrameBuffer frameBuffer;
    for (std::size_t c = 0; c < 3; ++c) {
        for (float& v : channels[c]) v = value(random);
        const std::string name(1, "RGB"[c]);
        header.channels().insert(name, Imf::Channel(Imf::FLOAT));
        frameBuffer.insert(name, Imf::Slice::Make(Imf::FLOAT, channels[c].data(), window, 4, 4 * 256));
    }
    Imf::OutputFile file(path.c_str(), header);
    file.setFrameBuffer(frameBuffer);
    file.writePixels(256);
}

TEST(ExrMemoryBound, DamagedClaimsAreRefusedWithinTwiceTheFileSize) {
    if (kSanitized) GTEST_SKIP() << "address-space limits do not apply under AddressSanitizer";
    const fs::path folder = testFolder();
    const fs::path good = folder / "noise.exr";
    writeNoise(good);
    const test::Outcome clean = runEditorLimited(good, folder);
    ASSERT_EQ(clean.status, 0) << clean.err;
    fs::remove(folder / "out.lxr");

    const std::vector<char> bytes = readBytes(good);
    const std::size_t at = dataWindowOffset(bytes);
    // Windows that ZIP data of this size cannot fill: about 3 GiB and 12 GiB of pixels.
    const std::int32_t claims[][4] = {{0, 0, 16383, 16383}, {0, 0, 32767, 32767}};
    for (const auto& claim : claims) {
        SCOPED_TRACE(claim[2]);
        std::vector<char> damaged = bytes;
        std::memcpy(&damaged[at], claim, sizeof claim);
        const fs::path path = folder / "damaged.exr";
        writeBytes(path, damaged);
        const test::Outcome run = runEditorLimited(path, folder);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find("Error: Cannot operate with image file \"" + path.native() +
                                  "\". File is damaged: its header claims more pixel data than the file holds."),
                  std::string::npos)
            << run.err;
        EXPECT_LE(run.peakKiB, clean.peakKiB + 2 * static_cast<long>(bytes.size() / 1024));
        EXPECT_FALSE(fs::exists(folder / "out.lxr"));
    }
}

}  // namespace
}  // namespace lumora
