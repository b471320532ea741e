#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/nastran/NastranProblems.h"

namespace orq::exchange {

/// One card: its name in upper case and its data fields, counted from 1 over all its lines,
/// eight to a line. Valid until the next card is read.
///
/// Blank fields read as nothing; what a field holds instead of a number is reported as a finding
/// and reads as nothing too.
class BulkCard {
  public:
    std::string_view Name() const { return m_name; }
    const BulkPlace& Place() const { return m_place; }
    /// The card's lines, from the first to the last, with comments; valid as long as the deck.
    std::string_view Source() const { return m_source; }
    /// The number of the last field that may hold something.
    int NumFields() const { return static_cast<int>(m_fields.size()); }

    /// The text of a field without blanks around it.
    std::string_view Text(int field) const;
    bool IsBlank(int field) const { return Text(field).empty(); }
    bool IsInt(int field) const;
    /// Whether the field holds the word, in upper or lower case.
    bool Is(int field, std::string_view word) const;
    std::optional<int> Int(int field) const;
    /// Reports what is below 1 as well.
    std::optional<int> Label(int field) const;
    /// Reads as Label does; a blank field is a problem too.
    std::optional<int> NeededLabel(int field) const;
    std::optional<double> Real(int field) const;
    double RealOr(int field, double other) const { return Real(field).value_or(other); }

    /// Reports a finding of the field, or of the whole card.
    void Complain(int field, std::string_view message) const;
    void Complain(std::string_view message) const;
    /// Reports a finding of a field that can be read and looks wrong.
    void Remark(int field, std::string_view message) const;
    /// Whether anything of it was complained of.
    bool IsBroken() const { return m_isBroken; }
    /// Makes what is wrong with the card an error from here on.
    void Need() const { m_isNeeded = true; }

  private:
    friend class NastranDeck;

    std::string Called() const;

    std::string m_name;
    BulkPlace m_place{};
    std::string_view m_source;
    std::vector<std::string_view> m_fields;
    NastranProblems* m_problems = nullptr;
    mutable bool m_isBroken = false;
    mutable bool m_isNeeded = false;
};

/// What becomes of a card.
enum class BulkTaken {
    No,      ///< it stays text
    Partly,  ///< the model has the object, and the text has more of it
    Wholly   ///< the model has all of it, or Resolve keeps the text
};

/// How messages name a card's field: the format counts ten columns to a line, of which the first
/// holds the name and the last the mark of a continuation.
std::string BulkFieldName(int field);

/// A number as bulk data spell it: "7", ".5", "1.5D3", "1.03+7".
std::optional<double> BulkReal(std::string_view text);
std::optional<int> BulkInt(std::string_view text);

/// The text without blanks and tabs around it.
std::string_view BulkTrimmed(std::string_view text);
std::string BulkUpper(std::string_view text);

}  // namespace orq::exchange
