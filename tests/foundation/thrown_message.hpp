#pragma once
// The message of the Exception that a call throws, so that error texts compare in one line.

#include <string>

#include "lumora/foundation/exception.hpp"

namespace lumora::test {

// "(no exception)" when f returns normally.
template <class F>
std::string thrownMessage(F&& f) {
    try {
        f();
    } catch (const Exception& e) {
        return e.message();
    }
    return "(no exception)";
}

}  // namespace lumora::test
