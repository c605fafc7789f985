// The EXR/LXR reader over bytes in memory: any file either reads into an image or is refused
// with a message naming it, within the fuzzer's memory limit.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "lumora/image/exr_loader.hpp"
#include "lumora/image/exr_streams.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    lumora::ExrMemoryIStream stream("fuzz.exr", reinterpret_cast<const char*>(data), size);
    const auto image = lumora::ExrLoader(false).loadStream(stream, size);
    if (!image && image.error().find("\"fuzz.exr\"") == std::string::npos) std::abort();
    return 0;
}
