#include "formats/nastran/NastranKept.h"

#include <utf8.h>

#include <algorithm>
#include <utility>

namespace orq::exchange {
namespace {

/// Text that is not UTF-8 is taken for Latin-1. Names stand in reports, which are UTF-8; the cards
/// themselves keep their bytes.
std::string AsUtf8(std::string text) {
    if (utf8::is_valid(text.begin(), text.end())) {
        return text;
    }
    std::string converted;
    for (const char c : text) {
        utf8::append(static_cast<char32_t>(static_cast<unsigned char>(c)), converted);
    }
    return converted;
}

ORQExcKeptText TextOf(std::string_view section, const std::string& instance, std::string text) {
    ORQExcKeptText kept;
    kept.format = kNastranFormat;
    kept.section = section;
    kept.instance = instance;
    kept.text = std::move(text);
    return kept;
}

}  // namespace

void NastranKept::Add(std::string_view name, std::string_view source, BulkTaken taken) {
    Cards& cards = taken == BulkTaken::Partly ? m_alsoInModel : m_alone;
    auto count = cards.counts.find(name);
    if (count == cards.counts.end()) {
        count = cards.counts.emplace(AsUtf8(std::string(name)), 0).first;
    }
    ++count->second;
    while (!source.empty()) {
        std::string_view line = source.substr(0, source.find('\n'));
        source.remove_prefix(std::min(line.size() + 1, source.size()));
        line = line.substr(0, line.find('$'));
        line = line.substr(0, line.find_last_not_of(" \t\r") + 1);
        if (!line.empty()) {
            cards.text.append(line).append("\n");
        }
    }
}

void NastranKept::Put(const std::string& instance, std::vector<ORQExcKeptText>& texts) && {
    for (Cards* const cards : {&m_alsoInModel, &m_alone}) {
        if (!cards->text.empty()) {
            texts.push_back(TextOf(kNastranCards, instance, std::move(cards->text)));
            texts.back().isAlsoInModel = cards == &m_alsoInModel;
            texts.back().contents.assign(cards->counts.begin(), cards->counts.end());
        }
    }
}

void PutControl(const std::string& lines, std::string_view section, const std::string& instance,
                std::vector<ORQExcKeptText>& texts) {
    if (!lines.empty()) {
        texts.push_back(TextOf(section, instance, lines));
        const auto nLines = std::ranges::count(lines, '\n');
        texts.back().contents = {{"lines", std::max<std::int64_t>(nLines, 1)}};
    }
}

}  // namespace orq::exchange
