#include "formats/nastran/NastranStatements.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <utility>

#include "formats/nastran/NastranCard.h"

namespace orq::exchange {

std::string BulkFirstWord(std::string_view text) {
    text = BulkTrimmed(text);
    return BulkUpper(text.substr(0, text.find_first_of(" \t,=('\"$")));
}

std::string_view TakeBulkLine(std::string_view& rest) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

std::string_view WithoutBulkComment(std::string_view line) {
    return line.substr(0, line.find('$'));
}

bool BeginsWithControl(std::string_view contents) {
    // These words mark executive control in the first statement only; CEND and BEGIN do anywhere.
    static constexpr std::array<std::string_view, 9> kFirstOnes = {
        "SOL", "ID", "NASTRAN", "INIT", "ASSIGN", "TIME", "DIAG", "RESTART", "ACQUIRE"};
    bool isFirst = true;
    while (!contents.empty()) {
        const std::string_view text = WithoutBulkComment(TakeBulkLine(contents));
        if (BulkTrimmed(text).empty()) {
            continue;
        }
        const std::string word = BulkFirstWord(text);
        if (word == "CEND" || word == "BEGIN" ||
            (std::exchange(isFirst, false) &&
             std::ranges::find(kFirstOnes, word) != kFirstOnes.end())) {
            return true;
        }
    }
    return false;
}

std::string NameOfBulkPart(std::string_view begin) {
    std::string name;
    std::string_view rest = BulkTrimmed(WithoutBulkComment(begin));
    rest.remove_prefix(std::string_view("BEGIN").size());
    // Blanks and commas are unified, so that one part spelt in two styles is one part.
    for (const char c : BulkUpper(rest)) {
        const bool isBlank = c == ' ' || c == '\t' || c == ',';
        const bool isNeeded = !name.empty() && name.back() != ' ' && name.back() != '=';
        if (c == '=' && name.ends_with(' ')) {
            name.pop_back();
        }
        if (!isBlank || isNeeded) {
            name += isBlank ? ' ' : c;
        }
    }
    name = BulkTrimmed(name);
    if (name == "BULK") {
        return {};
    }
    return name.starts_with("BULK ") ? name.substr(5) : name;
}

std::string WithEnvironment(std::string text) {
    const auto nameAt = [&](std::size_t at) {
        std::size_t end = at;
        while (end < text.size() &&
               (std::isalnum(static_cast<unsigned char>(text[end])) != 0 || text[end] == '_')) {
            ++end;
        }
        return text.substr(at, end - at);
    };
    const auto replace = [&](std::size_t at, std::size_t count, const std::string& name) {
        const char* const value = std::getenv(name.c_str());
        if (value != nullptr) {
            text.replace(at, count, value);
        }
    };
    // One letter before a colon is a drive of Windows, not a variable.
    if (const std::string prefix = nameAt(0); prefix.size() > 1 && text[prefix.size()] == ':') {
        if (const char* const value = std::getenv(prefix.c_str()); value != nullptr) {
            text.replace(0, prefix.size() + 1, std::string(value) + "/");
        }
    }
    if (const std::size_t at = text.find('$'); at != std::string::npos) {
        const bool isBraced = at + 1 < text.size() && text[at + 1] == '{';
        const std::string name = nameAt(at + (isBraced ? 2 : 1));
        replace(at, name.size() + (isBraced ? 3 : 1), name);
    } else if (text.starts_with('%')) {
        const std::string name = nameAt(1);
        replace(0, name.size() + 2, name);
    }
    return text;
}

}  // namespace orq::exchange
