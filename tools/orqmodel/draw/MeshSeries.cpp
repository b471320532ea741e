#include "draw/MeshSeries.h"

#include <fmt/format.h>

#include "ORQBasFailure.h"

namespace orqmodel {

MeshSeries::MeshSeries(const ORQObjDocument& document, const std::string& name,
                       const Options& options)
    : m_model(document), m_results(document), m_name(name), m_picture(options.picture) {
    if (!options.field.empty()) {
        m_field.emplace(m_model, m_results, options.field, options.place);
    }
    if (!options.measure.empty()) {
        m_picture.field = MeasuresOf(m_model, options.measure);
    }
    if (!options.deform.empty()) {
        m_deformation.emplace(m_model, m_results, options.deform);
    }
    PlanTimes(options);
    if (m_deformation) {
        m_deformation->Scale(m_times);
    }
    // One range for all pictures; a single picture takes the range of what it shows.
    if (m_field && m_times.size() > 1) {
        m_picture.range.emplace();
        for (const int time : m_times) {
            m_picture.range->Take(m_field->At(time).values);
        }
    }
}

void MeshSeries::PlanTimes(const Options& options) {
    if (!m_field && !m_deformation) {
        m_times = {0};
        return;
    }
    const auto nTimes = static_cast<int>(m_results.Frames().size());
    if (options.time > nTimes) {
        ORQBasThrowUsage(fmt::format("--step {}: the model has {} times", options.time, nTimes));
    }
    const std::vector<int> times = m_field ? m_field->Times() : m_deformation->Times();
    if (times.empty()) {
        ORQBasThrowUsage(fmt::format("--{} {}: it has no values", m_field ? "field" : "deform",
                                     m_field ? options.field : options.deform));
    }
    m_times =
        options.isAllTimes ? times : std::vector{options.time > 0 ? options.time : times.back()};
}

MeshPicture MeshSeries::PictureAt(int time, const Progress& progress) {
    m_picture.progress = progress;
    if (m_field) {
        m_picture.field = m_field->At(time);
    }
    if (m_deformation) {
        m_picture.moves = {m_deformation->At(time), m_times.size() > 1 ? m_deformation->Reach() : 0,
                           m_deformation->Text()};
        if (!m_field) {
            m_picture.moves->text += ", " + TimeText(m_results, time);
        }
    }
    return {m_model, m_name, m_picture};
}

}  // namespace orqmodel
