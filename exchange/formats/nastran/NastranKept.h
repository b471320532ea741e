#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ORQExcKeptTexts.h"
#include "formats/nastran/NastranCard.h"
#include "formats/nastran/NastranDeck.h"

namespace orq::exchange {

inline constexpr std::string_view kNastranFormat = "NASTRAN bulk data";
/// Sections of the kept texts. Stored, do not change.
inline constexpr std::string_view kNastranExecutive = "executive control";
inline constexpr std::string_view kNastranCase = "case control";
inline constexpr std::string_view kNastranBegin = "begin of bulk data";
inline constexpr std::string_view kNastranCards = "bulk data";

/// The cards of one part of a deck that stay text: those that the model has no place for, and those
/// that say more than the model has a place for.
class NastranKept {
  public:
    /// `taken` is Partly or No.
    void Add(std::string_view name, std::string_view source, BulkTaken taken);
    void Add(const BulkCard& card, BulkTaken taken) { Add(card.Name(), card.Source(), taken); }

    /// Appends what is kept to the kept texts.
    void Put(const std::string& instance, std::vector<ORQExcKeptText>& texts) &&;

  private:
    struct Cards {
        std::string text;
        std::map<std::string, std::int64_t, std::less<>> counts;
    };
    Cards m_alone;
    Cards m_alsoInModel;
};

/// Lines of control as kept texts, behind those that there are.
void PutControl(const std::string& lines, std::string_view section, const std::string& instance,
                std::vector<ORQExcKeptText>& texts);

}  // namespace orq::exchange
