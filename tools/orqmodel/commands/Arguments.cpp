#include "commands/Arguments.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "ORQExcNearNames.h"

namespace orqmodel {

CLI::Validator OneOf(std::vector<std::string> words) {
    const std::string described = fmt::format("{{{}}}", fmt::join(words, ","));
    return CLI::Validator(
        [words = std::move(words)](const std::string& given) {
            if (std::ranges::find(words, given) != words.end()) {
                return std::string();
            }
            return fmt::format("{} is none of {}", given, fmt::join(words, ", ")) +
                   ORQExcIsIt(ORQExcSpeltAlike(given, given, words));
        },
        described);
}

}  // namespace orqmodel
