#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ORQExcReport.h"
#include "ORQExcResultSource.h"
#include "ORQExcResultsMap.h"
#include "ORQExcShapes.h"
#include "model/ArrayPattern.h"

namespace orq::exchange {

/// The results of a source whose files have an array for each point of a field: arrays whose names
/// say it become one array with points or layers.
///
/// Names that say it are those of a user's rules, then those that our exports give (NAME_layer2_sp3,
/// NAME_node4, ...), then NAME_1, NAME_2, ...: these are integration points where NAME is a component
/// of a tensor or vector, all of its components have the same numbers, the numbers have no gap, and
/// the shapes of the elements can have so many; and for other names beside such a tensor. What may be
/// points and is not taken for them is noted.
class PointArrays : public ORQExcResultSource {
  public:
    /// The shapes of the elements of a part.
    using ShapesOf =
        std::function<std::vector<const ORQExcShape*>(const ORQExcResultArray::Part& part)>;

    /// `source` must outlive the object; `map` may be null. Throws ORQExcImportError for a rule that
    /// no array follows, and for arrays of a rule with gaps or wrong counts.
    PointArrays(ORQExcResultSource& source, const ShapesOf& shapesOf, const ORQExcResultsMap* map,
                ORQExcReport& report);

    const std::vector<double>& Times() const override { return m_source.Times(); }
    const std::vector<ORQExcResultArray>& Arrays() const override { return m_arrays; }
    void ReadResult(int array, int part, int begin, int end, std::span<double> values) override;
    void ReadMembers(int array, int part, int time, int first, int count,
                     std::span<double> values) override;
    ORQExcReport ResultLosses() const override { return m_source.ResultLosses(); }

  private:
    using Part = ORQExcResultArray::Part;
    /// A part of an array of the source.
    struct Origin {
        int array;
        int part;
    };
    /// Arrays of one component that belong together.
    struct Group {
        std::string component;
        std::vector<int> arrays;
        std::vector<ORQExcSpot> spots;  // of the arrays
    };
    /// Elements that have values of a group, and which array has them at each place.
    struct Found {
        Part part;
        std::map<ORQExcSpot, Origin> origins;
    };
    /// What the arrays of a group become.
    struct Merged {
        ORQExcResultArray array;
        std::vector<std::vector<Origin>> origins;  // by part; [layer][section point][point]
    };
    /// One way in which the names of a group's arrays differ.
    struct Convention {
        ArrayPattern pattern;
        ORQExcResultArray::Within within;
    };

    std::vector<Group> FindGroups(const ArrayPattern& pattern) const;
    std::string FindParts(const Group& group, bool hasLayers, std::vector<Found>& found) const;
    static std::string Count(Found& found);
    Merged Merge(const Group& group, const Convention& convention, std::string& problem) const;
    std::string CheckCounts(const Merged& merged) const;
    void TakeRules(const ORQExcResultsMap& map);
    void TakeRule(const ORQExcResultsMap& map, std::size_t number);
    void TakeOurNames();
    void TakeNumberedNames(const ArrayPattern& pattern);
    void Take(const Group& group, Merged merged);
    void Note(const Group& group, const std::string& problem);
    void PutTogether();
    template <class ReadOne>
    void Gather(int array, int part, std::int64_t nTimes, std::int64_t nMembers,
                std::span<double> values, const ReadOne& readOne);

    ORQExcResultSource& m_source;
    const ShapesOf& m_shapesOf;        // while the object is made
    ORQExcReport& m_report;            // the same
    std::vector<bool> m_isTaken;       // by array of the source
    std::map<int, Merged> m_mergedAt;  // by the first of its arrays
    std::vector<ORQExcResultArray> m_arrays;
    std::vector<std::vector<std::vector<Origin>>> m_origins;  // by array and part
    std::vector<double> m_one;                                // values of an array of the source
};

}  // namespace orq::exchange
