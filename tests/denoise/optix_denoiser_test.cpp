// The GPU denoiser against the stand-in OptiX and CUDA libraries of fake_gpu/: no GPU and no
// vendor library is needed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "fake_gpu/fake_gpu.hpp"
#include "foundation/thrown_message.hpp"
#include "lumora/denoise/create_denoiser.hpp"
#include "lumora/denoise/optix_denoiser.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/optix_libraries.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;

// Set before anything in this program loads the vendor libraries.
const bool fakeLibrariesSelected = ::setenv("LUMORA_OPTIX_PATH", LUMORA_FAKE_GPU_DIR, 1) == 0;

struct RecordingLogger final : Logger {
    void error(const std::string& text) override {
        std::lock_guard lock(mutex);
        texts.push_back(text);
    }
    std::vector<std::string> errors() {
        std::lock_guard lock(mutex);
        return texts;
    }
    std::mutex mutex;
    std::vector<std::string> texts;
};

constexpr int width = 5;
constexpr int height = 3;

Bitmap<Float4> picture(float tag, int w = width, int h = height) {
    Bitmap<Float4> image(w, h);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) image(x, y) = Float4(float(x) + tag, float(y) + tag, float(x * y) + tag, tag);
    }
    return image;
}

DenoisingData gpuData() {
    DenoisingData data;
    data.passes = Bitmap<float>(width, height, 8.f);
    data.features[FeatureType::VisibleDiffuse] = {FeatureType::VisibleDiffuse, picture(0.25f), {}};
    data.features[FeatureType::OptixNormals] = {FeatureType::OptixNormals, picture(0.5f), {}};
    return data;
}

// What the stand-in stage makes of the inputs above: input + 2 * normal + 4 * albedo.
void expectDenoised(const std::optional<Bitmap<Float4>>& output) {
    ASSERT_TRUE(output);
    ASSERT_EQ(output->width(), width);
    ASSERT_EQ(output->height(), height);
    const Bitmap<Float4> in = picture(1.f), normal = picture(0.5f), albedo = picture(0.25f);
    for (std::size_t i = 0; i < in.size(); ++i) {
        for (int c = 0; c < 4; ++c) {
            EXPECT_EQ(output->data()[i][c], in.data()[i][c] + 2.f * normal.data()[i][c] + 4.f * albedo.data()[i][c])
                << "pixel " << i << " channel " << c;
        }
    }
}

std::string internalError(const std::string& details) {
    return "Internal error in NVIDIA AI Denoiser. Please report this to Lumora support with this info:\n\n" + details;
}

const std::string optixError = fake_gpu::errorText(0x501);

class OptixDenoiserTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(fakeLibrariesSelected);
        fake_gpu::reset();
        testing::internal::CaptureStderr();
    }
    void TearDown() override {
        stderrText = testing::internal::GetCapturedStderr();
        EXPECT_EQ(fake_gpu::liveObjects(), 0) << "every OptiX object is destroyed with the denoiser";
        EXPECT_EQ(fake_gpu::callsFromThisThread(), 0) << "OptiX and CUDA are called on the standby thread only";
        EXPECT_LE(fake_gpu::callingThreads(), 1);
        EXPECT_EQ(stderrText, expectedStderr);
    }

    std::optional<Bitmap<Float4>> denoiseOnce(DenoisingData data = gpuData(), Bitmap<Float4> image = picture(1.f)) {
        OptixDenoiser denoiser(logger, std::move(data));
        return denoiser.denoise(std::move(image), {}, ElementId(RenderElement::Beauty), nullptr);
    }

    std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    std::string stderrText;
    std::string expectedStderr;
};

