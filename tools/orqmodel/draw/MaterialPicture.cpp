#include "draw/MaterialPicture.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <utility>

#include "draw/Captions.h"
#include "terminal/Console.h"

namespace orqmodel {
namespace {

constexpr double kMostApart = 8;  // the sizes of components that share a graph

std::string WithUnits(const std::string& name, const std::string& units) {
    return ORQExcPrintable(units.empty() ? name : fmt::format("{} [{}]", name, units));
}

}  // namespace

MaterialPicture::Component MaterialPicture::ComponentOf(const ORQExcMaterialTable& table,
                                                        std::size_t component) {
    const ORQExcMaterialTable::Column& column = table.components[component];
    Component found{table.property, column.name, column.units, {}, 0, {}};
    if (table.HasTemperatures()) {
        found.xLabel = WithUnits("temperature", table.temperatureUnits);
    } else if (!table.fieldVariables.empty()) {
        found.xLabel = WithUnits(table.fieldVariables[0].name, table.fieldVariables[0].units);
    }
    // Field variables but the one that is the abscissa.
    const std::size_t firstOther = table.HasTemperatures() ? 0 : 1;
    std::map<std::vector<double>, std::size_t> curveOf;
    for (std::size_t row = 0; row < table.NumRows(); ++row) {
        std::vector<double> others = table.Variables(row);
        const double first = others.empty() ? 0 : others[0];
        others.erase(others.begin(), others.begin() + std::min<std::ptrdiff_t>(
                                                          static_cast<std::ptrdiff_t>(firstOther),
                                                          std::ssize(others)));
        const auto [at, isNew] = curveOf.try_emplace(others, found.curves.size());
        if (isNew) {
            Curve& curve = found.curves.emplace_back(Curve{ORQExcPrintable(column.name), {}, {}});
            for (std::size_t i = 0; i < others.size(); ++i) {
                const ORQExcMaterialTable::Column& variable = table.fieldVariables[firstOther + i];
                curve.name +=
                    ORQExcPrintable(variable.units.empty()
                                        ? fmt::format(", {} = {:.6g}", variable.name, others[i])
                                        : fmt::format(" at {:.6g} {}", others[i], variable.units));
            }
        }
        Curve& curve = found.curves[at->second];
        if (!table.IsConstant()) {
            curve.x.push_back(table.HasTemperatures() ? table.temperatures[row] : first);
        }
        const double value = table.Value(row, component);
        curve.y.push_back(value);
        found.largest = std::max(found.largest, std::isnan(value) ? 0 : std::abs(value));
    }
    return found;
}

MaterialPicture::MaterialPicture(const ORQExcMaterials::Material& material,
                                 const std::vector<ORQExcMaterialTable>& tables, PictureSize size)
    : Picture(size), m_title(fmt::format("material {}", ORQExcPrintable(material.name))) {
    std::vector<Component> components;
    std::set<std::string> varying;
    for (const ORQExcMaterialTable& table : tables) {
        for (std::size_t i = 0; i < table.components.size(); ++i) {
            if (table.IsConstant() && std::isnan(table.values[i])) {
                continue;
            }
            components.push_back(ComponentOf(table, i));
            if (!table.IsConstant()) {
                varying.insert(table.components[i].name);
            }
        }
    }
    std::erase_if(components, [&](const Component& component) {
        const bool isListed = !varying.empty() && !varying.contains(component.name);
        if (isListed) {
            m_constants.push_back(ORQExcPrintable(
                fmt::format("{} {:.6g}{}{}", component.name, component.curves[0].y[0],
                            component.units.empty() ? "" : " ", component.units)));
        }
        return isListed;
    });
    m_details = components.empty() ? "no properties are known"
                : varying.empty()  ? "nothing varies: lines are level"
                                   : fmt::format("{} of its components vary", varying.size());
    // Constants of what varies join its graph, whatever their own abscissa would be.
    for (Component& component : components) {
        for (const Component& other : components) {
            if (component.xLabel.empty() && other.name == component.name && !other.xLabel.empty()) {
                component.xLabel = other.xLabel;
                component.curves[0].name += " constant";
            }
        }
    }
    while (!components.empty()) {
        const Component first = components.front();
        std::vector<Component> alike;
        // The first one is alike to itself and goes with the others, so that the loop ends.
        std::erase_if(components, [&](const Component& other) {
            const auto [low, high] = std::minmax(first.largest, other.largest);
            const bool isAlike = other.property == first.property && other.units == first.units &&
                                 other.xLabel == first.xLabel &&
                                 (high <= kMostApart * low || other.name == first.name);
            if (isAlike) {
                alike.push_back(other);
            }
            return isAlike;
        });
        AddGraph(alike);
    }
}

void MaterialPicture::AddGraph(const std::vector<Component>& components) {
    const Component& first = components.front();
    std::set<std::string> names;
    Graph graph{{}, ORQExcPrintable(first.units), first.xLabel, {}};
    for (const Component& component : components) {
        names.insert(component.name);
        for (const Curve& curve : component.curves) {
            // Level lines of one value are one line.
            const auto same = std::ranges::find_if(graph.curves, [&](const Curve& other) {
                return other.IsLevel() && curve.IsLevel() && other.y == curve.y;
            });
            if (same != graph.curves.end()) {
                same->name += ", " + curve.name;
            } else {
                graph.curves.push_back(curve);
            }
        }
    }
    std::stable_partition(graph.curves.begin(), graph.curves.end(),
                          [](const Curve& curve) { return !curve.IsLevel(); });
    graph.title = ORQExcPrintable(names.size() > 1 || first.name == first.property
                                      ? first.property
                                      : fmt::format("{}: {}", first.property, first.name));
    m_graphs.push_back(std::move(graph));
}

/// Lists what does not vary at the lower end of the picture; returns where that begins.
double MaterialPicture::PaintConstants(Canvas& canvas, double textSize) const {
    constexpr double kSmaller = 0.85;
    const double margin = kPageMargin * textSize;
    const double room = m_size.width - 2 * margin;
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < m_constants.size(); ++i) {
        const std::string text = m_constants[i] + (i + 1 < m_constants.size() ? "," : "");
        if (i == 0) {
            lines.push_back("constant: " + text);
        } else if (TextWidth(lines.back() + " " + text, kSmaller * textSize) <= room) {
            lines.back() += " " + text;
        } else {
            lines.push_back(text);
        }
    }
    const double top =
        m_size.height - margin - static_cast<double>(lines.size()) * kLineHeight * textSize;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        canvas.Text({margin, top + static_cast<double>(i + 1) * kLineHeight * textSize},
                    Align::Left, kSmaller * textSize, kInk,
                    Shortened(lines[i], kSmaller * textSize, room));
    }
    return top;
}

