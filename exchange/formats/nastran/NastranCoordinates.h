#pragma once

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "formats/nastran/NastranCard.h"

namespace orq::exchange {

/// The coordinate systems of a deck, by number: rectangular, cylindrical and spherical ones, given
/// by points (CORD2x) or by nodes (CORD1x). 0 is the basic system, the model's own.
class NastranCoordinates {
  public:
    using Point = std::array<double, 3>;
    enum class Kind { Rectangular, Cylindrical, Spherical };
    struct System {
        Kind kind = Kind::Rectangular;
        Point origin{};  ///< this and the axes in the basic system
        std::array<Point, 3> axes = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    };
    /// A node as it is given: a point in a system. Nothing when the deck has no such node.
    struct GivenPoint {
        int system;
        Point point;
    };
    using GivenNode = std::function<std::optional<GivenPoint>(int label)>;

    explicit NastranCoordinates(NastranProblems& problems) : m_problems(problems) {}

    /// Takes the card if it is one of these.
    BulkTaken Add(const BulkCard& card);
    void SetNodes(GivenNode nodes) { m_givenNode = std::move(nodes); }

    /// A system that was found before; null when there is none.
    const System* Found(int number) const;
    /// Null when there is none, or when what is wrong with it has been reported. The system stays
    /// where it is.
    const System* Find(int number);
    /// Numbers, ascending, without 0.
    std::vector<int> Numbers() const;
    std::string NameOf(int number) const;  ///< "CORD2R 100"
    const BulkPlace& PlaceOf(int number) const { return m_definitions.at(number).place; }

    /// A point given in the system, angles in degrees, in the basic one.
    static Point Basic(const System& system, const Point& point);

  private:
    enum class State { Raw, InWork, Done, Bad };
    struct Definition {
        std::string card;
        BulkPlace place;
        int reference = 0;          // of the points
        std::vector<Point> points;  // origin, on the third axis, in the plane of the first
        std::vector<int> nodes;     // instead of points
        State state = State::Raw;
        System system = {};
    };

    BulkTaken Insert(const BulkCard& card, int numberField, Definition definition);
    void Complain(int number, Definition& definition, const std::string& message);
    void Resolve(int number);
    Definition* FirstOpen(const Definition& definition, int& number);
    void ComplainOfCircle(const std::vector<int>& inWork, int number);
    void Finish(int number, Definition& definition);
    std::optional<std::array<GivenPoint, 3>> GivenPoints(const Definition& definition) const;

    NastranProblems& m_problems;
    GivenNode m_givenNode;
    std::map<int, Definition> m_definitions;
    System m_basic;
};

}  // namespace orq::exchange
