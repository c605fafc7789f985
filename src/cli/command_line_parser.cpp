#include "cli/command_line_parser.hpp"

#include <algorithm>

#include "cli/wrap_text.hpp"

namespace lumora::CommandLine {

namespace {
bool isLongForm(const std::string& token) { return token.starts_with("--"); }
}  // namespace

std::optional<std::string> Argument::extractName(const std::string& token) {
    if (!token.starts_with('-') || token == "-") return std::nullopt;
    return token.substr(std::min(token.find_first_not_of('-'), token.size()));
}

std::size_t SwitchArgument::parseInput(std::span<const std::string>, std::size_t index) {
    set_ = true;
    return index;
}

void printArgumentDescription(std::ostream& out, const std::string& description) {
    if (description.empty()) return;
    out << utils::wrapText(description, Parser::descriptionWidth, Parser::getDescriptionPrefix()) << '\n';
}

std::string Parser::getDescriptionPrefix() {
    std::string prefix(GAP);
    prefix += GAP;
    prefix += "> ";
    return prefix;
}

Argument* Parser::find(const std::string& token) const {
    const std::string name = Argument::extractName(token).value_or("");
    for (Argument* argument : arguments_) {
        const std::string& candidate = isLongForm(token) ? argument->getLongName() : argument->getShortName();
        if (!candidate.empty() && candidate == name) return argument;
    }
    return nullptr;
}

void Parser::parseInput(std::span<const std::string> tokens) {
    for (std::size_t i = 1; i < tokens.size(); ++i) {
        const std::optional<std::string> name = Argument::extractName(tokens[i]);
        if (!name) {
            freeTokens_.push_back(tokens[i]);
            continue;
        }
        Argument* argument = find(tokens[i]);
        if (argument == nullptr) throw Exception("Argument \"" + *name + "\" is not recognized.");
        i = argument->parseInput(tokens, i);
    }
}

void Parser::printHelp(std::ostream& out) const {
    for (const Argument* argument : arguments_) {
        out << GAP;
        if (!argument->getShortName().empty()) out << '-' << argument->getShortName() << ", ";
        out << "--" << argument->getLongName() << '\n';
        argument->printHelp(out);
    }
}

}  // namespace lumora::CommandLine
