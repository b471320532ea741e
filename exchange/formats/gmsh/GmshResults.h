#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcResultSource.h"
#include "ORQExcShapes.h"
#include "formats/gmsh/GmshCursor.h"

namespace orq::exchange {

/// The $NodeData, $ElementData and $ElementNodeData sections of a Gmsh file. Sections of one name, place and number
/// of components are an array over the times of those sections; the times of the file are all times
/// that a section names, ascending.
///
/// A section that cannot be understood is left out; what does not fit the mesh, or the section's
/// own counts, is named among the losses.
class GmshResults : public ORQExcResultSource {
  public:
    /// Reads on behind the section's name, and over its end mark. Throws ORQExcImportError when
    /// there is no end mark.
    void ReadSection(GmshCursor& in, const std::string& section);
    /// Numbers that our own export gives to members of the mesh are no results from now on.
    void LookForMarks() { m_hasMarks = true; }
    /// Finds nodes and elements by their numbers in the file; -1 is none.
    using Find = std::function<int(int tag)>;
    /// The shape of the element of an ordinal.
    using ShapeOf = std::function<const ORQExcShape&(int element)>;
    void Resolve(const Find& node, const Find& element, const ShapeOf& shapeOf);
    /// Values of some members that are a part of the mesh, not results (ArrayNames.h).
    struct Marks {
        std::string name;
        std::vector<int> members;  ///< ordinals, ascending
        std::vector<double> values;
    };
    /// Takes the marks that were among the sections; they are no results.
    std::vector<Marks> TakeMarks() { return std::move(m_marks); }

    const std::vector<double>& Times() const override { return m_times; }
    const std::vector<ORQExcResultArray>& Arrays() const override { return m_arrays; }
    void ReadResult(int array, int part, int begin, int end, std::span<double> values) override;
    ORQExcReport ResultLosses() const override { return m_losses; }

  private:
    struct Section {
        ORQExcResultArray::Place place;
        std::string name;
        double time;
        int timeStep;
        int nComponents;
        std::vector<int> members;    // numbers in the file, then ascending ordinals
        std::vector<double> values;  // [members][nodes of an element, if any][nComponents]
        int nAnnounced = 0;          // members, as the section says
        int nNodes = 0;              // of each element; 0 for one value a member

        std::size_t NumOfMember() const {
            return static_cast<std::size_t>(nComponents) *
                   static_cast<std::size_t>(nNodes == 0 ? 1 : nNodes);
        }
    };
    /// What stands beside the array of the same place.
    struct Contents {
        std::vector<std::map<int, std::size_t>> sectionAt;  // by part and time
        std::size_t last;                                   // section that was added
    };

    bool IsMark(const Section& section) const;
    void ParseSection(GmshCursor& in, const std::string& section);
    Section ParseHead(GmshCursor& in, const std::string& section);
    void PutNodesInOrder(Section& section, const ShapeOf& shapeOf);
    void FindMembers(Section& section, const Find& find);
    void AddToArray(std::size_t number);
    bool HasValues(std::size_t array, int time, const std::vector<int>& members) const;
    std::size_t NewArray(const Section& section);

    bool m_hasMarks = false;
    std::vector<Section> m_sections;
    std::vector<Marks> m_marks;
    std::vector<double> m_times;
    std::vector<ORQExcResultArray> m_arrays;
    std::vector<Contents> m_contents;
    ORQExcReport m_losses;
};

}  // namespace orq::exchange
