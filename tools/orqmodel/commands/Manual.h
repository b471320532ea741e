#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

namespace orqmodel {

// Made of what the subcommands declare, so that they say what the program takes.

/// Help whose lines are at most so many characters long, 0 for a usual length. To be set before
/// subcommands are added.
std::shared_ptr<CLI::Formatter> HelpFormatter(int width);

/// The manual page of the program, for man(7).
std::string ManualPage(const CLI::App& program);

/// A script for bash: completes subcommands, options, the words that an option or argument is one
/// of, and files.
std::string BashCompletion(const CLI::App& program);

}  // namespace orqmodel
