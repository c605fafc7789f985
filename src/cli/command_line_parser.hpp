#pragma once
// Command-line arguments and the parser that matches tokens to them.
//
// Token syntax: "--name" names an argument by its long name, "-n" by its short name. A token
// that is exactly "-" or does not start with "-" is a free token. The first token is the
// executable's own name and is skipped. A dashed token that names no argument is an error.

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lumora/foundation/exception.hpp"

namespace lumora::CommandLine {

class Argument {
public:
    // An empty short name means the argument has only its long form.
    Argument(std::string shortName, std::string longName)
        : shortName_(std::move(shortName)), longName_(std::move(longName)) {}
    virtual ~Argument() = default;
    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;

    // Called when tokens[index] names this argument; consumes what follows and returns the index
    // of the last token consumed.
    virtual std::size_t parseInput(std::span<const std::string> tokens, std::size_t index) = 0;
    // This argument's entry of the help, written after the name line.
    virtual void printHelp(std::ostream&) const {}

    const std::string& getShortName() const { return shortName_; }
    const std::string& getLongName() const { return longName_; }

    // The bare name of an argument token (without its leading dashes); empty for a free token.
    static std::optional<std::string> extractName(const std::string& token);

private:
    std::string shortName_;
    std::string longName_;
};

class SwitchArgument : public Argument {
public:
    using Argument::Argument;
    std::size_t parseInput(std::span<const std::string> tokens, std::size_t index) override;
    bool isSet() const { return set_; }

private:
    bool set_ = false;
};

// How the text of a value argument becomes a value: parse returns false when the text is not a
// valid value. Specialised for every value type in use.
template <class T>
struct ValueParser;

template <class T>
class ValueArgument : public Argument {
public:
    using Validator = std::function<bool(const T&)>;

    ValueArgument(std::string shortName, std::string longName, T defaultValue, Validator validator = {})
        : Argument(std::move(shortName), std::move(longName)),
          value_(std::move(defaultValue)),
          validator_(std::move(validator)) {}

    // A repeated argument is parsed again, so the right-most occurrence wins.
    std::size_t parseInput(std::span<const std::string> tokens, std::size_t index) override {
        if (index + 1 < tokens.size() && ValueParser<T>::parse(tokens[index + 1], value_) &&
            (!validator_ || validator_(value_))) {
            return index + 1;
        }
        throw Exception("Argument \"" + extractName(tokens[index]).value_or("") + "\" expects some valid value.");
    }

    const T& getValue() const { return value_; }

private:
    T value_;
    Validator validator_;
};

// Hands the next token, converted to T, to a callback as soon as the argument is met.
template <class T>
class CallbackArgument : public Argument {
public:
    using Callback = std::function<void(const T&)>;

    CallbackArgument(std::string shortName, std::string longName, Callback callback = {})
        : Argument(std::move(shortName), std::move(longName)), callback_(std::move(callback)) {}

    void setCallback(Callback callback) { callback_ = std::move(callback); }

    std::size_t parseInput(std::span<const std::string> tokens, std::size_t index) override {
        if (index + 1 >= tokens.size()) {
            throw Exception("Argument \"" + extractName(tokens[index]).value_or("") +
                            "\" expects a valid callback parameter.");
        }
        if (callback_) callback_(T(tokens[index + 1]));
        return index + 1;
    }

private:
    Callback callback_;
};

// Gives any argument a description that the help prints.
template <class Base>
class HelpMixin : public Base {
public:
    template <class... Args>
    explicit HelpMixin(std::string description, Args&&... args)
        : Base(std::forward<Args>(args)...), description_(std::move(description)) {}

    void printHelp(std::ostream& out) const override;

    const std::string& getDescription() const { return description_; }

private:
    std::string description_;
};

// Writes the description wrapped and indented two levels below the name line.
void printArgumentDescription(std::ostream& out, const std::string& description);

template <class Base>
void HelpMixin<Base>::printHelp(std::ostream& out) const {
    printArgumentDescription(out, description_);
}

class Parser {
public:
    // One level of indentation in the printouts.
    static constexpr std::string_view GAP = "    ";
    // Descriptions are wrapped to this width and indented by GAP twice and "> ".
    static constexpr std::size_t descriptionWidth = 68;
    static std::string getDescriptionPrefix();

    // The argument must outlive the parser. Registration order is the order of the help.
    void addArgument(Argument& argument) { arguments_.push_back(&argument); }

    // Walks the tokens after the first (the executable's name), lets each argument consume its
    // values and keeps the other tokens as free tokens, in order.
    void parseInput(std::span<const std::string> tokens);

    const std::vector<std::string>& getFreeTokens() const { return freeTokens_; }

    // For each argument: the name line, then the argument's own help.
    void printHelp(std::ostream& out) const;

private:
    Argument* find(const std::string& token) const;

    std::vector<Argument*> arguments_;
    std::vector<std::string> freeTokens_;
};

}  // namespace lumora::CommandLine
