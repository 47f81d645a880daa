#include <tools/kvf/CommandLine.h>

#include <CLI/CLI.hpp>

#include <cmath>
#include <optional>
#include <utility>

namespace Skelvar::Tool {

Option Option::required()
{
    m_option->required();
    return *this;
}

Option Option::showDefault()
{
    m_option->capture_default_str();
    return *this;
}

Option Option::inRange(long long in_least, long long in_greatest)
{
    m_option->check(CLI::Range(in_least, in_greatest));
    return *this;
}

Option Option::notNegative()
{
    m_option->check(
        [](const std::string& in_text) {
            double number = 0.0;
            const bool fits = CLI::detail::lexical_cast(in_text, number) && number >= 0.0 &&
                              std::isfinite(number);
            return fits ? std::string() : in_text + " is not a finite number of 0 or more";
        },
        "FLOAT");
    return *this;
}

Option Option::endingIn(const std::string& in_ending)
{
    m_option->check([in_ending](const std::string& in_text) {
        const bool fits = CLI::detail::to_lower(in_text).ends_with(in_ending);
        return fits ? std::string() : in_text + " does not end in " + in_ending;
    });
    return *this;
}

Option Option::oneOf(std::vector<std::string> in_values)
{
    m_option->check(CLI::IsMember(std::move(in_values)));
    return *this;
}

Option Option::excludes(const std::string& in_name)
{
    m_option->excludes(in_name);
    return *this;
}

Command Command::command(const std::string& in_name, const std::string& in_help)
{
    return Command(*m_app->add_subcommand(in_name, in_help));
}

void Command::requireCommand()
{
    m_app->require_subcommand(1);
}

template <typename T>
Option Command::option(const std::string& in_name, T& io_value, const std::string& in_help)
{
    return Option(*m_app->add_option(in_name, io_value, in_help));
}

void Command::flag(const std::string& in_name, bool& io_value, const std::string& in_help)
{
    m_app->add_flag(in_name, io_value, in_help);
}

void Command::onRun(std::function<void()> in_run)
{
    m_app->callback(std::move(in_run));
}

#define SKELVAR_INSTANTIATE(T) \
    template Option Command::option<T>(const std::string&, T&, const std::string&);
SKELVAR_INSTANTIATE(int)
SKELVAR_INSTANTIATE(float)
SKELVAR_INSTANTIATE(double)
SKELVAR_INSTANTIATE(unsigned long long)
SKELVAR_INSTANTIATE(std::string)
SKELVAR_INSTANTIATE(std::vector<std::string>)
SKELVAR_INSTANTIATE(std::optional<int>)
SKELVAR_INSTANTIATE(std::optional<float>)
SKELVAR_INSTANTIATE(std::optional<long long>)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar::Tool