TEST_F(OptixDenoiserTest, IsTheAiModesDenoiserAndDenoisesEveryElementWithTheFeaturesAndAGpuMemoryLimit) {
    auto denoiser = createDenoiser(DenoisingMode::NvidiaAiDenoiser, logger, gpuData());
    ASSERT_NE(dynamic_cast<OptixDenoiser*>(denoiser.get()), nullptr);
    expectDenoised(denoiser->denoise(picture(1.f), {}, ElementId(RenderElement::Beauty), nullptr));
    expectDenoised(denoiser->denoise(picture(1.f), {}, ElementId(RenderElement::Beauty), nullptr));
    denoiser.reset();
    EXPECT_EQ(logger.use_count(), 1);
    EXPECT_TRUE(logger->errors().empty());
    // 80 % of the fake device's 6 GiB, as the nearest float.
    EXPECT_TRUE(fake_gpu::maxmemSet());
    EXPECT_EQ(fake_gpu::maxmem(), 5153960960.f);
    // The context made for the first element serves the second.
    const auto calls = fake_gpu::calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "cuCtxCreate_v2"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "rtCommandListExecute"), 2);
}

TEST_F(OptixDenoiserTest, RefusesAnImageOfAnotherSizeThanTheFeatures) {
    OptixDenoiser denoiser(logger, gpuData());
    EXPECT_EQ(test::thrownMessage([&] {
                  denoiser.denoise(picture(1.f, width - 1, height), {}, ElementId(RenderElement::Beauty), nullptr);
              }),
              "The NVIDIA AI denoiser cannot denoise an image of 4 x 3 pixels: its auxiliary denoising data have "
              "5 x 3 pixels.");
}

struct FailureCase {
    const char* function;  // "" fails nothing
    int occurrence;
    int code;
    std::string details;
};

void PrintTo(const FailureCase& c, std::ostream* out) { *out << c.function << " #" << c.occurrence; }

class InitialisationFailure : public OptixDenoiserTest, public testing::WithParamInterface<FailureCase> {};

TEST_P(InitialisationFailure, IsReportedTwiceAndLeavesADenoiserWithoutResults) {
    const FailureCase& c = GetParam();
    DenoisingData data = gpuData();
    if (*c.function) {
        fake_gpu::failCall(c.function, c.code, c.occurrence);
    } else {
        data.features.erase(FeatureType::OptixNormals);
    }
    EXPECT_FALSE(denoiseOnce(std::move(data)));
    EXPECT_EQ(logger->errors(), (std::vector<std::string>{internalError("Failed to initialize the denoiser.\n" + c.details),
                                                          "Failed to initialize NVIDIA AI denoiser: " + c.details}));
}

INSTANTIATE_TEST_SUITE_P(
    OptixDenoiser, InitialisationFailure,
    testing::ValuesIn(std::vector<FailureCase>{
        {"rtContextCreate", 1, 0x501, optixError},
        {"rtContextSetUsageReportCallback", 1, 0x501, "Cannot set report callback: \n" + optixError},
        {"rtBufferCreate", 4, 0x501, optixError}, {"rtVariableSetObject", 4, 0x501, optixError},
        {"rtCommandListFinalize", 1, 0x501, optixError}, {"rtBufferMapEx", 2, 0x605, fake_gpu::errorText(0x605)},
        {"rtBufferGetSize2D", 1, 0x501, "Cannot obtain the buffer size.\n " + optixError},
        {"", 0, 0, "The \"OptixNormals\" feature is missing."}}));

struct JobFailureCase : FailureCase {
    bool stageRuns;  // the failure only costs the memory limit
};

class DenoiseJobFailure : public OptixDenoiserTest, public testing::WithParamInterface<JobFailureCase> {};

TEST_P(DenoiseJobFailure, IsReportedAndStillGivesTheOutputBuffer) {
    const JobFailureCase& c = GetParam();
    fake_gpu::failCall(c.function, c.code, c.occurrence);
    const auto output = denoiseOnce();
    EXPECT_EQ(logger->errors(), std::vector<std::string>{internalError("Error encountered during denoising.\n" + c.details)});
    ASSERT_TRUE(output);
    if (c.stageRuns) {
        expectDenoised(output);
        EXPECT_FALSE(fake_gpu::maxmemSet());
    }
}

