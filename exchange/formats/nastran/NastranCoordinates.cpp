#include "formats/nastran/NastranCoordinates.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orq::exchange {
namespace {

using Point = NastranCoordinates::Point;

Point Difference(const Point& a, const Point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

Point Cross(const Point& a, const Point& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// All 0 when the vector has no direction.
Point Unit(const Point& a) {
    const double length = std::hypot(a[0], a[1], a[2]);
    return length > 0 ? Point{a[0] / length, a[1] / length, a[2] / length} : Point{};
}

}  // namespace

BulkTaken NastranCoordinates::Add(const BulkCard& card) {
    const std::string_view name = card.Name();
    if (name.size() != 6 || !name.starts_with("CORD") || (name[4] != '1' && name[4] != '2') ||
        std::string_view("RCS").find(name[5]) == std::string_view::npos) {
        return BulkTaken::No;
    }
    if (name[4] == '2') {
        Definition definition{std::string(name), card.Place(), card.Int(2).value_or(0), {}, {}};
        for (int field = 3; field <= 9; field += 3) {
            definition.points.push_back(
                {card.RealOr(field, 0), card.RealOr(field + 1, 0), card.RealOr(field + 2, 0)});
        }
        return Insert(card, 1, std::move(definition));
    }
    BulkTaken taken = BulkTaken::No;
    // A CORD1x card holds two systems at most, of a number and three nodes each.
    for (int first = 1; first <= 5 && !card.IsBlank(first); first += 4) {
        Definition definition{std::string(name), card.Place(), 0, {}, {}};
        for (int field = first + 1; field <= first + 3; ++field) {
            definition.nodes.push_back(card.NeededLabel(field).value_or(0));
        }
        const BulkTaken one = Insert(card, first, std::move(definition));
        taken = one == BulkTaken::No ? taken : one;
    }
    return taken;
}

BulkTaken NastranCoordinates::Insert(const BulkCard& card, int numberField, Definition definition) {
    const auto number = card.NeededLabel(numberField);
    if (!number || card.IsBroken()) {
        return BulkTaken::No;
    }
    const auto [at, isNew] = m_definitions.try_emplace(*number, std::move(definition));
    if (!isNew) {
        card.Complain(numberField, fmt::format("coordinate system {} is given before, in {}",
                                               *number, m_problems.NameOf(at->second.place)));
        return BulkTaken::No;
    }
    return BulkTaken::Partly;
}

std::vector<int> NastranCoordinates::Numbers() const {
    std::vector<int> numbers;
    for (const auto& [number, definition] : m_definitions) {
        numbers.push_back(number);
    }
    return numbers;
}

std::string NastranCoordinates::NameOf(int number) const {
    return number == 0 ? "basic" : fmt::format("{} {}", m_definitions.at(number).card, number);
}

const NastranCoordinates::System* NastranCoordinates::Find(int number) {
    if (number == 0) {
        return &m_basic;
    }
    const auto found = m_definitions.find(number);
    if (found == m_definitions.end()) {
        return nullptr;
    }
    if (found->second.state == State::Raw) {
        Resolve(number);
    }
    return found->second.state == State::Done ? &found->second.system : nullptr;
}

const NastranCoordinates::System* NastranCoordinates::Found(int number) const {
    const auto found = m_definitions.find(number);
    return found != m_definitions.end() && found->second.state == State::Done
               ? &found->second.system
               : nullptr;
}

void NastranCoordinates::Complain(int number, Definition& definition, const std::string& message) {
    const std::string name = fmt::format("{} {}", definition.card, number);
    m_problems.Find(definition.place, "coordinate system", name,
                    fmt::format("{}: {}", name, message));
    definition.state = State::Bad;
}

/// Systems that others stand on are finished first. The list of those in work replaces recursion: a
/// chain in a deck may be longer than the call stack.
void NastranCoordinates::Resolve(int number) {
    std::vector<int> inWork = {number};
    while (!inWork.empty()) {
        const int top = inWork.back();
        Definition& definition = m_definitions.at(top);
        int next = 0;
        Definition* const open =
            definition.state == State::Bad ? nullptr : FirstOpen(definition, next);
        if (open == nullptr) {
            if (definition.state != State::Bad) {
                Finish(top, definition);
            }
            inWork.pop_back();
            continue;
        }
        definition.state = State::InWork;
        if (open->state == State::InWork) {
            ComplainOfCircle(inWork, next);
        } else {
            inWork.push_back(next);
        }
    }
}

/// The first system under the definition that is neither done nor bad; null when there is none.
NastranCoordinates::Definition* NastranCoordinates::FirstOpen(const Definition& definition,
                                                              int& number) {
    const auto points = GivenPoints(definition);
    if (!points) {
        return nullptr;
    }
    for (const GivenPoint& given : *points) {
        const auto found = m_definitions.find(given.system);
        if (found != m_definitions.end() &&
            (found->second.state == State::Raw || found->second.state == State::InWork)) {
            number = found->first;
            return &found->second;
        }
    }
    return nullptr;
}

void NastranCoordinates::ComplainOfCircle(const std::vector<int>& inWork, int number) {
    constexpr std::ptrdiff_t kMostTold = 20;  // a circle may have thousands of systems
    const auto first = std::ranges::find(inWork, number);
    std::string chain;
    for (auto at = first; at != inWork.end() && at - first < kMostTold; ++at) {
        chain += fmt::format("{} -> ", *at);
    }
    chain += inWork.end() - first > kMostTold ? "... -> " : "";
    Complain(
        number, m_definitions.at(number),
        fmt::format("the coordinate systems refer to each other in a circle: {}{}", chain, number));
}

/// REQUIRES: what it stands on is done or bad.
void NastranCoordinates::Finish(int number, Definition& definition) {
    const auto given = GivenPoints(definition);
    std::array<Point, 3> points;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const System* const system = given ? Find((*given)[i].system) : nullptr;
        if (system == nullptr) {
            Complain(number, definition,
                     definition.nodes.empty()
                         ? fmt::format("field 3: coordinate system {} is missing or wrong",
                                       definition.reference)
                         : "a node that it names is missing or has no position");
            return;
        }
        points[i] = Basic(*system, (*given)[i].point);
    }
    // The format gives the origin, a point on the third axis, and a point in the plane of the first
    // and third axes.
    const auto& [a, b, c] = points;
    const Point z = Unit(Difference(b, a));
    const Point y = Unit(Cross(z, Difference(c, a)));
    if (y == Point{}) {
        Complain(number, definition, "its three points lie on one line");
        return;
    }
    definition.system.kind = definition.card.ends_with('R')   ? Kind::Rectangular
                             : definition.card.ends_with('C') ? Kind::Cylindrical
                                                              : Kind::Spherical;
    definition.system.origin = a;
    definition.system.axes = {Cross(y, z), y, z};
    definition.state = State::Done;
}

std::optional<std::array<NastranCoordinates::GivenPoint, 3>> NastranCoordinates::GivenPoints(
    const Definition& definition) const {
    std::array<GivenPoint, 3> points{};
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (definition.nodes.empty()) {
            points[i] = {definition.reference, definition.points[i]};
            continue;
        }
        const auto node = m_givenNode(definition.nodes[i]);
        if (!node) {
            return std::nullopt;
        }
        points[i] = *node;
    }
    return points;
}

Point NastranCoordinates::Basic(const System& system, const Point& point) {
    constexpr double kRadians = std::numbers::pi / 180;
    // Cylindrical: radius, angle, height. Spherical: radius, angle from the third axis, angle
    // around it.
    Point local = point;
    if (system.kind == Kind::Cylindrical) {
        local = {point[0] * std::cos(point[1] * kRadians), point[0] * std::sin(point[1] * kRadians),
                 point[2]};
    } else if (system.kind == Kind::Spherical) {
        const double inPlane = point[0] * std::sin(point[1] * kRadians);
        local = {inPlane * std::cos(point[2] * kRadians), inPlane * std::sin(point[2] * kRadians),
                 point[0] * std::cos(point[1] * kRadians)};
    }
    Point basic = system.origin;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::size_t k = 0; k < 3; ++k) {
            basic[k] += local[axis] * system.axes[axis][k];
        }
    }
    return basic;
}

}  // namespace orq::exchange
