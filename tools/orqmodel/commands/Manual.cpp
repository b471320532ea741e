#include "commands/Manual.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <sstream>
#include <vector>

namespace orqmodel {
namespace {

/// A text as man(7) takes it: no line is a request, no hyphen is a soft one.
std::string Roff(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        if (character == '\\') {
            escaped += "\\e";
        } else if (character == '-') {
            escaped += "\\-";
        } else if ((character == '.' || character == '\'') &&
                   (escaped.empty() || escaped.back() == '\n')) {
            // At the start of a line these begin a request.
            escaped += std::string("\\&") + character;
        } else {
            escaped += character;
        }
    }
    return escaped;
}

/// The value of an option or argument: "{a,b}" for a choice of words, else the kind of value.
std::string ValueOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t words = type.find('{');
    return words != std::string::npos ? type.substr(words) : type.substr(0, type.find(':'));
}

bool TakesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

/// The words of a list "{a,b}"; empty for other values.
std::string WordsOf(const CLI::Option& option) {
    std::string value = ValueOf(option);
    if (!value.starts_with('{')) {
        return {};
    }
    value = value.substr(1, value.find('}') - 1);
    std::ranges::replace(value, ',', ' ');
    return value;
}

/// "-o,--output" as names.
std::vector<std::string> NamesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

void AppendOptions(const CLI::App& command, std::string& page) {
    for (const CLI::Option* option : command.get_options()) {
        const std::string name = option->get_positional()
                                     ? option->get_name(true)
                                     : fmt::format("{}", fmt::join(NamesOf(*option), ", "));
        page += fmt::format(".TP\n\\fB{}\\fR{}\n{}\n", Roff(name),
                            !option->get_positional() && TakesValue(*option)
                                ? " \\fI" + Roff(ValueOf(*option)) + "\\fR"
                                : "",
                            Roff(option->get_description()));
    }
}

/// "import FILE"
std::string UsageOf(const CLI::App& command) {
    std::string usage = command.get_name();
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_positional()) {
            usage += option->get_required() ? " " + option->get_name(true)
                                            : " [" + option->get_name(true) + "]";
        }
    }
    return usage + " [OPTIONS]";
}

std::vector<const CLI::App*> SubcommandsOf(const CLI::App& program) {
    return program.get_subcommands([](const CLI::App*) { return true; });
}

/// Shows the value and the purpose of an option, not which options it needs or excludes: the error
/// for a wrong combination names these.
class Help : public CLI::Formatter {
  public:
    explicit Help(int width) : m_width(static_cast<std::size_t>(width)) {}

    std::string make_option_opts(const CLI::Option* option) const override {
        std::string text;
        if (option->get_positional()) {
            return WordsOf(*option).empty() ? text : " " + ValueOf(*option);
        }
        if (TakesValue(*option)) {
            text += " " + ValueOf(*option);
        }
        if (!option->get_default_str().empty()) {
            text += "=" + option->get_default_str();
        }
        return text + (option->get_required() ? " (required)" : "");
    }
    std::string make_option_desc(const CLI::Option* option) const override {
        return Wrapped(option->get_description());
    }
    std::string make_subcommand(const CLI::App* subcommand) const override {
        std::stringstream line;
        CLI::detail::format_help(line, subcommand->get_name(),
                                 Wrapped(subcommand->get_description()), column_width_);
        return line.str();
    }

  private:
    std::string Wrapped(const std::string& text) const {
        const std::size_t width =
            std::max<std::size_t>(m_width, column_width_ + 20) - column_width_;
        std::string wrapped;
        std::size_t length = 0;
        std::istringstream words(text);
        for (std::string word; words >> word; length += word.size()) {
            if (length > 0) {
                const bool fits = length + 1 + word.size() <= width;
                wrapped += fits ? ' ' : '\n';
                length = fits ? length + 1 : 0;
            }
            wrapped += word;
        }
        return wrapped;
    }

    std::size_t m_width;
};

}  // namespace

std::shared_ptr<CLI::Formatter> HelpFormatter(int width) {
    // Where the output is no terminal; longer lines are hard to read.
    constexpr int kUsualWidth = 100;
    return std::make_shared<Help>(width > 0 ? width : kUsualWidth);
}

std::string ManualPage(const CLI::App& program) {
    std::string page = fmt::format(
        ".TH ORQMODEL 1 \"\" \"orqmodel {}\"\n.SH NAME\norqmodel \\- finite\\-element model "
        "databases\n.SH SYNOPSIS\n.B orqmodel\n\\fISUBCOMMAND\\fR [OPTIONS]\n"
        ".SH DESCRIPTION\n{}\n.SH SUBCOMMANDS\n",
        ORQMODEL_VERSION, Roff(program.get_description()));
    for (const CLI::App* command : SubcommandsOf(program)) {
        page +=
            fmt::format(".SS {}\n{}.\n", Roff(UsageOf(*command)), Roff(command->get_description()));
        if (!command->get_footer().empty()) {
            page += fmt::format(".PP\n{}\n", Roff(command->get_footer()));
        }
        AppendOptions(*command, page);
    }
    return page;
}

std::string BashCompletion(const CLI::App& program) {
    std::string names;
    std::string cases;
    for (const CLI::App* command : SubcommandsOf(program)) {
        names += (names.empty() ? "" : " ") + command->get_name();
        std::string options;
        std::string words;
        std::string ofOptions;
        for (const CLI::Option* option : command->get_options()) {
            if (option->get_positional()) {
                const std::string given = WordsOf(*option);
                words += (words.empty() || given.empty() ? "" : " ") + given;
                continue;
            }
            const std::vector<std::string> all = NamesOf(*option);
            options += fmt::format("{}{}", options.empty() ? "" : " ", fmt::join(all, " "));
            if (TakesValue(*option)) {
                ofOptions += fmt::format("                {}) words=\"{}\"; value=1 ;;\n",
                                         fmt::join(all, "|"), WordsOf(*option));
            }
        }
        cases += fmt::format(
            "        {})\n            options=\"{}\"\n            words=\"{}\"\n"
            "            case \"$previous\" in\n{}                *) ;;\n            esac ;;\n",
            command->get_name(), options, words, ofOptions);
    }
    return fmt::format(R"(# Completion of orqmodel for bash, made by orqmodel completion bash.
_orqmodel() {{
    local word="${{COMP_WORDS[COMP_CWORD]}}" previous="${{COMP_WORDS[COMP_CWORD - 1]}}"
    local options="" words="" value=""
    if [ "$COMP_CWORD" -eq 1 ]; then
        COMPREPLY=($(compgen -W "{0} --help --version" -- "$word"))
        return
    fi
    case "${{COMP_WORDS[1]}}" in
{1}    esac
    if [ -z "$value" ] && [[ "$word" == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
        return
    fi
    COMPREPLY=($(compgen -W "$words" -- "$word"))
    if [ -z "$value" ] || [ -z "$words" ]; then
        compopt -o filenames 2>/dev/null
        local IFS=$'\n'
        COMPREPLY+=($(compgen -f -- "$word"))
    fi
}}
complete -F _orqmodel orqmodel
)",
                       names, cases);
}

}  // namespace orqmodel
