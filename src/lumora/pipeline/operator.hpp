#pragma once
// The interface of the pipeline's image operators. For now it carries only the element selector;
// the operator framework extends it.

#include <string>

namespace lumora {

class IOperator {
public:
    // Which render elements a run processes: "*" for all of them, otherwise the name of one
    // element as the graphical edition shows it. Never empty.
    struct ElementSelector {
        std::string name = "*";

        bool selectsAll() const { return name == "*"; }
        bool operator==(const ElementSelector&) const = default;
    };

    virtual ~IOperator() = default;
};

}  // namespace lumora
