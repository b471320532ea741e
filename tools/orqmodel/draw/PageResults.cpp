#include "draw/PageResults.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "ORQBasFailure.h"
#include "ORQExcTexts.h"
#include "draw/ColourBands.h"

namespace orqmodel {
namespace {

using nlohmann::json;
using Coding = PackedArrays::Coding;

// Values and movements are 16-bit steps between the least and the largest: finer than a screen's
// colours and pixels, at a quarter of the size of doubles. The page's script knows these numbers.
constexpr std::uint32_t kNoValue = 65535;
constexpr double kValueSteps = 65534;
constexpr double kMoveSteps = 32767;

/// Evenly spaced, the first and the last among them; of one, the last.
std::vector<int> Thinned(const std::vector<int>& times, std::size_t count) {
    if (times.size() <= count) {
        return times;
    }
    std::vector<int> kept;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t last = times.size() - 1;
        kept.push_back(times[count == 1 ? last : (i * last + (count - 1) / 2) / (count - 1)]);
    }
    return kept;
}

}  // namespace

PageResults::PageResults(const ORQExcModel& model, const ORQExcResults& results,
                         const PageMesh& mesh, const Wanted& wanted)
    : m_model(model), m_results(results), m_mesh(mesh) {
    for (const std::string& field : wanted.fields) {
        m_fields.emplace_back(m_model, m_results, field, wanted.place);
    }
    if (!wanted.measure.empty()) {
        m_measure = MeasuresOf(m_model, wanted.measure);
    }
    if (!wanted.deform.empty()) {
        m_deformation.emplace(m_model, m_results, wanted.deform);
    }
    PlanTimes(wanted);
}

void PageResults::PlanTimes(const Wanted& wanted) {
    const auto nTimes = static_cast<int>(m_results.Frames().size());
    if (wanted.time > nTimes) {
        ORQBasThrowUsage(fmt::format("--step {}: the model has {} times", wanted.time, nTimes));
    }
    const auto add = [&](const std::vector<int>& times, std::size_t timeBytes, const char* option,
                         const std::string& name) {
        if (times.empty()) {
            ORQBasThrowUsage(fmt::format("--{} {}: it has no values", option, name));
        }
        m_series.push_back({wanted.time > 0 ? std::vector{wanted.time} : times, timeBytes});
    };
    for (std::size_t i = 0; i < m_fields.size(); ++i) {
        const std::size_t count =
            m_fields[i].IsNodal() ? m_mesh.Nodes().size() : m_mesh.Elements().size();
        add(m_fields[i].Times(), 2 * count, "field", wanted.fields[i]);
    }
    if (m_measure) {
        m_series.push_back({{0}, 2 * m_mesh.Elements().size()});
    }
    if (m_deformation) {
        add(m_deformation->Times(), 6 * m_mesh.Nodes().size(), "deform", wanted.deform);
        m_deformation->Scale(m_series.back().times);
    }
}

std::size_t PageResults::NumTimes() const {
    std::size_t most = 0;
    for (const Series& series : m_series) {
        most = std::max(most, series.times.size());
    }
    return most;
}

void PageResults::KeepTimesFor(std::size_t room) {
    std::size_t timeBytes = 1;
    for (const Series& series : m_series) {
        timeBytes += series.timeBytes;
    }
    const std::size_t count = std::max<std::size_t>(1, room / timeBytes);
    for (Series& series : m_series) {
        series.times = Thinned(series.times, count);
    }
}

json PageResults::Into(PackedArrays& arrays, const Progress& progress) const {
    return {{"fields", FieldsInto(arrays, progress)}, {"moves", MovesInto(arrays)}};
}

json PageResults::ValuesInto(PackedArrays& arrays, const FieldValues& field, int time) const {
    if (field.sides) {
        ORQBasThrowUsage(
            "--at nodes: nodes on borders have a value of each side, and a page shows one: "
            "--across-borders makes one average of all");
    }
    const std::vector<int>& members = field.isNodal ? m_mesh.Nodes() : m_mesh.Elements();
    std::vector<double> values;
    for (const int member : members) {
        values.push_back(member < 0 ? std::numeric_limits<double>::quiet_NaN()
                                    : field.values[static_cast<std::size_t>(member)]);
    }
    ValueRange range;
    range.Take(values);
    // Halves, since the difference of two finite values may be infinite.
    const double halfStep =
        range.lowest < range.highest ? (range.highest / 2 - range.lowest / 2) / kValueSteps : 0;
    std::vector<std::uint32_t> numbers;
    for (const double value : values) {
        numbers.push_back(
            !std::isfinite(value) ? kNoValue
            : halfStep > 0
                ? static_cast<std::uint32_t>(std::clamp(
                      std::round((value / 2 - range.lowest / 2) / halfStep), 0.0, kValueSteps))
                : 0);
    }
    json frame = {{"time", time}, {"array", arrays.Add(numbers, 2, Coding::Differences)}};
    if (range.lowest <= range.highest) {
        frame.update({{"low", range.lowest}, {"high", range.highest}});
    }
    if (time > 0) {
        frame["text"] = ORQExcPrintable(TimeText(m_results, time));
    }
    return frame;
}

json PageResults::FieldsInto(PackedArrays& arrays, const Progress& progress) const {
    json fields = json::array();
    const auto add = [&](const FieldValues& field) {
        fields.push_back({{"name", ORQExcPrintable(field.name)},
                          {"nodal", field.isNodal},
                          {"frames", json::array()}});
    };
    for (std::size_t i = 0; i < m_fields.size(); ++i) {
        const std::vector<int>& times = m_series[i].times;
        for (std::size_t k = 0; k < times.size(); ++k) {
            const FieldValues field = m_fields[i].At(times[k]);
            if (k == 0) {
                add(field);
            }
            fields[i]["frames"].push_back(ValuesInto(arrays, field, times[k]));
            progress((static_cast<double>(i) +
                      static_cast<double>(k + 1) / static_cast<double>(times.size())) /
                     static_cast<double>(m_series.size()));
        }
    }
    if (m_measure) {
        add(*m_measure);
        fields.back()["frames"].push_back(ValuesInto(arrays, *m_measure, 0));
    }
    return fields;
}

json PageResults::MovesInto(PackedArrays& arrays) const {
    if (!m_deformation) {
        return nullptr;
    }
    json moves = {{"name", ORQExcPrintable(m_deformation->Name())},
                  {"factor", m_deformation->Factor()},
                  {"frames", json::array()}};
    for (const int time : m_series.back().times) {
        const std::vector<Point> displacements = m_deformation->Unscaled(time);
        double largest = 0;
        for (const int node : m_mesh.Nodes()) {
            for (const double value : displacements[static_cast<std::size_t>(node)]) {
                largest = std::max(largest, std::abs(value));
            }
        }
        const double step = largest / kMoveSteps;
        json frame = {{"time", time},
                      {"text", ORQExcPrintable(TimeText(m_results, time))},
                      {"step", step},
                      {"arrays", json::array()}};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            std::vector<std::uint32_t> numbers;
            for (const int node : m_mesh.Nodes()) {
                const double value = displacements[static_cast<std::size_t>(node)][axis];
                numbers.push_back(static_cast<std::uint32_t>(
                    kMoveSteps + (step > 0 ? std::round(value / step) : 0)));
            }
            frame["arrays"].push_back(arrays.Add(numbers, 2, Coding::Differences));
        }
        moves["frames"].push_back(std::move(frame));
    }
    return moves;
}

}  // namespace orqmodel
