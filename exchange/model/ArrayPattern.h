#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ORQExcSpot.h"

namespace orq::exchange {

/// How a file names the arrays of a field that has points or layers, one array for each of them.
///
/// A pattern is a name in which braces stand for what differs between the arrays:
///
///   {component}                    the name of the component
///   {point} {layer} {section_point}   a number, from 1
///   {point:02}                     the same with zeros in front, so many digits
///   {section_point=bot|mid|top}    one of these words, for the first, the second, ...
///
///   "{component}_{point}"  stress_xx_1 is component stress_xx at the first point
class ArrayPattern {
  public:
    /// What a name says.
    struct Reading {
        std::string component;
        ORQExcSpot spot;
    };

    /// Throws ORQBasFailure (Usage) that names what is wrong: an unknown word in braces, one that
    /// stands there twice, a brace that does not close.
    explicit ArrayPattern(std::string_view text);

    const std::string& Text() const { return m_text; }
    bool HasComponent() const { return m_hasComponent; }
    bool HasPoints() const { return m_hasPoints; }
    bool HasLayers() const { return m_hasLayers; }
    bool HasSectionPoints() const { return m_hasSectionPoints; }

    /// Nothing when the name is none of the pattern's. The component takes as much as it can.
    std::optional<Reading> Read(std::string_view name) const;
    /// The name of an array. Numbers behind the last word of a list are written as numbers.
    std::string Name(std::string_view component, const ORQExcSpot& spot) const;

    /// The pattern in which an export names the arrays of a field that brought none with it.
    static ArrayPattern Default(bool hasLayers, std::string_view pointWord);

  private:
    enum class What { Text, Component, Layer, SectionPoint, AtPoint };
    struct Piece {
        What what;
        std::string text;                // of a text
        std::size_t width = 0;           // digits at least
        std::vector<std::string> words;  // in place of numbers
    };

    Piece Parse(std::string_view inBraces) const;
    bool ReadFrom(std::size_t piece, std::string_view rest, Reading& reading) const;
    static int& Number(ORQExcSpot& spot, What what);

    std::string m_text;
    std::vector<Piece> m_pieces;
    bool m_hasComponent = false;
    bool m_hasPoints = false;
    bool m_hasLayers = false;
    bool m_hasSectionPoints = false;
};

}  // namespace orq::exchange