INSTANTIATE_TEST_SUITE_P(
    OptixDenoiser, DenoiseJobFailure,
    testing::ValuesIn(std::vector<JobFailureCase>{
        {{"rtBufferMapEx", 3, 0x501, optixError}, false},  // copying the colour in
        {{"rtCommandListExecute", 1, 0x501, optixError}, false},
        {{"rtBufferMapEx", 4, 0x501, optixError}, false},  // copying the result out
        {{"cuInit", 1, 100, "Cannot initialize the CUDA driver"}, true},
        {{"cuCtxGetCurrent", 1, 201, "Cannot obtain CUDA context"}, true},
        {{"cuDeviceGet", 1, 100, "Cannot obtain the CUDA device"}, true},
        {{"cuCtxCreate_v2", 1, 2, "Cannot create the CUDA context"}, true},
        {{"cuMemGetInfo_v2", 1, 1, "CUDA error: Invalid value"}, true},
        {{"cuMemGetInfo_v2", 1, 2, "CUDA error: Unknown error"}, true}}));

TEST_F(OptixDenoiserTest, AnErrorWithAnotherOptixVersionLoadedTellsTheUser) {
    const auto mismatch = [](const std::string& running) {
        return "Version mismatch detected in NVIDIA AI Denoiser, most likely caused by other render engine loading "
               "different OptiX DLLs. Please report this to Lumora support.\n\nRunning version: " +
               running + ", expected version: 5.1.2\n";
    };
    fake_gpu::reset({.version = 60203});
    fake_gpu::failCall("rtCommandListExecute", 0x501);
    denoiseOnce();
    fake_gpu::reset();
    fake_gpu::failCall("rtCommandListExecute", 0x501);
    fake_gpu::failCall("rtGetVersion", 0x501);
    denoiseOnce();
    expectedStderr = mismatch("6.2.3") + mismatch("Cannot obtain optix version");
    EXPECT_EQ(logger->errors().size(), 2u);
}

// A folder holding the first count of the required libraries.
fs::path partialLibraryFolder(std::size_t count) {
    const fs::path folder =
        fs::path(LUMORA_TEST_TMP) / ("optix_" + std::to_string(count) + "_" + std::to_string(::getpid()));
    fs::remove_all(folder);
    fs::create_directories(folder);
    for (std::size_t i = 0; i < count; ++i) {
        fs::copy_file(fs::path(LUMORA_FAKE_GPU_DIR) / optix::requiredLibraries[i], folder / optix::requiredLibraries[i]);
    }
    return folder;
}

TEST(OptixLibraries, AreLoadedInOrderUpToTheFirstMissingOne) {
    for (std::size_t count = 0; count < optix::requiredLibraries.size(); ++count) {
        const optix::LibrarySet set = optix::loadLibraries(partialLibraryFolder(count));
        EXPECT_EQ(set.loaded.size(), count);
        EXPECT_EQ(set.missing, optix::requiredLibraries[count]);
    }
    const optix::LibrarySet all = optix::loadLibraries(LUMORA_FAKE_GPU_DIR);
    EXPECT_TRUE(all.complete());
    EXPECT_EQ(all.loaded.size(), optix::requiredLibraries.size());
}

// The check runs once per process, so each case runs in a child process of its own.
int constructIn(const fs::path& folder) {
    ::setenv("LUMORA_OPTIX_PATH", folder.c_str(), 1);
    try {
        OptixDenoiser denoiser(nullptr, gpuData());
        return 0;
    } catch (const Exception& e) {
        std::fputs(e.what(), stderr);
        return 1;
    }
}

TEST(OptixLibrariesDeathTest, AMissingLibraryStopsConstructionAndTheCheckIsNotRepeated) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const fs::path withoutRuntime = partialLibraryFolder(2);
    EXPECT_EXIT(std::exit(constructIn(withoutRuntime)), testing::ExitedWithCode(1),
                "^Unable to load required DLLs\\. Please follow the provided link for more information and "
                "suggestions on how to fix this issue\\.\nMissing DLL: libcudart\\.so\\.9\\.0$");
    // Once the libraries have loaded, a later denoiser does not look for them again.
    const fs::path empty = partialLibraryFolder(0);
    EXPECT_EXIT(std::exit(constructIn(LUMORA_FAKE_GPU_DIR) + 2 * constructIn(empty)), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace lumora
