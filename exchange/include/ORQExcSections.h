#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQSimCSet.h"
#include "ORQSrvShellSection.h"
#include "ORQSrvShellSectionPoints.h"

/// The layered sections of a model, for what lists or draws them. Which element has which section
/// is found out at once, layers are read when they are asked for.
class ORQ_EXPORT ORQExcSections {
  public:
    struct Range {
        double low;
        double high;
    };
    struct Section {
        std::string name;
        int number;
        ORQSimPosition position;
        ORQSimCSet elements;  ///< that it governs; ascending
    };
    /// A thickness, in the model's length unit, or an angle, in degrees.
    struct Value {
        ORQSrvShellSection::VariationEnm variation;
        /// One number when it is constant, one for each element of the layup when it varies, none
        /// when it is undefined.
        std::vector<double> numbers;

        double At(std::size_t element) const {
            return numbers.size() == 1 ? numbers[0] : numbers[element];
        }
        /// Nothing without numbers.
        std::optional<Range> Bounds() const;
    };
    struct Layer {
        std::string material;  ///< names, empty for none
        std::string orientation;
        std::string ply;
        int sectionPoints;
        Value thickness;
        Value angle;
        /// The angle of the ply alone, in degrees, where `angle` contains the directions of
        /// elements.
        std::optional<double> nominalAngle = {};
    };
    struct Stack {
        std::vector<Layer> layers;  ///< from the bottom
        std::size_t nElements;      ///< for which varying values have numbers

        /// The rest is not known while a value is undefined, and for no layers.
        ///
        /// The sum of all thicknesses, at the thinnest and the thickest element.
        std::optional<Range> Total() const;
        /// Whether layers mirror each other about the middle: the same material, orientation,
        /// thickness and angle, at every element.
        std::optional<bool> IsSymmetric() const;
        /// Whether for every angle but 0 and 90 the layers of a material and orientation are as
        /// thick in all at that angle as at its negative, at every element.
        std::optional<bool> IsBalanced() const;

      private:
        bool IsComplete() const;
        bool IsBalancedAt(std::size_t element) const;
    };

    /// Angles that differ by a multiple of 180 degrees are the same; differences up to these, in
    /// degrees and as a part of the total thickness, count as none.
    static constexpr double kAngleTolerance = 1e-6;
    static constexpr double kThicknessTolerance = 1e-9;

    /// Throws ORQBasFailure (Damaged) for a section assignment that refers to no region, no section
    /// or a region without elements.
    explicit ORQExcSections(const ORQObjDocument& document);

    /// The sections in the order of their numbers in the collection.
    const std::vector<Section>& Sections() const { return m_sections; }
    /// Throws Usage, naming what is near, when there is none of the name.
    const Section& Named(const std::string& name) const;
    /// Null when no section governs the element.
    const Section* GoverningSection(int element) const;

    /// The layers, with values that vary for the elements that the section governs.
    Stack Read(const Section& section) const;
    /// The same for one of them.
    Stack ReadAt(const Section& section, int element) const;

  private:
    Stack ReadOver(const Section& section, const ORQSimCSet& elements) const;
    Value ReadValue(ORQSrvShellSection::VariationEnm variation, double constant, int layer,
                    int fieldSlot, const ORQSimCSet& elements) const;

    ORQObjDocument m_document;
    ORQSrvShellSectionPoints m_points;
    std::vector<Section> m_sections;
    std::map<ORQSimPosition, std::size_t> m_placeOf;
};