void MaterialPicture::Paint(Canvas& canvas) const {
    const double textSize = TextSizeFor(m_size);
    const double margin = kPageMargin * textSize;
    double top = margin;
    double bottom = m_size.height - margin;
    if (HasRoomForTexts(m_size)) {
        PaintHeading(canvas, textSize, m_title, m_details);
        top = (3 + kLineHeight) * textSize;
        bottom = PaintConstants(canvas, textSize);
    }
    if (m_graphs.empty()) {
        return;
    }
    // The number of columns makes the graphs about half as wide again as they are high.
    const double aspect = m_size.width / std::max(1.0, bottom - top);
    const auto nGraphs = static_cast<double>(m_graphs.size());
    const double nColumns = std::clamp(std::round(std::sqrt(nGraphs * aspect / 1.5)), 1.0, nGraphs);
    const double nLines = std::ceil(nGraphs / nColumns);
    const double width = (m_size.width - margin) / nColumns;
    const double height = (bottom - top) / nLines;
    for (std::size_t i = 0; i < m_graphs.size(); ++i) {
        const auto column = static_cast<double>(i % static_cast<std::size_t>(nColumns));
        const auto line = static_cast<double>(i / static_cast<std::size_t>(nColumns));
        const Spot corner{margin + column * width, top + line * height};
        PaintGraph(canvas, textSize, corner,
                   {corner.x + width - margin, corner.y + height - margin}, m_graphs[i]);
    }
}

}  // namespace orqmodel
