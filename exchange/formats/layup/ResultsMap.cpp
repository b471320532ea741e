#include <array>
#include <set>
#include <string_view>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcResultsMap.h"
#include "ads_ComponentSymbolsEnm.h"
#include "formats/layup/JsonCheck.h"
#include "formats/layup/JsonText.h"
#include "model/ArrayPattern.h"

using namespace orq::exchange;

namespace {

using nlohmann::json;
using Pointer = JsonCheck::Pointer;
using Within = ORQExcResultArray::Within;

constexpr std::array<std::pair<std::string_view, int>, 12> kComponents = {
    {{"1", ads_Component1},
     {"2", ads_Component2},
     {"3", ads_Component3},
     {"11", ads_Component11},
     {"12", ads_Component12},
     {"13", ads_Component13},
     {"21", ads_Component21},
     {"22", ads_Component22},
     {"23", ads_Component23},
     {"31", ads_Component31},
     {"32", ads_Component32},
     {"33", ads_Component33}}};
constexpr std::array<std::pair<std::string_view, Within>, 4> kWithin = {
    {{"elements", Within::Whole},
     {"integration points", Within::IntegrationPoints},
     {"nodes", Within::Nodes},
     {"faces", Within::Faces}}};
constexpr std::array<std::pair<std::string_view, ORQObjAxes>, 3> kAxes = {
    {{"layer", ORQObjAxes::Layer}, {"element", ORQObjAxes::Element}, {"model", ORQObjAxes::Model}}};

/// Takes rules out of the value of a file, and gathers what is wrong with it.
class RuleReader {
  public:
    explicit RuleReader(const std::filesystem::path& file) : m_check(file) {}

    std::vector<ORQExcResultsMap::Rule> Read(const JsonText& text) {
        for (const Pointer& pointer : text.repeated) {
            m_check.Report(pointer, "stands here for the second time");
        }
        if (m_check.IsObject(text.value, Pointer(), {{"version", true}, {"fields", true}})) {
            JsonCheck::With(text.value, Pointer(), "version", [&](const json& value, Pointer at) {
                m_check.Number(value, at, {"1, the version that this program knows", 1, 1});
            });
            JsonCheck::With(text.value, Pointer(), "fields", [&](const json& value, Pointer at) {
                m_check.ForEach(value, at, [&](const json& item, const Pointer& place) {
                    ReadRule(item, place);
                });
            });
        }
        m_check.ThrowErrors();
        return std::move(m_rules);
    }

  private:
    void ReadRule(const json& value, const Pointer& at) {
        if (!m_check.IsObject(
                value, at, {{"name", true}, {"arrays", true}, {"at"}, {"components"}, {"axes"}})) {
            return;
        }
        ORQExcResultsMap::Rule rule;
        JsonCheck::With(value, at, "name", [&](const json& name, Pointer place) {
            rule.field = m_check.Text(name, place);
            if (!rule.field.empty() && !m_names.insert(rule.field).second) {
                m_check.Report(place, "\"" + rule.field + "\" has a rule already");
            }
        });
        JsonCheck::With(value, at, "arrays", [&](const json& arrays, Pointer place) {
            rule.arrays = m_check.Text(arrays, place);
        });
        JsonCheck::With(value, at, "axes", [&](const json& axes, Pointer place) {
            rule.axes = OneOf(axes, place, kAxes, "axes");
        });
        ReadPattern(value, at, rule);
        m_rules.push_back(std::move(rule));
    }

    /// What depends on what the pattern has.
    void ReadPattern(const json& value, const Pointer& at, ORQExcResultsMap::Rule& rule) {
        try {
            const ArrayPattern pattern(rule.arrays);
            rule.within = pattern.HasPoints() ? Within::IntegrationPoints : Within::Whole;
            JsonCheck::With(value, at, "at", [&](const json& within, Pointer place) {
                rule.within = OneOf(within, place, kWithin, "place");
                if ((rule.within == Within::Whole) == pattern.HasPoints()) {
                    m_check.Report(place, pattern.HasPoints()
                                              ? "elements have no {point}, which \"arrays\" has"
                                              : "\"arrays\" has no {point}");
                }
            });
            if (!rule.arrays.empty() && !pattern.HasPoints() && !pattern.HasLayers() &&
                !pattern.HasSectionPoints()) {
                m_check.Report(at / "arrays", "has none of {layer}, {section_point} and {point}");
            }
            ReadComponents(value, at, pattern.HasComponent(), rule);
        } catch (const ORQBasFailure& failure) {
            m_check.Report(at / "arrays", failure.Text());
        }
    }

    void ReadComponents(const json& value, const Pointer& at, bool hasComponent,
                        ORQExcResultsMap::Rule& rule) {
        if (hasComponent != value.contains("components")) {
            m_check.Report(at, hasComponent
                                   ? "\"components\" is missing, and \"arrays\" has {component}"
                                   : "\"arrays\" has no {component} for \"components\"");
            return;
        }
        if (!hasComponent) {
            rule.components.push_back({"", ads_ComponentNone});
            return;
        }
        const json& components = value["components"];
        const Pointer place = at / "components";
        if (!components.is_object() || components.empty()) {
            return m_check.ReportValue(place, components,
                                       "an object with a text for each component");
        }
        std::set<std::string> texts;
        for (const auto& [number, name] : components.items()) {
            const std::string text = m_check.Text(name, place / number);
            if (!text.empty() && !texts.insert(text).second) {
                m_check.Report(place / number, "\"" + text + "\" is another component already");
            }
            rule.components.push_back(
                {text, OneOf(json(number), place / number, kComponents, "component")});
        }
    }

    template <class Value, std::size_t n>
    Value OneOf(const json& value, const Pointer& at,
                const std::array<std::pair<std::string_view, Value>, n>& known, const char* kind) {
        const std::string text = m_check.Text(value, at);
        std::vector<std::string> names;
        for (const auto& [name, meaning] : known) {
            if (name == text) {
                return meaning;
            }
            names.emplace_back(name);
        }
        if (!text.empty()) {
            m_check.ReportUnknown(at, text, kind, names);
        }
        return known[0].second;
    }

    JsonCheck m_check;
    std::set<std::string> m_names;
    std::vector<ORQExcResultsMap::Rule> m_rules;
};

}  // namespace

ORQExcResultsMap::ORQExcResultsMap(std::filesystem::path file) : m_file(std::move(file)) {
    const JsonText text = ReadJsonText(m_file);
    m_rules = RuleReader(m_file).Read(text);
}
