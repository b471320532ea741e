#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ORQExcShapes.h"
#include "model/MaterialKinds.h"

namespace orq::exchange {

/// What import and export know of the cards of bulk data. Fields count from 1 behind the card's
/// name, eight to a line.

/// A number of an element that is neither label, property nor node; an attribute of its block.
struct NastranElementField {
    int field;
    const char* real = nullptr;     ///< its name, where it is spelt as a real number
    const char* integer = nullptr;  ///< its name, where it is spelt as an integer
};

/// Nodes stand in the order of ORQExcShape.
struct NastranElementCard {
    const char* name;
    const char* family;  ///< of its properties; null: it has none
    std::vector<int> nodeFields;
    std::vector<const ORQExcShape*> shapes;  ///< the smallest first
    std::vector<NastranElementField> fields;
    int secondLabelField = 0;  ///< where the card may hold a second element; 0: it may not

    bool IsShell() const { return shapes[0]->dimension == 2; }
};

/// Null when the card is none of an element.
const NastranElementCard* FindNastranElementCard(std::string_view name);
/// A card, and the largest of its shapes whose nodes begin those of a shape.
struct NastranElementCardFor {
    const NastranElementCard* card = nullptr;
    const ORQExcShape* shape = nullptr;
};
/// The card by which a shape is written: that of the name if it has the shape, else one of a shape
/// with as many nodes or, where there is none, fewer. A point becomes a mass, and a plane shape a
/// shell. No card when there is none.
NastranElementCardFor FindNastranElementCardFor(const ORQExcShape& shape, std::string_view name);
/// The property card that stands for one that a model does not have, of elements of a family.
std::string_view NastranPlaceholderCard(std::string_view family);
/// The number of a property stands in this field of an element card that has one.
inline constexpr int kNastranPropertyField = 2;

/// The kinds of element that a property card is for, such as "shell"; empty when the card is none
/// of a property.
std::string_view NastranPropertyFamily(std::string_view card);

/// Cards of some properties hold several: the number of each stands this many fields behind that of
/// the one before. kNoStride: there is one.
inline constexpr int kNoStride = 8;
int NastranPropertyStride(std::string_view card);

/// A material card's constants, in the order of its kind, are the fields 2, 3, ... The same fields
/// of its temperature card ("MATT1" for "MAT1") name the tables by which they depend on temperature.
inline constexpr int kFirstMaterialConstant = 2;

/// The pairs of a table begin in its second line.
inline constexpr int kFirstTableField = 9;

/// The field of a component, 0 for what the card does not have.
int NastranFieldOf(const MaterialKind& kind, std::string_view component);
/// "MATT1" for "MAT1".
std::string NastranTemperatureCard(std::string_view materialCard);

/// The constants of a section, in its ORQExcLayup::Section: those of "PSHELL" are the fields 4 to
/// 11, those of "PCOMP" and "PCOMPG" the fields 2 to 8, words as their numbers in
/// NastranWords.
inline constexpr int kFirstShellConstant = 4;
inline constexpr int kNumShellConstants = 8;
inline constexpr int kFirstLaminateConstant = 2;
inline constexpr int kNumLaminateConstants = 7;
inline constexpr int kFailureField = 5;  ///< of a laminate; a word, as is the next
inline constexpr int kOptionsField = 8;
inline constexpr int kFirstPlyField = 9;
inline constexpr int kPlyFields = 4;
inline constexpr int kGlobalPlyFields = 8;  ///< of PCOMPG: the number of the ply comes first
/// Fields of PSHELL, beside that of its layer, that name materials.
inline constexpr std::array<int, 3> kOtherMaterialFields = {4, 6, 11};

/// Words of laminate cards, counted from 1.
std::span<const std::string_view> NastranWords();

}  // namespace orq::exchange
