#include "model/ArrayPattern.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "ORQBasFailure.h"

namespace orq::exchange {
namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

ArrayPattern::ArrayPattern(std::string_view text) : m_text(text) {
    while (!text.empty()) {
        if (text.front() != '{') {
            const std::size_t end = std::min(text.find('{'), text.size());
            m_pieces.push_back({What::Text, std::string(text.substr(0, end)), 0, {}});
            text.remove_prefix(end);
            continue;
        }
        const std::size_t end = text.find('}');
        if (end == std::string_view::npos) {
            ORQBasThrowUsage(fmt::format("\"{}\": a brace does not close", m_text));
        }
        Piece piece = Parse(text.substr(1, end - 1));
        // Two numbers for one thing could contradict each other.
        if (std::ranges::count(m_pieces, piece.what, &Piece::what) != 0) {
            ORQBasThrowUsage(
                fmt::format("\"{}\": {} stands twice", m_text, text.substr(0, end + 1)));
        }
        m_hasComponent |= piece.what == What::Component;
        m_hasLayers |= piece.what == What::Layer;
        m_hasSectionPoints |= piece.what == What::SectionPoint;
        m_hasPoints |= piece.what == What::AtPoint;
        m_pieces.push_back(std::move(piece));
        text.remove_prefix(end + 1);
    }
}

ArrayPattern::Piece ArrayPattern::Parse(std::string_view inBraces) const {
    const std::size_t mark = std::min(inBraces.find_first_of(":="), inBraces.size());
    const std::string_view word = inBraces.substr(0, mark);
    Piece piece{word == "component"       ? What::Component
                : word == "layer"         ? What::Layer
                : word == "section_point" ? What::SectionPoint
                : word == "point"         ? What::AtPoint
                                          : What::Text,
                {},
                0,
                {}};
    bool isGood =
        piece.what != What::Text && (piece.what != What::Component || mark == word.size());
    if (mark < inBraces.size()) {
        std::string_view rest = inBraces.substr(mark + 1);
        if (inBraces[mark] == ':') {
            isGood = isGood && rest.size() == 2 && rest[0] == '0' && IsDigit(rest[1]);
            piece.width = isGood ? static_cast<std::size_t>(rest[1] - '0') : 0;
        } else {
            while (true) {
                const std::size_t end = std::min(rest.find('|'), rest.size());
                piece.words.emplace_back(rest.substr(0, end));
                if (end == rest.size()) {
                    break;
                }
                rest.remove_prefix(end + 1);
            }
            isGood = isGood && std::ranges::count(piece.words, "") == 0;
        }
        isGood = isGood && piece.what != What::Component;
    }
    if (!isGood) {
        ORQBasThrowUsage(fmt::format(
            "\"{}\": {{{}}} is none of {{component}}, {{layer}}, {{section_point}} and {{point}}, "
            "the last three also as {{point:02}} or {{point=first|second}}",
            m_text, inBraces));
    }
    return piece;
}

int& ArrayPattern::Number(ORQExcSpot& spot, What what) {
    return what == What::Layer          ? spot.layer
           : what == What::SectionPoint ? spot.sectionPoint
                                        : spot.point;
}

std::optional<ArrayPattern::Reading> ArrayPattern::Read(std::string_view name) const {
    Reading reading;
    return ReadFrom(0, name, reading) ? std::optional(reading) : std::nullopt;
}

bool ArrayPattern::ReadFrom(std::size_t at, std::string_view rest, Reading& reading) const {
    if (at == m_pieces.size()) {
        return rest.empty();
    }
    const Piece& piece = m_pieces[at];
    if (piece.what == What::Text) {
        return rest.starts_with(piece.text) &&
               ReadFrom(at + 1, rest.substr(piece.text.size()), reading);
    }
    if (piece.what == What::Component) {
        // The longest name for which the rest of the pattern still fits: components may contain what
        // stands between them and a number, such as "_".
        for (std::size_t size = rest.size(); size > 0; --size) {
            if (ReadFrom(at + 1, rest.substr(size), reading)) {
                reading.component = std::string(rest.substr(0, size));
                return true;
            }
        }
        return false;
    }
    if (!piece.words.empty()) {
        for (std::size_t i = 0; i < piece.words.size(); ++i) {
            // A word may be the beginning of another one, so the next is tried where the rest fails.
            if (rest.starts_with(piece.words[i]) &&
                ReadFrom(at + 1, rest.substr(piece.words[i].size()), reading)) {
                Number(reading.spot, piece.what) = static_cast<int>(i);
                return true;
            }
        }
        return false;
    }
    // A number of more digits is no count of points: nine digits always fit an int.
    constexpr std::size_t kMostDigits = 9;
    const auto nDigits =
        static_cast<std::size_t>(std::ranges::find_if_not(rest, IsDigit) - rest.begin());
    // Zeros in front only up to the width: "07" and "7" would be two arrays of one point.
    const bool isPadded = nDigits > 0 && rest[0] == '0';
    if (nDigits == 0 || nDigits > kMostDigits || nDigits < piece.width ||
        (isPadded && nDigits != piece.width)) {
        return false;
    }
    int number = 0;
    std::from_chars(rest.data(), rest.data() + nDigits, number);
    if (number < 1 || !ReadFrom(at + 1, rest.substr(nDigits), reading)) {
        return false;
    }
    Number(reading.spot, piece.what) = number - 1;
    return true;
}

std::string ArrayPattern::Name(std::string_view component, const ORQExcSpot& spot) const {
    std::string name;
    for (const Piece& piece : m_pieces) {
        if (piece.what == What::Text) {
            name += piece.text;
        } else if (piece.what == What::Component) {
            name += component;
        } else {
            ORQExcSpot at = spot;
            const int number = std::max(0, Number(at, piece.what));
            name += number < std::ssize(piece.words)
                        ? piece.words[static_cast<std::size_t>(number)]
                        : fmt::format("{:0{}}", number + 1, piece.width);
        }
    }
    return name;
}

ArrayPattern ArrayPattern::Default(bool hasLayers, std::string_view pointWord) {
    std::string text = "{component}";
    if (hasLayers) {
        text += "_layer{layer}_sp{section_point}";
    }
    if (!pointWord.empty()) {
        text += fmt::format("_{}{{point}}", pointWord == "point" ? "" : pointWord);
    }
    return ArrayPattern(text);
}

}  // namespace orq::exchange
