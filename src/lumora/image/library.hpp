#pragma once
// Start-up and shut-down of the library layer.

#include <memory>
#include <string>

#include "lumora/foundation/application_context.hpp"

namespace lumora::Library {

// Stores the context, registers the property descriptors and sizes the image libraries' thread
// pools to the logical processor count.
void initLib(std::shared_ptr<ApplicationContext> context);

// Returns the image libraries' thread pools to their idle sizes and releases the context.
void shutdownLib();

// The version of the library layer, "major.minor.patch".
std::string getLibVersion();

}  // namespace lumora::Library
