#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace Skelvar::Tool {

// The command line of the tool as its commands declare it. The parser's own header takes longer to
// compile than all else in a command, so that only few files include it.

/// An option or an argument of a command, while it is being declared.
class Option {
public:
    explicit Option(CLI::Option& in_option) : m_option(&in_option) {}

    Option required();
    /// Lets the help tell the value that holds without the option.
    Option showDefault();
    /// Both ends included.
    Option inRange(long long in_least, long long in_greatest);
    /// Nor infinite.
    Option notNegative();
    /// In large letters or small.
    Option endingIn(const std::string& in_ending);
    Option oneOf(std::vector<std::string> in_values);
    /// Not together with the option of that name, which must have been declared.
    Option excludes(const std::string& in_name);

private:
    CLI::Option* m_option;
};

/// A command of the tool, or the tool itself. Refers to the parser, which must outlive it; what its
/// options are bound to must live until the command line has been parsed.
class Command {
public:
    explicit Command(CLI::App& in_app) : m_app(&in_app) {}

    Command command(const std::string& in_name, const std::string& in_help);
    /// One of its own commands must be given.
    void requireCommand();
    /// `in_name` starts with dashes ("-f,--force"); without, it is an argument by position. The
    /// value stays as it is if the option is not given. T is one of the types in CommandLine.cpp.
    template <typename T>
    Option option(const std::string& in_name, T& io_value, const std::string& in_help);
    void flag(const std::string& in_name, bool& io_value, const std::string& in_help);
    /// What the command does, once the line has been parsed.
    void onRun(std::function<void()> in_run);

private:
    CLI::App* m_app;
};

}  // namespace Skelvar::Tool
