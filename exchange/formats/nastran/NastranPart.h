#pragma once

#include "ORQExcReport.h"
#include "formats/nastran/NastranCoordinates.h"
#include "formats/nastran/NastranElements.h"
#include "formats/nastran/NastranKept.h"
#include "formats/nastran/NastranMaterials.h"
#include "formats/nastran/NastranNodes.h"
#include "formats/nastran/NastranProperties.h"
#include "formats/nastran/NastranSets.h"

namespace orq::exchange {

/// The cards of one part of a deck: what the model has a place for, and the others as text. Labels
/// and numbers are unique within a part.
class NastranPart {
  public:
    NastranPart(NastranProblems& problems, ORQExcReport& losses)
        : nodes(problems),
          elements(problems, losses),
          coordinates(problems),
          materials(problems, losses),
          properties(materials, problems),
          sets(problems, losses),
          m_losses(losses) {}

    /// Returns how the card was taken; it is kept where the model does not have it wholly.
    BulkTaken Add(const BulkCard& card);
    /// REQUIRES: called once, behind the last card and before the deck ends.
    void Resolve();

    NastranNodes nodes;
    NastranElements elements;
    NastranCoordinates coordinates;
    NastranMaterials materials;
    NastranProperties properties;
    NastranSets sets;
    NastranKept kept;

  private:
    ORQExcReport& m_losses;
};

}  // namespace orq::exchange
