#pragma once
// The editor's printouts as its users must see them, written out independently of the code that
// prints them.

#include <string>

namespace lumora::test {

std::string expectedBanner();
// The output of --help after the banner, for an executable of the given file name.
std::string expectedUsage(const std::string& executableName);
std::string expectedExamples(const std::string& executableName);
std::string expectedProperties();
std::string expectedErrorReport(const std::string& message);

}  // namespace lumora::test
