#include "lumora/image/library.hpp"

#include <OpenEXR/ImfThreading.h>
#include <OpenImageIO/imageio.h>

#include "lumora/foundation/system.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora::Library {

void initLib(std::shared_ptr<ApplicationContext> context) {
    setApplicationContext(std::move(context));
    PropertyDescriptor::registerDescriptors();
    const int threads = utils::getLogicalProcessorCount();
    Imf::setGlobalThreadCount(threads);
    OIIO::attribute("threads", threads);
}

void shutdownLib() {
    // The idle values: OpenImageIO works on the calling thread, OpenEXR's global pool is empty.
    OIIO::attribute("threads", 1);
    Imf::setGlobalThreadCount(0);
    setApplicationContext(nullptr);
}

std::string getLibVersion() { return LUMORA_VERSION; }

}  // namespace lumora::Library
