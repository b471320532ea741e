#include "formats/vtk/VtuResults.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "ORQExcImportError.h"

namespace orq::exchange {
namespace {

using ResultPlace = ORQExcResultArray::Place;

constexpr std::array<const char*, 3> kVector = {"x", "y", "z"};
// The orders of VTK for symmetric and for whole tensors.
constexpr std::array<const char*, 6> kSymmetric = {"xx", "yy", "zz", "xy", "yz", "xz"};
constexpr std::array<const char*, 9> kTensor = {"xx", "xy", "xz", "yx", "yy",
                                                "yz", "zx", "zy", "zz"};

ResultPlace PlaceOf(VtuGrid::Place place) {
    return place == VtuGrid::Place::Points  ? ResultPlace::Node
           : place == VtuGrid::Place::Cells ? ResultPlace::Element
                                            : ResultPlace::Model;
}

VtuGrid::Place GridPlaceOf(ResultPlace place) {
    return place == ResultPlace::Node      ? VtuGrid::Place::Points
           : place == ResultPlace::Element ? VtuGrid::Place::Cells
                                           : VtuGrid::Place::Grid;
}

std::vector<std::string> ComponentNames(const VtuGrid::Array& array) {
    if (!array.componentNames.empty()) {
        return array.componentNames;
    }
    std::vector<std::string> names;
    for (int i = 0; i < array.nComponents; ++i) {
        const auto place = static_cast<std::size_t>(i);
        names.push_back(
            array.nComponents == 1   ? array.name
            : array.nComponents == 3 ? fmt::format("{}_{}", array.name, kVector.at(place))
            : array.nComponents == 6 ? fmt::format("{}_{}", array.name, kSymmetric.at(place))
            : array.nComponents == 9 ? fmt::format("{}_{}", array.name, kTensor.at(place))
                                     : fmt::format("{}_{}", array.name, i + 1));
    }
    return names;
}

}  // namespace

void VtuResults::Open(std::vector<Frame> frames, const VtuGrid& first,
                      std::vector<std::size_t> cells, IsResult isResult) {
    m_cells = std::move(cells);
    for (const VtuGrid::Array& array : first.Arrays()) {
        if (isResult(array)) {
            AddArray(array, static_cast<int>(first.NumPoints()));
        }
    }
    // A single grid without arrays gives the model no time; a collection has times even without
    // arrays.
    if (m_arrays.empty() && frames.size() < 2) {
        return;
    }
    // Each grid is opened here to check its size and arrays, and closed: values are read one grid
    // at a time.
    for (Frame& frame : frames) {
        std::unique_ptr<VtuGrid> other;
        if (&frame != &frames.front()) {
            other = std::make_unique<VtuGrid>(frame.files);
            if (other->NumPoints() != first.NumPoints() || other->NumCells() != first.NumCells()) {
                m_losses.Drop("time", fmt::format("{}", frame.time), 1,
                              fmt::format("its mesh has {} points and {} cells, the first one {} "
                                          "and {}",
                                          other->NumPoints(), other->NumCells(), first.NumPoints(),
                                          first.NumCells()));
                continue;
            }
        }
        const VtuGrid& grid = other ? *other : first;
        m_times.push_back(frame.time);
        m_frames.push_back(std::move(frame));
        AddTime(static_cast<int>(m_times.size()) - 1, grid);
    }
}

void VtuResults::AddArray(const VtuGrid::Array& array, int nPoints) {
    const ResultPlace place = PlaceOf(array.place);
    const int nMembers = place == ResultPlace::Node      ? nPoints
                         : place == ResultPlace::Element ? static_cast<int>(m_cells.size())
                                                         : 1;
    std::string name = array.name.empty() ? "unnamed" : array.name;
    const auto isTaken = [&](const ORQExcResultArray& other) {
        return other.place == place && other.name == name;
    };
    if (std::ranges::any_of(m_arrays, isTaken)) {
        m_losses.Drop("array", name, 1, "another one of its place has the name");
        return;
    }
    m_names.push_back(array.name);
    m_arrays.push_back({place, std::move(name), ComponentNames(array), {{{}, 0, nMembers, {}}}});
}

/// Enters a time into the arrays that its grid has.
void VtuResults::AddTime(int frame, const VtuGrid& grid) {
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        const VtuGrid::Array* const array = grid.Find(GridPlaceOf(m_arrays[i].place), m_names[i]);
        if (array != nullptr && !array->isText &&
            array->nComponents == static_cast<int>(m_arrays[i].components.size())) {
            m_arrays[i].parts.front().times.push_back(frame);
        } else {
            m_losses.Note(ORQExcFieldKind(m_arrays[i].place), m_arrays[i].name, 1,
                          fmt::format("it has no values at time {}",
                                      m_times[static_cast<std::size_t>(frame)]));
        }
    }
}

const VtuGrid& VtuResults::GridAt(int frame) {
    if (frame != m_gridFrame) {
        m_gridFrame = -1;
        m_grid.reset();  // before the next one takes its memory
        m_grid = std::make_unique<VtuGrid>(m_frames[static_cast<std::size_t>(frame)].files);
        m_gridFrame = frame;
    }
    return *m_grid;
}

void VtuResults::ReadResult(int number, int part, int begin, int end, std::span<double> values) {
    const auto place = static_cast<std::size_t>(number);
    const ORQExcResultArray& array = m_arrays[place];
    const ORQExcResultArray::Part& from = array.parts[static_cast<std::size_t>(part)];
    const std::size_t nComponents = array.components.size();
    auto to = values.begin();
    for (int i = begin; i < end; ++i) {
        const VtuGrid& grid = GridAt(from.times[static_cast<std::size_t>(i)]);
        const VtuGrid::Array* const stored = grid.Find(GridPlaceOf(array.place), m_names[place]);
        const std::vector<double> all = grid.Reals(*stored);
        if (array.place != ResultPlace::Element) {
            const auto nWanted = nComponents * static_cast<std::size_t>(from.NumMembers());
            if (all.size() < nWanted) {
                grid.Fail(*stored, fmt::format("has {} values of {}", all.size(), nWanted));
            }
            to = std::copy_n(all.begin(), nWanted, to);
            continue;
        }
        for (const std::size_t cell : m_cells) {
            to = std::copy_n(all.begin() + static_cast<std::ptrdiff_t>(cell * nComponents),
                             nComponents, to);
        }
    }
}

}  // namespace orq::exchange
