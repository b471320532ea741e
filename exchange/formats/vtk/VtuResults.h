#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ORQExcResultSource.h"
#include "formats/vtk/VtuGrid.h"

namespace orq::exchange {

/// The arrays over points, cells and the whole of unstructured grids, a grid for each time. The
/// grid that was read last stays in memory.
class VtuResults : public ORQExcResultSource {
  public:
    struct Frame {
        double time;
        std::vector<std::filesystem::path> files;
    };
    /// Whether an array of the first grid is a result.
    using IsResult = bool (*)(const VtuGrid::Array& array);

    /// `first` is the grid of the first frame; `cells` is, by element ordinal, the place of its cell
    /// in the file. Grids of other sizes than the first are left out, and reported.
    void Open(std::vector<Frame> frames, const VtuGrid& first, std::vector<std::size_t> cells,
              IsResult isResult);

    const std::vector<double>& Times() const override { return m_times; }
    const std::vector<ORQExcResultArray>& Arrays() const override { return m_arrays; }
    void ReadResult(int array, int part, int begin, int end, std::span<double> values) override;
    ORQExcReport ResultLosses() const override { return m_losses; }

  private:
    void AddArray(const VtuGrid::Array& array, int nPoints);
    void AddTime(int frame, const VtuGrid& grid);
    const VtuGrid& GridAt(int frame);

    std::vector<Frame> m_frames;
    std::vector<double> m_times;
    std::vector<ORQExcResultArray> m_arrays;
    std::vector<std::string> m_names;  // of the arrays in the files
    std::vector<std::size_t> m_cells;
    ORQExcReport m_losses;
    int m_gridFrame = -1;
    std::unique_ptr<VtuGrid> m_grid;
};

}  // namespace orq::exchange
