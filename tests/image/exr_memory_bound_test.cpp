// Damaged files whose headers claim far more pixels than the file holds are refused before the
// editor allocates the claim: run under an 8 GiB address-space limit, the editor's peak memory
// stays within a clean run's plus twice the file's size.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "exr_test_support.hpp"

namespace lumora {
namespace {

using namespace exr_test;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;  // the shadow memory needs more address space than any limit here
#else
constexpr bool kSanitized = false;
#endif

struct EditorRun {
    int status = -1;
    long peakKiB = 0;
    std::string errors;
};

// Runs the editor on input with the address space limited; the peak is the child's resident size.
EditorRun runEditorLimited(const fs::path& input, const fs::path& folder) {
    const fs::path errors = folder / "stderr.txt";
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit limit{std::uint64_t{8} << 30, std::uint64_t{8} << 30};
        ::setrlimit(RLIMIT_AS, &limit);
        if (!std::freopen(errors.c_str(), "w", stderr)) ::_exit(126);
        const std::string out = (folder / "out.lxr").native();
        ::execl(LUMORA_EDITOR_EXE, LUMORA_EDITOR_EXE, input.c_str(), out.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    EditorRun run;
    rusage usage{};
    ::wait4(child, &run.status, 0, &usage);
    run.peakKiB = usage.ru_maxrss;
    const auto bytes = readBytes(errors);
    run.errors.assign(bytes.begin(), bytes.end());
    return run;
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
    const EditorRun clean = runEditorLimited(good, folder);
    ASSERT_TRUE(WIFEXITED(clean.status) && WEXITSTATUS(clean.status) == 0) << clean.errors;
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
        const EditorRun run = runEditorLimited(path, folder);
        ASSERT_TRUE(WIFEXITED(run.status)) << "ended by a signal";
        EXPECT_EQ(WEXITSTATUS(run.status), 1);
        EXPECT_NE(run.errors.find("Error: Cannot operate with image file \"" + path.native() +
                                  "\". File is damaged: its header claims more pixel data than the file holds."),
                  std::string::npos)
            << run.errors;
        EXPECT_LE(run.peakKiB, clean.peakKiB + 2 * static_cast<long>(bytes.size() / 1024));
        EXPECT_FALSE(fs::exists(folder / "out.lxr"));
    }
}

}  // namespace
}  // namespace lumora
